// The packed symmetric matrix beside a plain loop over a square array: multiply-adds a second of a weighted rank-one
// update. The plain loop updates the same half. Both are compared before they are timed.

#include <benchmark/benchmark.h>

#include <vector>

#include "kernel/quven_symmetric_matrix.h"
#include "util/quven_own_ptr.h"

namespace {

struct Problem {
  explicit Problem(long rows) : order(rows) {
    environment.activate();
    matrix = quvenMake<QUVENSymmetricMatrix>(QUVEN_ENV);
    matrix->setOrder(rows, QUVEN_ENV);
    square.assign(static_cast<std::size_t>(rows * rows), 0.0);
    x.setSize(rows, QUVEN_ENV);
    for (long i = 1; i <= rows; ++i) x[i] = static_cast<double>(i % 7) - 2.5;
  }
  ~Problem() {
    matrix.reset(QUVEN_ENV);
    x.deleteMemory(QUVEN_ENV);
  }
  Problem(const Problem&) = delete;
  Problem& operator=(const Problem&) = delete;

  void addPacked(double w) { matrix->addWeighted(w, x); }
  void addPlain(double w) {
    const double* values = x.begin();
    for (long j = 0; j < order; ++j) {
      double* column = square.data() + j * order;
      for (long i = 0; i <= j; ++i) column[i] += w * values[j] * values[i];
    }
  }
  bool areEqual() const {
    for (long j = 1; j <= order; ++j) {
      for (long i = 1; i <= j; ++i) {
        if (matrix->get(i, j) != square[static_cast<std::size_t>((j - 1) * order + i - 1)]) return false;
      }
    }
    return true;
  }

  long order;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENSymmetricMatrix> matrix;
  QUVENXaRay<double> x;
  std::vector<double> square;
};

template <void (Problem::*add)(double)>
void BM_RankOneUpdate(benchmark::State& state) {
  Problem problem(state.range(0));
  for (const double w : {1.0, 0.3}) {
    problem.addPacked(w);
    problem.addPlain(w);
  }
  if (!problem.areEqual()) state.SkipWithError("the two matrices differ");
  for (auto _ : state) {
    (problem.*add)(0.7);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * QUVENSymmetricMatrix::indexOf(problem.order, problem.order));
}

void BM_SwapRows(benchmark::State& state) {
  Problem problem(state.range(0));
  problem.addPacked(1);
  for (auto _ : state) problem.matrix->swapRows(2, problem.order - 1);
  state.SetItemsProcessed(state.iterations() * problem.order);
}

BENCHMARK(BM_RankOneUpdate<&Problem::addPacked>)->Name("BM_Packed")->Arg(5)->Arg(21)->Arg(100)->Arg(400);
BENCHMARK(BM_RankOneUpdate<&Problem::addPlain>)->Name("BM_Plain")->Arg(5)->Arg(21)->Arg(100)->Arg(400);
BENCHMARK(BM_SwapRows)->Arg(21)->Arg(400);

}  // namespace

BENCHMARK_MAIN();
