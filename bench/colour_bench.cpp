#include <benchmark/benchmark.h>
#include <vector>

#include "identity/pixels/colour.h"

namespace {

using namespace sorvane::pixels;

constexpr std::size_t pixels = ColourStep::blockPixels;

// Display P3's primaries, which every picture from a screen of today may carry.
const ColourStatements displayP3 = {
    GammaAndPrimaries{45'455, {31'270, 32'900, 68'000, 32'000, 26'500, 69'000, 15'000, 6'000}}};

enum class Content { flat, varied };

std::vector<std::uint8_t> samples(SampleFormat format, Content content) {
    std::vector<std::uint8_t> row(pixels * format.pixelBytes(), 0x5a);
    std::uint32_t state = 1;
    if (content == Content::varied)
        for (std::uint8_t& sample : row)
            sample = static_cast<std::uint8_t>((state = state * 1'664'525 + 1'013'904'223) >> 24);
    return row;
}

void convert(benchmark::State& state, SampleFormat format, const ColourStatements& statements,
             Content content) {
    const ColourStep colour(statements, format);
    const auto row = samples(format, content);
    std::vector<std::uint8_t> rgba(4 * pixels);
    for (auto _ : state) {
        colour.convert(row.data(), pixels, rgba.data());
        benchmark::DoNotOptimize(rgba.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pixels));
}

BENCHMARK_CAPTURE(convert, grey, SampleFormat{Channels::grey, false}, ColourStatements{},
                  Content::flat);
BENCHMARK_CAPTURE(convert, rgb, SampleFormat{Channels::rgb, false}, ColourStatements{},
                  Content::flat);
BENCHMARK_CAPTURE(convert, rgba, SampleFormat{Channels::rgba, false}, ColourStatements{},
                  Content::flat);
BENCHMARK_CAPTURE(convert, rgb16, SampleFormat{Channels::rgb, true}, ColourStatements{},
                  Content::flat);
BENCHMARK_CAPTURE(convert, flatDisplayP3, SampleFormat{Channels::rgba, false}, displayP3,
                  Content::flat);
BENCHMARK_CAPTURE(convert, variedDisplayP3, SampleFormat{Channels::rgba, false}, displayP3,
                  Content::varied);

} // namespace
