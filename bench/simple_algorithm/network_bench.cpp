// Diffusion and groups over networks of three shapes, all passes from memory, beside bounds by hand: a network with
// heavy tails, one whose rows have about 20 callees, and the same with one row of 100,000. The counters are nanoseconds
// of CPU time per record of each pass, CPU seconds of the steps without records, and the longest row. Items are pairs,
// of diffusion pairs times steps.

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <string>

#include "control/quven_XML_handler.h"
#include "simple_algorithm/network_bounds.h"
#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_snadata.h"
#include "simple_algorithm/silence.h"
#include "support/bench_folder.h"
#include "support/call_network.h"

namespace {

enum Shape : std::int64_t { HeavyTail, Even, LongRow };
constexpr std::size_t numSubscribers = 120'000;
constexpr int numSteps = 20;

const CallNetwork& networkOf(std::int64_t shape) {
  constexpr double meanCalls = 20;
  constexpr std::size_t longRow = 100'000;
  static std::map<std::int64_t, CallNetwork> networks;
  const auto [place, isNew] = networks.try_emplace(shape);
  if (isNew) {
    place->second = shape == HeavyTail ? heavyTailNetwork(numSubscribers, meanCalls)
                                       : evenNetwork(numSubscribers, shape == LongRow ? longRow : 0);
  }
  return place->second;
}

/// An analysis whose passes get their records from memory. Subscriber i has the number i + 1.
template <class Data>
class AnalysisPasses {
 public:
  explicit AnalysisPasses(const CallNetwork& callNetwork) : network(callNetwork) {
    environment.activate();
    values.setSize(2, QUVEN_ENV);
    data = quvenMake<Data>(QUVEN_ENV);
  }
  ~AnalysisPasses() {
    data.reset(QUVEN_ENV);
    values.deleteMemory(QUVEN_ENV);
  }
  AnalysisPasses(const AnalysisPasses&) = delete;
  AnalysisPasses& operator=(const AnalysisPasses&) = delete;

  /// Opens the analysis with the text of the parameters; open gets the data, the parameters and their file.
  template <class Open>
  void open(const std::string& text, Open openData) {
    folder.write("params.xml", "<AnalysisParams>\n<OutputFileName>" + folder.path("out") + "</OutputFileName>\n" +
                                   text + "</AnalysisParams>\n");
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    if (tree->readXMLFile(folder.path("params.xml"), QUVEN_ENV) != 1) std::abort();
    openData(*data, tree->getTag("AnalysisParams", QUVEN_ENV), folder.path("params.xml"), QUVEN_ENV);
    tree.reset(QUVEN_ENV);
  }

  /// Runs the analysis to its end. Each row is shown by showRow. The cost of pass i goes to the counter nameOf(i).
  template <class ShowRow, class NameOf>
  void run(ShowRow showRow, NameOf nameOf, benchmark::UserCounters& counters) {
    std::map<std::string, double> costs;
    std::map<std::string, int> passes;
    data->beginDataScan(2, QUVEN_ENV);
    for (int pass = 1; !data->isFinished(); ++pass) {
      const std::clock_t start = std::clock();  // CPU time
      data->initIteration(QUVEN_ENV);
      const bool hasRecords = data->getScanKind(QUVEN_ENV) != QUVENScanType::NoPass;
      if (hasRecords) {
        for (std::size_t i = 0; i < network.getNumSubscribers(); ++i) showRow(*this, i);
      } else {
        data->updateWithoutDataScan(QUVEN_ENV);
      }
      data->finishIteration(QUVEN_ENV);
      data->endDataScan(QUVEN_ENV);
      const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
      constexpr double nanoseconds = 1e9;
      const std::string name = nameOf(pass) + (hasRecords ? " ns/record" : " s");
      costs[name] += hasRecords ? seconds * nanoseconds / static_cast<double>(network.getNumRecords()) : seconds;
      ++passes[name];
    }
    for (const auto& [name, cost] : costs) counters[name] = cost / passes[name];
    counters["longest row"] = static_cast<double>(network.getLongestRow());
  }

  void record(std::size_t subscriber, double x1, double x2) {
    values[1] = x1;
    values[2] = x2;
    data->update(values, targets, subscriber + 1, QUVEN_ENV);
  }

