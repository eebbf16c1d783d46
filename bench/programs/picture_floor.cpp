// picture_floor FILE: the floor of a PNG picture: reads the file, inflates it, and digests as many
// bytes as its pixels have. It undoes no filter and never looks at a pixel: what is digested is one
// small buffer again and again, as warm as a buffer can be. The libraries that inflate are twins;
// who compares takes the faster one.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/programs/inflate.h"
#include "support/sha256.h"

namespace {

using sorvane::bench::Bytes;

constexpr std::size_t signatureLength = 8;
constexpr std::size_t chunkFrame = 12;
constexpr std::size_t chunkHead = 8;

struct Buffer {
    std::unique_ptr<std::uint8_t[]> bytes;
    std::size_t size = 0;

    explicit Buffer(std::size_t wanted)
        : bytes(std::make_unique_for_overwrite<std::uint8_t[]>(wanted)), size(wanted) {}
    Bytes all() { return {bytes.get(), size}; }
};

struct Picture {
    std::size_t width = 0;
    std::size_t height = 0;
    std::size_t inflated = 0;
};

std::optional<Buffer> readFile(const char* path) {
    const int file = ::open(path, O_RDONLY);
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0) return std::nullopt;
    Buffer buffer(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < buffer.size) {
        const ssize_t count = ::read(file, buffer.bytes.get() + filled, buffer.size - filled);
        if (count <= 0) return std::nullopt;
        filled += static_cast<std::size_t>(count);
    }
    return buffer;
}

std::uint32_t number(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// RGB or RGBA of 8 bits, without interlace: what is measured here.
Picture header(Bytes file) {
    const std::uint8_t* data = file.data() + signatureLength + chunkHead;
    const std::size_t channels = data[9] == 6 ? 4 : 3;
    Picture picture{number(data), number(data + 4), 0};
    picture.inflated = picture.height * (1 + channels * picture.width);
    return picture;
}

// The data of every IDAT, in their order.
std::vector<Bytes> imageData(Bytes file) {
    std::vector<Bytes> pieces;
    for (Bytes rest = file.subspan(signatureLength); rest.size() >= chunkFrame;) {
        const std::size_t length = number(rest.data());
        const std::string_view name(reinterpret_cast<const char*>(rest.data() + 4), 4);
        if (name == "IDAT") pieces.push_back(rest.subspan(chunkHead, length));
        rest = rest.subspan(std::min(rest.size(), chunkFrame + length));
    }
    return pieces;
}

std::string digestOfWarmBytes(std::size_t size) {
    static std::array<char, 65'536> warm;
    sorvane::Sha256 digest;
    for (std::size_t count = 0; size > 0; size -= count) {
        count = std::min(size, warm.size());
        digest.update({warm.data(), count});
    }
    return digest.hex();
}

} // namespace

int main(int count, char** arguments) {
    auto file = count == 2 ? readFile(arguments[1]) : std::nullopt;
    if (!file) return EXIT_FAILURE;
    const Picture picture = header(file->all());
    if (!sorvane::bench::inflates(imageData(file->all()), picture.inflated)) return EXIT_FAILURE;
    std::puts(digestOfWarmBytes(4 * picture.width * picture.height).c_str());
    return EXIT_SUCCESS;
}
