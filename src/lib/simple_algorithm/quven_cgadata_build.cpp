// From the kernel's pairs to clusters with their calls.

#include <algorithm>
#include <iostream>
#include <span>
#include <sstream>

#include "gl/GL_Graph.h"
#include "kernel/quven_sample_number.h"
#include "kernel/quven_worker.h"
#include "simple_algorithm/quven_cgadata.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { NoClusters = 5006, ClustersFull = 5013 };

/// The counter of a cycle of the analysis.
std::int32_t& counterOf(QUVENXaRay<std::int32_t>& counters, std::int32_t cycle, const QUVENEnvHandle& env) {
  counters.autoExtend(cycle, QUVEN_ENV);
  return counters[cycle];
}

}  // namespace

// The initial clusters

void QUVENCGAData::collectKernelEdges(const QUVENEnvHandle& env) {
  const Nodes& columns = ivKernelPtr->getKernelColSampleNumbers();
  const Nodes& rows = ivKernelPtr->getOtherSamplesOrder();
  const std::span<const QUVENSimilarityStore::Cell> cells = ivKernelPtr->getKernelValues(QUVEN_ENV);
  const bool isAnyCovered = ivCoveredNodes.getSize() != 0;
  long size = ivKernelEdges.getSize();
  ivKernelEdges.setSize(size + 2 * static_cast<long>(cells.size()), QUVEN_ENV);
  for (const QUVENSimilarityStore::Cell& cell : cells) {
    const SampleNumber a = columns.at(cell.column);
    const SampleNumber b = rows.at(cell.row);
    if (a == b || (isAnyCovered && (ivCoveredNodes.find(a) != 0 || ivCoveredNodes.find(b) != 0))) continue;
    ivKernelEdges[++size] = a;
    ivKernelEdges[++size] = b;
  }
  ivKernelEdges.setSize(size, QUVEN_ENV);
  ivKernelPtr->reset(QUVEN_ENV);
}

void QUVENCGAData::buildInitialClusters(const QUVENEnvHandle& env) {
  // Nodes are numbered as they are met, of each pair the second one first.
  constexpr long slotsAhead = 16;  // elements of the array, two per pair
  constexpr long nodesAhead = 8;
  QUVENNodeIndex met;
  std::vector<GL_Edge> edges;
  edges.reserve(static_cast<std::size_t>(ivKernelEdges.getSize() / 2));
  GL_Node a = 0;
  for (long i = 1; i < ivKernelEdges.getSize(); i += 2) {
    if (i + slotsAhead < ivKernelEdges.getSize()) {
      met.prefetch(ivKernelEdges[i + 1 + slotsAhead]);
      met.prefetchNode(ivKernelEdges[i + 1 + nodesAhead]);
    }
    const auto b = static_cast<GL_Node>(met.insert(ivKernelEdges[i + 1], QUVEN_ENV) - 1);
    // The pairs of a column follow each other.
    if (i == 1 || ivKernelEdges[i] != ivKernelEdges[i - 2]) {
      a = static_cast<GL_Node>(met.insert(ivKernelEdges[i], QUVEN_ENV) - 1);
    }
    edges.emplace_back(a, b);
  }
  std::vector<std::vector<GL_Node>> clusters;
  std::vector<double> densities;
  {
    const Graph graph(static_cast<std::size_t>(met.getSize()), edges);
    edges = {};
    graph.clusters(clusters, ivMaxClusterSize, densities);
  }

  const long numClusters = static_cast<long>(clusters.size());
  counterOf(ivNumCCInGraph, ivIterationCounter, QUVEN_ENV) = static_cast<std::int32_t>(numClusters);
  ivClusterSizes.setSize(numClusters, QUVEN_ENV);
  ivCCKernelDensities.setSize(numClusters, QUVEN_ENV);
  long numNodes = 0;
  double sumOfDensities = 0;
  for (long c = 1; c <= numClusters; ++c) {
    const std::vector<GL_Node>& members = clusters[static_cast<std::size_t>(c - 1)];
    for (const GL_Node member : members) {
      const long index = nodes.insert(met.getNode(member + 1L), QUVEN_ENV);
      ivNodeToCCMap.at(index, QUVEN_ENV) = static_cast<std::int32_t>(c);
      ivNodeToIterationConnectedMap.at(index, QUVEN_ENV) = 0;
    }
    ivClusterSizes[c] = static_cast<std::int32_t>(members.size());
    ivCCKernelDensities[c] = densities[static_cast<std::size_t>(c - 1)];
    numNodes += ivClusterSizes[c];
    sumOfDensities += ivCCKernelDensities[c];
  }
  met.deleteMemory(QUVEN_ENV);
  // One more than there are, on purpose: it has always been counted so.
  const double numCounted = static_cast<double>(numClusters + 1);
  std::cout << "buildInitialClusters: Found " << numClusters + 1 << " initial clusters\n"
            << "buildInitialClusters: Found " << numNodes << " kernel nodes\n"
            << "buildInitialClusters: avg core cluster size = " << static_cast<double>(numNodes) / numCounted
            << ", avg kernel density = " << sumOfDensities / numCounted << '\n';
  if (numClusters == 0) {
    report_doubt(NoClusters, "SparsityLevel",
                 "QUVENCGAData::buildInitialClusters: no two subscribers are alike enough to make a cluster; a lower "
                 "SparsityLevel keeps more pairs, a larger NormalizingFactor makes common contacts count more",
                 QUVEN_ENV);
  }
  warnOfFullClusters(numNodes, QUVEN_ENV);
  flattenNodeMap(QUVEN_ENV);
  ivState = ivNumIterationsConnectingNodes >= 1 ? ConnectingIsolatedNodes : CollectingClusterEdges;
  if (ivState == CollectingClusterEdges) computeSlice(QUVEN_ENV);
}

