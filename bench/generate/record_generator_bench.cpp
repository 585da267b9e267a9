#include "record_generator.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

namespace {

constexpr std::uint64_t blockLines = 20000;  // about 1 MiB

vesk_generate::GeneratorSettings settingsFor(std::int64_t callers) {
  vesk_generate::GeneratorSettings settings;
  settings.records = 1000000000000U;  // more than any timing takes
  settings.callers = static_cast<std::uint32_t>(callers);
  settings.groupCount = settings.callers / 50;
  settings.badShares.fill(0.001);
  return settings;
}

/// Every line is whole: as many line feeds as records, and the counted short lines make up for the missing bytes.
void prove(vesk_generate::RecordGenerator& generator, std::vector<char>& buffer) {
  const std::size_t bytes = generator.fill(blockLines, buffer);
  const auto feeds = std::count(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(bytes), '\n');
  const std::uint64_t shortLines = generator.getBadLines()[0];
  const bool lengthsAgree = (bytes == buffer.size()) == (shortLines == 0);
  if (feeds != static_cast<std::ptrdiff_t>(blockLines) || !lengthsAgree) throw std::logic_error("lines are missing");
}

void BM_RecordGeneratorFill(benchmark::State& state) {
#ifndef NDEBUG
  state.SkipWithError("a debug build is not timed");
#endif
  vesk_generate::RecordGenerator generator(settingsFor(state.range(0)));
  std::vector<char> buffer(blockLines * generator.lineBytes());
  prove(generator, buffer);
  std::size_t bytes = 0;
  for (auto unused : state) {
    (void)unused;
    bytes += generator.fill(blockLines, buffer);
    benchmark::DoNotOptimize(buffer.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * blockLines));
}
BENCHMARK(BM_RecordGeneratorFill)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_CallNetworkBuild(benchmark::State& state) {
#ifndef NDEBUG
  state.SkipWithError("a debug build is not timed");
#endif
  const auto settings = settingsFor(state.range(0));
  for (auto unused : state) {
    (void)unused;
    vesk_generate::CallNetwork network(settings);
    benchmark::DoNotOptimize(network);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(BM_CallNetworkBuild)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
