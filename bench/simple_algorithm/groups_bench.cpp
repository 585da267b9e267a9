// The passes of the group analysis from memory: 20 contacts a caller, 14 of them in the caller's own group of 25. The
// counters are records a second of each pass, seconds of the steps without records, and bytes. An analysis that does
// not find the groups is not timed.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "control/quven_XML_handler.h"
#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/silence.h"
#include "util/quven_debug.h"

namespace {

constexpr long contactsPerCaller = 20;
constexpr long contactsInside = 14;
constexpr long groupSize = 25;

/// The contacts of callers 1..n, ascending, side by side.
std::vector<double> randomContacts(long callers) {
  std::mt19937_64 random(20240229);
  const auto below = [&](long n) { return static_cast<double>(random() % static_cast<std::uint64_t>(n)); };
  std::vector<double> contacts;
  contacts.reserve(static_cast<std::size_t>(callers * contactsPerCaller));
  for (long caller = 1; caller <= callers; ++caller) {
    const double group = static_cast<double>((caller - 1) / groupSize * groupSize + 1);
    for (long i = 0; i < contactsInside; ++i) contacts.push_back(group + below(groupSize));
    for (long i = contactsInside; i < contactsPerCaller; ++i) contacts.push_back(1 + below(callers));
    std::sort(contacts.end() - contactsPerCaller, contacts.end());
  }
  return contacts;
}

class Groups {
 public:
  explicit Groups(const std::vector<double>& inputContacts) : contacts(inputContacts) {
    environment.activate();
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / "vesk-groups-bench";
    std::filesystem::create_directories(folder);
    const std::string parameters = folder / "params.xml";
    std::ofstream(parameters) << "<AnalysisParams>\n<OutputFileName>" << (folder / "out").string()
                              << "</OutputFileName>\n<OutputFormat>CSV</OutputFormat>\n"
                                 "<MaxClusterSize>60</MaxClusterSize>\n<KernelParams>\n"
                                 "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n"
                                 "<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n"
                                 "<SparsityLevel>0.5</SparsityLevel>\n<NormalizingFactor>"
                              << contacts.size() / contactsPerCaller
                              << "</NormalizingFactor>\n</KernelParams>\n</AnalysisParams>\n";
    auto tree = QUVENXMLHandler::create(QUVEN_ENV);
    tree->resetTree(QUVEN_ENV);
    if (tree->readXMLFile(parameters, QUVEN_ENV) != 1) std::abort();
    data = quvenMake<QUVENCGAData>(QUVEN_ENV);
    data->open(tree->getTag("AnalysisParams", QUVEN_ENV), QUVEN_ENV);
    tree.reset(QUVEN_ENV);
    values.setSize(2, QUVEN_ENV);
  }
  ~Groups() {
    data.reset(QUVEN_ENV);
    values.deleteMemory(QUVEN_ENV);
  }
  Groups(const Groups&) = delete;
  Groups& operator=(const Groups&) = delete;

  /// The seconds of each pass, by its name.
  std::map<std::string, double> run() {
    using Clock = std::chrono::steady_clock;
    std::map<std::string, double> seconds;
    const char* const names[] = {"kernel 1", "kernel 2", "cluster", "connect", "collect", "rank"};
    data->beginDataScan(2, QUVEN_ENV);
    for (const char* name : names) {
      const auto start = Clock::now();
      data->initIteration(QUVEN_ENV);
      if (data->getScanKind(QUVEN_ENV) == QUVENScanType::NoPass) {
        data->updateWithoutDataScan(QUVEN_ENV);
      } else {
        showRecords();
      }
      mostBytes = std::max(mostBytes, environment.getBytesInUse());
      data->finishIteration(QUVEN_ENV);
      data->endDataScan(QUVEN_ENV);
      mostBytes = std::max(mostBytes, environment.getBytesInUse());
      seconds[name] = std::chrono::duration<double>(Clock::now() - start).count();
    }
    return seconds;
  }

  long getNumRecords() const {
    return static_cast<long>(contacts.size()) / contactsPerCaller * (contactsPerCaller + 2);
  }
  std::int64_t getMostBytes() const { return mostBytes; }
  bool hasFoundGroups() const {
    const long numCallers = static_cast<long>(contacts.size()) / contactsPerCaller;
    return data->isFinished() && data->getFailedFile().empty() &&
           data->getClusterSizes().getSize() >= numCallers / groupSize / 2;
  }

 private:
  void row(std::uint64_t caller, double x1, double x2) {
    values[1] = x1;
    values[2] = x2;
    data->update(values, targets, caller, QUVEN_ENV);
  }
  void showRecords() {
    std::uint64_t caller = 0;
    for (std::size_t i = 0; i < contacts.size(); i += contactsPerCaller) {
      row(++caller, 0, contactsPerCaller);
      for (long k = 0; k < contactsPerCaller; ++k) {
        row(caller, static_cast<double>(k + 1), contacts[i + static_cast<std::size_t>(k)]);
      }
      row(caller, contactsPerCaller + 1, 0);
    }
  }

  const std::vector<double>& contacts;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<QUVENCGAData> data;
  QUVENXaRay<double> values;
  QUVENXaRay<double> targets;
  std::int64_t mostBytes = 0;
};

void BM_GroupAnalysis(benchmark::State& state) {
  const std::vector<double> contacts = randomContacts(state.range(0));
  const auto silence = std::make_unique<Silence>();
  for (auto _ : state) {
    Groups groups(contacts);
    const auto seconds = groups.run();
    if (!groups.hasFoundGroups()) state.SkipWithError("the groups are not found");
    for (const auto& [name, time] : seconds) {
      const bool hasRecords = name != "cluster" && name != "rank";
      const double records = static_cast<double>(groups.getNumRecords());
      state.counters[name + (hasRecords ? " records/s" : " s")] = hasRecords ? records / time : time;
    }
    state.counters["bytes/caller"] = static_cast<double>(groups.getMostBytes()) / static_cast<double>(state.range(0));
  }
}

BENCHMARK(BM_GroupAnalysis)->Arg(20000)->Arg(100000)->Arg(500000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