void QUVENCGAData::warnOfFullClusters(std::int64_t numNodes, const QUVENEnvHandle& env) const {
  constexpr long fewestClusters = 10;  // a few full clusters say nothing
  constexpr double mostInFullClusters = 0.75;
  std::int64_t numInFull = 0;
  for (const std::int32_t size : ivClusterSizes) {
    if (size >= ivMaxClusterSize) numInFull += size;
  }
  const bool isCut = static_cast<double>(numInFull) > mostInFullClusters * static_cast<double>(numNodes);
  if (ivClusterSizes.getSize() < fewestClusters || !isCut) return;
  report_doubt(ClustersFull, "MaxClusterSize",
               "QUVENCGAData::buildInitialClusters: of " + std::to_string(numNodes) + " members of initial clusters " +
                   std::to_string(numInFull) +
                   " are in full ones, so MaxClusterSize cuts the groups; a higher "
                   "SparsityLevel keeps fewer pairs between groups, a larger MaxClusterSize cuts fewer groups",
               QUVEN_ENV);
}

void QUVENCGAData::flattenNodeMap(const QUVENEnvHandle& env) {
  const std::span<const std::uint32_t> ascending = nodes.getAscending(QUVEN_ENV);
  ivNodesBuffer.setSize(static_cast<long>(ascending.size()), QUVEN_ENV);
  ivCCBuffer.setSize(static_cast<long>(ascending.size()), QUVEN_ENV);
  long i = 0;
  for (const std::uint32_t index : ascending) {
    ivNodesBuffer[++i] = nodes.getNode(index);
    ivCCBuffer[i] = ivNodeToCCMap.get(index);
  }
}

// The nodes outside

void QUVENCGAData::countContact(std::int32_t cluster, ClusterVote& vote, const QUVENEnvHandle& env) {
  if (cluster < 1) return;
  clusterCounts.autoExtend(cluster, env);
  const std::int32_t count = ++clusterCounts[cluster];
  if (count == 1) clustersOfRow.append(cluster, env);
  if (count > vote.bestCount) vote = {cluster, count};
}

void QUVENCGAData::endVote(SampleNumber node, const ClusterVote& vote, const QUVENEnvHandle& env) {
  for (const std::int32_t cluster : clustersOfRow) clusterCounts[cluster] = 0;
  clustersOfRow.setSize(0, env);
  if (vote.best == 0) return;
  ivNodesToConnect.append(node, env);
  ivClustersToConnectNodesTo.append(vote.best, env);
}

