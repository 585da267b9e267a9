// Makes a table of the sums of a loader run, from one file and from parts: triples per second with a warm file cache.
// The bound is a copy of the same file in blocks of the same size.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/bench_folder.h"
#include "table/rows_table.h"

namespace {

/// The sums of callers 1, 2, ..., dealt to the parts in turn.
std::uint64_t writeSums(const BenchFolder& folder, long callers, long positions, long parts) {
  std::uint64_t triples = 0;
  for (long part = 0; part < parts; ++part) {
    std::vector<double> numbers;
    const auto width = static_cast<double>(positions + 1);  // the first position is never written
    for (long caller = 1 + part; caller <= callers; caller += parts) {
      const auto key = static_cast<double>(caller);
      numbers.insert(numbers.end(), {key, 0, width});
      for (long p = 1; p <= positions; ++p) {
        numbers.insert(numbers.end(), {key, static_cast<double>(p), static_cast<double>(caller * p % 1009)});
      }
      numbers.insert(numbers.end(), {key, width + 1, 0});
    }
    triples += numbers.size() / 3;
    folder.write(parts == 1 ? "sums" : std::string("sums.").append(std::to_string(part)), numbers);
  }
  return triples;
}

void BM_Rows(benchmark::State& state) {
  const BenchFolder folder;
  const long positions = state.range(0);
  const long parts = state.range(1);
  const std::uint64_t triples = writeSums(folder, 4'000'000 / (positions + 2), positions, parts);
  vesk::RowsOptions options;
  options.input = folder.path("sums");
  options.output = folder.path("table");
  for (long p = 1; p <= positions; ++p) {
    options.columns.push_back({static_cast<std::uint64_t>(p), std::string("p").append(std::to_string(p))});
  }
  for (auto _ : state) benchmark::DoNotOptimize(vesk::makeRowsTable(options).records);
  state.counters["triples/s"] =
      benchmark::Counter(static_cast<double>(triples), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_Rows)
    ->ArgNames({"positions", "parts"})
    ->Args({3, 1})
    ->Args({3, 16})
    ->Args({30, 1})
    ->Unit(benchmark::kMillisecond);

void BM_Copy(benchmark::State& state) {
  const BenchFolder folder;
  const std::uint64_t triples = writeSums(folder, 4'000'000 / 5, 3, 1);
  std::vector<char> block(std::size_t{1} << 18);
  for (auto _ : state) {
    std::ifstream in(folder.path("sums"), std::ios::binary);
    std::ofstream out(folder.path("copy"), std::ios::binary);
    while (in.read(block.data(), static_cast<long>(block.size())) || in.gcount() > 0) {
      out.write(block.data(), in.gcount());
    }
    if (!out.flush()) std::abort();
  }
  state.counters["triples/s"] =
      benchmark::Counter(static_cast<double>(triples), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_Copy)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
