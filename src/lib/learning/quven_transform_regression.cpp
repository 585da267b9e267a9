#include "learning/quven_transform_regression.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "kernel/quven_data_point.h"
#include "kernel/quven_scan_results.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENStageScore);
QUVEN_REGISTER(QUVENTransformRegression);

namespace {

/// Whether the outputs of a stage that later stages read have their values in this record.
bool hasPredictions(const QUVENGeneralLoss& loss) {
  const auto areSet = [](const QUVENGeneralLoss::Fields& fields) {
    return std::all_of(fields.begin(), fields.end(), [](const QUVENField* field) { return field->hasValue(); });
  };
  return areSet(loss.getCurrentPredictedValues()) && areSet(loss.getResidualPredictions());
}

}  // namespace

// Stages

QUVENGradBoostStage* QUVENTransformRegression::outputTransform(long stage) const {
  return stage <= ivOutputTransformVec.getSize() ? ivOutputTransformVec.at(stage).get() : nullptr;
}

const QUVENGradBoostStage* QUVENTransformRegression::getOutputTransform(long stage) const {
  return outputTransform(stage);
}

const QUVENModel& QUVENTransformRegression::answering(const QUVENEnvHandle&) const { return lastStage(); }

QUVENGradBoostStage* QUVENTransformRegression::scanningPart() const {
  if (ivGradBoostVec.isEmpty()) return nullptr;
  if (lastStage().isScanning()) return &lastStage();
  QUVENGradBoostStage* const output = outputTransform(getNumStages());
  return output != nullptr && output->isScanning() ? output : nullptr;
}

