// Who matters in each group, and the files of the results.

#include <algorithm>
#include <locale>
#include <sstream>

#include "gl/GL_Digraph.h"
#include "kernel/quven_worker.h"
#include "simple_algorithm/quven_cgadata.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace {

// Fixed, not parameters.
constexpr std::int32_t maxIterations = 10;
constexpr double tolerance = 0.1;
constexpr double jumpProbability = 0.15;

/// The page ranks of a graph's nodes with the order of their ranks: largest first, of equal ones the lower number.
struct Ranking {
  std::vector<double> ranks;
  std::vector<GL_Node> order;
};

Ranking rankingOf(const Digraph& graph) {
  Ranking ranking;
  graph.pageRank(ranking.ranks, maxIterations, tolerance, jumpProbability);
  ranking.order.resize(ranking.ranks.size());
  for (std::size_t i = 0; i < ranking.order.size(); ++i) ranking.order[i] = static_cast<GL_Node>(i);
  std::stable_sort(ranking.order.begin(), ranking.order.end(),
                   [&](GL_Node a, GL_Node b) { return ranking.ranks[a] > ranking.ranks[b]; });
  return ranking;
}

template <class T>
std::vector<T> block(const QUVENXaRay<T>& array, long first, long size) {
  return {array.begin() + (first - 1), array.begin() + (first - 1 + size)};
}

}  // namespace

void QUVENCGAData::emptyResults(const QUVENEnvHandle& env) {
  for (Vector* array : {&ivPageRanks, &ivPageRanksTransposed, &ivOutDegreesWeightedByPageRank,
                        &ivInDegreesWeightedByPageRankTransposed}) {
    array->deleteMemory(QUVEN_ENV);
  }
  ivCCNodesByPageRank.deleteMemory(QUVEN_ENV);
  ivCCNodesByPageRankTransposed.deleteMemory(QUVEN_ENV);
  for (Numbers* array : {&ivCCOutDegrees, &ivCCInDegrees, &ivCCNodesNum}) array->deleteMemory(QUVEN_ENV);
}

void QUVENCGAData::analyzeClusters(const QUVENEnvHandle& env) {
  emptyResults(QUVEN_ENV);
  const int rank = quvenWorkerRank();
  const int numWorkers = quvenWorkerCount();
  std::ostringstream start;
  start << " >>> analyzeClusters starts, numOfWorkers = " << numWorkers << ", edges = " << ivCCEdges.getSize() / 2
        << ", clusters = " << ivCCEdgesNum.getSize();
  report_log(2, start);

  QUVENNodeIndex members;
  std::vector<GL_Edge> edges;
  const auto rankCluster = [&](const Digraph& graph, Vector& ranks, Nodes& order, Numbers& degrees, Vector& weighted) {
    const Ranking ranking = rankingOf(graph);
    for (const GL_Node node : ranking.order) {
      const auto successors = graph.getSuccessors(node);
      double sum = 0;
      for (const GL_Node successor : successors) sum += ranking.ranks[successor];
      order.append(members.getNode(node + 1L), QUVEN_ENV);
      ranks.append(ranking.ranks[node], QUVEN_ENV);
      degrees.append(static_cast<std::int32_t>(successors.size()), QUVEN_ENV);
      weighted.append(sum, QUVEN_ENV);
    }
  };
  long first = 1;
  for (long i = 1; i <= ivCCEdgesNum.getSize(); ++i) {
    const long end = first + 2L * ivCCEdgesNum[i];
    if (i % numWorkers != rank) {
      first = end;
      continue;
    }
    members.clear();
    edges.clear();
    GL_Node a = 0;
    for (; first < end; first += 2) {
      // The edges of a caller follow each other.
      if (edges.empty() || ivCCEdges.at(first) != ivCCEdges.at(first - 2)) {
        a = static_cast<GL_Node>(members.insert(ivCCEdges.at(first), QUVEN_ENV) - 1);
      }
      const auto b = static_cast<GL_Node>(members.insert(ivCCEdges.at(first + 1), QUVEN_ENV) - 1);
      edges.emplace_back(a, b);
    }
    Digraph graph(static_cast<std::size_t>(members.getSize()), edges);
    ivCCNodesNum.append(static_cast<std::int32_t>(members.getSize()), QUVEN_ENV);
    rankCluster(graph, ivPageRanks, ivCCNodesByPageRank, ivCCOutDegrees, ivOutDegreesWeightedByPageRank);
    graph.transpose();
    rankCluster(graph, ivPageRanksTransposed, ivCCNodesByPageRankTransposed, ivCCInDegrees,
                ivInDegreesWeightedByPageRankTransposed);
  }
  members.deleteMemory(QUVEN_ENV);
  report_log(
      2, " >>> analyzeClusters completed, " + std::to_string(ivCCNodesNum.getSize()) + " clusters analyzed locally ]");
}

