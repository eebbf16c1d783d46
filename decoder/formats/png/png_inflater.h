#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "decoder/formats/png/png_chunks.h"

struct inflate_state;

namespace sorvane::decoder {

/// Inflates the data of a PNG's pixel chunks, which together are one zlib stream.
class PngInflater {
  public:
    /// `chunks` is in the first pixel chunk and must outlive this.
    explicit PngInflater(PngChunks& chunks);
    ~PngInflater();

    /// False: the data are damaged or end before `to` is full.
    bool fill(std::span<std::uint8_t> to);

    /// Inflates the rest of the stream, which may hold more than the picture. False: it is damaged,
    /// has no end, or its checksum is wrong. `chunks` is left in the chunk that holds the end.
    bool finish();

  private:
    bool ended() const;
    bool feed();

    PngChunks& chunks_;
    std::unique_ptr<inflate_state> state_;
    bool begun_ = false;
    bool damaged_ = false;
};

} // namespace sorvane::decoder
