#include "simple_algorithm/quven_kernel_data.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>

#include "control/quven_XML_tag.h"
#include "control/quven_multifileoutput.h"
#include "kernel/quven_sample_number.h"
#include "kernel/quven_worker.h"
#include "simple_algorithm/quven_kernel_function_friends.h"
#include "simple_algorithm/quven_kernel_parameters.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENKernelData);

namespace {

enum Code : int {
  NoEffect = 2202,
  InvalidState = 3502,
  NoSamples = 3503,
  RowTooLong = 4607,
  NothingToCompare = 5007,
  CutoffInNoise = 5012
};

constexpr std::int32_t numBins = 1000;
constexpr std::int32_t sampleTraceLevel = 5;
constexpr int candidatesFound = 2;  // what getCandidates answers

/// A position cut to an integer, up to just above the largest that a row may have; 0 for none.
long positionOf(double column) {
  constexpr double most = static_cast<double>(QUVENSparseRows::MaxPosition) + 1;
  return column >= most ? static_cast<long>(most) : column >= 1 ? static_cast<long>(column) : 0;
}

/// Numbers from 0 to 32767, the same in every run.
class SmallRandom {
 public:
  double next() {
    state = state * 1103515245U + 12345U;  // ISO/IEC 9899:1990, 7.10.2.2
    return (state >> 16U) & 0x7fffU;
  }

 private:
  std::uint32_t state = 1;
};

}  // namespace

QUVENParameterSections QUVENKernelData::parameterSections() { return {&quvenKernelParameterSection(), 1}; }

void QUVENKernelData::open(const QUVENXMLTag& parameterTag, const QUVENEnvHandle& env) {
  open(parameterTag, parameterSections(), QUVEN_ENV);
}

void QUVENKernelData::open(const QUVENXMLTag& parameterTag, QUVENParameterSections sections,
                           const QUVENEnvHandle& env) {
  const QUVENKernelParameters parameters = quvenReadKernelParameters(parameterTag, sections, QUVEN_ENV);
  ivKernelVerbosityLvl = parameters.verbosityLevel;
  ivOutputFileName = parameters.outputFileName;
  ivFilterSimilarities = parameters.filterSimilarities;
  ivNumberOfComputeIterations = parameters.numberOfComputeIterations;
  ivIsSparseData = static_cast<std::int32_t>(parameters.sparseData != 0);
  ivIsSparseKernel = parameters.isSparseKernel;
  ivSparsityLevel = parameters.sparsityLevel;
  ivKernelMode = KernelMode;
  cutoffFromAllPairs = parameters.cutoffFrom == "AllPairs" ? 1 : 0;
  cutoffAmongCommon = parameters.cutoffAmong == "Common" ? 1 : 0;
  if (usesAllPairs()) beginSelection(QUVEN_ENV);
  if (parameters.function.normalizingFactor == quvenCountedCallers) ivDataStatus = CountingCallers;
  ivKernelFunctionPtr = quvenMakeKernelFunction(parameters.function, QUVEN_ENV);
  makeMatrices(QUVEN_ENV);
}

void QUVENKernelData::makeMatrices(const QUVENEnvHandle& env) {
  for (auto* matrix : {&ivMyInputMatrixPtr, &ivMyTargetMatrixPtr, &ivOtherTargetMatrixPtr, &ivKernelMatrixPtr}) {
    *matrix = quvenMake<QUVENLabeledMatrix>(QUVEN_ENV);
  }
}

void QUVENKernelData::reset(const QUVENEnvHandle& env) {
  makeMatrices(QUVEN_ENV);
  ivKernelHistogramLocations.deleteMemory(QUVEN_ENV);
  ivKernelHistogramCounts.deleteMemory(QUVEN_ENV);
  ivSamplesOrder.deleteMemory(QUVEN_ENV);
  ivOtherSamplesOrder.deleteMemory(QUVEN_ENV);
  ivKernelColSampleNumber.deleteMemory(QUVEN_ENV);
  ivSparseInputMatrix.deleteMemory(QUVEN_ENV);
  ivSparseKernelMatrix.deleteMemory(QUVEN_ENV);
  otherSamples.deleteMemory(QUVEN_ENV);
  ivOtherSamplesMap.deleteMemory(QUVEN_ENV);
  rowsOfMySamples.deleteMemory(QUVEN_ENV);
  ivOutputFileName.clear();
  comparison.reset();
}

