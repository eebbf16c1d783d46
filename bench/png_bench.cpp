// The PNG decoder alone, with its own reader and with libpng's: its pixels are thrown away.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include "bench/drawing.h"
#include "bench/png_file.h"
#include "decoder/formats/png/png.h"
#include "tests/decoder/formats/png/libpng_reader.h"

namespace {

using namespace sorvane::decoder;
using sorvane::bench::Drawing;
using sorvane::bench::PngChannels;
using sorvane::test::openPngByLibpng;

constexpr std::size_t width = 1920;
constexpr std::size_t height = 1080;

class Nowhere : public PixelSink {
  public:
    void take(const PixelRun& run) override { benchmark::DoNotOptimize(run.samples); }
};

int openFileOf(const std::string& content) {
    std::FILE* file = std::tmpfile();
    if (file == nullptr) std::abort();
    const int descriptor = ::dup(::fileno(file));
    std::fclose(file);
    if (::write(descriptor, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        std::abort();
    return descriptor;
}

using Open = std::unique_ptr<Decoder>(ByteSource& file);

void decode(benchmark::State& state, const Drawing& drawing, PngChannels channels, Open& open) {
    const int descriptor = openFileOf(sorvane::bench::pngFile(drawing, channels));
    Nowhere nowhere;
    for (auto _ : state) {
        ::lseek(descriptor, 0, SEEK_SET);
        ByteSource file(descriptor);
        const auto decoder = open(file);
        if (!decoder->readHeader() || !decoder->readPixels(nowhere))
            state.SkipWithError("no picture");
    }
    ::close(descriptor);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width * height));
}

void decodeScreenshot(benchmark::State& state, Open& open) {
    decode(state, sorvane::bench::screenshot(width, height), PngChannels::rgba, open);
}

void decodePhotograph(benchmark::State& state, Open& open) {
    decode(state, sorvane::bench::photograph(width, height), PngChannels::rgb, open);
}

BENCHMARK_CAPTURE(decodeScreenshot, here, openPng)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodeScreenshot, libpng, openPngByLibpng)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodePhotograph, here, openPng)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(decodePhotograph, libpng, openPngByLibpng)->Unit(benchmark::kMillisecond);

} // namespace
