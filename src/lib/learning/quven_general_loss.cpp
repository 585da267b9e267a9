#include "learning/quven_general_loss.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "kernel/quven_data_point.h"
#include "util/quven_clamp.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENGeneralLoss);

namespace {

constexpr long numTrials = 10;
constexpr double trialStepSize = 0.5;
constexpr double newtonTolerance = 1e-10;
static_assert(std::bit_cast<std::uint64_t>(newtonTolerance) == 0x3ddb7cdfd9d7bdbb);

using Channels = QUVENGeneralLoss::Channels;
using Fields = QUVENGeneralLoss::Fields;

void setZero(Channels& values, long size, const QUVENEnvHandle& env) {
  values.setSize(size, QUVEN_ENV);
  std::fill(values.begin(), values.end(), 0.0);
}

bool hasNumber(const QUVENField& field) { return field.hasValue() && !field.isMissing(); }

/// Whether the dealing of the step gives a record to a channel.
bool isDealtTo(std::int32_t channel, std::int32_t recordChannel) {
  constexpr std::int32_t lastOfOwnRecords = 2;
  return channel <= lastOfOwnRecords ? recordChannel >= channel : recordChannel > channel;
}

/// The field of the first record of one of two output types, or null.
QUVENField* findOfType(const QUVENModelOutputs& outputs, QUVENOutputType type, QUVENOutputType otherType) {
  for (const QUVENOwnPtr<QUVENModelResultField>& record : outputs.getResultFields()) {
    if (record && (record->getOutputType() == type || record->getOutputType() == otherType)) return record->getField();
  }
  return nullptr;
}

bool allPresent(const Fields& fields) {
  return std::all_of(fields.begin(), fields.end(), [](const QUVENField* field) { return field != nullptr; });
}

void addTo(Channels& sum, const Channels& part) {
  quvenAddClamped({sum.begin(), sum.end()}, {part.begin(), part.end()});
}

}  // namespace

// Binding

void QUVENGeneralLoss::openFirst(const QUVENModel::Inputs& targets, QUVENField* invVarWeight, std::string_view suffix,
                                 QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(getState() == NotBegun && ivTargets.isEmpty());
  for (const QUVENModelInput& target : targets) ivTargets.append(target.getField(), QUVEN_ENV);
  ivInvVarPtr = invVarWeight;
  makeResiduals(suffix, names, QUVEN_ENV);
  noteTargetsBound(QUVEN_ENV);
}

void QUVENGeneralLoss::openNext(const QUVENGeneralLoss& previous, std::string_view suffix, QUVENFieldNameMap& names,
                                const QUVENEnvHandle& env) {
  QUVEN_ASSERT(getState() == NotBegun && ivTargets.isEmpty());
  QUVEN_ASSERT(previous.getState() >= OutputsMade);
  ivTargets.copyFrom(previous.ivTargets, QUVEN_ENV);
  ivPreviousPredictedValues.copyFrom(previous.ivCurrentPredictedValues, QUVEN_ENV);
  ivInvVarPtr = previous.ivInvVarPtr;
  makeResiduals(suffix, names, QUVEN_ENV);
}

void QUVENGeneralLoss::makeResiduals(std::string_view suffix, QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  for (QUVENField* target : ivTargets) {
    QUVENField* residual = makeOutput(getPseudoResiduals(), target, QUVENOutputResidual, suffix, names, QUVEN_ENV);
    ivResiduals.append(residual, QUVEN_ENV);
    if (ivInvVarPtr != nullptr) ivInvVarFields.append(ivInvVarPtr, QUVEN_ENV);
  }
  getResidualModelOutputs().setSize(getNumTargets(), QUVEN_ENV);
}

void QUVENGeneralLoss::noteTargetsBound(const QUVENEnvHandle&) {}

void QUVENGeneralLoss::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  for (QUVENField* field : ivPreviousPredictedValues) fieldsUsed.add(field, QUVEN_ENV);
}

// The states

void QUVENGeneralLoss::initResidualScan(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!ivTargets.isEmpty());
  setZero(ivAlphaVector, getGlobalNumChannels(), QUVEN_ENV);
}

void QUVENGeneralLoss::noteResidualModelDone(const QUVENEnvHandle&) { QUVEN_ASSERT(getState() == ResidualScan); }

void QUVENGeneralLoss::afterResidualModels(const QUVENEnvHandle& env) {
  ivResidualPredictions.setSize(0, QUVEN_ENV);
  ivResidualStdDevs.setSize(0, QUVEN_ENV);
  for (long i = 1; i <= getNumTargets(); ++i) {
    const QUVENModelOutputs& outputs = getResidualModelOutputs().at(i);
    QUVENField* prediction = findOfType(outputs, QUVENOutputPredicted, QUVENOutputPredicted);
    QUVEN_ASSERT_CAUSE(prediction != nullptr, "A residual model without a prediction");
    ivResidualPredictions.append(prediction, QUVEN_ENV);
    ivResidualStdDevs.append(findOfType(outputs, QUVENOutputStdDev, QUVENOutputResidualStdDev), QUVEN_ENV);
  }
}

