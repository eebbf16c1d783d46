// The colour step alone, for whole pictures and every kind of conversion.

#include <vector>

#include <benchmark/benchmark.h>

#include "bench/drawing.h"
#include "decoder/colour/colour_step.h"
#include "tests/decoder/colour/table_profile.h"

namespace {

using namespace sorvane::decoder;
using namespace sorvane::bench;
using namespace sorvane::test;

constexpr std::size_t pixels = std::size_t{1920} * 1080;
using Draw = Drawing (*)(std::size_t, std::size_t);

constexpr SampleFormat grey{Channels::grey, false};
constexpr SampleFormat rgb{Channels::rgb, false};
constexpr SampleFormat rgb16{Channels::rgb, true};
constexpr SampleFormat rgba{Channels::rgba, false};
constexpr SampleFormat cmyk{Channels::cmyk, false};

const ColourStatements untagged;
const ColourStatements displayP3 = {IccProfile{displayP3Profile()}};
const ColourStatements greyCurve = {IccProfile{greyProfile(formulaTag(0, {2.0}))}};
const ColourStatements table = {IccProfile{TableProfile(TableForm::mft2, 3, 33).bytes()}};
const ColourStatements bentTable = {IccProfile{TableProfile(TableForm::mft2, 3, 33, true).bytes()}};
const ColourStatements inkTable = {IccProfile{TableProfile(TableForm::mft2, 4, 17).bytes()}};

// The drawing's first channels, with the first again for a fourth, since its alpha is all one
// value; those of 16 bits have a grain of their own below.
std::vector<std::uint8_t> samples(SampleFormat format, Draw draw) {
    const Drawing drawing = draw(1920, 1080);
    const std::size_t width = channelCount(format.channels);
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < pixels * width; ++i) {
        if (format.sixteenBits) bytes.push_back(static_cast<std::uint8_t>(i * 0x9e3779b1U >> 24));
        bytes.push_back(drawing.rgba[4 * (i / width) + i % width % 3]);
    }
    return bytes;
}

void convert(benchmark::State& state, SampleFormat format, const ColourStatements& statements,
             Draw draw) {
    const auto picture = samples(format, draw);
    const ColourStep colour(statements, format);
    std::vector<std::uint8_t> block(4 * ColourStep::blockPixels);
    for (auto _ : state)
        for (std::size_t done = 0; done < pixels; done += ColourStep::blockPixels) {
            colour.convert(picture.data() + done * format.pixelBytes(), ColourStep::blockPixels,
                           block.data());
            benchmark::DoNotOptimize(block.data());
            benchmark::ClobberMemory();
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pixels));
}

void prepare(benchmark::State& state, SampleFormat format, const ColourStatements& statements) {
    for (auto _ : state) {
        const ColourStep colour(statements, format);
        benchmark::DoNotOptimize(&colour);
    }
}

BENCHMARK_CAPTURE(convert, grey, grey, untagged, photograph)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, rgb, rgb, untagged, photograph)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, rgba, rgba, untagged, screenshot)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, rgb16, rgb16, untagged, photograph)->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(convert, p3Screenshot, rgba, displayP3, screenshot)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, p3Photograph, rgb, displayP3, photograph)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, p3Photograph16, rgb16, displayP3, photograph)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, greyPhotograph, grey, greyCurve, photograph)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, tableScreenshot, rgba, table, screenshot)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, tablePhotograph, rgb, table, photograph)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, bentTablePhotograph, rgb, bentTable, photograph)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(convert, inksPhotograph, cmyk, inkTable, photograph)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(prepare, p3, rgba, displayP3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(prepare, p3Of16, rgb16, displayP3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(prepare, table, rgb, table)->Unit(benchmark::kMillisecond);

} // namespace