void QUVENCGAData::checkConnectingNode(SampleNumber node, const Vector& row, bool traced, const QUVENEnvHandle& env) {
  if (getCluster(node) != 0) return;
  ClusterVote vote;
  for (const double contact : row) {
    if (!(contact > 0)) break;
    countContact(getCluster(quvenSampleNumber(contact)), vote, env);
  }
  endVote(node, vote, env);
  if (!traced) return;
  std::cout << "checkConnectingNode: node " << node;
  if (vote.best != 0) {
    std::cout << " to be connected to cluster " << vote.best << '\n';
  } else {
    std::cout << ", no connecting cluster was found \n";
  }
}

void QUVENCGAData::connectNodes(const QUVENEnvHandle& env) {
  ++ivConnectingNodesIterationCounter;
  bool hasChanged = false;
  if (isOrderedByNumbers()) orderProposals(QUVEN_ENV);
  QUVEN_ASSERT(ivNodesToConnect.getSize() == ivClustersToConnectNodesTo.getSize());
  for (long i = 1; i <= ivNodesToConnect.getSize(); ++i) {
    const std::int32_t cluster = ivClustersToConnectNodesTo[i];
    std::int32_t& size = ivClusterSizes.at(cluster);
    if (size >= ivMaxClusterSize) continue;
    const long index = nodes.insert(ivNodesToConnect[i], QUVEN_ENV);
    ivNodeToCCMap.at(index, QUVEN_ENV) = cluster;
    ivNodeToIterationConnectedMap.at(index, QUVEN_ENV) = ivConnectingNodesIterationCounter;
    ++size;
    hasChanged = true;
  }
  flattenNodeMap(QUVEN_ENV);
  const bool isLast = !hasChanged || ivConnectingNodesIterationCounter >= ivNumIterationsConnectingNodes;
  if (isLast) computeSlice(QUVEN_ENV);
  finish("Finished connecting isolated nodes", isLast ? CollectingClusterEdges : ConnectingIsolatedNodes);
}

// The calls inside

void QUVENCGAData::computeSlice(const QUVENEnvHandle&) {
  const std::int64_t numClusters = ivClusterSizes.getSize();
  const std::int64_t slice = ivIterationCounterCollectingEdges;
  if (ivMaxNodesCollectingEdges == 0) {
    const std::int64_t numSlices = ivNumIterationsCollectingEdges;
    const std::int64_t perSlice = (numClusters + numSlices - 1) / numSlices;
    const std::int64_t first = (slice - 1) * perSlice + 1;
    ivMinIndRelevantClusters = static_cast<std::int32_t>(first);
    ivMaxIndRelevantClusters = static_cast<std::int32_t>(slice == numSlices ? numClusters : first + perSlice - 1);
    return;
  }
  ivMinIndRelevantClusters = slice == 1 ? 1 : ivMaxIndRelevantClusters + 1;
  ivMaxIndRelevantClusters = ivMinIndRelevantClusters;
  if (ivMinIndRelevantClusters > numClusters) return;
  std::int64_t numNodes = ivClusterSizes[ivMinIndRelevantClusters];
  while (ivMaxIndRelevantClusters < numClusters) {
    numNodes += ivClusterSizes[ivMaxIndRelevantClusters + 1];
    if (numNodes > ivMaxNodesCollectingEdges) break;
    ++ivMaxIndRelevantClusters;
  }
}

long QUVENCGAData::getSliceEnd() const {
  return std::min(static_cast<long>(ivMaxIndRelevantClusters), ivClusterSizes.getSize());
}

std::int32_t QUVENCGAData::getCallerCluster(SampleNumber caller) {
  // The rows of a caller follow each other.
  if (currentCluster < 0 || caller != currentCaller) {
    currentCaller = caller;
    currentCluster = getCluster(caller);
  }
  return currentCluster;
}

void QUVENCGAData::addEdges(SampleNumber node, const Vector& row, bool traced, const QUVENEnvHandle& env) {
  const std::int32_t cluster = getCluster(node);
  if (cluster == 0) return;
  if (traced) std::cout << "addEdges: statring node " << node << '\n';
  std::vector<SampleNumber> seen;  // ascending; of a row there are no more than members of the cluster
  for (const double element : row) {
    if (!(element > 0)) break;
    const SampleNumber contact = quvenSampleNumber(element);
    if (contact == node || getCluster(contact) != cluster) continue;
    const auto place = std::lower_bound(seen.begin(), seen.end(), contact);
    if (place != seen.end() && *place == contact) continue;
    seen.insert(place, contact);
    ivCCEdges.append(node, env);
    ivCCEdges.append(contact, env);
    if (traced) std::cout << "addEdges: added edge (" << node << ", " << contact << ")\n";
  }
  if (traced) std::cout << "addEdges: ending node " << node << '\n';
}