void QUVENGeneralLoss::noteOutputsMade(const QUVENEnvHandle& env) {
  ivCurrentPredictedValues.setSize(0, QUVEN_ENV);
  for (long i = 1; i <= getNumTargets(); ++i) {
    const std::string& suffix = getPseudoResiduals().getResultFields().at(i)->getSuffix();
    QUVENField* prediction =
        getCurrentUnnormalizedOutputs().findOutput(ivTargets[i], QUVENOutputUnnormalizedPredicted, suffix);
    QUVEN_ASSERT(prediction != nullptr);
    ivCurrentPredictedValues.append(prediction, QUVEN_ENV);
  }
  bindStdDevs(QUVEN_ENV);
}

/// Finds the outputs of type 7, to which no member of a stream refers.
void QUVENGeneralLoss::bindStdDevs(const QUVENEnvHandle& env) {
  currentStdDevs.setSize(0, QUVEN_ENV);
  for (const QUVENField* target : ivTargets) {
    QUVENField* found = nullptr;
    for (const QUVENOwnPtr<QUVENModelResultField>& record : getCurrentUnnormalizedOutputs().getResultFields()) {
      if (!record || record->getTargetField() != target) continue;
      if (record->getOutputType() == QUVENOutputUnnormalizedStdDev) found = record->getField();
    }
    currentStdDevs.append(found, QUVEN_ENV);
  }
}

void QUVENGeneralLoss::exportOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                                     const QUVENEnvHandle& env) {
  ivFinalPredictedValues.setSize(0, QUVEN_ENV);
  ivFinalStandardDeviations.setSize(0, QUVEN_ENV);
  for (QUVENField* target : ivTargets) {
    QUVEN_ASSERT(target->isNumeric());
    ivFinalPredictedValues.append(makeOutput(outputs, target, QUVENOutputPredicted, suffix, names, QUVEN_ENV),
                                  QUVEN_ENV);
    ivFinalStandardDeviations.append(makeOutput(outputs, target, QUVENOutputStdDev, suffix, names, QUVEN_ENV),
                                     QUVEN_ENV);
  }
}

// Residuals

void QUVENGeneralLoss::computeResidual(long target, long firstChannel, long lastChannel, const QUVENEnvHandle& env) {
  const QUVENField& y = *ivTargets[target];
  QUVENField& residual = *ivResiduals.at(target);
  const bool hasOneValue = y.getNumValues() <= 1;
  if (!hasNumber(y) || (hasOneValue && std::isnan(y.getNumValueOrSingle(firstChannel)))) return residual.setMissing();
  if (isFirstStage() && hasOneValue) {
    // One value serves every channel, so that what is gathered of it stays that of one value.
    return residual.setNumValue(y.getNumValueOrSingle(firstChannel));
  }
  for (long channel = firstChannel; channel <= lastChannel; ++channel) {
    double value = y.getNumValueOrSingle(channel);
    if (!isFirstStage()) {
      value = residualOf(value, ivPreviousPredictedValues[target]->getNumValueOrSingle(channel), QUVEN_ENV);
    }
    residual.setNumValueOfChannel(channel, value, QUVEN_ENV);
  }
}

void QUVENGeneralLoss::computeResidualsAll(const QUVENEnvHandle& env) {
  for (long i = 1; i <= getNumTargets(); ++i) computeResidual(i, 1, getGlobalNumChannels(), QUVEN_ENV);
}

void QUVENGeneralLoss::computeResidualsOne(std::int32_t channel, const QUVENEnvHandle& env) {
  for (long i = 1; i <= getNumTargets(); ++i) computeResidual(i, channel, channel, QUVEN_ENV);
}

// Predictions

double QUVENGeneralLoss::getAlpha(long, long channel) const {
  const bool isSearched = getLineSearchType() == Newton || getLineSearchType() == MultiAlpha;
  return isSearched ? ivAlphaVector.at(channel) : 1.0;
}

