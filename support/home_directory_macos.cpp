#include "support/home_directory.h"

#include <cerrno>
#include <string>

#include <pwd.h>
#include <unistd.h>

namespace sorvane {

std::filesystem::path homeDirectory() {
    std::string buffer(1024, '\0');
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE)
        buffer.resize(2 * buffer.size());
    const bool known = found != nullptr && found->pw_dir != nullptr && *found->pw_dir != '\0';
    return known ? found->pw_dir : "/var/empty";
}

} // namespace sorvane