int QUVENKernelData::beginDataScan(std::int32_t, const QUVENEnvHandle&) { return getStatus() == ReadyForQuery ? 0 : 1; }

void QUVENKernelData::print(std::ostream&) const {}

void QUVENKernelData::writeFunctionToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  if (ivKernelFunctionPtr) ivKernelFunctionPtr->writeParameters(tag, QUVEN_ENV);
}

void QUVENKernelData::writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  writeFunctionToTag(tag, QUVEN_ENV);
  if (!hasCutoff()) return;
  tag.addBranchTagPath("RunParameters", QUVEN_ENV);
  tag.addLeafTagPath("RunParameters/Cutoff", QUVEN_ENV).setValue(ivSparsityThreshold, QUVEN_ENV);
}

QUVENScanType QUVENKernelData::getScanKind(const QUVENEnvHandle& env) const {
  switch (getStatus()) {
    case CountingCallers:
    case InitKernelObject:
    case InputMySamples:
      return hasSparseData() ? QUVENScanType::Lines : QUVENScanType::Slice;
    case InputOtherSamples:
      return hasSparseData() ? QUVENScanType::EverythingSparse : QUVENScanType::Everything;
    case SelectingCutoff:
    case DroppingPairs:
    case ReadyForQuery:
      return QUVENScanType::NoPass;
  }
  quvenNotImplemented(QUVEN_ENV);
}

int QUVENKernelData::initIteration(const QUVENEnvHandle& env) {
  if (getStatus() == InitKernelObject) {
    warnOfUnusedAmong(QUVEN_ENV);
    ivDataStatus = InputMySamples;  // also on a worker without a record
  }
  numCallers = 0;
  if (usesAllPairs()) selection->beginRound(QUVEN_ENV);
  ivSparseDataPtr = quvenMake<QUVENSparseToDenseData>(QUVEN_ENV);
  return 1;
}

// The samples

void QUVENKernelData::update(const Vector& dataVec, const Vector& targetVec, SampleNumber sampleNumber,
                             const QUVENEnvHandle& env) {
  if (trace.sample(sampleTraceLevel, ivKernelVerbosityLvl)) {
    quvenTraceRecord("QUVENKernelData", "ivDataStatus", ivDataStatus, dataVec, targetVec, sampleNumber);
  }
  if (getStatus() == CountingCallers) {
    if (numCallers == 0 || sampleNumber != lastCaller) ++numCallers;
    lastCaller = sampleNumber;
    return;
  }
  if (hasSeveralBlocks() && getStatus() == InputMySamples) {
    ++ivSamplesCounter;
    if (ivSamplesCounter % ivNumberOfComputeIterations + 1 != ivCurComputeIteration) return;
  }
  if (getStatus() == InitKernelObject) ivDataStatus = InputMySamples;
  if (getStatus() == InputMySamples) return addMySample(dataVec, targetVec, sampleNumber, env);
  const Vector* row = &dataVec;
  if (hasSparseData()) {
    ivSparseDataPtr->update(dataVec, targetVec, sampleNumber, env);
    if (!ivSparseDataPtr->isFinished()) return;
    double target = 0;
    sampleNumber = ivSparseDataPtr->takeRecord(assembledRow, target, env);
    row = &assembledRow;
  }
  if (getStatus() == InputOtherSamples) {
    compareOtherSample(*row, targetVec, sampleNumber, env);
  } else if (!hasSparseData()) {
    replaceMySample(*row, targetVec, sampleNumber, env);
  }
}

