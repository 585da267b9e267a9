// The steps of a scan by themselves: line ends, the cut, the words, the numbers, whole lines, inserts, writers.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "fixed_fields.h"
#include "key_table.h"
#include "line_reader.h"
#include "loader_tables.h"
#include "number_reading.h"
#include "output_files.h"
#include "pair_sum_table.h"
#include "process_file.h"
#include "record_generator.h"

namespace {

namespace fs = std::filesystem;
using namespace vesk_loader;

const std::vector<std::int32_t> starts = {0, 16, 32, 41, 48};
const std::vector<std::int32_t> ends = {14, 30, 39, 46, 49};

// A record file in the page cache.
class Records {
 public:
  explicit Records(std::uint64_t count)
      : path(fs::temp_directory_path() / ("scan_steps_bench." + std::to_string(count))) {
    vesk_generate::GeneratorSettings settings;
    settings.records = count;
    settings.callers = 100000;
    vesk_generate::RecordGenerator generator(settings);
    std::vector<char> buffer(count * generator.lineBytes());
    std::ofstream file(path, std::ios::binary);
    bytes = generator.fill(count, buffer);
    file.write(buffer.data(), static_cast<std::streamsize>(bytes));
    if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
  }
  ~Records() { fs::remove(path); }

  fs::path path;
  std::size_t bytes = 0;
};

// Calls a function with each line; the sum of its results proves that the work was done.
template <class Use>
void scan_lines(benchmark::State& state, Use use) {
  const Records records(static_cast<std::uint64_t>(state.range(0)));
  std::uint64_t lines = 0;
  for (auto _ : state) {
    LineReader reader;
    if (!reader.open(records.path.string())) throw std::runtime_error("cannot open the records");
    Line line;
    std::uint64_t accepted = 0;
    while (reader.next(line) == LineReader::Result::Line) accepted += use(line);
    if (accepted != static_cast<std::uint64_t>(state.range(0))) throw std::runtime_error("a line was refused");
    lines += accepted;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(lines));
  state.SetBytesProcessed(
      static_cast<std::int64_t>(lines / static_cast<std::uint64_t>(state.range(0)) * records.bytes));
}

void BM_LineReaderNext(benchmark::State& state) {
  scan_lines(state, [](const Line& line) { return line.length == 50 ? 1U : 0U; });
}

void BM_FixedFieldsSplit(benchmark::State& state) {
  FixedFields fields(starts, ends);
  scan_lines(state, [&](const Line& line) { return fields.split_fixed_fields(line) ? 1U : 0U; });
}

void BM_FixedFieldsSplitAndFindWords(benchmark::State& state) {
  FixedFields fields(starts, ends);
  scan_lines(state, [&](const Line& line) { return fields.split_fixed_fields(line) && fields.findWords() ? 1U : 0U; });
}

void BM_ReadAllNumbers(benchmark::State& state) {
  FixedFields fields(starts, ends);
  scan_lines(state, [&](const Line& line) {
    if (!fields.split_fixed_fields(line) || !fields.findWords()) return 0U;
    double sum = 0.0;
    for (std::size_t i = 0; i < fields.size(); ++i) sum += read_double(fields[i]);
    return sum > 0.0 ? 1U : 0U;
  });
}

void BM_ReadAllNumbersByLibrary(benchmark::State& state) {
  FixedFields fields(starts, ends);
  scan_lines(state, [&](const Line& line) {
    if (!fields.split_fixed_fields(line) || !fields.findWords()) return 0U;
    double sum = 0.0;
    for (std::size_t i = 0; i < fields.size(); ++i) sum += read_double_by_library(fields[i].text());
    return sum > 0.0 ? 1U : 0U;
  });
}

// Inserts in no order, as they come from records.
std::vector<double> random_keys(std::size_t count, std::uint64_t distinct) {
  std::mt19937_64 random(1);
  std::vector<double> keys(count);
  for (double& key : keys) key = static_cast<double>(1 + random() % distinct);
  return keys;
}

void BM_KeyTableAppend(benchmark::State& state) {
  const auto callers = static_cast<std::uint64_t>(state.range(0));
  const std::vector<double> keys = random_keys(20 * callers, callers);
  std::size_t bytes = 0;
  for (auto _ : state) {
    KeyTable table({20, true, 1});
    const double entry[3] = {1, 2, 3};
    for (const double key : keys) table.append(table.findOrInsert(key), entry, 1);
    bytes = table.bytesInUse();
    benchmark::DoNotOptimize(table.size());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keys.size()));
  state.counters["bytes/caller"] = static_cast<double>(bytes) / static_cast<double>(callers);
}

