#include "learning/quven_trans_reg_residual_model.h"

#include <algorithm>
#include <cmath>

#include "kernel/quven_data_point.h"
#include "kernel/quven_scan_results.h"
#include "util/quven_debug.h"
#include "util/quven_heap.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENXformModelOutputPair);
QUVEN_REGISTER(QUVENTransRegResidualModel);

namespace {

constexpr int IllegalParameter = 2202;

/// An input that goes into regressions.
bool isRegressor(const QUVENModelInput& input) {
  const std::int32_t usage = input.getUsage();
  return usage == QUVENUsageExplanatory || usage == QUVENUsageExplanatory3 || usage == QUVENUsageCarried;
}

}  // namespace

bool QUVENTransRegResidualModel::hasUsableDistribution(const QUVENField& field, const QUVENEnvHandle& env) {
  return field.hasDistribution() && field.getNumDistValues(QUVEN_ENV) > 0;
}

void QUVENTransRegResidualModel::getOutputs(QUVENModelOutputs& outputs, std::string_view suffix,
                                            QUVENFieldNameMap& outputNames, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivFeatureRegressionPtr != nullptr);
  ivFeatureRegressionPtr->getOutputs(outputs, suffix, outputNames, QUVEN_ENV);
}

void QUVENTransRegResidualModel::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    QUVEN_ASSERT(pair != nullptr && pair->getModel() != nullptr);
    QUVEN_ASSERT(pair->getModel()->isA(QUVENFeatureTransform::typeName()) != 0);
  }
}

const QUVENModel& QUVENTransRegResidualModel::answering(const QUVENEnvHandle&) const {
  QUVEN_ASSERT(ivFeatureRegressionPtr != nullptr);
  return *ivFeatureRegressionPtr;
}

// Batches of transforms

bool QUVENTransRegResidualModel::beginPass(const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  ivFeatureRegressionPtr.reset(QUVEN_ENV);
  ivXformFeatureVec.deleteMemory(QUVEN_ENV);
  ivLastExplanatory = 0;
  ivStartingSuffix = 1;
  ivResidState = TrainsTransforms;
  if (startBatch(QUVEN_ENV)) return true;
  startRegression(QUVEN_ENV);
  if (!ivFeatureRegressionPtr->isScanning()) quvenUnreachable(QUVEN_ENV);
  return true;
}

/// The inputs that each transform has beside its own field.
QUVENXaRay<QUVENField*> QUVENTransRegResidualModel::contextFields(const QUVENEnvHandle& env) const {
  QUVENXaRay<QUVENField*> fields;
  for (const QUVENModelInput& input : getExplanatoryFields()) {
    if (input.getUsage() == QUVENUsageCarried) fields.append(input.getField(), QUVEN_ENV);
  }
  return fields;
}

/// Puts the best transform first; one whose score is NaN comes last.
void QUVENTransRegResidualModel::rankTransforms(const QUVENEnvHandle& env) {
  const auto less = [](const QUVENOwnPtr<QUVENXformModelOutputPair>& a,
                       const QUVENOwnPtr<QUVENXformModelOutputPair>& b) {
    if (std::isnan(a->getRankingScore())) return false;
    return std::isnan(b->getRankingScore()) || a->getRankingScore() < b->getRankingScore();
  };
  QUVENHeap heap(ivXformFeatureVec, less);
  heap.heapSort(ivXformFeatureVec.getSize(), QUVEN_ENV);
}