void QUVENKernelData::addMySample(const Vector& x, const Vector& target, SampleNumber sample,
                                  const QUVENEnvHandle& env) {
  const long last = ivSamplesOrder.getSize();
  if (!hasSparseData() || last == 0 || ivSamplesOrder[last] != sample) {
    ivSamplesOrder.append(sample, env);
    ivSamplesNum = static_cast<std::int32_t>(ivSamplesOrder.getSize());
    if (hasSparseData()) {
      rowsOfMySamples.append(static_cast<std::int32_t>(ivSparseInputMatrix.insert(sample, env)), env);
    }
  }
  if (!target.isEmpty()) ivMyTargetMatrixPtr->addRow(target, env);
  if (!hasSparseData()) {
    ivMyInputMatrixPtr->addRow(x, static_cast<double>(sample), env);
    return;
  }
  QUVEN_ASSERT(x.getSize() >= 2);
  if (x[1] > ivColumnNum) ivColumnNum = x[1];
  const long position = positionOf(x[1]);
  if (position > QUVENSparseRows::MaxPosition) {
    report_error(RowTooLong, std::to_string(sample),
                 "QUVENKernelData::update: a row of too many places; is it a table dataset?", QUVEN_ENV, true);
  }
  if (position >= 1) ivSparseInputMatrix.set(rowsOfMySamples[ivSamplesNum], position, x[2], env);
}

void QUVENKernelData::replaceMySample(const Vector& x, const Vector& target, SampleNumber sample,
                                      const QUVENEnvHandle& env) {
  const auto found = std::find(ivSamplesOrder.begin(), ivSamplesOrder.end(), sample);
  const long position = found - ivSamplesOrder.begin() + 1;
  if (position > ivMyInputMatrixPtr->getRowNum()) return;
  ivMyInputMatrixPtr->setRow(position, x, env);
  if (!target.isEmpty() && position <= ivMyTargetMatrixPtr->getRowNum()) {
    ivMyTargetMatrixPtr->setRow(position, target, env);
  }
}

void QUVENKernelData::getSparseRow(SampleNumber sampleNumber, Vector& row, const QUVENEnvHandle& env) const {
  row.setSize(0, env);
  row.setSize(std::min(positionOf(ivColumnNum), static_cast<long>(QUVENSparseRows::MaxPosition)), env);
  const long index = ivSparseInputMatrix.find(sampleNumber);
  if (index == 0) return;
  const std::span<const double> values = ivSparseInputMatrix.getRow(index);
  std::copy(values.begin(), values.end(), row.begin());
}

const QUVENKernelFunctionFriends* QUVENKernelData::contactFunction() const {
  if (!hasSparseData() || ivKernelFunctionPtr->isA(QUVENKernelFunctionFriends::typeName()) == 0) return nullptr;
  const auto* friends = static_cast<const QUVENKernelFunctionFriends*>(ivKernelFunctionPtr.get());
  return friends->hasIndicesData() && friends->getEmptyMarker() == 0 ? friends : nullptr;
}

const QUVENKernelData::Vector& QUVENKernelData::rowOfMySample(long position, Vector& scratch,
                                                              const QUVENEnvHandle& env) const {
  if (!hasSparseData()) return ivMyInputMatrixPtr->getRow(position);
  // How many columns a worker has seen depends on its share of the rows.
  if (usesAllPairs()) {
    contactsOfMySample(position, scratch, QUVEN_ENV);
    while (!scratch.isEmpty() && scratch[scratch.getSize()] == 0) scratch.setSize(scratch.getSize() - 1, QUVEN_ENV);
    return scratch;
  }
  getSparseRow(ivSamplesOrder[position], scratch, QUVEN_ENV);
  return scratch;
}

/// The row without what lies behind its last contact: as many places as the longest row has are not gone through for
/// each sample. Requires contactFunction, to which they say nothing, or a cutoff from all pairs.
const QUVENKernelData::Vector& QUVENKernelData::contactsOfMySample(long position, Vector& scratch,
                                                                   const QUVENEnvHandle& env) const {
  const std::span<const double> values = ivSparseInputMatrix.getRow(rowsOfMySamples[position]);
  scratch.setSize(static_cast<long>(values.size()), QUVEN_ENV);
  std::copy(values.begin(), values.end(), scratch.begin());
  return scratch;
}

