#include <string>

#include <benchmark/benchmark.h>

#include "bench/prompts.h"
#include "support/json.h"

namespace {

using namespace sorvane;

std::string event(std::size_t size) { return jsonText({{"prompt", bench::pastedPrompt(size)}}); }

void parseEvent(benchmark::State& state) {
    const std::string text = event(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(parseJSON(text));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void writeEvent(benchmark::State& state) {
    const auto value = parseJSON(event(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) benchmark::DoNotOptimize(jsonText(value));
}

BENCHMARK(parseEvent)->Arg(100)->Arg(113 << 10)->Arg(10 << 20);
BENCHMARK(writeEvent)->Arg(100)->Arg(113 << 10);

} // namespace
