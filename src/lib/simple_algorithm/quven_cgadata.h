#ifndef QUVEN_CGADATA_H
#define QUVEN_CGADATA_H

// The group analysis: groups of subscribers with much in common, and who leads them.

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/quven_XML_tag.h"
#include "control/quven_result_file.h"
#include "simple_algorithm/quven_analysis_trace.h"
#include "simple_algorithm/quven_group_results.h"
#include "simple_algorithm/quven_kernel_data.h"
#include "simple_algorithm/quven_level_comparison.h"
#include "simple_algorithm/quven_node_table.h"
#include "simple_algorithm/quven_simple_algorithm_data.h"
#include "simple_algorithm/quven_sparse_to_dense_data.h"

/// Groups over the rows of a table dataset.
///
/// The kernel's passes find pairs of subscribers that are alike; the pairs are clustered. Further passes connect each
/// subscriber outside to the cluster that most of its contacts are in, and collect the calls inside the clusters, a
/// slice of clusters at a time. Each worker ranks the members of its share of the clusters, and the master writes a row
/// a group and a row a member.
/// Units:    a node is a subscriber's number. Clusters are numbered from 1; pairs stand flat in arrays: a, b, a, b.
/// Memory:   the kernel's, then 16 bytes a pair of alike subscribers, some 30 a node of a cluster, and 16 a call inside
///           a cluster of the slice.
/// Errors:   the terminating reports 2202 and 2204 for parameters, 2304 for the kernel values file, and the kernel's.
/// Output:   two CSV files, which appear under their names when they are complete.
class QUVENCGAData : public QUVENObjectOf<QUVENCGAData, QUVENSimpleAlgorithmAbstractData> {
 public:
  enum State : std::int32_t {
    BuildingKernel = 0,
    CollectingKernelEdges = 1,
    ConnectingIsolatedNodes = 2,
    CollectingClusterEdges = 3,
    CCAnalysis = 4,
    AnalysisDone = 5,
    StartFromKernel = 6
  };
  using Vector = QUVENXaRay<double>;
  using Nodes = QUVENXaRay<SampleNumber>;
  using Numbers = QUVENXaRay<std::int32_t>;

  QUVENCGAData() = default;

  /// All parameters of the analysis, the kernel's first.
  static QUVENParameterSections parameterSections();

  /// Reads the parameters below the tag, and those of the kernel.
  /// Errors: terminating reports, 2202 to 2204.
  void open(const QUVENXMLTag& parameters, const QUVENEnvHandle& env);

  /// Compares the groups that sparsity levels give, with a cutoff from all pairs and the order of numbers. The table of
  /// the levels, ascending, is written beside the other results. With goesOn three more levels between the two best are
  /// compared, and the analysis goes on with the best of all; without it the analysis ends with the table. Called on
  /// rank 0 between open and the first pass.
  /// Errors: the terminating report 2204 from a kernel values file, and when the rows cannot be kept in memory.
  void compareLevels(std::vector<double> levels, bool goesOn, const QUVENEnvHandle& env);
  State getState() const { return static_cast<State>(ivState); }
  const Nodes& getKernelEdges() const { return ivKernelEdges; }
  const Numbers& getClusterSizes() const { return ivClusterSizes; }
  /// The cluster of a node, or 0.
  std::int32_t getCluster(SampleNumber node) const {
    const long index = nodes.find(node);
    return index == 0 ? 0 : ivNodeToCCMap.get(index);
  }
  /// The first file that could not be written as a whole, or nothing.
  const std::string& getFailedFile() const { return failedFile; }
  /// The beginning of the names of the results.
  const std::string& getOutputFileName() const { return ivOutputFileName; }
  /// Is called with the paths of the complete file of clusters and of nodes, before they get their names. It may change
  /// the files. It returns the name of a file that it cannot write, which then is the failed file, or nothing.
  using BeforeCommit = std::function<std::string(const std::string& clusters, const std::string& nodes)>;
  void setBeforeCommit(BeforeCommit action) { beforeCommit = std::move(action); }

