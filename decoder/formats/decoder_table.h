#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"
#include "identity/image_formats.h"

// Which formats a program reads: each program has a table of its own.
namespace sorvane::decoder {

struct DecoderRow {
    ImageFormat format;
    /// `file` must outlive the decoder.
    std::unique_ptr<Decoder> (*open)(ByteSource& file);
    /// The address space that the decoder, its library and the frame take at most, in bytes.
    std::uint64_t memory;
};

extern const std::span<const DecoderRow> decoderTable;

/// The address space that the program's shared libraries take; they are mapped whole.
extern const std::uint64_t sharedLibraryMemory;

/// Lets the libraries make every system call that they would make later on: called once, before the
/// process is confined.
void prepareDecoders();

/// The decoder of a format; null when another program reads it. `file` must outlive the decoder.
std::unique_ptr<Decoder> openDecoder(ImageFormat format, ByteSource& file);

/// The address space that a picture of the format takes at most, the program's libraries included;
/// 0 when another program reads it.
std::uint64_t decoderMemory(ImageFormat format);

/// Whether a table has exactly the formats that `imageFormats` gives to a program, in its order.
template<std::size_t size>
constexpr bool isTableOf(std::string_view program, const std::array<DecoderRow, size>& table) {
    std::size_t rows = 0;
    for (const ImageFormatRow& row : imageFormats) {
        if (row.program != program) continue;
        if (rows == size || table[rows].format != row.format) return false;
        ++rows;
    }
    return rows == size;
}

} // namespace sorvane::decoder
