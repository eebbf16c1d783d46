#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "decoder/input/byte_source.h"

namespace sorvane::decoder {

/// A chunk's length and name, as they stand in the file.
using PngChunkHeader = std::array<std::uint8_t, 8>;

/// Reads a PNG's chunks one after the other, each in pieces, and checks their checksums.
class PngChunks {
  public:
    /// Begins in the chunk of `header`, whose data are the next bytes of `file`. `file` must
    /// outlive this.
    PngChunks(ByteSource& file, const PngChunkHeader& header) : file_(file), header_(header) {
        open();
    }

    /// Of the current chunk.
    std::string_view name() const;
    std::uint32_t length() const { return length_; }

    /// The chunk's next data, as many as are ready; none at its end or the file's. Valid until the
    /// next call.
    std::span<const std::uint8_t> take();

    /// Reads the rest of the chunk. False: the file ends in it, or its checksum is wrong.
    bool close();

    /// Goes on from a closed chunk to the next. False: the file ends, or what comes is no chunk.
    bool next();

  private:
    void open();

    ByteSource& file_;
    PngChunkHeader header_;
    std::uint32_t length_ = 0;
    std::uint32_t left_ = 0;
    std::uint32_t checksum_ = 0;
};

} // namespace sorvane::decoder