void QUVENTransRegResidualModel::addTransform(const QUVENModelInput& input, const QUVENXaRay<QUVENField*>& context,
                                              const QUVENEnvHandle& env) {
  auto transform = quvenMake<QUVENFeatureTransform>(QUVEN_ENV);
  transform->setSplitField(input.getField());
  if (input.getUsage() != QUVENUsageCarried) transform->addInput(input.getField(), input.getUsage(), QUVEN_ENV);
  for (QUVENField* field : context) transform->addInput(field, QUVENUsageCarried, QUVEN_ENV);
  transform->addInput(getTargetFields().at(1).getField(), QUVENUsageTarget, QUVEN_ENV);
  if (getCaseWeightField() != nullptr) transform->addInput(getCaseWeightField(), QUVENUsageCaseWeight, QUVEN_ENV);
  if (getInvVarWeightField() != nullptr) {
    transform->addInput(getInvVarWeightField(), QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
  if (!transform->setMiningMode(BestModelTrainDataOnly, nullptr, QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
  transform->beginDataScan(QUVEN_ENV);
  auto pair = quvenMake<QUVENXformModelOutputPair>(QUVEN_ENV);
  pair->setModel(std::move(transform));
  const long index = ivXformFeatureVec.getSize() + 1;
  ivXformFeatureVec.autoExtend(index, QUVEN_ENV);
  ivXformFeatureVec[index] = std::move(pair);
}

void QUVENTransRegResidualModel::removeTransform(long index, const QUVENEnvHandle& env) {
  const auto place = ivXformFeatureVec.begin() + (index - 1);
  std::rotate(place, place + 1, ivXformFeatureVec.end());
  ivXformFeatureVec[ivXformFeatureVec.getSize()].reset(QUVEN_ENV);
  ivXformFeatureVec.setSize(ivXformFeatureVec.getSize() - 1, QUVEN_ENV);
}

/// Begins transforms of the next inputs, as many as the memory allows; false when no input is left to transform.
bool QUVENTransRegResidualModel::startBatch(const QUVENEnvHandle& env) {
  const Inputs& inputs = getExplanatoryFields();
  if (ivLastExplanatory == inputs.getSize()) return false;
  QUVENXaRay<QUVENField*> context = contextFields(QUVEN_ENV);
  rankTransforms(QUVEN_ENV);
  long numTrained = ivXformFeatureVec.getSize();  // of earlier batches, the weakest last
  const long numKept = std::max((numTrained + 1) / 2, 1L);
  const QUVENEnv& environment = env.resolve();
  bool isStarted = false;
  while (ivLastExplanatory < inputs.getSize()) {
    const QUVENModelInput& input = inputs[++ivLastExplanatory];
    if (!isRegressor(input) || !hasUsableDistribution(*input.getField(), QUVEN_ENV)) continue;
    addTransform(input, context, QUVEN_ENV);
    isStarted = true;
    while (environment.isOverSoftLimit() && numTrained > numKept) removeTransform(numTrained--, QUVEN_ENV);
    if (environment.isOverSoftLimit()) break;  // the other inputs wait for the next batch
  }
  context.deleteMemory(QUVEN_ENV);
  if (isStarted && ivXformFeatureVec.getSize() == 1 && environment.isOverSoftLimit()) {
    report_error(IllegalParameter, "MemoryLimit", "vesk-analyze: MemoryLimit is too small for one transform", QUVEN_ENV,
                 true);
  }
  return isStarted;
}

bool QUVENTransRegResidualModel::endTransforms(std::int32_t lastPass, const QUVENEnvHandle& env) {
  bool isFinished = true;
  for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    QUVENFeatureTransform& transform = pair->getTransform();
    if (!transform.isScanning()) continue;
    if (transform.endDataScan(lastPass, QUVEN_ENV)) {
      pair->setRankingScore(transform.getScore(QUVENModelScores::Evaluation, QUVEN_ENV));
    } else {
      isFinished = false;
    }
  }
  return isFinished;
}

bool QUVENTransRegResidualModel::endPass(std::int32_t lastPass, const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  switch (ivResidState) {
    case TrainsTransforms:
      if (!endTransforms(lastPass, QUVEN_ENV)) return false;
      if (startBatch(QUVEN_ENV)) return false;
      startRegression(QUVEN_ENV);
      if (ivFeatureRegressionPtr->isScanning()) return false;
      break;
    case TrainsRegression:
      if (!ivFeatureRegressionPtr->endDataScan(lastPass, QUVEN_ENV)) return false;
      break;
    default:
      quvenUnreachable(QUVEN_ENV);
  }
  ivResidState = Done;
  ivFeatureRegressionPtr->releaseStatistics(QUVEN_ENV);
  return true;
}

// The regression over the transforms

/// The predictions of the transforms, each of which becomes a field; without a transform the explanatory inputs.
void QUVENTransRegResidualModel::addRegressionInputs(const QUVENEnvHandle& env) {
  QUVENLinRegModel& regression = *ivFeatureRegressionPtr;
  if (ivXformFeatureVec.isEmpty()) {
    for (const QUVENModelInput& input : getExplanatoryFields()) {
      if (isRegressor(input)) regression.addInput(input.getField(), QUVENUsageCarried, QUVEN_ENV);
    }
  }
  QUVENField* const target = getTargetFields().at(1).getField();
  const auto addOutput = [&](QUVENModelOutputs& outputs, std::int32_t type, const std::string& suffix) {
    QUVENField* const field = outputs.addOutput(target, type, suffix, getNames(), QUVEN_ENV);
    field->setActualChannelCount(getGlobalNumChannels());
    return field;
  };
  for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    const std::string suffix = std::to_string(ivStartingSuffix++);
    QUVENField* const prediction = addOutput(pair->getOutputs(), QUVENOutputPredicted, suffix);
    QUVENField* const stdDev =
        isWeighted() ? addOutput(pair->getOutputs(), QUVENOutputStdDev, suffix) : nullptr;  // nothing else reads it
    pair->getTransform().setOutputFields(prediction, stdDev);
    regression.addInput(prediction, QUVENUsageCarried, QUVEN_ENV);
  }
  regression.addInput(target, QUVENUsageTarget, QUVEN_ENV);
  if (getCaseWeightField() != nullptr) regression.addInput(getCaseWeightField(), QUVENUsageCaseWeight, QUVEN_ENV);
  QUVENField* const weight =
      isWeighted() ? addOutput(invVarWeightOutput, QUVENOutputInverseVarianceWeight, "") : getInvVarWeightField();
  if (weight != nullptr) regression.addInput(weight, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
}

void QUVENTransRegResidualModel::startRegression(const QUVENEnvHandle& env) {
  ivResidState = TrainsRegression;
  ivFeatureRegressionPtr = quvenMake<QUVENLinRegModel>(QUVEN_ENV);
  addRegressionInputs(QUVEN_ENV);
  if (!ivFeatureRegressionPtr->setMiningMode(getMiningMode(QUVEN_ENV), nullptr, QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
  ivFeatureRegressionPtr->beginDataScan(QUVEN_ENV);
}

/// The weighted variant: the record's own weight, or 1.0, over the square of the smallest standard deviation.
void QUVENTransRegResidualModel::setRecordWeight(std::int32_t channel, const QUVENEnvHandle& env) {
  constexpr double largest = std::numeric_limits<double>::max();
  double smallest = largest;
  for (const QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    const QUVENField* stdDev = pair->getTransform().getPredValStdDevField();
    if (stdDev != nullptr) smallest = std::fmin(smallest, stdDev->getNumValueOrSingle(channel));
  }
  const QUVENField* own = getInvVarWeightField();
  double weight = own == nullptr ? 1.0 : own->getNumValueOrSingle(channel);
  if (smallest < largest) weight /= smallest * smallest;
  invVarWeightOutput.getResultFields()[1]->getField()->setNumValueOfChannel(channel, weight, QUVEN_ENV);
}

// Records

QUVENDataScan::UpdateFunction QUVENTransRegResidualModel::recordHandler(const QUVENEnvHandle&) const {
  if (!isScanning()) return nullptr;
  if (ivResidState == TrainsTransforms) {
    return static_cast<UpdateFunction>(&QUVENTransRegResidualModel::learnTransforms);
  }
  return static_cast<UpdateFunction>(&QUVENTransRegResidualModel::learnRegression);
}

/// A target with one value for all channels, as in the first stage, is learned record by record: one update serves all
/// channels. A record without a target teaches nothing.
void QUVENTransRegResidualModel::learnTransforms(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (!block.isOpen()) openBlock(QUVEN_ENV);
  QUVENField& target = *getTargetFields()[1].getField();
  const bool hasTarget = target.hasValue() && !target.isMissing();
  if (hasTarget && target.getNumValues() <= 1) {
    learnBlock(QUVEN_ENV);
    for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) pair->getModel()->update(point, QUVEN_ENV);
    return;
  }
  if (!hasTarget) return;
  const long record = block.getNumRecords();
  for (long k = 1; k <= ivXformFeatureVec.getSize(); ++k) {
    QUVENFeatureTransform& transform = ivXformFeatureVec[k]->getTransform();
    if (transform.isScanning()) transform.addToBlock(partsOfBlock[static_cast<std::size_t>(k - 1)], record, QUVEN_ENV);
  }
  block.add(point.getChannel());
  if (block.isFull()) learnBlock(QUVEN_ENV);
}

/// The shared variables are the context fields.
void QUVENTransRegResidualModel::openBlock(const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENField*> context = contextFields(QUVEN_ENV);
  std::vector<const QUVENField*> shared(context.begin(), context.end());
  partsOfBlock.clear();
  for (const QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    const QUVENFeatureTransform& transform = pair->getTransform();
    const QUVENField* const field = transform.getSplitField();
    QUVENBlockOfTransform& part = partsOfBlock.emplace_back();
    // Its inputs are the context fields, and before them its own field, which can be one of them as well.
    part.hasOwnVariable = transform.getExplanatoryFields().getSize() > context.getSize();
    const bool mayHaveSeveral = field->isComputed() || field->getActualChannelCount() > 1;
    part.channels = mayHaveSeveral ? getGlobalNumChannels() : 1;
    part.segments.resize(static_cast<std::size_t>(QUVENRecordBlock::MostRecords * part.channels));
    part.values.resize(part.segments.size());
  }
  context.deleteMemory(QUVEN_ENV);
  shared.push_back(getTargetFields()[1].getField());
  block.open(std::move(shared), getCaseWeightField(), getInvVarWeightField(), getGlobalNumChannels());
}

void QUVENTransRegResidualModel::learnBlock(const QUVENEnvHandle& env) {
  if (block.getNumRecords() == 0) return;
  for (long k = 1; k <= ivXformFeatureVec.getSize(); ++k) {
    QUVENFeatureTransform& transform = ivXformFeatureVec[k]->getTransform();
    if (transform.isScanning()) {
      transform.learnBlock(block, partsOfBlock[static_cast<std::size_t>(k - 1)], QUVEN_ENV);
    }
  }
  block.clear();
}

void QUVENTransRegResidualModel::learnRegression(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long k = ivXformFeatureVec.getSize(); k >= 1; --k) ivXformFeatureVec[k]->getModel()->scorePoint(point, env);
  if (isWeighted()) {
    for (std::int32_t channel = 1; channel <= getGlobalNumChannels(); ++channel) setRecordWeight(channel, QUVEN_ENV);
  }
  ivFeatureRegressionPtr->update(point, QUVEN_ENV);
}

void QUVENTransRegResidualModel::beginRecords(const QUVENEnvHandle& env) {
  block = QUVENRecordBlock();
  for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    if (pair->getModel()->isScanning()) pair->getModel()->beginRecords(QUVEN_ENV);
  }
  if (ivFeatureRegressionPtr != nullptr) ivFeatureRegressionPtr->beginRecords(QUVEN_ENV);
}

void QUVENTransRegResidualModel::endRecords(const QUVENEnvHandle& env) {
  learnBlock(QUVEN_ENV);
  for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    if (pair->getModel()->isScanning()) pair->getModel()->endRecords(QUVEN_ENV);
  }
  if (ivFeatureRegressionPtr != nullptr) ivFeatureRegressionPtr->endRecords(QUVEN_ENV);
}

void QUVENTransRegResidualModel::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                       const QUVENEnvHandle& env) const {
  for (const QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    if (pair->getModel()->isScanning()) quvenWriteScanResults(*pair->getModel(), writer, keyword, QUVEN_ENV);
  }
  if (ivFeatureRegressionPtr != nullptr) quvenWriteScanResults(*ivFeatureRegressionPtr, writer, keyword, QUVEN_ENV);
}

