// The cutoff that is a quantile of the similarities of all pairs, whatever the number of workers.

#include <sstream>

#include "simple_algorithm/quven_kernel_data.h"
#include "simple_algorithm/quven_kernel_function_friends.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { NoEffect = 2202, CutoffInNoise = 5012 };

}  // namespace

bool QUVENKernelData::hasCutoff() const {
  if (ivIsSparseKernel == 0) return false;
  switch (getStatus()) {
    case InputOtherSamples:
      return !usesAllPairs();
    case DroppingPairs:
    case ReadyForQuery:
      return true;
    default:
      return false;
  }
}

void QUVENKernelData::beginSelection(const QUVENEnvHandle& env) {
  selection = quvenMake<QUVENCutoffSelection>(QUVEN_ENV);
  selection->begin(ivSparsityLevel, QUVEN_ENV);
}

void QUVENKernelData::keepFrom(double level, const QUVENEnvHandle& env) {
  ivSparsityLevel = level;
  cutoffFromAllPairs = 1;
  reportsPairs = 0;
  if (!ivOutputFileName.empty()) {
    report_warning(NoEffect, "OutputFileName", "QUVENKernelData: with --levels the kernel writes no file of its pairs");
    ivOutputFileName.clear();
  }
  beginSelection(QUVEN_ENV);
}

const QUVENKernelFunctionFriends& QUVENKernelData::friendsFunction() const {
  QUVEN_ASSERT(ivKernelFunctionPtr->isA(QUVENKernelFunctionFriends::typeName()));
  return static_cast<const QUVENKernelFunctionFriends&>(*ivKernelFunctionPtr);
}

void QUVENKernelData::endCountingCallers(const QUVENEnvHandle& env) {
  if (numCallers == 0) reportNoValues(QUVEN_ENV);
  QUVEN_ASSERT(ivKernelFunctionPtr->isA(QUVENKernelFunctionFriends::typeName()));
  static_cast<QUVENKernelFunctionFriends&>(*ivKernelFunctionPtr).setNormalizingFactor(static_cast<double>(numCallers));
  report_log(1, "NormalizingFactor: " + std::to_string(numCallers) + " callers");
}

void QUVENKernelData::takePair(std::int32_t column, std::int32_t row, double value, bool hasCommon,
                               const QUVENEnvHandle& env) {
  ++numCompared;
  numWithCommon += hasCommon ? 1 : 0;
  if (cutoffAmongCommon != 0 && !hasCommon) return;
  ivSparseKernelMatrix.set(column, row, value, hasCommon, env);
}

void QUVENKernelData::addPairsToSelection() {
  for (const QUVENSimilarityStore::Cell& cell : ivSparseKernelMatrix.getCellsAsSet()) selection->add(cell.value);
}

void QUVENKernelData::dropPairs(const QUVENEnvHandle& env) {
  numKept = 0;
  numKeptWithoutCommon = 0;
  const auto isKept = [&](const QUVENSimilarityStore::Cell& cell) {
    if (!(cell.value >= ivSparsityThreshold)) return false;
    ++numKept;
    numKeptWithoutCommon += cell.mark == 0 ? 1 : 0;
    return true;
  };
  ivSparseKernelMatrix.keepIf(isKept, QUVEN_ENV);
}

int QUVENKernelData::updateWithoutDataScan(const QUVENEnvHandle& env) {
  switch (getStatus()) {
    case SelectingCutoff:
      addPairsToSelection();
      return 1;
    case DroppingPairs:
      dropPairs(QUVEN_ENV);
      return 1;
    default:
      return QUVENSimpleAlgorithmAbstractData::updateWithoutDataScan(QUVEN_ENV);
  }
}

void QUVENKernelData::mergeAllPairs(const QUVENKernelData& other) {
  switch (getStatus()) {
    case InputOtherSamples:
      numCompared += other.numCompared;
      numWithCommon += other.numWithCommon;
      return selection->merge(*other.selection);
    case SelectingCutoff:
      return selection->merge(*other.selection);
    case DroppingPairs:
      numKept += other.numKept;
      numKeptWithoutCommon += other.numKeptWithoutCommon;
      return;
    default:
      return;
  }
}

void QUVENKernelData::endRoundOfSelection(const QUVENEnvHandle& env) {
  const bool isFound = selection->endRound();
  if (selection->getNumValues() == 0) reportNoValues(QUVEN_ENV);
  ivDataStatus = isFound ? DroppingPairs : SelectingCutoff;
  if (isFound) ivSparsityThreshold = selection->getCutoff();
}

QUVENKernelData::PairCounts QUVENKernelData::getPairCounts() const {
  return {numCompared,
          numWithCommon,
          selection->getNumValues(),
          selection->getNumBelow(),
          numKept,
          numKeptWithoutCommon,
          friendsFunction().getNormalizingFactor()};
}

void QUVENKernelData::reportPairs(const PairCounts& counts, double level, double cutoff, const QUVENEnvHandle& env) {
  std::ostringstream line;
  line.imbue(std::locale::classic());
  line << "Pairs: compared " << counts.compared << ", with common contacts " << counts.withCommon << ", kept "
       << counts.kept << ", of these without common contacts " << counts.keptWithoutCommon
       << "; share below the cutoff: asked " << level << ", reached "
       << static_cast<double>(counts.numBelow) / static_cast<double>(counts.numValues) << ", cutoff " << cutoff;
  report_log(1, line);
  const double limit = 1 / counts.normalizingFactor;
  const bool isLow = cutoff < limit;
  if (counts.keptWithoutCommon == 0 && !isLow) return;
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << "QUVENKernelData::endDataScan: the cutoff " << cutoff;
  if (isLow) text << " is below 1 / NormalizingFactor, " << limit;
  if (counts.keptWithoutCommon != 0) {
    text << (isLow ? " and" : "") << " keeps " << counts.keptWithoutCommon << " pairs without a contact in common";
  }
  text << "; a higher SparsityLevel or CutoffAmong Common drops them";
  report_doubt(CutoffInNoise, "SparsityLevel", text.str(), QUVEN_ENV);
}