/// Makes a stage, or an output transform, that follows stages 1..number-1.
QUVENOwnPtr<QUVENGradBoostStage> QUVENTransformRegression::makeStage(long number, const QUVENTypeName& residualType,
                                                                     std::int32_t mode,
                                                                     const QUVENEnvHandle& env) const {
  constexpr long stagesWithPrediction = 2;
  auto stage = quvenMake<QUVENGradBoostStage>(QUVEN_ENV);
  stage->setNames(getNames());
  for (const QUVENModelInput& input : getTargetFields()) {
    stage->addInput(input.getField(), QUVENUsageTarget, QUVEN_ENV);
  }
  const bool isOutput = residualType == QUVENFeatureTransform::typeName();
  if (!isOutput) {
    for (const QUVENModelInput& input : getExplanatoryFields()) {
      stage->addInput(input.getField(), input.getUsage(), QUVEN_ENV);
    }
  }
  for (long earlier = number - 1; earlier >= 1; --earlier) {
    const QUVENGeneralLoss& loss = getStage(earlier).getLoss();
    for (QUVENField* prediction : loss.getResidualPredictions()) {
      stage->addInput(prediction, QUVENUsageCarried, QUVEN_ENV);
    }
    if (earlier < number - stagesWithPrediction) continue;
    for (QUVENField* prediction : loss.getCurrentPredictedValues()) {
      stage->addInput(prediction, QUVENUsageCarried, QUVEN_ENV);
    }
  }
  if (getCaseWeightField() != nullptr) stage->addInput(getCaseWeightField(), QUVENUsageCaseWeight, QUVEN_ENV);
  if (getInvVarWeightField() != nullptr) {
    stage->addInput(getInvVarWeightField(), QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
  const std::string suffix = std::to_string(number) + (isOutput ? "_output" : "");
  if (number == 1) {
    stage->configureFirstStage(ivLossId, residualType, suffix, QUVEN_ENV);
  } else {
    stage->configureFromPrevious(getStage(number - 1), residualType, suffix, QUVEN_ENV);
  }
  if (!stage->setMiningMode(mode, nullptr, QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
  return stage;
}

void QUVENTransformRegression::begin(QUVENGradBoostStage& stage, const QUVENEnvHandle& env) const {
  if (stage.beginDataScan(QUVEN_ENV)) return;
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  quvenUnreachable(QUVEN_ENV);
}

void QUVENTransformRegression::addStage(const QUVENEnvHandle& env) {
  const long number = getNumStages() + 1;
  auto stage = makeStage(number, QUVENTransRegResidualModel::typeName(), BestModelTrainDataOnly, QUVEN_ENV);
  begin(*stage, QUVEN_ENV);
  ivGradBoostVec.autoExtend(number, QUVEN_ENV);
  ivStageScoreVec.autoExtend(number, QUVEN_ENV);
  ivOutputTransformVec.autoExtend(number, QUVEN_ENV);
  ivGradBoostVec[number] = std::move(stage);
}

void QUVENTransformRegression::addOutputTransform(const QUVENEnvHandle& env) {
  const long number = getNumStages();
  auto output = makeStage(number, QUVENFeatureTransform::typeName(), getMiningMode(QUVEN_ENV), QUVEN_ENV);
  begin(*output, QUVEN_ENV);
  ivOutputTransformVec[number] = std::move(output);
}

/// Of the stages before the last: whether a later stage reads their outputs in the coming pass.
void QUVENTransformRegression::setPredecessors(bool areRunning, const QUVENEnvHandle& env) {
  for (long s = 1; s < getNumStages(); ++s) {
    QUVENGeneralLoss& loss = ivGradBoostVec[s]->getLoss();
    areRunning ? loss.enterPredecessor(QUVEN_ENV) : loss.enterEnded(QUVEN_ENV);
  }
}

// Passes

bool QUVENTransformRegression::beginPass(const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  // From the last to the first: a stage refers to the fields of those before it.
  while (getNumStages() > 0) {
    const long last = getNumStages();
    if (last <= ivOutputTransformVec.getSize()) ivOutputTransformVec[last].reset(QUVEN_ENV);
    ivGradBoostVec[last].reset(QUVEN_ENV);
    ivGradBoostVec.setSize(last - 1, QUVEN_ENV);
  }
  ivStageScoreVec.setSize(0, QUVEN_ENV);
  ivOutputTransformVec.setSize(0, QUVEN_ENV);
  stopReason = StopReason::None;
  bestStage = 1;
  addStage(QUVEN_ENV);
  return true;
}

/// Ends the pass of the last stage and its output transform; true when both are finished.
bool QUVENTransformRegression::endParts(std::int32_t lastPass, const QUVENEnvHandle& env) {
  const long number = getNumStages();
  if (lastStage().isScanning() && !lastStage().endDataScan(lastPass, QUVEN_ENV)) return false;
  if (number < 2) return true;
  QUVENGradBoostStage* const output = outputTransform(number);
  if (output != nullptr) return output->endDataScan(lastPass, QUVEN_ENV);
  addOutputTransform(QUVEN_ENV);
  return false;
}

bool QUVENTransformRegression::endPass(std::int32_t lastPass, const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  setPredecessors(false, QUVEN_ENV);
  if (!endParts(lastPass, QUVEN_ENV)) {
    setPredecessors(true, QUVEN_ENV);
    return false;
  }
  scoreStage(QUVEN_ENV);
  stopReason = decide(lastPass, QUVEN_ENV);
  if (QUVENGradBoostStage* const output = outputTransform(getNumStages())) output->pruneInputs(QUVEN_ENV);
  lastStage().pruneInputs(QUVEN_ENV);
  if (stageObserver) stageObserver(getNumStages());
  if (stopReason != StopReason::None) {
    finish(QUVEN_ENV);
    return true;
  }
  addStage(QUVEN_ENV);
  setPredecessors(true, QUVEN_ENV);
  return false;
}

// The score of a stage, and what follows from it

void QUVENTransformRegression::scoreStage(const QUVENEnvHandle& env) {
  const long number = getNumStages();
  const QUVENGradBoostStage* const output = outputTransform(number);
  if (output == nullptr) return;
  QUVENXaRay<QUVENModelScores> scores;
  output->getModelScoresVector(scores, QUVEN_ENV);
  const QUVENModelScores best = scores.at(1);
  scores.deleteMemory(QUVEN_ENV);
  int slot = best[QUVENModelScores::Evaluation].ivPts > 0 ? QUVENModelScores::Evaluation : QUVENModelScores::Train;
  const bool choosesByHeldOut = getMiningMode(QUVEN_ENV) == quvenModeOfHeldOut;
  if (choosesByHeldOut && best[QUVENModelScores::HeldOut].ivPts > 0) slot = QUVENModelScores::HeldOut;
  ivStageScoreVec[number] = QUVENStageScore(best[slot]);
}

long QUVENTransformRegression::significantBack(const StageScores& scores) {
  constexpr double fewestPoints = 2.0;
  const long n = scores.getSize();
  if (n < 1) return n;
  if (n - 1 < 2) return n - 1;
  const QUVENScoreTriple last = scores[n].get();
  for (long k = n - 1; k >= 2; --k) {
    const QUVENScoreTriple earlier = scores[k].get();
    if (last.ivPts < fewestPoints || earlier.ivPts < fewestPoints) return n - 1;
    const double difference = last.ivFit / last.ivPts - earlier.ivFit / earlier.ivPts;
    const double variance = (1 / earlier.ivPts + 1 / last.ivPts) * (earlier.ivVar + last.ivVar) /
                            (earlier.ivPts + last.ivPts - fewestPoints);
    if (difference < 0 && difference * difference >= variance) return n - k;
  }
  return n - 1;
}

long QUVENTransformRegression::findBestStage(const StageScores& scores) {
  long best = 1;
  double smallest = std::numeric_limits<double>::max();
  for (long s = scores.getSize(); s >= 2; --s) {
    const QUVENScoreTriple score = scores[s].get();
    if (score.ivPts > 0 && score.ivFit < smallest) {
      smallest = score.ivFit;
      best = s;
    }
  }
  return best;
}

QUVENTransformRegression::StopReason QUVENTransformRegression::decide(std::int32_t lastPass,
                                                                      const QUVENEnvHandle& env) const {
  constexpr long mostInsignificant = 2;
  if (lastPass != 0) return StopReason::LastPass;
  if (getNumStages() > 1 && lastStage().hasNoSignal(QUVEN_ENV)) return StopReason::NoSignal;
  if (getNumStages() >= MostStages) return StopReason::MostStages;
  if (significantBack(ivStageScoreVec) > mostInsignificant) return StopReason::NothingSignificant;
  return StopReason::None;
}

void QUVENTransformRegression::finish(const QUVENEnvHandle& env) {
  bestStage = findBestStage(ivStageScoreVec);
  if (choosesLater) return;
  const bool isOutput = bestStage > 1 && outputTransform(bestStage) != nullptr;
  keep(isOutput ? bestStage : getNumStages(), isOutput, QUVEN_ENV);
}

void QUVENTransformRegression::keep(long numStages, bool isOutput, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(1 <= numStages && numStages <= getNumStages());
  QUVEN_ASSERT(!isOutput || outputTransform(numStages) != nullptr);
  while (getNumStages() > numStages) {
    const long last = getNumStages();
    ivOutputTransformVec[last].reset(QUVEN_ENV);
    ivGradBoostVec[last].reset(QUVEN_ENV);
    ivGradBoostVec.setSize(last - 1, QUVEN_ENV);
  }
  if (isOutput) ivGradBoostVec[numStages] = std::move(ivOutputTransformVec[numStages]);
  for (QUVENOwnPtr<QUVENGradBoostStage>& output : ivOutputTransformVec) output.reset(QUVEN_ENV);
  ivOutputTransformVec.setSize(0, QUVEN_ENV);
  ivStageScoreVec.setSize(0, QUVEN_ENV);
}

// Records

QUVENDataScan::UpdateFunction QUVENTransformRegression::recordHandler(const QUVENEnvHandle&) const {
  return isScanning() ? static_cast<UpdateFunction>(&QUVENTransformRegression::learn) : nullptr;
}

void QUVENTransformRegression::collectFinalOutputs(std::vector<QUVENField*>& fields) const {
  if (!isScanning()) return;
  for (long s = 1; s < getNumStages(); ++s) {
    const QUVENGeneralLoss& loss = getStage(s).getLoss();
    for (const QUVENGeneralLoss::Fields* outputs :
         {&loss.getResidualPredictions(), &loss.getCurrentPredictedValues()}) {
      fields.insert(fields.end(), outputs->begin(), outputs->end());
    }
  }
}

void QUVENTransformRegression::learn(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long s = 1; s < getNumStages(); ++s) {
    if (!hasPredictions(getStage(s).getLoss())) ivGradBoostVec[s]->scorePoint(point, QUVEN_ENV);
  }
  scanningPart()->update(point, QUVEN_ENV);
}

void QUVENTransformRegression::beginRecords(const QUVENEnvHandle& env) {
  if (QUVENGradBoostStage* const part = scanningPart()) part->beginRecords(QUVEN_ENV);
}

void QUVENTransformRegression::endRecords(const QUVENEnvHandle& env) {
  if (QUVENGradBoostStage* const part = scanningPart()) part->endRecords(QUVEN_ENV);
}

void QUVENTransformRegression::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                     const QUVENEnvHandle& env) const {
  if (const QUVENGradBoostStage* const part = scanningPart()) {
    quvenWriteScanResults(*part, writer, keyword, QUVEN_ENV);
  }
}

void QUVENTransformRegression::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENGradBoostStage>& stage : ivGradBoostVec) QUVEN_ASSERT(stage != nullptr);
  QUVEN_ASSERT(ivOutputTransformVec.isEmpty() || ivOutputTransformVec.getSize() == getNumStages());
}

