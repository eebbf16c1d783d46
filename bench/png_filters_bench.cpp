// Rows of one filter each, as wide as a large screen.

#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "decoder/formats/png/png_filters.h"

namespace {

using namespace sorvane::decoder;

void unfilter(benchmark::State& state) {
    constexpr std::size_t width = 3840;
    constexpr std::size_t count = 16;
    const auto filter = static_cast<std::uint8_t>(state.range(0));
    const auto pixelBytes = static_cast<std::size_t>(state.range(1));
    const std::size_t stride = 1 + pixelBytes * width;
    std::vector<std::uint8_t> bytes((1 + count) * stride);
    std::mt19937 chance(1);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(chance());
    for (std::size_t row = 0; row <= count; ++row) bytes[row * stride] = filter;
    for (auto _ : state)
        benchmark::DoNotOptimize(unfilterRows({&bytes[stride], count, width, pixelBytes}));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count * width));
}

BENCHMARK(unfilter)
    ->ArgNames({"filter", "bytes"})
    ->ArgsProduct({{png_filter::sub, png_filter::up, png_filter::average, png_filter::paeth},
                   {3, 4}});

} // namespace
