// The sparsity level that gives the best partition of the network.

#include <algorithm>
#include <cmath>
#include <locale>
#include <sstream>

#include "kernel/quven_worker.h"
#include "simple_algorithm/quven_cgadata.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { Unsupported = 2204 };

constexpr unsigned bitsOfNode = 32;
constexpr std::uint64_t commonBit = std::uint64_t{1} << 63;

bool isBefore(const QUVENComparedPair& a, const QUVENComparedPair& b) {
  return a.column != b.column ? a.column < b.column : a.row < b.row;
}

/// Sorts pairs that consist of a few ascending runs: one per rank, or more if the rows of a rank do not ascend.
void orderRuns(std::vector<QUVENComparedPair>& pairs) {
  using Place = std::vector<QUVENComparedPair>::iterator;
  std::vector<Place> runs;  // where each begins, and the end
  for (auto place = pairs.begin(); place != pairs.end(); place = std::is_sorted_until(place, pairs.end(), isBefore)) {
    runs.push_back(place);
  }
  runs.push_back(pairs.end());
  constexpr std::size_t mostRuns = 64;
  if (runs.size() > mostRuns) {
    std::sort(pairs.begin(), pairs.end(), isBefore);
    return;
  }
  for (std::size_t i = 1; i + 1 < runs.size(); ++i) std::inplace_merge(pairs.begin(), runs[i], runs[i + 1], isBefore);
}

/// The place of the best modularity, and of the next best, which of one level is the best too; of equal ones the one
/// that was compared first.
struct BestPlaces {
  std::size_t best = 0;
  std::size_t next = 0;
};

BestPlaces bestPlaces(const std::vector<QUVENLevelResult>& results) {
  std::vector<std::size_t> places(results.size());
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = i;
  std::stable_sort(places.begin(), places.end(),
                   [&](std::size_t a, std::size_t b) { return results[a].modularity > results[b].modularity; });
  return {places[0], places.size() > 1 ? places[1] : places[0]};
}

void logLevel(const QUVENLevelResult& result) {
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << "Level " << result.level << ": cutoff " << result.cutoff << ", kept pairs " << result.keptPairs << ", groups "
       << result.groups << ", members " << result.members << ", largest " << result.largest << ", full groups "
       << result.fullGroups << ", calls inside " << result.callsInside << " (" << result.callsInsideShare
       << " of all), coverage " << result.coverage << ", modularity " << result.modularity << ", mean density "
       << result.meanDensity;
  report_log(1, line);
}

void logBest(const std::vector<QUVENLevelResult>& results, bool goesOn) {
  const BestPlaces places = bestPlaces(results);
  const QUVENLevelResult& best = results[places.best];
  const QUVENLevelResult& next = results[places.next];
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << "Levels: " << (goesOn ? "going on with " : "") << best.level << (goesOn ? ", which" : "");
  if (results.size() == 1) {
    line << " has the modularity " << best.modularity;
  } else {
    line << " has the best modularity of " << results.size() << " levels, " << best.modularity << "; the next best is "
         << next.level << " with " << next.modularity;
  }
  report_log(1, line);
}

}  // namespace

void QUVENCGAData::compareLevels(std::vector<double> levels, bool goesOn, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!levels.empty() && std::is_sorted(levels.begin(), levels.end()));
  if (getState() == StartFromKernel) {
    report_error(Unsupported, "--levels",
                 "QUVENCGAData::compareLevels: levels are compared of a kernel, not from a kernel values file",
                 QUVEN_ENV, true);
  }
  ivKernelPtr->keepFrom(levels.front(), QUVEN_ENV);
  levelsToCompare = std::move(levels);
  goesOnWithBestLevel = goesOn;
  comparesLevels = 1;
  connectsInOrder = 1;
}

void QUVENCGAData::requireRowsForLevels(std::int64_t numRecords, const QUVENEnvHandle& env) const {
  if (comparesLevels == 0 || numRecords >= 0 || quvenWorkerRank() != 0) return;
  report_error(Unsupported, "--levels",
               "QUVENCGAData::compareLevels: levels are compared over rows in memory, and a line before this one says "
               "why they are read from the file",
               QUVEN_ENV, true);
}

void QUVENCGAData::collectComparedPairs(const QUVENEnvHandle& env) {
  const QUVENKeptRows& rows = *rowsInMemory;
  std::vector<QUVENKeptRows::Node> nodeOfColumn{0};
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    if (rows.isOwn(row)) nodeOfColumn.push_back(rows.getCaller(row));
  }
  const auto cells = ivKernelPtr->getKernelValues(QUVEN_ENV);
  comparedPairs.setSize(static_cast<long>(cells.size()), QUVEN_ENV);
  comparedValues.setSize(static_cast<long>(cells.size()), QUVEN_ENV);
  long i = 0;
  for (const QUVENSimilarityStore::Cell& cell : cells) {
    const std::uint64_t column = nodeOfColumn[static_cast<std::size_t>(cell.column)];
    comparedPairs[++i] = (cell.mark != 0 ? commonBit : 0) | column << bitsOfNode |
                         rows.getCaller(static_cast<std::int64_t>(cell.row) - 1);
    comparedValues[i] = cell.value;
  }
  ivKernelPtr->reset(QUVEN_ENV);
}