// Queries and scoring

void QUVENTransformRegression::getOutputs(QUVENModelOutputs& outputs, std::string_view suffix,
                                          QUVENFieldNameMap& outputNames, const QUVENEnvHandle& env) {
  lastStage().getOutputs(outputs, suffix, outputNames, QUVEN_ENV);
}

bool QUVENTransformRegression::hasNoSignal(const QUVENEnvHandle& env) const {
  return getNumStages() <= 1 && answering(QUVEN_ENV).hasNoSignal(QUVEN_ENV);
}

void QUVENTransformRegression::pruneInputs(const QUVENEnvHandle& env) { lastStage().pruneInputs(QUVEN_ENV); }

void QUVENTransformRegression::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  auto ofStages = quvenMake<QUVENModelFieldsUsed>(QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENGradBoostStage>& stage : ivGradBoostVec) stage->collectFieldsUsed(*ofStages, QUVEN_ENV);
  for (QUVENField* field : ofStages->getFields()) {
    if (findExplanatory(field) != 0) fieldsUsed.add(field, QUVEN_ENV);
  }
  ofStages.reset(QUVEN_ENV);
}

void QUVENTransformRegression::finishScoring(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENGradBoostStage>& stage : ivGradBoostVec) stage->finishScoring(QUVEN_ENV);
}

void QUVENTransformRegression::scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (long s = 1; s <= getNumStages(); ++s) {
    ivGradBoostVec[s]->scorePoint(point, QUVEN_ENV);
    if (QUVENGradBoostStage* const output = outputTransform(s)) output->scorePoint(point, QUVEN_ENV);
  }
}

void QUVENTransformRegression::scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  scoreChannelFrom(1, channel, point, QUVEN_ENV);
}

long QUVENTransformRegression::firstStepReading(const QUVENField* field, const QUVENEnvHandle& env) const {
  long step = 1;
  while (step <= getNumStages() && ivGradBoostVec[step]->firstStepReading(field, QUVEN_ENV) != 1) ++step;
  return step;
}

void QUVENTransformRegression::scoreChannelFrom(long step, std::int32_t channel, QUVENDataPoint& point,
                                                const QUVENEnvHandle& env) {
  for (long s = step; s <= getNumStages(); ++s) {
    ivGradBoostVec[s]->scoreChannel(channel, point, QUVEN_ENV);
    if (QUVENGradBoostStage* const output = outputTransform(s)) output->scoreChannel(channel, point, QUVEN_ENV);
  }
}