void QUVENCGAData::buildFinalClusters(const QUVENEnvHandle& env) {
  const long first = ivMinIndRelevantClusters;
  const long last = std::max(getSliceEnd(), first - 1);
  const auto isRelevant = [&](long cluster) {
    return cluster >= first && cluster <= last && ivClusterSizes[cluster] >= ivMinClusterSize &&
           ivClusterSizes[cluster] <= ivMaxClusterSize;
  };
  long numRelevant = 0;
  for (long c = first; c <= last; ++c) numRelevant += isRelevant(c) ? 1 : 0;
  for (long i = 1; i <= nodes.getSize(); ++i) {
    if (isRelevant(ivNodeToCCMap.get(i))) ivCoveredNodes.insert(nodes.getNode(i), QUVEN_ENV);
  }
  const long numEdges = ivCCEdges.getSize() / 2;
  counterOf(ivNumEdgesInGraph, ivIterationCounter, QUVEN_ENV) += static_cast<std::int32_t>(numEdges);

  // The edges of each relevant cluster side by side, in the order of their coming.
  std::vector<long> numEdgesOf(static_cast<std::size_t>(last - first + 1), 0);
  std::vector<std::int32_t> clusterOf(static_cast<std::size_t>(numEdges), 0);
  std::int32_t cluster = 0;
  for (long e = 0; e < numEdges; ++e) {
    // The edges of a caller follow each other.
    if (e == 0 || ivCCEdges[2 * e + 1] != ivCCEdges[2 * e - 1]) cluster = getCluster(ivCCEdges[2 * e + 1]);
    if (!isRelevant(cluster)) continue;
    clusterOf[static_cast<std::size_t>(e)] = cluster;
    ++numEdgesOf[static_cast<std::size_t>(cluster - first)];
  }
  std::vector<long> places(numEdgesOf.size(), 0);
  long numKept = 0;
  if (ivIterationCounterCollectingEdges <= 1) {
    ivCCDensities.setSize(0, QUVEN_ENV);
    ivCCDensities.setSize(ivClusterSizes.getSize(), QUVEN_ENV);
  }
  ivCCEdgesNum.setSize(0, QUVEN_ENV);
  std::int32_t& numNodes = counterOf(ivNodesInRelevantClusters, ivIterationCounter, QUVEN_ENV);
  for (long c = first; c <= last; ++c) {
    const long e = numEdgesOf[static_cast<std::size_t>(c - first)];
    places[static_cast<std::size_t>(c - first)] = numKept;
    numKept += e;
    if (e == 0) continue;
    const double m = ivClusterSizes[c];
    numNodes += ivClusterSizes[c];
    ivCCDensities[c] = static_cast<double>(e) / ((m - 1) * m);
    ivCCEdgesNum.append(static_cast<std::int32_t>(e), QUVEN_ENV);
  }
  Nodes edges;
  edges.setSize(2 * numKept, QUVEN_ENV);
  for (long e = 0; e < numEdges; ++e) {
    const std::int32_t edgeCluster = clusterOf[static_cast<std::size_t>(e)];
    if (edgeCluster == 0) continue;
    const long place = 2 * places[static_cast<std::size_t>(edgeCluster - first)]++;
    edges[place + 1] = ivCCEdges[2 * e + 1];
    edges[place + 2] = ivCCEdges[2 * e + 2];
  }
  ivCCEdges.swap(edges);
  edges.deleteMemory(QUVEN_ENV);

  std::ostringstream text;
  text << "\n[Worker:" << quvenWorkerRank() << " >>> buildFinalClusters: done, " << numRelevant
       << " clusters found relevant (out of " << last - first + 1 << ") ]";
  report_log(0, text);
}

void QUVENCGAData::collectNextSlice(const QUVENEnvHandle& env) {
  ++ivIterationCounterCollectingEdges;
  ivState = CollectingClusterEdges;
  computeSlice(QUVEN_ENV);
  ivCCEdges.deleteMemory(QUVEN_ENV);
  ivCCEdgesNum.deleteMemory(QUVEN_ENV);
  emptyResults(QUVEN_ENV);
}
