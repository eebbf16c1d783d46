// The PNG codec alone: its spans are thrown away.

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "bench/drawing.h"
#include "bench/png_file.h"
#include "identity/pixels/codec_choice.h"

namespace {

using namespace sorvane::pixels;
using sorvane::bench::Drawing;
using sorvane::bench::PngChannels;

constexpr std::size_t width = 1920;
constexpr std::size_t height = 1080;

class Nowhere : public SpanSink {
  public:
    void take(const Span& span) override { benchmark::DoNotOptimize(span.samples); }
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

void decode(benchmark::State& state, const Drawing& drawing, PngChannels channels) {
    const int descriptor = openFileOf(sorvane::bench::pngFile(drawing, channels));
    Nowhere nowhere;
    for (auto _ : state) {
        ::lseek(descriptor, 0, SEEK_SET);
        ByteSource file(descriptor);
        const auto codec = openCodec(sorvane::ImageFormat::png, file);
        if (!codec->readHeader() || !codec->readPixels(nowhere)) state.SkipWithError("no picture");
    }
    ::close(descriptor);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(width * height));
}

void decodeScreenshot(benchmark::State& state) {
    decode(state, sorvane::bench::screenshot(width, height), PngChannels::rgba);
}

void decodePhotograph(benchmark::State& state) {
    decode(state, sorvane::bench::photograph(width, height), PngChannels::rgb);
}

BENCHMARK(decodeScreenshot)->Unit(benchmark::kMillisecond);
BENCHMARK(decodePhotograph)->Unit(benchmark::kMillisecond);

} // namespace
