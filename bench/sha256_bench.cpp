#include <string>

#include <benchmark/benchmark.h>

#include "support/sha256.h"

namespace {

void digestWarmBytes(benchmark::State& state) {
    const std::string bytes(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        sorvane::Sha256 digest;
        digest.update(bytes);
        benchmark::DoNotOptimize(digest.hex());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}

BENCHMARK(digestWarmBytes)->Arg(64)->Arg(4096)->Arg(128 << 10);

} // namespace