  int beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env) override;
  void update(const Vector& dataVec, const Vector& targetVec, SampleNumber sampleNumber,
              const QUVENEnvHandle& env) override;
  /// Keeps the rows of the dataset from the first pass on that reads records, unless records are traced.
  std::int64_t updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) override;
  int endDataScan(const QUVENEnvHandle& env) override;
  int updateWithoutDataScan(const QUVENEnvHandle& env) override;
  int initIteration(const QUVENEnvHandle& env) override;
  int finishIteration(const QUVENEnvHandle& env) override;
  bool isFinished() const override { return getState() == AnalysisDone; }
  void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) override;
  void print(std::ostream& out) const override;
  void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const override;
  QUVENScanType getScanKind(const QUVENEnvHandle& env) const override;
  int needsMerge() const override { return 1; }

  /// Errors: a state that does not travel is an internal error.
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  static constexpr std::int32_t sampleTraceLevel = 5;

  static std::span<const QUVENParameter> ownParameters();

  // The kernel edges and the clusters of them.
  void collectKernelEdges(const QUVENEnvHandle& env);
  void buildInitialClusters(const QUVENEnvHandle& env);
  /// The warning 5013 when the limit of their size cut most of the initial clusters.
  void warnOfFullClusters(std::int64_t numNodes, const QUVENEnvHandle& env) const;
  void flattenNodeMap(const QUVENEnvHandle& env);
  void rebuildNodeMap(const QUVENEnvHandle& env);

  // The levels.
  void requireRowsForLevels(std::int64_t numRecords, const QUVENEnvHandle& env) const;
  void collectComparedPairs(const QUVENEnvHandle& env);
  std::vector<QUVENComparedPair> takeComparedPairs(const QUVENEnvHandle& env);
  void chooseLevel(const QUVENEnvHandle& env);
  void writeLevels();
  void addBetweenBest(QUVENLevelComparison& comparison);
  /// Takes the pairs that a level keeps for the kernel edges, and reports them.
  void goOnWith(const QUVENLevelResult& level, const QUVENLevelComparison& comparison, const QUVENEnvHandle& env);

  // The nodes outside.
  void checkConnectingNode(SampleNumber node, const Vector& row, bool traced, const QUVENEnvHandle& env);
  /// The cluster that most contacts of a row are in; of several the one that had as many first.
  struct ClusterVote {
    std::int32_t best = 0;
    std::int32_t bestCount = 0;
  };
  void countContact(std::int32_t cluster, ClusterVote& vote, const QUVENEnvHandle& env);
  void endVote(SampleNumber node, const ClusterVote& vote, const QUVENEnvHandle& env);
  void connectRow(const QUVENKeptRows& rows, std::int64_t row, const std::vector<std::int32_t>& clusters,
                  const QUVENEnvHandle& env);
  void connectNodes(const QUVENEnvHandle& env);

  // The order of numbers in place of that of the workers.
  bool isOrderedByNumbers() const { return connectsInOrder != 0; }
  static void orderPairs(Nodes& pairs);
  void orderProposals(const QUVENEnvHandle& env);
  /// Puts the results of the clusters in the order of the clusters.
  void orderResults(const QUVENEnvHandle& env);

  // The calls inside, a slice of clusters at a time.
  void computeSlice(const QUVENEnvHandle& env);
  long getSliceEnd() const;  ///< the last cluster of the slice; below the first in an empty slice
  bool isInSlice(std::int32_t cluster) const {
    return cluster >= ivMinIndRelevantClusters && cluster <= ivMaxIndRelevantClusters;
  }
  bool isLastSlice() const { return ivMaxIndRelevantClusters >= ivClusterSizes.getSize(); }
  std::int32_t getCallerCluster(SampleNumber caller);
  void addEdgesOfRow(const QUVENKeptRows& rows, std::int64_t row, const std::vector<std::int32_t>& clusters,
                     std::vector<std::int64_t>& lastRowOf, const QUVENEnvHandle& env);
  void addEdges(SampleNumber node, const Vector& row, bool traced, const QUVENEnvHandle& env);
  void buildFinalClusters(const QUVENEnvHandle& env);
  void collectNextSlice(const QUVENEnvHandle& env);
  void startNewCycle(const QUVENEnvHandle& env);
  void finish(const char* text, State next);
  int endAnalysis();

  // The analysis of the clusters and its results.
  void analyzeClusters(const QUVENEnvHandle& env);
  void emptyResults(const QUVENEnvHandle& env);
  void printAnalysisResults(const QUVENEnvHandle& env);
  QUVENGroup getGroup(long index, long first) const;
  void writeGroups(const QUVENEnvHandle& env);
  void openFile(std::unique_ptr<QUVENResultFile>& file, const char* extension);
  void commitFiles();
  void dump(std::ostream& out) const;

  // In every stream.
  QUVEN_MEMBER(ivState, std::int32_t) = BuildingKernel;
  QUVEN_MEMBER(ivCoveredNodesBuffer, Nodes);
  QUVEN_MEMBER(ivVerbosityLvl, std::int32_t) = 1;
  // The rest by state.
  QUVEN_MEMBER_IF(ivState <= CollectingKernelEdges, ivKernelPtr, QUVENOwnPtr<QUVENKernelData>);
  QUVEN_MEMBER_IF(ivState <= CollectingKernelEdges, ivKernelEdges, Nodes);
  QUVEN_MEMBER_IF(ivState == CollectingClusterEdges, ivIterationCounterCollectingEdges, std::int32_t) = 1;
  QUVEN_MEMBER_IF(nodeMapTravels(), ivNodesBuffer, Nodes);
  QUVEN_MEMBER_IF(nodeMapTravels(), ivCCBuffer, Numbers);
  QUVEN_MEMBER_IF(ivState == ConnectingIsolatedNodes, ivNodesToConnect, Nodes);
  QUVEN_MEMBER_IF(ivState == ConnectingIsolatedNodes, ivClustersToConnectNodesTo, Numbers);
  QUVEN_MEMBER_IF(ivState == CollectingClusterEdges, ivMinIndRelevantClusters, std::int32_t) = 1;
  QUVEN_MEMBER_IF(ivState == CollectingClusterEdges, ivMaxIndRelevantClusters, std::int32_t) = 0;
  QUVEN_MEMBER_IF(ivState >= CollectingClusterEdges, ivCCEdges, Nodes);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCEdgesNum, Numbers);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivPageRanks, Vector);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivPageRanksTransposed, Vector);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCNodesByPageRank, Nodes);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCNodesByPageRankTransposed, Nodes);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivOutDegreesWeightedByPageRank, Vector);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivInDegreesWeightedByPageRankTransposed, Vector);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCOutDegrees, Numbers);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCInDegrees, Numbers);
  QUVEN_MEMBER_IF(ivState == CCAnalysis, ivCCNodesNum, Numbers);

  // While levels are compared: the pairs that the lowest level keeps, each two nodes of kept rows with a bit for a
  // common contact, and their similarities.
  QUVEN_MEMBER_IF(levelsTravel(), comparesLevels, std::int32_t) = 0;
  QUVEN_MEMBER_IF(levelsTravel(), comparedPairs, Nodes);
  QUVEN_MEMBER_IF(levelsTravel(), comparedValues, Vector);

  bool levelsTravel() const { return comparesLevels != 0 && ivState <= CollectingKernelEdges; }

  // Whoever reads the map of the nodes in the first slice keeps it for the others.
  bool nodeMapTravels() const {
    return ivState == ConnectingIsolatedNodes ||
           (ivState == CollectingClusterEdges && ivIterationCounterCollectingEdges == 1);
  }

  QUVEN_STATE(nodes, QUVENNodeIndex);  // of the next two
  QUVEN_STATE(ivNodeToCCMap, QUVENNodeColumn<std::int32_t>);
  QUVEN_STATE(ivNodeToIterationConnectedMap, QUVENNodeColumn<std::int32_t>);  // 0 for a node of an initial cluster
  QUVEN_STATE(ivCoveredNodes, QUVENNodeIndex);
  QUVEN_STATE(ivClusterSizes, Numbers);
  QUVEN_STATE(ivSparseDataPtr, QUVENOwnPtr<QUVENSparseToDenseData>);
  QUVEN_STATE(ivConnectingNodesIterationCounter, std::int32_t) = 0;
  QUVEN_STATE(ivCCKernelDensities, Vector);
  QUVEN_STATE(ivCCDensities, Vector);
  // By cycle of the whole analysis.
  QUVEN_STATE(ivIterationCounter, std::int32_t) = 1;
  QUVEN_STATE(ivNumEdgesInGraph, Numbers);
  QUVEN_STATE(ivNumCCInGraph, Numbers);
  QUVEN_STATE(ivNodesInRelevantClusters, Numbers);

  QUVEN_STATE(ivMinClusterSize, std::int32_t) = 1;
  QUVEN_STATE(ivMaxClusterSize, std::int32_t) = 100;
  QUVEN_STATE(ivNumIterations, std::int32_t) = 1;
  QUVEN_STATE(ivNumIterationsConnectingNodes, std::int32_t) = 1;
  QUVEN_STATE(ivNumIterationsCollectingEdges, std::int32_t) = 1;
  QUVEN_STATE(ivMaxNodesCollectingEdges, std::int32_t) = 0;  // nodes of a slice; 0 for no limit
  QUVEN_STATE(connectOrder, std::string);                    // "Merge" or "Numbers"
  QUVEN_STATE(connectsInOrder, std::int32_t) = 0;            // the order of numbers, on rank 0
  QUVEN_STATE(ivOutputFormat, QUVENGroupFormat) = QUVENGroupFormat::Normal;
  QUVEN_STATE(ivOutputFileName, std::string);
  QUVEN_STATE(ivTagPrefix, std::string);
  QUVEN_STATE(ivOutputNamespace, std::string);
  QUVEN_STATE(ivKernelFileName, std::string);
  QUVEN_STATE(hasCutoff, std::int32_t) = 0;  // with the next: of the kernel, on rank 0
  QUVEN_STATE(cutoff, double) = 0;
  QUVEN_STATE(kernelTag, QUVENXMLTag);  // what the kernel says of itself, for the time when it is gone

  // The record at hand.
  QUVEN_STATE(assembledRow, Vector);
  QUVEN_STATE(clusterCounts, Numbers);  // of the contacts of a row, by cluster; 0 between rows
  QUVEN_STATE(clustersOfRow, Numbers);  // those that are not 0
  QUVEN_STATE(currentCaller, SampleNumber) = 0;
  QUVEN_STATE(currentCluster, std::int32_t) = -1;  // of the caller; -1 for not looked up

  QUVEN_STATE(failedFile, std::string);
  QUVEN_STATE(trace, QUVENAnalysisTrace);

  // The results under way, of the master. Another object does not go on with them.
  std::unique_ptr<QUVENResultFile> clustersFile;
  std::unique_ptr<QUVENResultFile> nodesFile;
  std::unique_ptr<QUVENResultFile> levelsFile;

  // The comparison of levels. Ranks above 0 use only the rows.
  const QUVENKeptRows* rowsInMemory = nullptr;  // borrowed
  std::vector<double> levelsToCompare;
  bool goesOnWithBestLevel = false;
  QUVENKernelData::PairCounts pairCounts;
  std::vector<QUVENLevelResult> levelResults;
  std::optional<QUVENLevelResult> chosenLevel;
  BeforeCommit beforeCommit;
};

#endif  // QUVEN_CGADATA_H