// The results

QUVENGroup QUVENCGAData::getGroup(long index, long first) const {
  const long size = ivCCNodesNum[index];
  QUVENGroup group;
  group.number = ivMinIndRelevantClusters + index - 1;
  group.asItStands = {block(ivCCNodesByPageRank, first, size), block(ivPageRanks, first, size),
                      block(ivCCOutDegrees, first, size), block(ivOutDegreesWeightedByPageRank, first, size)};
  group.linksReversed = {block(ivCCNodesByPageRankTransposed, first, size), block(ivPageRanksTransposed, first, size),
                         block(ivCCInDegrees, first, size),
                         block(ivInDegreesWeightedByPageRankTransposed, first, size)};
  const std::int32_t cluster = getCluster(group.asItStands.nodes.front());
  group.density = ivCCDensities.at(cluster);
  group.kernelDensity = ivCCKernelDensities.at(cluster);
  for (const SampleNumber node : group.asItStands.nodes) {
    group.iterations.push_back(ivNodeToIterationConnectedMap.get(nodes.find(node)));
  }
  return group;
}

void QUVENCGAData::openFile(std::unique_ptr<QUVENResultFile>& file, const char* extension) {
  const std::string name = ivOutputFileName + "_" + std::to_string(ivIterationCounter) + extension;
  file = std::make_unique<QUVENResultFile>(name);
  file->getStream().imbue(std::locale::classic());
  if (!file->isOpen() && failedFile.empty()) failedFile = name;
}

void QUVENCGAData::commitFiles() {
  // All or none: one without the others would look like a result.
  for (auto* file : {&clustersFile, &nodesFile, &levelsFile}) {
    if (*file && !(*file)->getStream().flush() && failedFile.empty()) failedFile = (*file)->getPath();
  }
  const bool areWhole = failedFile.empty();
  for (auto* file : {&clustersFile, &nodesFile, &levelsFile}) {
    if (areWhole && *file && !(*file)->commit() && failedFile.empty()) failedFile = (*file)->getPath();
    file->reset();
  }
}

void QUVENCGAData::writeGroups(const QUVENEnvHandle&) {
  const bool isCsv = ivOutputFormat == QUVENGroupFormat::Csv;
  if (ivIterationCounterCollectingEdges < 2) {
    openFile(clustersFile, isCsv ? ".clusters.csv" : ".xml");
    if (isCsv) openFile(nodesFile, ".nodes.csv");
  }
  if (!clustersFile || (isCsv && !nodesFile)) return;
  std::ostream& clusters = clustersFile->getStream();
  if (ivIterationCounterCollectingEdges == 1) {
    if (isCsv) {
      quvenWriteClusterHeader(clusters);
      quvenWriteNodeHeader(nodesFile->getStream());
    } else {
      quvenWriteTaggedStart(clusters, ivTagPrefix, ivOutputNamespace);
    }
  }
  long first = 1;
  for (long i = 1; i <= ivCCNodesNum.getSize(); ++i) {
    const QUVENGroup group = getGroup(i, first);
    if (isCsv) {
      quvenWriteCluster(clusters, group);
      quvenWriteNodes(nodesFile->getStream(), group);
    } else {
      quvenWriteTaggedCluster(clusters, group, ivTagPrefix, ivOutputFormat);
    }
    first += ivCCNodesNum[i];
  }
  if (!isCsv && isLastSlice()) quvenWriteTaggedEnd(clusters, ivTagPrefix);
}

void QUVENCGAData::printAnalysisResults(const QUVENEnvHandle& env) {
  if (getState() != CCAnalysis) quvenUnreachable(QUVEN_ENV);
  if (!ivOutputFileName.empty()) writeGroups(QUVEN_ENV);
  long numNodes = 0;
  for (const std::int32_t size : ivCCNodesNum) numNodes += size;
  report_log(1, "printAnalysisResults: final network contains " + std::to_string(numNodes) + " nodes and " +
                    std::to_string(ivCCNodesNum.getSize()) + " clusters");
}
