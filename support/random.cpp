#include "support/random.h"

#include <cerrno>
#include <system_error>

#include <sys/random.h>
#include <unistd.h>

namespace sorvane {

void fillRandom(std::span<unsigned char> bytes) {
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "random bytes");
}

} // namespace sorvane