void QUVENKernelData::takeContacts(const Vector& x, const QUVENEnvHandle& env) {
  contacts.setSize(x.getSize(), QUVEN_ENV);
  const double* end = std::copy_if(x.begin(), x.end(), contacts.begin(), [](double contact) { return contact != 0; });
  contacts.setSize(end - contacts.begin(), QUVEN_ENV);
}

// Kept rows

std::string QUVENKernelData::getReasonForFile() const {
  if (ivKernelVerbosityLvl > sampleTraceLevel) return "records are traced";
  const bool comparesContacts = contactFunction() != nullptr && hasSparseKernel() && ivFilterSimilarities != 0;
  return comparesContacts && !hasSeveralBlocks() ? "" : "the kernel compares more than lists of contacts in one block";
}

std::int64_t QUVENKernelData::updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env) {
  const std::string reason = getReasonForFile();
  if (!rows.isDecided()) rows.loadTable(reason, QUVEN_ENV);
  if (!rows.isLoaded() || !reason.empty()) return -1;
  if (getStatus() == CountingCallers) {
    std::int64_t numRecords = 0;
    for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
      if (!rows.isOwn(row)) continue;
      ++numCallers;
      numRecords += rows.getNumRecords(row);
    }
    return numRecords;
  }
  if (getStatus() == InputMySamples) {
    comparison = std::make_unique<QUVENContactComparison>(rows, *contactFunction());
    std::int64_t numRecords = 0;
    for (const std::int64_t row : comparison->getOwnRows()) {
      ivSamplesOrder.append(rows.getSubscriber(rows.getCaller(row)), QUVEN_ENV);
      numRecords += rows.getNumRecords(row);
    }
    ivSamplesNum = static_cast<std::int32_t>(ivSamplesOrder.getSize());
    return numRecords;
  }
  QUVEN_ASSERT(getStatus() == InputOtherSamples && comparison);
  for (std::int64_t row = 0; row < rows.getNumRows(); ++row) {
    ivOtherSamplesOrder.append(rows.getSubscriber(rows.getCaller(row)), QUVEN_ENV);
  }
  ivAllSamplesNum = static_cast<std::int32_t>(ivOtherSamplesOrder.getSize());
  if (usesAllPairs()) {
    comparison->forEachPair([&](std::int32_t column, std::int32_t row, double value, bool hasCommon) {
      takePair(column, row, value, hasCommon, env);
    });
  } else {
    comparison->collect(ivSparsityThreshold, ivSparseKernelMatrix, QUVEN_ENV);
  }
  return rows.getNumRecords();
}

// The comparison

std::int32_t QUVENKernelData::rowOfOtherSample(SampleNumber sample, const Vector& target, const QUVENEnvHandle& env) {
  if (!isFirstBlock()) {
    const long index = otherSamples.find(sample);
    QUVEN_ASSERT_CAUSE(index != 0, "A sample that the first block did not have");
    return ivOtherSamplesMap.get(index);
  }
  ivOtherSamplesOrder.append(sample, env);
  if (!target.isEmpty()) ivOtherTargetMatrixPtr->addRow(target, env);
  return static_cast<std::int32_t>(ivOtherSamplesOrder.getSize());
}

double QUVENKernelData::valueWith(long position, const Vector& x, SampleNumber sample, const QUVENEnvHandle& env) {
  const auto* friends = contactFunction();
  if (friends != nullptr && !ivSparseInputMatrix.hasGaps(rowsOfMySamples[position])) {
    return friends->computeFromContacts(ivSparseInputMatrix.getRow(rowsOfMySamples[position]), contacts.toZeroBased());
  }
  return ivKernelFunctionPtr->ComputeKernel(rowOfMySample(position, scratchRow, env), x, ivSamplesOrder[position],
                                            sample);
}

