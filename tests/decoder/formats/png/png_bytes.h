#pragma once

#include <string_view>

#include <zlib.h>

#include "tests/decoder/bytes.h"

/// PNG files written in the test.
namespace sorvane::test {

inline Bytes pngChunk(std::string_view name, const Bytes& data = {}) {
    const Bytes body = joined({bytes(name), data});
    const auto checksum = ::crc32(0, body.data(), static_cast<uInt>(body.size()));
    return joined({bigEndian32(static_cast<std::uint32_t>(data.size())), body,
                   bigEndian32(static_cast<std::uint32_t>(checksum))});
}

inline Bytes deflated(const Bytes& data) {
    uLongf size = ::compressBound(data.size());
    Bytes result(size);
    ::compress(result.data(), &size, data.data(), data.size());
    result.resize(size);
    return result;
}

struct PngForm {
    std::uint32_t width;
    std::uint32_t height;
    std::uint8_t depth = 8;
    std::uint8_t colourType = 0;
    bool interlaced = false;
};

/// `pixels`: the pixel chunks and whatever stands around them.
inline Bytes pngFileAround(const PngForm& form, const Bytes& pixels) {
    using namespace std::string_view_literals;
    return joined({bytes("\x89PNG\r\n\x1a\n"sv),
                   pngChunk("IHDR", joined({bigEndian32(form.width),
                                            bigEndian32(form.height),
                                            {form.depth, form.colourType, 0, 0,
                                             static_cast<std::uint8_t>(form.interlaced)}})),
                   pixels, pngChunk("IEND")});
}

/// `rows`: every row after its filter byte. `before` and `after`: chunks around the pixels.
inline Bytes pngFile(const PngForm& form, const Bytes& rows, const Bytes& before = {},
                     const Bytes& after = {}) {
    return pngFileAround(form, joined({before, pngChunk("IDAT", deflated(rows)), after}));
}

} // namespace sorvane::test
