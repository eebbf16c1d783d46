#include <string>

#include <benchmark/benchmark.h>

#include "bench/prompts.h"
#include "hook/image_references.h"

namespace {

using namespace sorvane;

void scan(benchmark::State& state, const std::string& prompt) {
    for (auto _ : state) benchmark::DoNotOptimize(ImageReferences::inPrompt(prompt));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(prompt.size()));
}

void scanPastedText(benchmark::State& state) {
    scan(state, bench::pastedPrompt(static_cast<std::size_t>(state.range(0))));
}

// Every few bytes what might have become a reference.
void scanNearReferences(benchmark::State& state) {
    std::string prompt;
    while (prompt.size() < static_cast<std::size_t>(state.range(0)))
        prompt += std::string(ImageReferences::prefix) + std::string(63, 'a') + ' ';
    scan(state, prompt);
}

BENCHMARK(scanPastedText)->Arg(1 << 10)->Arg(113 << 10)->Arg(10 << 20);
BENCHMARK(scanNearReferences)->Arg(113 << 10);

} // namespace