void QUVENKernelData::compareWithMySample(long position, const Vector& x, SampleNumber sample, std::int32_t row,
                                          const QUVENEnvHandle& env) {
  if (usesAllPairs() && ivSamplesOrder[position] == sample) return;
  const double value = valueWith(position, x, sample, env);
  const std::int32_t column = ivFirstKernelCol + static_cast<std::int32_t>(position);
  if (!hasSparseKernel()) {
    ivKernelMatrixPtr->getRow(row)[column] = value;
  } else if (usesAllPairs()) {
    const bool hasCommon = friendsFunction().hasCommonContact(rowOfMySample(position, scratchRow, env), x);
    takePair(column, row, value, hasCommon, env);
  } else if (value >= ivSparsityThreshold) {
    setKernelValue(column, row, value, env);
  }
}

void QUVENKernelData::compareOtherSample(const Vector& x, const Vector& target, SampleNumber sample,
                                         const QUVENEnvHandle& env) {
  const std::int32_t row = rowOfOtherSample(sample, target, env);
  if (hasSparseData()) ivColumnNum = std::max(ivColumnNum, static_cast<double>(x.getSize()));
  ivAllSamplesNum = row;
  const long numMySamples = ivSamplesOrder.getSize();
  if (!hasSparseKernel()) {
    const long numColumns = ivFirstKernelCol + numMySamples;
    QUVENLabeledMatrix& matrix = *ivKernelMatrixPtr;
    if (matrix.getRowNum() < row || matrix.getColumnNum() < numColumns) {
      matrix.resize(std::max(matrix.getRowNum(), row), static_cast<std::int32_t>(numColumns), env);
    }
  }
  if (contactFunction() != nullptr) takeContacts(x, env);
  if (hasSparseKernel() && ivFilterSimilarities != 0) {
    if (ivKernelFunctionPtr->getCandidates(candidates, x, env) != candidatesFound) return;
    for (const std::int32_t position : candidates) {
      if (position <= 0) break;
      compareWithMySample(position, x, sample, row, env);
    }
    return;
  }
  for (long position = 1; position <= numMySamples; ++position) {
    compareWithMySample(position, x, sample, row, env);
  }
}

void QUVENKernelData::setKernelValue(std::int32_t column, std::int32_t row, double value, const QUVENEnvHandle& env) {
  ivSparseKernelMatrix.set(column, row, value, env);
}

double QUVENKernelData::getKernelValue(std::int32_t column, std::int32_t row, const QUVENEnvHandle& env) const {
  const double* value = ivSparseKernelMatrix.find(column, row, QUVEN_ENV);
  return value == nullptr ? 0 : *value;
}

// The cutoff

void QUVENKernelData::reportNoValues(const QUVENEnvHandle& env) const {
  const int numRanks = quvenWorkerCount();
  if (usesAllPairs() && numCompared > 0) {
    report_warning(NothingToCompare, "CutoffAmong",
                   "QUVENKernelData: " + std::to_string(numCompared) +
                       " pairs of subscribers were compared, and none of them has a contact in common; CutoffAmong All "
                       "takes all pairs");
  } else if (numRanks > 1 && !usesAllPairs()) {
    report_warning(NothingToCompare, "FilterSimilarities",
                   "QUVENKernelData: the callers are split over " + std::to_string(numRanks) +
                       " ranks, and on none of them has a subscriber another caller of the same rank among its "
                       "contacts; fewer ranks keep more callers together, FilterSimilarities 0 compares all pairs, a "
                       "longer table has more contacts");
  } else {
    report_warning(NothingToCompare, "FilterSimilarities",
                   "QUVENKernelData: no subscriber has another caller of the dataset among its contacts; "
                   "FilterSimilarities 0 compares all pairs, a longer table has more contacts");
  }
  report_error(NoSamples,
               "buildSelfKernelValuesHistogram:Could not find any samples for the histogram. It is likely that the "
               "data is corrupt or parameters are set too restrictively.",
               QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);  // the report terminates
}