void QUVENCGAData::addBetweenBest(QUVENLevelComparison& comparison) {
  constexpr int numBetween = 3;
  const BestPlaces places = bestPlaces(levelResults);
  const double low = std::min(levelResults[places.best].level, levelResults[places.next].level);
  const double high = std::max(levelResults[places.best].level, levelResults[places.next].level);
  for (int i = 1; i <= numBetween; ++i) {
    // To six digits, as a user would write it.
    const double level = std::round((low + (high - low) * i / (numBetween + 1)) * 1e6) / 1e6;
    const auto isLevel = [&](const QUVENLevelResult& result) { return result.level == level; };
    if (std::any_of(levelResults.begin(), levelResults.end(), isLevel)) continue;
    levelResults.push_back(comparison.compare(level));
    logLevel(levelResults.back());
  }
}

void QUVENCGAData::goOnWith(const QUVENLevelResult& level, const QUVENLevelComparison& comparison,
                            const QUVENEnvHandle& env) {
  QUVENKernelData::PairCounts counts = pairCounts;
  counts.numBelow = comparison.countBelow(level.cutoff);
  counts.kept = level.keptPairs;
  counts.keptWithoutCommon = level.keptWithoutCommon;
  QUVENKernelData::reportPairs(counts, level.level, level.cutoff, QUVEN_ENV);
  cutoff = level.cutoff;
  ivKernelEdges.setSize(2 * static_cast<long>(level.keptPairs), QUVEN_ENV);
  long size = 0;
  for (const QUVENComparedPair& pair : comparison.getPairs()) {
    if (!(pair.value >= cutoff)) continue;
    ivKernelEdges[++size] = rowsInMemory->getSubscriber(pair.column);
    ivKernelEdges[++size] = rowsInMemory->getSubscriber(pair.row);
  }
}

/// The compared pairs of all ranks in order; the arrays that they came in are given back.
std::vector<QUVENComparedPair> QUVENCGAData::takeComparedPairs(const QUVENEnvHandle& env) {
  std::vector<QUVENComparedPair> pairs;
  pairs.reserve(static_cast<std::size_t>(comparedPairs.getSize()));
  for (long i = 1; i <= comparedPairs.getSize(); ++i) {
    const std::uint64_t key = comparedPairs[i];
    pairs.push_back({static_cast<std::uint32_t>(key >> bitsOfNode) & 0x7fffffffU, (key & commonBit) != 0 ? 1U : 0U,
                     static_cast<std::uint32_t>(key), comparedValues[i]});
  }
  comparedPairs.deleteMemory(QUVEN_ENV);
  comparedValues.deleteMemory(QUVEN_ENV);
  orderRuns(pairs);
  return pairs;
}

void QUVENCGAData::writeLevels() {
  std::sort(levelResults.begin(), levelResults.end(),
            [](const QUVENLevelResult& a, const QUVENLevelResult& b) { return a.level < b.level; });
  const auto isChosen = [&](const QUVENLevelResult& result) {
    return chosenLevel && result.level == chosenLevel->level;
  };
  const auto chosen = std::find_if(levelResults.begin(), levelResults.end(), isChosen) - levelResults.begin();
  const std::string name = ivOutputFileName + "_levels.csv";
  levelsFile = std::make_unique<QUVENResultFile>(name);
  if (!levelsFile->isOpen() && failedFile.empty()) failedFile = name;
  quvenWriteLevels(levelsFile->getStream(), levelResults, chosenLevel ? chosen : -1);
}

void QUVENCGAData::chooseLevel(const QUVENEnvHandle& env) {
  QUVENLevelComparison comparison(*rowsInMemory, takeComparedPairs(QUVEN_ENV), pairCounts.numValues,
                                  pairCounts.numBelow,
                                  {ivMinClusterSize, ivMaxClusterSize, ivNumIterationsConnectingNodes});
  for (const double level : levelsToCompare) {
    levelResults.push_back(comparison.compare(level));
    logLevel(levelResults.back());
  }
  if (goesOnWithBestLevel) addBetweenBest(comparison);
  logBest(levelResults, goesOnWithBestLevel);
  if (goesOnWithBestLevel) {
    chosenLevel = levelResults[bestPlaces(levelResults).best];
    goOnWith(*chosenLevel, comparison, QUVEN_ENV);
  }
  writeLevels();
}
