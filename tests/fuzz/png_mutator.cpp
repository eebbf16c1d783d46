// Changes PNG files for libFuzzer. Most of the time the chunks' checksums are set right after a
// change: otherwise every change would end at the first of them. The compressed data's own checksum
// is left alone, which keeps from the fuzzer the one thing that its two readers judge apart: a
// block whose code has words to spare.

#include <cstddef>
#include <cstdint>

#include <zlib.h>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

std::uint32_t numberAt(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void setChecksums(std::uint8_t* file, std::size_t size) {
    for (std::size_t at = 8; at + 12 <= size;) {
        const std::size_t length = numberAt(file + at);
        if (length > size - at - 12) return;
        const uLong checksum = ::crc32(0, file + at + 4, static_cast<uInt>(4 + length));
        for (std::size_t i = 0; i < 4; ++i)
            file[at + 8 + length + i] = static_cast<std::uint8_t>(checksum >> (24 - 8 * i));
        at += 12 + length;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    const std::size_t changed = LLVMFuzzerMutate(data, size, maxSize);
    if (seed % 8 != 0) setChecksums(data, changed);
    return changed;
}