void QUVENKernelData::addContactsToHistogram(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env) {
  const auto* friends = contactFunction();
  Vector row;
  std::int64_t numAdded = comparison ? comparison->addOwnPairs(histogram, QUVEN_ENV) : 0;
  for (long i = 1; i <= ivSamplesOrder.getSize() && !comparison; ++i) {
    const Vector& x = friends != nullptr ? contactsOfMySample(i, row, QUVEN_ENV) : rowOfMySample(i, row, QUVEN_ENV);
    if (hasSparseData() && x.getSize() < 1) continue;
    if (ivKernelFunctionPtr->getCandidates(candidates, x, QUVEN_ENV) != candidatesFound) continue;
    if (friends != nullptr) takeContacts(x, QUVEN_ENV);
    for (const std::int32_t j : candidates) {
      if (j <= 0) break;
      double value = 0;
      if (friends != nullptr && !ivSparseInputMatrix.hasGaps(rowsOfMySamples[j])) {
        value = friends->computeFromContacts(contacts.toZeroBased(), ivSparseInputMatrix.getRow(rowsOfMySamples[j]));
      } else {
        value = ivKernelFunctionPtr->ComputeKernel(x, rowOfMySample(j, scratchRow, QUVEN_ENV), ivSamplesOrder[i],
                                                   ivSamplesOrder[j]);
      }
      histogram.add(value, QUVEN_ENV);
      ++numAdded;
    }
  }
  QUVEN_DELETE(row);
  // One worker of several may have no pair; the master looks at all of them.
  if (numAdded == 0 && quvenWorkerCount() == 1) reportNoValues(QUVEN_ENV);
  report_log(1, "Added " + std::to_string(numAdded) + " samples to the histogram");
}

/// About 4900 pairs, however many samples there are.
void QUVENKernelData::addRandomPairsToHistogram(QUVENOnlineHistogramData& histogram, const QUVENEnvHandle& env) {
  constexpr double wantedRoot = 70;
  constexpr double unit = 1.0 / 32768;
  const std::int64_t n = ivSamplesOrder.getSize();
  const double share = static_cast<double>(n) / wantedRoot;
  const double width = n > wantedRoot ? share * share : 1;
  SmallRandom random;
  Vector rowX;
  Vector rowY;
  for (std::int64_t v = 0; v < n * n; v += static_cast<std::int64_t>(random.next() * unit * 2 * width)) {
    const long i = v % n + 1;
    const long j = v / n + 1;
    const Vector& x = rowOfMySample(i, rowX, QUVEN_ENV);
    const Vector& y = rowOfMySample(j, rowY, QUVEN_ENV);
    histogram.add(ivKernelFunctionPtr->ComputeKernel(x, y, ivSamplesOrder[i], ivSamplesOrder[j]), QUVEN_ENV);
  }
  QUVEN_DELETE(rowX);
  QUVEN_DELETE(rowY);
}

void QUVENKernelData::buildSelfKernelValuesHistogram(const QUVENEnvHandle& env) {
  auto histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  histogram->setBins(numBins, QUVEN_ENV);
  if (ivFilterSimilarities != 0) {
    addContactsToHistogram(*histogram, QUVEN_ENV);
  } else {
    addRandomPairsToHistogram(*histogram, QUVEN_ENV);
  }
  histogram->getBins(ivKernelHistogramLocations, ivKernelHistogramCounts, QUVEN_ENV);
  QUVEN_DELETE(histogram);
}

void QUVENKernelData::merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(other != nullptr && other->isA(typeName()));
  auto& kernel = static_cast<QUVENKernelData&>(*other);
  if (&kernel == this) return;
  if (getStatus() == CountingCallers) numCallers += kernel.numCallers;
  if (usesAllPairs()) return mergeAllPairs(kernel);
  if (getStatus() != InputMySamples || !hasSparseKernel()) return;
  auto histogram = quvenMake<QUVENOnlineHistogramData>(QUVEN_ENV);
  histogram->setBins(numBins, QUVEN_ENV);
  histogram->merge(ivKernelHistogramLocations, ivKernelHistogramCounts, kernel.ivKernelHistogramLocations,
                   kernel.ivKernelHistogramCounts, QUVEN_ENV);
  QUVEN_DELETE(histogram);
}

