// The states of the group analysis and what crosses between the workers.

#include "simple_algorithm/quven_cgadata.h"

#include <iostream>

#include "kernel/quven_worker.h"
#include "simple_algorithm/quven_kernel_values_file.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENCGAData);

namespace {

constexpr std::int32_t dumpLevel = 20;
constexpr const char* endMethod = "endDataScan";
constexpr const char* finishMethod = "finishIteration";

template <class T>
void appendAll(QUVENXaRay<T>& array, const QUVENXaRay<T>& more, const QUVENEnvHandle& env) {
  const long size = array.getSize();
  array.autoExtend(size + more.getSize(), QUVEN_ENV);
  std::copy(more.begin(), more.end(), array.begin() + size);
}

}  // namespace

int QUVENCGAData::beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env) {
  report_log(1, "Entering beginDataScan");
  if (getState() == BuildingKernel) return ivKernelPtr->beginDataScan(numExplanatoryFields, QUVEN_ENV);
  if (getState() != StartFromKernel) quvenUnreachable(QUVEN_ENV);
  quvenReadKernelValuesFile(ivKernelFileName, ivKernelEdges, QUVEN_ENV);
  buildInitialClusters(QUVEN_ENV);
  return 0;
}

QUVENScanType QUVENCGAData::getScanKind(const QUVENEnvHandle& env) const {
  switch (getState()) {
    case BuildingKernel:
      return ivKernelPtr->getScanKind(QUVEN_ENV);
    case CollectingKernelEdges:
    case CCAnalysis:
      return QUVENScanType::NoPass;
    case ConnectingIsolatedNodes:
    case CollectingClusterEdges:
      return QUVENScanType::Slice;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
}

int QUVENCGAData::initIteration(const QUVENEnvHandle& env) {
  report_log(1, "Entering initIteration");
  switch (getState()) {
    case BuildingKernel:
      return ivKernelPtr->initIteration(QUVEN_ENV);
    case CollectingKernelEdges:
    case CCAnalysis:
      return 1;
    case ConnectingIsolatedNodes:
    case CollectingClusterEdges:
      break;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
  ivKernelEdges.deleteMemory(QUVEN_ENV);
  if (ivKernelPtr) ivKernelPtr->reset(QUVEN_ENV);
  ivSparseDataPtr = quvenMake<QUVENSparseToDenseData>(QUVEN_ENV);
  ivNodesToConnect.setSize(0, QUVEN_ENV);
  ivClustersToConnectNodesTo.setSize(0, QUVEN_ENV);
  if (getState() == CollectingClusterEdges) ivCCEdges.setSize(0, QUVEN_ENV);
  currentCluster = -1;
  return 1;
}

void QUVENCGAData::update(const Vector& dataVec, const Vector& targetVec, SampleNumber sampleNumber,
                          const QUVENEnvHandle& env) {
  const bool traced = trace.sample(sampleTraceLevel, ivVerbosityLvl);
  if (traced) quvenTraceRecord("QUVENCGAData", "ivState", ivState, dataVec, targetVec, sampleNumber);
  if (ivCoveredNodes.find(sampleNumber) != 0) {
    if (traced) std::cout << " skipping " << sampleNumber << " (aleardy covered)\n";
    return;
  }
  switch (getState()) {
    case BuildingKernel:
      return ivKernelPtr->update(dataVec, targetVec, sampleNumber, env);
    case CollectingClusterEdges:
      if (!isInSlice(getCallerCluster(sampleNumber))) {
        if (traced) std::cout << " skipping " << sampleNumber << " (not in relevant cluster)\n";
        return;
      }
      break;
    case ConnectingIsolatedNodes:
      break;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
  ivSparseDataPtr->update(dataVec, targetVec, sampleNumber, env);
  if (!ivSparseDataPtr->isFinished()) return;
  double target = 0;
  const SampleNumber node = ivSparseDataPtr->takeRecord(assembledRow, target, env);
  if (getState() == ConnectingIsolatedNodes) {
    checkConnectingNode(node, assembledRow, traced, env);
  } else {
    addEdges(node, assembledRow, traced, env);
  }
}

int QUVENCGAData::updateWithoutDataScan(const QUVENEnvHandle& env) {
  switch (getState()) {
    case BuildingKernel:
      return ivKernelPtr->updateWithoutDataScan(QUVEN_ENV);
    case CollectingKernelEdges:
      if (comparesLevels != 0) {
        collectComparedPairs(QUVEN_ENV);
      } else {
        collectKernelEdges(QUVEN_ENV);
      }
      return 1;
    case CCAnalysis:
      analyzeClusters(QUVEN_ENV);
      return 1;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
}

int QUVENCGAData::finishIteration(const QUVENEnvHandle& env) {
  report_log(1, "Entering finishIteration");
  const bool isMaster = quvenWorkerRank() == 0;
  const auto dropBuffers = [&] {
    ivNodesBuffer.deleteMemory(QUVEN_ENV);
    ivCCBuffer.deleteMemory(QUVEN_ENV);
  };
  switch (getState()) {
    case BuildingKernel:
      return ivKernelPtr->finishIteration(QUVEN_ENV);
    case CollectingKernelEdges:
      trace.progress("Finished an iteration of kernel building and edge collection", finishMethod, ivIterationCounter);
      ivKernelPtr.reset(QUVEN_ENV);
      return 1;
    case ConnectingIsolatedNodes:
      if (!isMaster) {
        dropBuffers();
        ivNodeToCCMap.deleteMemory(QUVEN_ENV);
        nodes.deleteMemory(QUVEN_ENV);
      }
      trace.progress("Finished an iteration of issolated nodes connection", finishMethod, ivIterationCounter);
      return 1;
    case CollectingClusterEdges:
      if (!isMaster && ivIterationCounterCollectingEdges == 1) dropBuffers();
      trace.progress("Finished an iteration cluster edges collection", finishMethod, ivIterationCounter);
      return 1;
    case CCAnalysis:
      ivCCEdges.deleteMemory(QUVEN_ENV);
      ivCCEdgesNum.deleteMemory(QUVEN_ENV);
      trace.progress("Finished an iteration cluster analysis", finishMethod, ivIterationCounter);
      return 1;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
}

void QUVENCGAData::merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(other != nullptr && other->isA(typeName()));
  auto& data = static_cast<QUVENCGAData&>(*other);
  if (&data == this) return;
  const auto append = [&](auto member) { appendAll(this->*member, data.*member, QUVEN_ENV); };
  switch (getState()) {
    case BuildingKernel:
      if (ivKernelPtr && data.ivKernelPtr) ivKernelPtr->merge(data.ivKernelPtr.get(), QUVEN_ENV);
      return;
    case CollectingKernelEdges:
      append(&QUVENCGAData::comparedPairs);
      append(&QUVENCGAData::comparedValues);
      return append(&QUVENCGAData::ivKernelEdges);
    case ConnectingIsolatedNodes:
      append(&QUVENCGAData::ivNodesToConnect);
      return append(&QUVENCGAData::ivClustersToConnectNodesTo);
    case CollectingClusterEdges:
      return append(&QUVENCGAData::ivCCEdges);
    case CCAnalysis:
      append(&QUVENCGAData::ivCCEdges);
      append(&QUVENCGAData::ivCCEdgesNum);
      append(&QUVENCGAData::ivPageRanks);
      append(&QUVENCGAData::ivPageRanksTransposed);
      append(&QUVENCGAData::ivCCNodesByPageRank);
      append(&QUVENCGAData::ivCCNodesByPageRankTransposed);
      append(&QUVENCGAData::ivOutDegreesWeightedByPageRank);
      append(&QUVENCGAData::ivInDegreesWeightedByPageRankTransposed);
      append(&QUVENCGAData::ivCCOutDegrees);
      append(&QUVENCGAData::ivCCInDegrees);
      return append(&QUVENCGAData::ivCCNodesNum);
    default:
      quvenUnreachable(QUVEN_ENV);
  }
}

void QUVENCGAData::finish(const char* text, State next) {
  ivState = next;
  trace.progress(text, endMethod, ivIterationCounter);
}

int QUVENCGAData::endDataScan(const QUVENEnvHandle& env) {
  switch (getState()) {
    case BuildingKernel:
      if (ivKernelPtr->endDataScan(QUVEN_ENV) == 1) {
        ivKernelPtr->writeFunctionToTag(kernelTag, QUVEN_ENV);
        if (comparesLevels != 0) pairCounts = ivKernelPtr->getPairCounts();
        finish("Finished building kernel", CollectingKernelEdges);
      }
      hasCutoff = ivKernelPtr->hasCutoff() ? 1 : 0;
      cutoff = ivKernelPtr->getSparsityThreshold();
      return 0;
    case CollectingKernelEdges:
      trace.progress("Finished collecting kernel edges", endMethod, ivIterationCounter);
      if (comparesLevels != 0) {
        chooseLevel(QUVEN_ENV);
        if (!goesOnWithBestLevel) return endAnalysis();
      } else if (isOrderedByNumbers()) {
        orderPairs(ivKernelEdges);
      }
      buildInitialClusters(QUVEN_ENV);
      trace.progress("Finished building initial clusters", endMethod, ivIterationCounter);
      return 0;
    case ConnectingIsolatedNodes:
      connectNodes(QUVEN_ENV);
      return 0;
    case CollectingClusterEdges:
      if (isOrderedByNumbers()) orderPairs(ivCCEdges);
      buildFinalClusters(QUVEN_ENV);
      finish("Final cluster edges connected", CCAnalysis);
      return 0;
    case CCAnalysis:
      break;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
  if (isOrderedByNumbers()) orderResults(QUVEN_ENV);
  trace.event(dumpLevel, "", ivVerbosityLvl, [this](std::ostream& out) { dump(out); });
  printAnalysisResults(QUVEN_ENV);
  if (!isLastSlice()) {
    collectNextSlice(QUVEN_ENV);
    return 0;
  }
  trace.progress("Final clusters built", endMethod, ivIterationCounter);
  if (ivIterationCounter < ivNumIterations) {
    commitFiles();
    startNewCycle(QUVEN_ENV);
    return 0;
  }
  return endAnalysis();
}

int QUVENCGAData::endAnalysis() {
  commitFiles();
  finish("Analysis done", AnalysisDone);
  report_log(0, "CGA Terminated Successfully");
  std::cout.flush();
  return 1;
}

void QUVENCGAData::startNewCycle(const QUVENEnvHandle& env) {
  trace.progress("Restart building kernel", endMethod, ivIterationCounter);
  ++ivIterationCounter;
  ivState = BuildingKernel;
  if (ivKernelPtr) ivKernelPtr->reset(QUVEN_ENV);
  ivKernelEdges.deleteMemory(QUVEN_ENV);
  nodes.deleteMemory(QUVEN_ENV);
  ivNodeToCCMap.deleteMemory(QUVEN_ENV);
  ivNodeToIterationConnectedMap.deleteMemory(QUVEN_ENV);
  ivConnectingNodesIterationCounter = 0;
  ivIterationCounterCollectingEdges = 0;
  ivCoveredNodesBuffer.setSize(0, QUVEN_ENV);
  for (const std::uint32_t index : ivCoveredNodes.getAscending(QUVEN_ENV)) {
    ivCoveredNodesBuffer.append(ivCoveredNodes.getNode(index), QUVEN_ENV);
  }
}

void QUVENCGAData::print(std::ostream& out) const {
  if (getState() == BuildingKernel && ivKernelPtr) ivKernelPtr->print(out);
}

// The stream

void QUVENCGAData::writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const {
  if (ivState < BuildingKernel || ivState > CCAnalysis) quvenUnreachable(QUVEN_ENV);
  Members::writePrimitive(writer, QUVEN_ENV);
}

void QUVENCGAData::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  if (ivState < BuildingKernel || ivState > CCAnalysis) quvenUnreachable(QUVEN_ENV);
  if (nodeMapTravels()) rebuildNodeMap(QUVEN_ENV);
  ivCoveredNodes.deleteMemory(QUVEN_ENV);
  for (const SampleNumber node : ivCoveredNodesBuffer) ivCoveredNodes.insert(node, QUVEN_ENV);
}

void QUVENCGAData::rebuildNodeMap(const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(ivNodesBuffer.getSize() == ivCCBuffer.getSize(), "A buffer of nodes without a cluster for each");
  nodes.deleteMemory(QUVEN_ENV);
  ivNodeToCCMap.deleteMemory(QUVEN_ENV);
  for (long i = 1; i <= ivNodesBuffer.getSize(); ++i) {
    ivNodeToCCMap.at(nodes.insert(ivNodesBuffer[i], QUVEN_ENV), QUVEN_ENV) = ivCCBuffer[i];
  }
}
