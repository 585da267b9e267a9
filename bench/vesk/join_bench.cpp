// Joins a base table of 4 columns with right sides of 6 columns: records of the base per second. The time to read the
// right side is measured separately. So is its memory, with a separate process for each run.

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "support/bench_folder.h"
#include "table/join_table.h"

namespace {

constexpr int rightColumns = 6;  // without the key

enum class Form { Csv, Table };

/// Keys 1 to `records` in the base and the same keys in another order on the right.
vesk::JoinOptions writeTables(const BenchFolder& folder, long records, long keys, Form form) {
  std::string info = "key Numeric Explanatory\n";
  std::vector<double> base;
  for (long r = 0; r < records; ++r) {
    for (const double value : {static_cast<double>(1 + r % keys), 1.5, 2.5, static_cast<double>(r)}) {
      base.push_back(value);
    }
  }
  folder.write("base", base);
  folder.write("base.info", info + "b1 Numeric Explanatory\nb2 Numeric Explanatory\nb3 Numeric Explanatory\n");
  std::vector<double> order(static_cast<std::size_t>(keys));
  for (long k = 0; k < keys; ++k) order[static_cast<std::size_t>(k)] = static_cast<double>(k + 1);
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  std::string csv = "key";
  for (int c = 1; c <= rightColumns; ++c) {
    const std::string number = std::to_string(c);
    csv.append(",r").append(number);
    info.append("r").append(number).append(" Numeric Explanatory\n");
  }
  std::vector<double> right;
  csv += '\n';
  for (const double key : order) {
    right.push_back(key);
    csv += std::to_string(static_cast<long>(key));
    for (int c = 0; c < rightColumns; ++c) {
      right.push_back(key / 8);
      csv.append(",").append(std::to_string(key / 8));
    }
    csv += '\n';
  }
  if (form == Form::Csv) {
    folder.write("right.csv", csv);
  } else {
    folder.write("right", right);
    folder.write("right.info", info);
  }
  vesk::JoinOptions options;
  options.base = folder.path("base");
  options.output = folder.path("out");
  options.key = "key";
  options.with = {{folder.path(form == Form::Csv ? "right.csv" : "right"), ""}};
  return options;
}

void BM_JoinRecords(benchmark::State& state) {
  const BenchFolder folder;
  const long records = 4'000'000;
  const vesk::JoinOptions options = writeTables(folder, records, state.range(0), Form::Table);
  for (auto _ : state) benchmark::DoNotOptimize(vesk::makeJoinTable(options).records);
  state.counters["records/s"] =
      benchmark::Counter(static_cast<double>(records), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_JoinRecords)->ArgName("keys")->Arg(10'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void BM_JoinRightSide(benchmark::State& state) {
  const BenchFolder folder;
  const long keys = 1'000'000;
  const auto form = static_cast<Form>(state.range(0));
  const vesk::JoinOptions options = writeTables(folder, 1, keys, form);
  for (auto _ : state) benchmark::DoNotOptimize(vesk::makeJoinTable(options).records);
  state.counters["rows/s"] =
      benchmark::Counter(static_cast<double>(keys), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_JoinRightSide)
    ->ArgName("form")
    ->Arg(static_cast<long>(Form::Csv))
    ->Arg(static_cast<long>(Form::Table))
    ->Unit(benchmark::kMillisecond);

/// Peak memory of a process that joins, in bytes.
double peakOf(const vesk::JoinOptions& options) {
  const pid_t child = ::fork();
  if (child < 0) std::abort();
  if (child == 0) {
    // A separate program, so that the peak does not include the memory of this process.
    ::execl("/proc/self/exe", "join_bench", "--join", options.base.c_str(), options.output.c_str(),
            options.with.front().path.c_str(), static_cast<char*>(nullptr));
    ::_exit(1);
  }
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child || status != 0) std::abort();
  return static_cast<double>(usage.ru_maxrss) * 1024;
}

void BM_JoinMemory(benchmark::State& state) {
  const BenchFolder few;
  const BenchFolder many;
  const auto form = static_cast<Form>(state.range(0));
  const long keys = state.range(1);
  const vesk::JoinOptions small = writeTables(few, 1, 1000, form);
  const vesk::JoinOptions large = writeTables(many, 1, keys, form);
  double bytes = 0;
  for (auto _ : state) bytes = peakOf(large) - peakOf(small);
  const double perKey = bytes / static_cast<double>(keys - 1000);
  state.counters["bytes/key"] = perKey;
  state.counters["beside cells"] = perKey - rightColumns * sizeof(double);
}
BENCHMARK(BM_JoinMemory)
    ->ArgNames({"form", "keys"})
    ->Args({static_cast<long>(Form::Csv), 1'000'000})
    ->Args({static_cast<long>(Form::Table), 1'000'000})
    ->Args({static_cast<long>(Form::Table), 1'400'000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::string(argv[1]) == "--join") {
    vesk::JoinOptions options;
    options.base = argv[2];
    options.output = argv[3];
    options.key = "key";
    options.with = {{argv[4], ""}};
    return vesk::makeJoinTable(options).records == 1 ? 0 : 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