void QUVENKernelData::setCutoff(const QUVENEnvHandle& env) {
  const Vector& locations = ivKernelHistogramLocations;
  const QUVENXaRay<std::int32_t>& counts = ivKernelHistogramCounts;
  const long m = std::min(locations.getSize(), counts.getSize());
  if (m == 0) reportNoValues(QUVEN_ENV);
  std::int64_t total = 0;
  for (const std::int32_t count : counts) total += count;
  const std::int64_t k = static_cast<std::int64_t>(static_cast<double>(total) * ivSparsityLevel);
  ivSparsityThreshold = locations[1];
  if (m < 2) {
    constexpr double belowTheValue = 1e-5;
    report_log(1, "A single kernel value was found");
    ivSparsityThreshold -= belowTheValue;
  } else if (counts[1] > k) {
    // Half the sum of the locations, not of their distance: it has always been so.
    ivSparsityThreshold =
        (static_cast<double>(k) / counts[1] - 0.5) * ((locations[1] + locations[2]) * 0.5) + locations[1];
    std::cout << "First bin is full enough for threshold\n";
  } else {
    std::int64_t sum = counts[1];
    for (long j = 2; j <= m; ++j) {
      sum += counts[j];
      if (sum < k) continue;
      const double low = counts[j - 1];
      const double high = counts[j];
      ivSparsityThreshold = (low * locations[j - 1] + high * locations[j]) / (high + low);
      break;
    }
  }
  std::cout << "cutoff threshold=" << ivSparsityThreshold << '\n';
  warnOfNoise(QUVEN_ENV);
}

/// Called before the first pass over rows: --levels sets AllPairs after the parameters are read.
void QUVENKernelData::warnOfUnusedAmong(const QUVENEnvHandle& env) const {
  if (cutoffAmongCommon == 0 || usesAllPairs() || quvenWorkerRank() != 0) return;
  report_doubt(NoEffect, "CutoffAmong", "QUVENKernelData: Common has no effect without CutoffFrom AllPairs", QUVEN_ENV);
}

/// With N the normalizing factor and k contacts per caller, one contact in common is worth about log2(N / k^2) / N, and
/// none in common about 1.4 k^2 / N^2. The limit is between the two when N is above 14 k^2, and below both otherwise.
void QUVENKernelData::warnOfNoise(const QUVENEnvHandle& env) const {
  const auto* friends = contactFunction();
  if (friends == nullptr) return;
  const double limit = 0.1 / friends->getNormalizingFactor();
  for (const double location : ivKernelHistogramLocations) {  // ascending
    if (location < ivSparsityThreshold) continue;
    if (location < limit) {
      std::ostringstream text;
      text << "QUVENKernelData::endDataScan: the cutoff keeps pairs of similarity " << location
           << ", as low as that of pairs without a contact in common; a higher SparsityLevel drops them";
      report_doubt(CutoffInNoise, "SparsityLevel", text.str(), QUVEN_ENV);
    }
    return;
  }
}

// The passes

