// Cross-validated forward selection from statistics alone: selections a second for 7 channels, whole paths. Before it
// is timed, the fit of full rank must leave residuals without correlation to any variable.

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "learning/quven_ls_method.h"
#include "util/quven_own_ptr.h"

namespace {

constexpr long channels = 7;
constexpr double floorFactor = 0x1p-23;

struct Problem {
  explicit Problem(long fields) : n(fields) {
    environment.activate();
    train.setSize(channels, QUVEN_ENV);
    eval.setSize(channels, QUVEN_ENV);
    for (long c = 1; c <= channels; ++c) {
      train[c].allocate(n, QUVEN_ENV);
      eval[c].allocate(n, QUVEN_ENV);
    }
    row.setSize(n, QUVEN_ENV);
    std::mt19937 random(3);
    std::normal_distribution<double> normal;
    for (long r = 0; r < 5000; ++r) {
      double y = normal(random);
      for (long i = 1; i < n; ++i) {
        row[i] = normal(random);
        y += row[i] / static_cast<double>(i);
      }
      row[n] = y;
      const long channel = 1 + r % channels;
      eval[channel].addDataPoint(row, 1, 1);
      for (long c = 1; c <= channels; ++c) {
        if (c != channel && channel >= std::min(c, 3L)) train[c].addDataPoint(row, 1, 1);
      }
    }
  }
  ~Problem() {
    train.deleteMemory(QUVEN_ENV);
    eval.deleteMemory(QUVEN_ENV);
    results.deleteMemory(QUVEN_ENV);
    row.deleteMemory(QUVEN_ENV);
  }
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;

  void select() { QUVENLSCholeskiMethod().selectFolds(train, eval, results, floorFactor, QUVEN_ENV); }

  bool isRight() const {
    for (long c = 1; c <= channels; ++c) {
      if (results[c].getNumModels() != n) return false;
      const QUVENLSModel& model = results[c].getModel(n - 1);
      const QUVENXaRay<double>& cov = train[c].getDataCov();
      const auto covariance = [&](long i, long j) {
        return i <= j ? cov[j * (j - 1) / 2 + i] : cov[i * (i - 1) / 2 + j];
      };
      for (long i = 1; i < n; ++i) {
        double left = covariance(i, n);
        for (long j = 1; j < n; ++j) left -= covariance(i, j) * model.getCoefficientOfVariable(j);
        if (std::abs(left) > 1e-9 * covariance(i, i)) return false;
      }
    }
    return true;
  }

  long n;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENXaRay<QUVENLSData, 0> train;
  QUVENXaRay<QUVENLSData, 0> eval;
  QUVENXaRay<QUVENLSResults, 0> results;
  QUVENXaRay<double> row;
};

void BM_SelectFolds(benchmark::State& state) {
  Problem problem(state.range(0));
  problem.select();
  if (!problem.isRight()) state.SkipWithError("the residuals are correlated with a variable");
  for (auto _ : state) problem.select();
  state.SetItemsProcessed(state.iterations());
}

void BM_Merge(benchmark::State& state) {
  Problem problem(state.range(0));
  QUVENEnv* const env = problem.env;
  QUVENOwnPtr<QUVENLSData> sum = quvenMake<QUVENLSData>(QUVEN_ENV);
  sum->allocate(problem.n, QUVEN_ENV);
  for (auto _ : state) sum->merge(problem.eval[1], QUVEN_ENV);
  sum.reset(QUVEN_ENV);
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_SelectFolds)->Arg(2)->Arg(4)->Arg(21)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Merge)->Arg(2)->Arg(4)->Arg(21);

}  // namespace

BENCHMARK_MAIN();