  const CallNetwork& network;
  BenchFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<Data> data;
  QUVENXaRay<double> values;
  QUVENXaRay<double> targets;
};

void BM_Diffusion(benchmark::State& state) {
  const CallNetwork& network = networkOf(state.range(0));
  const auto silence = std::make_unique<Silence>();
  using Passes = AnalysisPasses<QUVENSNAData>;
  const auto showRow = [](Passes& passes, std::size_t i) {
    const CallNetwork& rows = passes.network;
    passes.record(i, 0, static_cast<double>(rows.getLength(i)));
    for (std::size_t k = rows.begins[i]; k < rows.begins[i + 1]; ++k) {
      passes.record(i, static_cast<double>(rows.callees[k] + 1), rows.calls[k]);
    }
    constexpr double markOfPairSums = 7788;
    passes.record(i, 0, markOfPairSums);
  };
  const auto nameOf = [](int pass) { return pass < 3 ? "pass " + std::to_string(pass) : std::string("step"); };
  for (auto _ : state) {
    Passes passes(network);
    passes.folder.write("seeds", std::string("1\n60000\n120000\n"));
    passes.open("<Seed>" + passes.folder.path("seeds") +
                    "</Seed>\n<SpreadCoefficient>0.5</SpreadCoefficient>\n"
                    "<EndConditionValue>1e-300</EndConditionValue>\n<MaxNumIterations>" +
                    std::to_string(numSteps) + "</MaxNumIterations>\n",
                [](QUVENSNAData& data, const QUVENXMLTag& tag, const std::string& file, const QUVENEnvHandle& env) {
                  data.open(tag, file, QUVEN_ENV);
                });
    passes.run(showRow, nameOf, state.counters);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(network.getNumPairs()) * numSteps);
}

void BM_DiffusionBound(benchmark::State& state) {
  const CallNetwork& network = networkOf(state.range(0));
  const std::uint32_t seeds[] = {0, numSubscribers / 2 - 1, numSubscribers - 1};
  for (auto _ : state) {
    SpreadingBound bound(network);
    const std::vector<double>& energies = bound.spread(numSteps, seeds);
    const double sum = std::accumulate(energies.begin(), energies.end(), 0.0);
    if (std::abs(sum - static_cast<double>(std::size(seeds))) > 1e-9) state.SkipWithError("energy is lost");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(network.getNumPairs()) * numSteps);
}

void BM_Groups(benchmark::State& state) {
  const CallNetwork& network = networkOf(state.range(0));
  const auto silence = std::make_unique<Silence>();
  using Passes = AnalysisPasses<QUVENCGAData>;
  const auto showRow = [](Passes& passes, std::size_t i) {
    const std::span<const std::uint32_t> row = passes.network.getRow(i);
    passes.record(i, 0, static_cast<double>(row.size()));
    double place = 0;
    for (const std::uint32_t contact : row) passes.record(i, ++place, static_cast<double>(contact + 1));
    passes.record(i, ++place, 0);
  };
  const auto nameOf = [](int pass) {
    static const char* const names[] = {"kernel 1", "kernel 2", "cluster", "connect", "collect", "rank"};
    return pass <= static_cast<int>(std::size(names)) ? std::string(names[pass - 1]) : "pass " + std::to_string(pass);
  };
  for (auto _ : state) {
    Passes passes(network);
    passes.open(
        "<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>100</MaxClusterSize>\n<KernelParams>\n"
        "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n"
        "<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n"
        "<SparsityLevel>0.5</SparsityLevel>\n<NormalizingFactor>" +
            std::to_string(numSubscribers) + "</NormalizingFactor>\n</KernelParams>\n",
        [](QUVENCGAData& data, const QUVENXMLTag& tag, const std::string&, const QUVENEnvHandle& env) {
          data.open(tag, QUVEN_ENV);
        });
    passes.run(showRow, nameOf, state.counters);
    if (!passes.data->getFailedFile().empty()) state.SkipWithError("a file is not written");
    if (passes.data->getClusterSizes().getSize() == 0) state.SkipWithError("no group is found");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<long>(network.getNumPairs()));
}

/// The count of countCommonByMarks by sorted lists, for a small network.
std::uint64_t countCommonByLists(const CallNetwork& network) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < network.getNumSubscribers(); ++i) {
    for (std::size_t k = 0; k < network.getNumSubscribers(); ++k) {
      const auto a = network.getRow(i);
      const auto b = network.getRow(k);
      const bool calls = std::binary_search(a.begin(), a.end(), k);
      const bool isCalled = std::binary_search(b.begin(), b.end(), i);
      if (i == k || !calls || (isCalled && k < i)) continue;
      std::vector<std::uint32_t> common;
      std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(common));
      sum += common.size();
    }
  }
  return sum;
}

void BM_CommonContactsBound(benchmark::State& state) {
  const CallNetwork small = heavyTailNetwork(1000, 10);
  if (countCommonByMarks(small) != countCommonByLists(small)) return state.SkipWithError("the bound counts wrongly");
  const CallNetwork& network = networkOf(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(countCommonByMarks(network));
  state.SetItemsProcessed(state.iterations() * static_cast<long>(network.getNumPairs()));
}

void shapes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("shape")->Arg(HeavyTail)->Arg(Even)->Arg(LongRow)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Diffusion)->Apply(shapes)->Iterations(1);
BENCHMARK(BM_DiffusionBound)->Apply(shapes);
BENCHMARK(BM_Groups)->Apply(shapes)->Iterations(1);
BENCHMARK(BM_CommonContactsBound)->Apply(shapes);

}  // namespace

BENCHMARK_MAIN();
