#pragma once

#include <cstdint>
#include <vector>

#include "decoder/picture/picture.h"

namespace sorvane::decoder {

/// Hands a decoded picture over, row by row: `fillRow(row, to)` writes the samples of one.
template<class FillRow>
void takeRows(PixelSink& sink, Size size, const SampleFormat& format, const FillRow& fillRow) {
    std::vector<std::uint8_t> samples(size.width * format.pixelBytes());
    for (std::uint32_t row = 0; row < size.height; ++row) {
        fillRow(row, samples.data());
        sink.take(PixelRun::wholeRow(row, size.width, samples.data()));
    }
}

} // namespace sorvane::decoder