void BM_PairSumTableAdd(benchmark::State& state) {
  const auto callers = static_cast<std::uint64_t>(state.range(0));
  const std::vector<double> callees = random_keys(20 * callers, callers);
  const std::vector<double> keys = random_keys(20 * callers + 7, callers);
  for (auto _ : state) {
    PairSumTable table;
    for (std::size_t i = 0; i < callees.size(); ++i) {
      const auto row = static_cast<std::uint32_t>(keys[i + 7]);
      table.weight(row, callees[i], PairSumTable::hash(row, callees[i])) += 1.0;
    }
    benchmark::DoNotOptimize(table.size());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * callees.size()));
}

// A full table of 20 entries a caller with dates and one payload.
LoaderTables full_tables(const LoaderSettings& settings, std::uint32_t callers) {
  LoaderTables tables = LoaderTables::create(settings);
  for (std::uint32_t i = 0; i < 20; ++i) {
    const double entry[3] = {100.0 - i, 20200101.0, 60.0};
    for (std::uint32_t caller = 0; caller < callers; ++caller) {
      // An odd multiplier: the callers come in no order.
      const std::uint32_t key = caller * 2654435761U % callers + 1;
      tables.keys->append(tables.keys->findOrInsert(key), entry, 1);
    }
  }
  return tables;
}

LoaderSettings table_settings() {
  LoaderSettings settings;
  settings.cyclicTableSize = 20;
  settings.dateField = 2;
  settings.payloadInputs = {3};
  settings.sparse = 1;
  return settings;
}

// The report lines of the steps go nowhere while these run.
class Silence {
 public:
  Silence() : saved(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int null = ::open("/dev/null", O_WRONLY);
    if (saved < 0 || null < 0) throw std::runtime_error("cannot turn the output off");
    ::dup2(null, STDOUT_FILENO);
    ::close(null);
  }
  ~Silence() {
    std::fflush(stdout);
    ::dup2(saved, STDOUT_FILENO);
    ::close(saved);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int saved;
};

template <class Step>
void file_step(benchmark::State& state, const std::vector<std::string>& suffixes, Step step) {
  const std::string path = (fs::temp_directory_path() / "scan_steps_bench.file").string();
  const LoaderSettings settings = table_settings();
  LoaderTables tables = full_tables(settings, static_cast<std::uint32_t>(state.range(0)));
  {
    const Silence silence;
    write_process_file(path, tables);
    for (auto _ : state) step(path, settings, tables);
  }
  std::size_t bytes = 0;
  for (const std::string& suffix : suffixes) bytes += fs::file_size(path + suffix);
  for (const char* suffix : {"", ".info", "_payload_1"}) fs::remove(path + suffix);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.SetItemsProcessed(state.iterations() * state.range(0) * 20);
}

void BM_ProcessFileWrite(benchmark::State& state) {
  file_step(state, {""}, [](const std::string& path, const LoaderSettings&, LoaderTables& tables) {
    write_process_file(path, tables);
  });
}

void BM_ProcessFileRead(benchmark::State& state) {
  file_step(state, {""}, [](const std::string& path, const LoaderSettings& settings, LoaderTables&) {
    LoaderTables fresh;
    if (read_process_file(path, settings, fresh) != 1) throw std::runtime_error("cannot read the process file");
  });
}

void BM_SparseOutputWrite(benchmark::State& state) {
  file_step(state, {"", "_payload_1"},
            [](const std::string& path, const LoaderSettings& settings, LoaderTables& tables) {
              if (write_pml_file(path, tables, settings) != 1) throw std::runtime_error("cannot write the output");
            });
}

}  // namespace

BENCHMARK(BM_LineReaderNext)->Arg(10000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_FixedFieldsSplit)->Arg(10000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_FixedFieldsSplitAndFindWords)->Arg(10000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_ReadAllNumbers)->Arg(10000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_ReadAllNumbersByLibrary)->Arg(10000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_KeyTableAppend)->Arg(1000)->Arg(50000)->Arg(500000);
BENCHMARK(BM_PairSumTableAdd)->Arg(1000)->Arg(50000)->Arg(500000);
BENCHMARK(BM_ProcessFileWrite)->Arg(1000)->Arg(50000)->Arg(500000);
BENCHMARK(BM_ProcessFileRead)->Arg(1000)->Arg(50000)->Arg(500000);
BENCHMARK(BM_SparseOutputWrite)->Arg(1000)->Arg(50000)->Arg(500000);

int main(int argc, char** argv) {
#ifndef NDEBUG
  std::fprintf(stderr, "scan_steps_bench: a debug build tells nothing about speed\n");
  return 1;
#endif
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
