// Reading a dataset back: records a second of every mode from a warm file, beside the bound: read(2) of the same file
// in blocks of the same size, with nothing done to them.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "control/quven_binaryindataset.h"
#include "support/mpi_main.h"

namespace {

constexpr long entriesOfLine = 18;  // with header and footer, 20 records

/// A file for the life of the program: lines of 20 records, in the sparse form or as quadruples.
class BenchFile {
 public:
  BenchFile(long records, bool quadruples) {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    folder = pattern;
    name = pattern + "/data";
    std::ofstream info(name + ".info");
    info << "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Target\n";
    std::vector<double> values;
    for (long record = 0; record < records; ++record) {
      const long position = record % (entriesOfLine + 2);
      const double line = static_cast<double>(1 + record / (entriesOfLine + 2));
      if (quadruples) values.push_back(0);
      values.push_back(line);
      values.push_back(quadruples && position > 0 ? 1 + static_cast<double>(position % 2)
                                                  : static_cast<double>(position));
      values.push_back(position == 0 ? static_cast<double>(entriesOfLine) : static_cast<double>(record % 1009));
    }
    std::ofstream file(name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(values.data()), static_cast<long>(values.size() * sizeof(double)));
    bytes = static_cast<long>(values.size() * sizeof(double));
  }
  ~BenchFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  BenchFile(const BenchFile&) = delete;
  BenchFile& operator=(const BenchFile&) = delete;

  std::string folder;
  std::string name;
  long bytes = 0;
};

void BM_DatasetRead(benchmark::State& state) {
  const auto type = static_cast<QUVENScanType>(state.range(0));
  const long records = state.range(1);
  const bool quadruples = type == QUVENScanType::SparseQuadruples;
  const BenchFile file(records, quadruples);
  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
  dataset.setProgressLines(false);
  // A worker of two sees half of the records in that mode, and fetches them all.
  dataset.open(file.name, &point, 0, type == QUVENScanType::ComplementOfSlice ? 2 : 1, QUVEN_ENV);
  const auto pass = [&] {
    dataset.setScanType(type, QUVEN_ENV);
    long delivered = 0;
    while (dataset.readNext(point, QUVEN_ENV) != QUVENInputDataset::EndOfData) ++delivered;
    return delivered;
  };
  const long lines = records / (entriesOfLine + 2);
  const long expected = quadruples                                 ? lines
                        : type == QUVENScanType::ComplementOfSlice ? records - records / 2
                        : type == QUVENScanType::SampledLines      ? lines / 2 * (entriesOfLine + 2)
                                                                   : records;
  if (pass() != expected) state.SkipWithError("the pass did not deliver the records");
  if (!quadruples && point.getField(1).getNumValue(QUVEN_ENV) != static_cast<double>(lines)) {
    state.SkipWithError("the pass did not end with the last record");
  }
  for (auto _ : state) benchmark::DoNotOptimize(pass());
  state.SetItemsProcessed(state.iterations() * records);
  state.SetBytesProcessed(state.iterations() * file.bytes);
  point.destroyPrimitive(QUVEN_ENV);
  dataset.destroyPrimitive(QUVEN_ENV);
}

enum class TablePass : long {
  ValuesOnly = 0,     ///< delivered without a scan that reads them
  NaNAllowed = 1,     ///< the same, with values that are not checked
  Sampled = 2,        ///< a first pass: every field samples
  Counted = 3,        ///< a later pass: every field counts its bins or categories
  CountedIndexed = 4  ///< the same, and a model asks for the bin or category
};

/// A table of 20 columns of one type, of which each has some missing values and `categories` different numbers: ns per
/// value.
void BM_TableRead(benchmark::State& state) {
  constexpr long columns = 20;
  constexpr double missing = -99999.0;
  const auto kind = static_cast<TablePass>(state.range(0));
  const bool categorical = state.range(1) != 0;
  const long records = state.range(2);
  const long categories = state.range(3);
  std::string folder = (std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) std::abort();
  const std::string name = folder + "/table";
  std::ofstream info(name + ".info");
  for (long c = 0; c < columns; ++c)
    info << "Col" << c << (categorical ? " Categorical" : " Numeric") << " Explanatory\n";
  info.close();
  std::vector<double> values(static_cast<std::size_t>(columns * records));
  // Codes of 15 digits, as those of texts are.
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::size_t category = i * 7919 / 13 % static_cast<std::size_t>(categories);
    values[i] = i % 37 == 0 ? missing : 491694229043088.0 + static_cast<double>(category) * 1e9;
  }
  std::ofstream file(name, std::ios::binary);
  file.write(reinterpret_cast<const char*>(values.data()), static_cast<long>(values.size() * sizeof(double)));
  file.close();

  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENBinaryInputDataset dataset;
  QUVENDataPoint point;
  dataset.setProgressLines(false);
  dataset.setNotANumberAllowed(kind == TablePass::NaNAllowed);
  dataset.open(name, &point, 0, 1, QUVEN_ENV);
  dataset.setScanType(QUVENScanType::Slice, QUVEN_ENV);
  const double* expected = values.data();
  long delivered = 0;
  for (; dataset.readRecord(point, QUVEN_ENV); ++delivered) {
    for (long c = 1; c <= columns; ++c, ++expected) {
      const QUVENField& field = point.getField(c);
      const bool isRight = field.isMissing() ? *expected == missing
                           : categorical
                               ? field.getCatValue(QUVEN_ENV) == std::to_string(static_cast<std::int64_t>(*expected))
                               : field.getNumValue(QUVEN_ENV) == *expected;
      if (!isRight) state.SkipWithError("a value is another one");
    }
  }
  if (delivered != records) state.SkipWithError("the pass did not deliver the records");