int QUVENKernelData::finishIteration(const QUVENEnvHandle& env) {
  if (getStatus() == InputMySamples) {
    if (!comparison) ivKernelFunctionPtr->setSampleIndex(ivSamplesOrder, QUVEN_ENV);
  } else if (getStatus() == InputOtherSamples) {
    if (hasSeveralBlocks()) {
      ivMyInputMatrixPtr = quvenMake<QUVENLabeledMatrix>(QUVEN_ENV);
      ivMyTargetMatrixPtr = quvenMake<QUVENLabeledMatrix>(QUVEN_ENV);
      ivSparseInputMatrix.deleteMemory(QUVEN_ENV);
      if (ivCurComputeIteration == 1) {
        for (long i = 1; i <= ivOtherSamplesOrder.getSize(); ++i) {
          const long index = otherSamples.insert(ivOtherSamplesOrder[i], QUVEN_ENV);
          ivOtherSamplesMap.at(index, QUVEN_ENV) = static_cast<std::int32_t>(i);
        }
      }
    }
    ivFirstKernelCol += static_cast<std::int32_t>(ivSamplesOrder.getSize());
    for (const SampleNumber sample : ivSamplesOrder) ivKernelColSampleNumber.append(sample, QUVEN_ENV);
    comparison.reset();
    ivSamplesNum = 0;
    ivSamplesOrder.setSize(0, QUVEN_ENV);
    rowsOfMySamples.setSize(0, QUVEN_ENV);
  }
  if (!hasSparseKernel()) return 1;
  if (usesAllPairs()) {
    if (getStatus() == InputOtherSamples) addPairsToSelection();
    if (getStatus() == DroppingPairs && !ivOutputFileName.empty()) writeSparseKernelValues(QUVEN_ENV);
    return 1;
  }
  if (getStatus() == InputMySamples && isFirstBlock()) {
    buildSelfKernelValuesHistogram(QUVEN_ENV);
  } else if (getStatus() == InputOtherSamples && !ivOutputFileName.empty() &&
             ivCurComputeIteration == ivNumberOfComputeIterations) {
    writeSparseKernelValues(QUVEN_ENV);
  }
  return 1;
}

int QUVENKernelData::endDataScan(const QUVENEnvHandle& env) {
  switch (getStatus()) {
    case CountingCallers:
      endCountingCallers(QUVEN_ENV);
      ivDataStatus = InitKernelObject;
      break;
    case SelectingCutoff:
      endRoundOfSelection(QUVEN_ENV);
      break;
    case DroppingPairs:
      if (reportsPairs != 0) reportPairs(getPairCounts(), ivSparsityLevel, ivSparsityThreshold, QUVEN_ENV);
      ivDataStatus = ReadyForQuery;
      break;
    case InputMySamples:
      if (hasSparseKernel() && isFirstBlock() && !usesAllPairs()) setCutoff(QUVEN_ENV);
      ivDataStatus = ivKernelMode != KernelMode ? ReadyForQuery : InputOtherSamples;
      break;
    case InputOtherSamples:
      if (usesAllPairs()) {
        endRoundOfSelection(QUVEN_ENV);
      } else if (!hasSeveralBlocks() || ++ivCurComputeIteration > ivNumberOfComputeIterations) {
        ivDataStatus = ReadyForQuery;
      } else {
        ivDataStatus = InputMySamples;
      }
      break;
    default:
      std::cout << "Current status is " << ivDataStatus << '\n';
      report_error(InvalidState, std::to_string(ivDataStatus), "Invalid state for QUVENKernelData::ivDataStatus",
                   QUVEN_ENV, true);
  }
  return isFinished() ? 1 : 0;
}

void QUVENKernelData::writeSparseKernelValues(const QUVENEnvHandle& env) const {
  std::cout << "Sparse kernel size: " << ivSparseKernelMatrix.getNumColumns(QUVEN_ENV) << '\n';
  auto output = quvenMake<QUVENMultifileOutput>(QUVEN_ENV);
  output->open(ivOutputFileName, QUVEN_ENV);
  Vector line;
  line.setSize(3, QUVEN_ENV);
  for (const QUVENSimilarityStore::Cell& cell : ivSparseKernelMatrix.getCells(QUVEN_ENV)) {
    line[1] = static_cast<double>(ivKernelColSampleNumber.at(cell.column));
    line[2] = static_cast<double>(ivOtherSamplesOrder.at(cell.row));
    line[3] = cell.value;
    output->writeLine(line, QUVEN_ENV);
  }
  QUVEN_DELETE(line);
  output->close(QUVEN_ENV);
  QUVEN_DELETE(output);
}