// Pruning

void QUVENTransRegResidualModel::pruneInputs(const QUVENEnvHandle& env) {
  if (ivFeatureRegressionPtr == nullptr) return;
  ivFeatureRegressionPtr->pruneInputs(QUVEN_ENV);
  const QUVENXaRay<QUVENField*>& used = ivFeatureRegressionPtr->getInputFields();
  for (long k = ivXformFeatureVec.getSize(); k >= 1; --k) {
    const bool isUsed = std::find(used.begin(), used.end(), ivXformFeatureVec[k]->getPrediction()) != used.end();
    if (isUsed) {
      ivXformFeatureVec[k]->getModel()->pruneInputs(QUVEN_ENV);
    } else {
      removeTransform(k, QUVEN_ENV);
    }
  }
  pruneUnusedInputs(QUVEN_ENV);
}

void QUVENTransRegResidualModel::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  if (ivFeatureRegressionPtr == nullptr) {
    for (const QUVENModelInput& input : getExplanatoryFields()) fieldsUsed.add(input.getField(), QUVEN_ENV);
    return;
  }
  for (const QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) {
    pair->getModel()->collectFieldsUsed(fieldsUsed, QUVEN_ENV);
  }
  auto ofRegression = quvenMake<QUVENModelFieldsUsed>(QUVEN_ENV);
  ivFeatureRegressionPtr->collectFieldsUsed(*ofRegression, QUVEN_ENV);
  const auto isOwn = [&](const QUVENField* field) {
    return std::any_of(ivXformFeatureVec.begin(), ivXformFeatureVec.end(),
                       [&](const auto& pair) { return pair->getPrediction() == field; });
  };
  for (QUVENField* field : ofRegression->getFields()) {
    if (!isOwn(field)) fieldsUsed.add(field, QUVEN_ENV);
  }
  ofRegression.reset(QUVEN_ENV);
}

// Scoring

void QUVENTransRegResidualModel::finishScoring(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENXformModelOutputPair>& pair : ivXformFeatureVec) pair->getModel()->finishScoring(QUVEN_ENV);
}

void QUVENTransRegResidualModel::scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long k = ivXformFeatureVec.getSize(); k >= 1; --k) ivXformFeatureVec[k]->getModel()->scorePoint(point, env);
  ivFeatureRegressionPtr->scorePoint(point, QUVEN_ENV);
}

void QUVENTransRegResidualModel::scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long k = ivXformFeatureVec.getSize(); k >= 1; --k) {
    ivXformFeatureVec[k]->getModel()->scoreChannel(channel, point, env);
  }
  ivFeatureRegressionPtr->scoreChannel(channel, point, QUVEN_ENV);
}
