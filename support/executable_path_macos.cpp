#include "support/executable_path.h"

#include <array>
#include <string_view>

#include <crt_externs.h>
#include <libproc.h>

namespace sorvane {

namespace {

// The most that the system answers.
constexpr std::size_t maxPath = 4096;

} // namespace

std::optional<std::filesystem::path> executablePath(pid_t process) {
    std::array<char, maxPath> buffer{};
    const int length = ::proc_pidpath(process, buffer.data(), buffer.size());
    if (length <= 0) return std::nullopt;
    const std::string_view path(buffer.data(), static_cast<std::size_t>(length));
    return path.substr(0, path.find('\0'));
}

std::string argv0() {
    if (*::_NSGetArgc() < 1) return {};
    return **::_NSGetArgv();
}

} // namespace sorvane
