// pixel_digest WIDTH HEIGHT: digests a picture's straight RGBA rows from standard input as the
// project does: the last step of a peer that has only the pixels to give.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <unistd.h>

#include "decoder/digest_prefix.h"
#include "decoder/premultiply.h"
#include "support/sha256.h"

namespace {

// Fills the buffer, unless the input ends.
std::size_t readPixels(std::uint8_t* to, std::size_t size) {
    std::size_t filled = 0;
    while (filled < size) {
        const ssize_t count = ::read(STDIN_FILENO, to + filled, size - filled);
        if (count <= 0) break;
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) return EXIT_FAILURE;
    const auto number = [&](int i) {
        return static_cast<std::uint32_t>(std::strtoul(arguments[i], nullptr, 10));
    };
    sorvane::Sha256 digest;
    digest.update(sorvane::decoder::digestPrefix({number(1), number(2)}));
    static std::array<std::uint8_t, 65'536> buffer;
    while (const std::size_t filled = readPixels(buffer.data(), buffer.size())) {
        sorvane::decoder::premultiply(buffer.data(), filled / 4);
        digest.update({reinterpret_cast<const char*>(buffer.data()), filled});
    }
    std::puts(digest.hex().c_str());
    return EXIT_SUCCESS;
}
