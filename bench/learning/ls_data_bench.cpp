// Adding records to least-squares data beside the plain loop over the same triangle: multiply-adds a second. The plain
// loop gets the deviations; the data finds them from the means. Both are compared before they are timed.

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "kernel/quven_packed_triangle.h"
#include "learning/quven_ls_data.h"
#include "util/quven_own_ptr.h"

namespace {

constexpr long records = 1024;

/// The plain loop, one column after the other.
void addPlainSquare(double* __restrict triangle, const double* __restrict x, long n, double w) {
  for (long j = 0; j < n; ++j) {
    const double factor = w * x[j];
    for (long i = 0; i <= j; ++i) triangle[i] += factor * x[i];
    triangle += j + 1;
  }
}

struct Problem {
  explicit Problem(long fields) : n(fields), rows(static_cast<std::size_t>(records)) {
    environment.activate();
    data = quvenMake<QUVENLSData>(QUVEN_ENV);
    data->allocate(n, QUVEN_ENV);
    std::mt19937 random(5);
    std::normal_distribution<double> normal;
    for (QUVENXaRay<double>& row : rows) {
      row.setSize(n, QUVEN_ENV);
      for (double& value : row) value = normal(random);
    }
    triangle.assign(static_cast<std::size_t>(quvenPackedIndex(n, n)), 0.0);
  }
  ~Problem() {
    data.reset(QUVEN_ENV);
    for (QUVENXaRay<double>& row : rows) row.deleteMemory(QUVEN_ENV);
  }
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;

  void addRecords() {
    for (const QUVENXaRay<double>& row : rows) data->addDataPoint(row, 1.0, 1.0);
  }
  void addWeightedRecords() {
    for (const QUVENXaRay<double>& row : rows) data->addDataPoint(row, 2.0, 0.5);
  }
  void addPlain() {
    for (const QUVENXaRay<double>& row : rows) addPlainSquare(triangle.data(), row.begin(), n, w);
  }

  /// Whether the data has the cross products about the means, which the plain sums about 0 and the means give.
  bool isRight() const {
    for (long j = 1; j <= n; ++j) {
      for (long i = 1; i <= j; ++i) {
        const double expected = triangle[static_cast<std::size_t>(quvenPackedIndex(i, j) - 1)] -
                                records * data->getDataMean()[i] * data->getDataMean()[j];
        if (std::abs(data->getDataCov()[quvenPackedIndex(i, j)] - expected) > 1e-10 * records) return false;
      }
    }
    return true;
  }

  long n;
  double w = 1;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENLSData> data;
  std::vector<QUVENXaRay<double>> rows;
  std::vector<double> triangle;
};

template <void (Problem::*add)()>
void BM_AddRecords(benchmark::State& state) {
  Problem problem(state.range(0));
  problem.addRecords();
  problem.addPlain();
  if (!problem.isRight()) state.SkipWithError("the cross products differ");
  for (auto _ : state) {
    (problem.*add)();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * records * quvenPackedIndex(problem.n, problem.n));
}

#define SIZES Arg(2)->Arg(4)->Arg(8)->Arg(16)->Arg(32)
BENCHMARK(BM_AddRecords<&Problem::addPlain>)->Name("BM_Plain")->SIZES;
BENCHMARK(BM_AddRecords<&Problem::addRecords>)->Name("BM_LSData")->SIZES;
BENCHMARK(BM_AddRecords<&Problem::addWeightedRecords>)->Name("BM_LSDataInverseVariance")->SIZES;

}  // namespace

BENCHMARK_MAIN();