void QUVENGeneralLoss::updatePredictions(long firstChannel, long lastChannel, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(getState() >= OutputsMade);
  for (long i = 1; i <= getNumTargets(); ++i) {
    const QUVENField* stdDevField = ivResidualStdDevs[i];
    for (long channel = firstChannel; channel <= lastChannel; ++channel) {
      const double r = ivResidualPredictions[i]->getNumValueOrSingle(channel);
      const double prediction =
          isFirstStage() ? applyLinkOf(i, r)
                         : ivPreviousPredictedValues[i]->getNumValueOrSingle(channel) + getAlpha(i, channel) * r;
      ivCurrentPredictedValues[i]->setNumValueOfChannel(channel, prediction, QUVEN_ENV);
      if (!ivFinalPredictedValues.isEmpty()) {
        ivFinalPredictedValues[i]->setNumValueOfChannel(channel, prediction, QUVEN_ENV);
      }
      if (stdDevField == nullptr) continue;
      const double stdDev = stdDevField->getNumValueOrSingle(channel);
      if (currentStdDevs[i] != nullptr) currentStdDevs[i]->setNumValueOfChannel(channel, stdDev, QUVEN_ENV);
      if (!ivFinalStandardDeviations.isEmpty()) {
        ivFinalStandardDeviations[i]->setNumValueOfChannel(channel, stdDev, QUVEN_ENV);
      }
    }
  }
}

void QUVENGeneralLoss::updatePredictionsAll(const QUVENEnvHandle& env) {
  updatePredictions(1, getGlobalNumChannels(), QUVEN_ENV);
}

void QUVENGeneralLoss::updatePredictionsOne(std::int32_t channel, const QUVENEnvHandle& env) {
  updatePredictions(channel, channel, QUVEN_ENV);
}

// The searches of the step

bool QUVENGeneralLoss::beginStepSearch(const QUVENEnvHandle& env) {
  if (isFirstStage()) return false;
  const long channels = getGlobalNumChannels();
  for (Channels* values : {&ivAlphaVector, &ivNegGradVector, &ivHessianVector}) setZero(*values, channels, QUVEN_ENV);
  ivMultiAlpha.setSize(0, QUVEN_ENV);
  if (getLineSearchType() == MultiAlpha) {
    ivMultiAlphaStepSize = trialStepSize;
    ivMultiAlpha.setSize(numTrials, QUVEN_ENV);
    for (Channels& trial : ivMultiAlpha) setZero(trial, channels, QUVEN_ENV);
    return true;
  }
  beginNewton();
  return true;
}

void QUVENGeneralLoss::beginNewton() {
  iterationCounter = 1;
  maxIterations = 1;
  convergenceTolerance = newtonTolerance;
}

void QUVENGeneralLoss::beginMultiAlpha(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!isFirstStage());
  searchStep(MultiAlpha, QUVEN_ENV);
}

void QUVENGeneralLoss::clearGathered() {
  for (Channels* values : {&ivNegGradVector, &ivHessianVector}) std::fill(values->begin(), values->end(), 0.0);
  for (Channels& trial : ivMultiAlpha) std::fill(trial.begin(), trial.end(), 0.0);
}

void QUVENGeneralLoss::beginRecords(const QUVENEnvHandle&) {
  if (getState() == StepSearch) clearGathered();
}

void QUVENGeneralLoss::stepRecord(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(getState() == StepSearch);
  if (!isDealtTo(channel, point.getChannel())) return;
  double& gradient = ivNegGradVector.at(channel);
  double& hessian = ivHessianVector.at(channel);
  for (long i = 1; i <= getNumTargets(); ++i) {
    if (!hasNumber(*ivTargets[i])) continue;
    const double y = ivTargets[i]->getNumValueOrSingle(channel);
    if (std::isnan(y)) continue;
    const double x = ivResidualPredictions[i]->getNumValueOrSingle(channel);
    const double p = ivPreviousPredictedValues[i]->getNumValueOrSingle(channel);
    if (getLineSearchType() == Newton) {
      addNewtonTerm(y, x * ivAlphaVector[channel] + p, x, gradient, hessian, QUVEN_ENV);
      continue;
    }
    for (long m = 1; m <= ivMultiAlpha.getSize(); ++m) {
      const double step = static_cast<double>(m) * ivMultiAlphaStepSize;
      ivMultiAlpha[m][channel] += trialLoss(y, step * x + p, QUVEN_ENV);
    }
  }
}

bool QUVENGeneralLoss::endStepSearch(const QUVENEnvHandle& env) {
  if (getLineSearchType() == Newton) return endNewton();
  endMultiAlpha(QUVEN_ENV);
  return true;
}

/// Whether the search is over.
bool QUVENGeneralLoss::endNewton() {
  ++iterationCounter;
  bool hasMoved = false;
  for (long channel = 1; channel <= ivAlphaVector.getSize(); ++channel) {
    const double gradient = ivNegGradVector[channel];
    const double hessian = ivHessianVector[channel];
    const double before = ivAlphaVector[channel];
    if (gradient == 0.0 && hessian == 0.0) {
      ivAlphaVector[channel] = 1.0;
      continue;
    }
    ivAlphaVector[channel] = gradient / hessian;
    hasMoved = hasMoved || std::abs(ivAlphaVector[channel] - before) > convergenceTolerance;
  }
  clearGathered();
  return !hasMoved || iterationCounter > maxIterations;
}

