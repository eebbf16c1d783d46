#pragma once

#include <cstdint>
#include <vector>

#include "decoder/picture/geometry.h"
#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Sets a frame on its canvas, which is transparent where the frame does not cover it; the part of
/// the frame beyond the canvas is cut off. Everything is RGBA, 8 bits a channel, straight.
class FrameOnCanvas {
  public:
    /// `corner` is the canvas position of the frame's first pixel; it may lie outside. Takes memory
    /// for one row of the canvas, so the canvas must be within the budget.
    FrameOnCanvas(Size canvas, Position corner, Size frame);

    /// Hands the rows above the frame to `sink`.
    void above(PixelSink& sink);

    /// Hands over the canvas row that the frame's row `row` lies in, if there is one. `rgba` holds
    /// the whole row of the frame.
    void row(std::uint32_t row, const std::uint8_t* rgba, PixelSink& sink);

    /// Hands over the rows below the frame.
    void below(PixelSink& sink);

  private:
    void clearRows(std::uint64_t begin, std::uint64_t end, PixelSink& sink);

    Size canvas_;
    Position corner_;
    Size frame_;
    std::vector<std::uint8_t> row_;
};

} // namespace sorvane::decoder