  const bool gathers = kind >= TablePass::Sampled;
  const auto pass = [&] {
    for (long c = 1; gathers && c <= columns; ++c) point.getField(c).beginDistributionPass(QUVEN_ENV);
    dataset.rewind(QUVEN_ENV);
    while (dataset.readRecord(point, QUVEN_ENV)) {
      benchmark::DoNotOptimize(point.getRecordId());
      for (long c = 1; gathers && c <= columns; ++c) {
        point.getField(c).updateDistribution(point.getRecordId(), QUVEN_ENV);
        if (kind == TablePass::CountedIndexed) benchmark::DoNotOptimize(point.getField(c).getValueIndex(QUVEN_ENV));
      }
    }
  };
  for (long c = 1; gathers && c <= columns; ++c) point.getField(c).setSampleFlag(true, QUVEN_ENV);
  if (kind >= TablePass::Counted) {
    pass();
    for (long c = 1; c <= columns; ++c) point.getField(c).endDistributionPass(QUVEN_ENV);
  }
  for (auto _ : state) pass();
  constexpr double secondsInNs = 1e-9;
  state.counters["ns_per_value"] =
      benchmark::Counter(static_cast<double>(state.iterations() * columns * records) * secondsInNs,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  point.destroyPrimitive(QUVEN_ENV);
  dataset.destroyPrimitive(QUVEN_ENV);
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}

/// The bound; items are records of three doubles.
void BM_DatasetPlainRead(benchmark::State& state) {
  const long records = state.range(0);
  const BenchFile file(records, false);
  std::vector<char> block(static_cast<std::size_t>(QUVENDatasetBuffer::BlockBytes));
  const auto pass = [&] {
    const int descriptor = ::open(file.name.c_str(), O_RDONLY);
    long bytes = 0;
    for (long count = 0; (count = ::read(descriptor, block.data(), block.size())) > 0;) bytes += count;
    ::close(descriptor);
    return bytes;
  };
  if (pass() != file.bytes) state.SkipWithError("the file was not read");
  for (auto _ : state) benchmark::DoNotOptimize(pass());
  state.SetItemsProcessed(state.iterations() * records);
  state.SetBytesProcessed(state.iterations() * file.bytes);
}

void modes(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"type", "records"});
  for (const long type : {0, 1, 2, 4, 5, 6, 7, 8}) {
    for (const long records : {20'000L, 400'000L, 8'000'000L}) bench->Args({type, records});
  }
}

void tables(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"pass", "categorical", "records", "categories"});
  for (long pass = 0; pass <= static_cast<long>(TablePass::CountedIndexed); ++pass) {
    for (const long categorical : {0, 1}) {
      for (const long categories : {3L, 50L, 1000L}) bench->Args({pass, categorical, 100'000, categories});
      // A sample of 10000 is taken of ten times as many records.
      if (pass == static_cast<long>(TablePass::Sampled)) bench->Args({pass, categorical, 1'000'000, 50});
    }
  }
}

BENCHMARK(BM_TableRead)->Apply(tables);
BENCHMARK(BM_DatasetPlainRead)->Arg(20'000)->Arg(400'000)->Arg(8'000'000);
BENCHMARK(BM_DatasetRead)->Apply(modes);

}  // namespace

int main(int argc, char** argv) { return runBenchmarksWithMpi(argc, argv); }
