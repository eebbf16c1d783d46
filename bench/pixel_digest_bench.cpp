// From samples to the digest. Opaque rows need no premultiplication: the difference between the two
// is what it costs, and what is left beside the digest of as many bytes is the colour step.

#include <vector>

#include <benchmark/benchmark.h>

#include "decoder/pixel_digest.h"

namespace {

using namespace sorvane::decoder;

constexpr Size rowSize{3840, 1};

void hashRow(benchmark::State& state, Channels channels) {
    PictureHeader header;
    header.size = rowSize;
    header.samples.channels = channels;
    const std::vector<std::uint8_t> samples(rowSize.width * header.samples.pixelBytes(), 0x5a);
    PixelDigest digest(header, ColourStep({}, header.samples));
    for (auto _ : state) digest.take({0, 0, 1, rowSize.width, samples.data()});
    state.SetItemsProcessed(state.iterations() * std::int64_t{rowSize.width});
}

BENCHMARK_CAPTURE(hashRow, opaque, Channels::rgb);
BENCHMARK_CAPTURE(hashRow, premultiplied, Channels::rgba);

} // namespace