void QUVENGeneralLoss::endMultiAlpha(const QUVENEnvHandle& env) {
  for (long channel = 1; channel <= ivAlphaVector.getSize(); ++channel) {
    long bestTrial = 1;
    double best = ivMultiAlpha.at(1)[channel];
    bool isAllZero = best == 0.0;
    for (long m = ivMultiAlpha.getSize(); m >= 2; --m) {
      const double loss = ivMultiAlpha[m][channel];
      isAllZero = isAllZero && loss == 0.0;
      if (!(loss < best)) continue;
      best = loss;
      bestTrial = m;
    }
    ivAlphaVector[channel] = isAllZero ? 1.0 : static_cast<double>(bestTrial) * ivMultiAlphaStepSize;
  }
  ivMultiAlpha.setSize(0, QUVEN_ENV);
}

bool QUVENGeneralLoss::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  QUVEN_ASSERT(other->isA(typeName()));
  const auto& source = static_cast<const QUVENGeneralLoss&>(*other);
  const bool isSameShape =
      source.ivNegGradVector.getSize() == ivNegGradVector.getSize() &&
      source.ivHessianVector.getSize() == ivHessianVector.getSize() &&
      std::equal(ivMultiAlpha.begin(), ivMultiAlpha.end(), source.ivMultiAlpha.begin(), source.ivMultiAlpha.end(),
                 [](const Channels& a, const Channels& b) { return a.getSize() == b.getSize(); });
  if (!isSameShape) return false;
  addTo(ivNegGradVector, source.ivNegGradVector);
  addTo(ivHessianVector, source.ivHessianVector);
  for (long m = 1; m <= ivMultiAlpha.getSize(); ++m) addTo(ivMultiAlpha[m], source.ivMultiAlpha[m]);
  return true;
}

// Streams

void QUVENGeneralLoss::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(NotBegun <= getState() && getState() <= Ended);
  QUVEN_ASSERT(NoLineSearch <= getLineSearchType() && getLineSearchType() <= MultiAlpha);
  checkFields();
  checkChannels();
  if (getState() >= OutputsMade) bindStdDevs(QUVEN_ENV);
  beginNewton();
}

void QUVENGeneralLoss::checkFields() const {
  const long targets = getNumTargets();
  for (const Fields* fields : {&ivTargets, &ivResiduals}) QUVEN_ASSERT(fields->getSize() == targets);
  for (const Fields* fields :
       {&ivPreviousPredictedValues, &ivInvVarFields, &ivFinalPredictedValues, &ivFinalStandardDeviations}) {
    QUVEN_ASSERT(fields->isEmpty() || fields->getSize() == targets);
  }
  if (getState() >= ResidualModelsDone) {
    QUVEN_ASSERT(ivResidualPredictions.getSize() == targets && ivResidualStdDevs.getSize() == targets);
  }
  if (getState() >= OutputsMade) QUVEN_ASSERT(ivCurrentPredictedValues.getSize() == targets);
  for (const Fields* fields :
       {&ivTargets, &ivPreviousPredictedValues, &ivResiduals, &ivInvVarFields, &ivResidualPredictions,
        &ivCurrentPredictedValues, &ivFinalPredictedValues, &ivFinalStandardDeviations}) {
    QUVEN_ASSERT(allPresent(*fields));
  }
}

void QUVENGeneralLoss::checkChannels() const {
  // A model file is read once before the number of its channels is known; the steps of a trained stage are looked up
  // with a check of the channel.
  if (getState() < StepKnown && getLineSearchType() != NoLineSearch) {
    QUVEN_ASSERT(ivAlphaVector.getSize() == getGlobalNumChannels());
  }
  if (getState() == StepSearch) {
    QUVEN_ASSERT(!isFirstStage() && getLineSearchType() != NoLineSearch);
    QUVEN_ASSERT(ivNegGradVector.getSize() == getGlobalNumChannels());
    QUVEN_ASSERT(getLineSearchType() == Newton || !ivMultiAlpha.isEmpty());
  }
  QUVEN_ASSERT(ivHessianVector.getSize() == ivNegGradVector.getSize());
  for (const Channels& trial : ivMultiAlpha) QUVEN_ASSERT(trial.getSize() == ivNegGradVector.getSize());
}

// What a class below gives

double QUVENGeneralLoss::getReportedLoss(double, double) const {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  quvenNotImplemented(QUVEN_ENV);
}
double QUVENGeneralLoss::residualOf(double, double, const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
void QUVENGeneralLoss::addNewtonTerm(double, double, double, double&, double&, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
double QUVENGeneralLoss::trialLoss(double, double, const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
