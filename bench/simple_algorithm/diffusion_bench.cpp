// A pass of diffusion from memory, beside a plain sparse matrix-vector product over the same pairs, and the bytes a
// node costs. Items are pairs.

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

#include "control/quven_XML_handler.h"
#include "simple_algorithm/quven_snadata.h"
#include "simple_algorithm/silence.h"
#include "util/quven_debug.h"

namespace {

constexpr long pairsPerCaller = 10;

struct Pair {
  std::uint64_t caller;
  double callee;
  double weight;
};

/// Callers 1..n with ten callees each, of numbers that are not dense.
std::vector<Pair> randomPairs(long callers) {
  std::mt19937_64 random(20240229);
  std::vector<Pair> pairs;
  pairs.reserve(static_cast<std::size_t>(callers * pairsPerCaller));
  for (long caller = 1; caller <= callers; ++caller) {
    for (long i = 0; i < pairsPerCaller; ++i) {
      const auto callee = 1 + random() % static_cast<std::uint64_t>(callers);
      pairs.push_back({static_cast<std::uint64_t>(caller) * 7919, static_cast<double>(callee * 7919),
                       static_cast<double>(1 + random() % 20)});
    }
  }
  return pairs;
}

struct Diffusion {
  explicit Diffusion(const std::vector<Pair>& inputPairs) : pairs(inputPairs) {
    environment.activate();
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vesk-diffusion-bench";
    std::filesystem::create_directories(folder);
    const std::string seeds = folder / "seeds";
    const std::string parameters = folder / "params.xml";
    std::ofstream(seeds) << "7919\n15838\n";
    std::ofstream(parameters) << "<AnalysisParams>\n<Seed>" << seeds << "</Seed>\n<OutputFileName>"
                              << (folder / "out.csv").string() << "</OutputFileName>\n</AnalysisParams>\n";
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    if (tree->readXMLFile(parameters, QUVEN_ENV) != 1) std::abort();
    data = quvenMake<QUVENSNAData>(QUVEN_ENV);
    data->open(tree->getTag("AnalysisParams", QUVEN_ENV), parameters, QUVEN_ENV);
    tree.reset(QUVEN_ENV);
    values.setSize(2, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {  // the sums and degrees
      runPass();
      data->endDataScan(QUVEN_ENV);
    }
  }
  ~Diffusion() {
    data.reset(QUVEN_ENV);
    values.deleteMemory(QUVEN_ENV);
  }
  Diffusion(const Diffusion&) = delete;
  Diffusion& operator=(const Diffusion&) = delete;

  void row(std::uint64_t caller, double x1, double x2) {
    values[1] = x1;
    values[2] = x2;
    data->update(values, targets, caller, QUVEN_ENV);
  }

  void runPass() {
    data->initIteration(QUVEN_ENV);
    for (std::size_t i = 0; i < pairs.size(); i += pairsPerCaller) {
      const std::uint64_t caller = pairs[i].caller;
      row(caller, 0, pairsPerCaller);
      for (std::size_t k = i; k < i + pairsPerCaller; ++k) row(caller, pairs[k].callee, pairs[k].weight);
      row(caller, 0, 7788);
    }
    data->finishIteration(QUVEN_ENV);
  }

  const std::vector<Pair>& pairs;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENSNAData> data;
  QUVENXaRay<double> values;
  QUVENXaRay<double> targets;
};

void BM_DiffusionPass(benchmark::State& state) {
  const std::vector<Pair> pairs = randomPairs(state.range(0));
  const auto silence = std::make_unique<Silence>();
  Diffusion diffusion(pairs);
  for (auto _ : state) diffusion.runPass();
  state.SetItemsProcessed(state.iterations() * static_cast<long>(pairs.size()));
  state.counters["bytes/node"] =
      static_cast<double>(diffusion.environment.getBytesInUse()) / static_cast<double>(state.range(0));
}

/// The bound: rows in order, dense numbers, nothing checked and nothing looked up.
void BM_SparseMatrixVector(benchmark::State& state) {
  const std::vector<Pair> pairs = randomPairs(state.range(0));
  const std::size_t callers = static_cast<std::size_t>(state.range(0));
  std::vector<std::uint32_t> columns;
  std::vector<double> weights;
  for (const Pair& pair : pairs) {
    columns.push_back(static_cast<std::uint32_t>(pair.callee / 7919 - 1));
    weights.push_back(pair.weight);
  }
  std::vector<double> from(callers, 1.0);
  std::vector<double> to(callers);
  for (auto _ : state) {
    std::fill(to.begin(), to.end(), 0.0);
    for (std::size_t row = 0; row < callers; ++row) {
      for (std::size_t k = row * pairsPerCaller; k < (row + 1) * pairsPerCaller; ++k)
        to[columns[k]] += weights[k] * from[row];
    }
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(pairs.size()));
}

BENCHMARK(BM_DiffusionPass)->Arg(1000)->Arg(50'000)->Arg(500'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SparseMatrixVector)->Arg(1000)->Arg(50'000)->Arg(500'000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
