#include "learning/quven_lin_reg_model.h"

#include <algorithm>
#include <cmath>

#include "control/quven_XML_tag.h"
#include "kernel/quven_data_point.h"
#include "learning/quven_ls_method.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLinRegModel);

namespace {

/// The smallest residual variance that a fit may claim, as a part of the weight of a record: 2^-23.
constexpr double floorFactor = 1.1920928955078125e-07;

// What hasUsableData asks of a channel.
constexpr double fewestEvalPoints = 1.0;
constexpr double fewestTrainPoints = 5.0;

bool isNumericInput(const QUVENModelInput& input) {
  const std::int32_t usage = input.getUsage();
  const bool isExplanatory =
      usage == QUVENUsageExplanatory || usage == QUVENUsageExplanatory3 || usage == QUVENUsageCarried;
  return isExplanatory && input.getField()->isNumeric();
}

bool hasOneValue(const QUVENField* field) { return field == nullptr || field->getNumValues() <= 1; }

void mergeChannels(QUVENXaRay<QUVENLSData, 0>& channels, const QUVENXaRay<QUVENLSData, 0>& others,
                   const QUVENEnvHandle& env) {
  QUVEN_ASSERT(channels.getSize() == others.getSize());
  for (long c = 1; c <= channels.getSize(); ++c) channels[c].merge(others[c], QUVEN_ENV);
}

double orZero(double value) { return std::isnan(value) ? 0.0 : value; }

}  // namespace

// Outputs

void QUVENLinRegModel::getOutputs(QUVENModelOutputs& outputs, std::string_view suffix, QUVENFieldNameMap& names,
                                  const QUVENEnvHandle& env) {
  QUVENField* target = getTargetFields().at(1).getField();
  ivPredValFieldPtr = outputs.addOutput(target, QUVENOutputPredicted, suffix, names, QUVEN_ENV);
  ivPredValStdDevFieldPtr = outputs.addOutput(target, QUVENOutputStdDev, suffix, names, QUVEN_ENV);
  for (QUVENField* field : {ivPredValFieldPtr, ivPredValStdDevFieldPtr}) {
    field->setActualChannelCount(getGlobalNumChannels());
  }
}

void QUVENLinRegModel::setOutputFields(QUVENField* prediction, QUVENField* stdDev) {
  ivPredValFieldPtr = prediction;
  ivPredValStdDevFieldPtr = stdDev;
}

// Gathering

bool QUVENLinRegModel::isGathering() const {
  switch (getModelState()) {
    case 101:
    case 102:
    case 104:
    case 105:
    case 108:
    case 109:
      return true;
    default:
      return false;
  }
}

QUVENDataScan::UpdateFunction QUVENLinRegModel::recordHandler(const QUVENEnvHandle&) const {
  return isGathering() ? static_cast<UpdateFunction>(&QUVENLinRegModel::learn) : nullptr;
}

QUVENDataScan::UpdateFunction QUVENLinRegModel::batchHandler(const QUVENEnvHandle&) const {
  return isGathering() ? static_cast<UpdateFunction>(&QUVENLinRegModel::learnBatch) : nullptr;
}

void QUVENLinRegModel::allocateChannels(const QUVENEnvHandle& env) {
  for (Channels* channels : {&ivEvalChannels, &ivTrnChannels}) {
    channels->setSize(getGlobalNumChannels(), QUVEN_ENV);
    for (QUVENLSData& data : *channels) data.allocate(getNumVariables(), QUVEN_ENV);
  }
}

void QUVENLinRegModel::beginRecords(const QUVENEnvHandle& env) {
  if (!isGathering()) return;
  allocateChannels(QUVEN_ENV);
  bindVariables(QUVEN_ENV);
  oneValued = true;
}

void QUVENLinRegModel::bindVariables(const QUVENEnvHandle& env) {
  const Inputs& inputs = getExplanatoryFields();
  variables.setSize(getNumVariables(), QUVEN_ENV);
  values.setSize(getNumVariables(), QUVEN_ENV);
  std::fill(variables.begin(), variables.end(), nullptr);
  for (long i = 1; i <= inputs.getSize(); ++i) {
    if (isNumericInput(inputs[i])) variables[i] = inputs[i].getField();
  }
  variables[variables.getSize()] = getTargetFields().at(1).getField();
}

std::int32_t QUVENLinRegModel::getRecordChannel(const QUVENDataPoint& point) const {
  const std::int32_t channel = point.getChannel();
  QUVEN_ASSERT(1 <= channel && channel <= getGlobalNumChannels());
  return channel;
}

/// Fetches the values of the present record for a channel; false when the target is missing in it.
bool QUVENLinRegModel::collectValues(long channel) {
  const long last = variables.getSize();
  for (long i = 1; i < last; ++i) {
    values[i] = variables[i] == nullptr ? 0.0 : orZero(variables[i]->getNumValueOrSingle(channel));
  }
  const QUVENField& target = *variables[last];
  if (!target.hasValue() || target.isMissing()) return false;
  values[last] = target.getNumValueOrSingle(channel);
  return !std::isnan(values[last]);
}

double QUVENLinRegModel::getWeight(const QUVENField* field, long channel) const {
  if (field == nullptr) return 1.0;
  return orZero(field->getNumValueOrSingle(channel));
}

bool QUVENLinRegModel::hasOneValueNow() const {
  return std::all_of(variables.begin(), variables.end(), [](const QUVENField* field) { return hasOneValue(field); }) &&
         hasOneValue(getCaseWeightField()) && hasOneValue(getInvVarWeightField());
}

void QUVENLinRegModel::learn(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (oneValued && hasOneValueNow()) return learnOneValued(point, QUVEN_ENV);
  const std::int32_t recordChannel = getRecordChannel(point);
  if (lookUpRecord(QUVEN_ENV)) learnLookedUp(*this, recordChannel, QUVEN_ENV);
}

bool QUVENLinRegModel::lookUpRecord(const QUVENEnvHandle& env) {
  const long channels = getGlobalNumChannels();
  const long last = variables.getSize();
  const QUVENField& targetField = *variables[last];
  if (!targetField.hasValue() || targetField.isMissing()) return false;
  rows.setSize((last + 2) * channels, QUVEN_ENV);
  sources.setSize(last + 2, QUVEN_ENV);
  double* place = rows.begin();
  const auto lookUp = [&](long i, const QUVENField* field, double absent) {
    if (field == nullptr) std::fill(place, place + channels, absent);
    sources[i] = field == nullptr ? place : field->getNumValuesOrSingle(channels, place);
    place += channels;
  };
  for (long i = 1; i <= last; ++i) lookUp(i, variables[i], 0.0);
  lookUp(last + 1, getCaseWeightField(), 1.0);
  lookUp(last + 2, getInvVarWeightField(), 1.0);
  return true;
}

void QUVENLinRegModel::learnLookedUp(QUVENLinRegModel& source, std::int32_t recordChannel, const QUVENEnvHandle& env) {
  leaveOneValued(QUVEN_ENV);
  const long last = source.variables.getSize();
  const double* const* const at = source.sources.begin() - 1;  // at[i]: the values of variable i by channel
  QUVENXaRay<double>& record = source.values;
  for (std::int32_t channel = 1; channel <= getGlobalNumChannels(); ++channel) {
    if (channel != recordChannel && !trains(recordChannel, channel)) continue;
    const long c = channel - 1;
    const double target = at[last][c];
    if (std::isnan(target)) continue;
    for (long i = 1; i < last; ++i) record[i] = orZero(at[i][c]);
    record[last] = target;
    QUVENLSData& data = channel == recordChannel ? ivEvalChannels[channel] : ivTrnChannels[channel];
    data.addDataPoint(record, orZero(at[last + 1][c]), orZero(at[last + 2][c]));
  }
}

void QUVENLinRegModel::learnOneValued(QUVENDataPoint& point, const QUVENEnvHandle&) {
  const std::int32_t channel = getRecordChannel(point);
  if (!collectValues(channel)) return;
  ivEvalChannels[channel].addDataPoint(values, getWeight(getCaseWeightField(), channel),
                                       getWeight(getInvVarWeightField(), channel));
}

void QUVENLinRegModel::learnChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const std::int32_t recordChannel = getRecordChannel(point);
  leaveOneValued(QUVEN_ENV);
  if (channel != recordChannel && !trains(recordChannel, channel)) return;
  if (!collectValues(channel)) return;
  QUVENLSData& data = channel == recordChannel ? ivEvalChannels[channel] : ivTrnChannels[channel];
  data.addDataPoint(values, getWeight(getCaseWeightField(), channel), getWeight(getInvVarWeightField(), channel));
}

/// From now on train data are gathered as well.
void QUVENLinRegModel::leaveOneValued(const QUVENEnvHandle& env) {
  if (!oneValued) return;
  deriveTrain(QUVEN_ENV);
  oneValued = false;
}

void QUVENLinRegModel::learnBatch(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  learnChannel(batchChannel, point, QUVEN_ENV);
}

void QUVENLinRegModel::mergeGathered(const QUVENLinRegModel& other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!oneValued && !other.oneValued);
  mergeChannels(ivEvalChannels, other.ivEvalChannels, QUVEN_ENV);
  mergeChannels(ivTrnChannels, other.ivTrnChannels, QUVEN_ENV);
}

/// Makes the train data of each channel out of the eval data of the channels that train it.
void QUVENLinRegModel::deriveTrain(const QUVENEnvHandle& env) {
  const auto numChannels = static_cast<std::int32_t>(ivTrnChannels.getSize());
  for (std::int32_t channel = 1; channel <= numChannels; ++channel) {
    for (std::int32_t source = 1; source <= numChannels; ++source) {
      if (source == channel || !trains(source, channel) || ivEvalChannels[source].getNumDataPoints() == 0) continue;
      ivTrnChannels[channel].merge(ivEvalChannels[source], QUVEN_ENV);
    }
  }
}

void QUVENLinRegModel::endRecords(const QUVENEnvHandle& env) {
  if (isGathering()) leaveOneValued(QUVEN_ENV);
}

bool QUVENLinRegModel::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  const auto& source = static_cast<const QUVENLinRegModel&>(*other);
  if (source.ivEvalChannels.getSize() != ivEvalChannels.getSize() ||
      source.ivTrnChannels.getSize() != ivTrnChannels.getSize()) {
    return false;
  }
  mergeChannels(ivEvalChannels, source.ivEvalChannels, QUVEN_ENV);
  mergeChannels(ivTrnChannels, source.ivTrnChannels, QUVEN_ENV);
  return true;
}

void QUVENLinRegModel::cloneGathered(QUVENOwnPtr<QUVENLinRegModel>& result, const QUVENEnvHandle& env) const {
  QUVENOwnPtr<QUVENModel> made(QUVEN_ENV);
  clone(made, QUVEN_ENV);
  auto& copy = static_cast<QUVENLinRegModel&>(*made);
  copy.copyTraining(*this);
  copy.ivEvalChannels.copyFrom(ivEvalChannels, QUVEN_ENV);
  copy.ivTrnChannels.copyFrom(ivTrnChannels, QUVEN_ENV);
  copy.setOutputFields(ivPredValFieldPtr, ivPredValStdDevFieldPtr);
  result.assign(static_cast<QUVENLinRegModel*>(made.detach()), QUVEN_ENV);
}

void QUVENLinRegModel::releaseStatistics(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(!isScanning());
  for (Channels* channels : {&ivEvalChannels, &ivTrnChannels}) {
    for (QUVENLSData& data : *channels) data.releaseStatistics(QUVEN_ENV);
  }
  for (QUVENLSResults& results : ivResultsChannels) results.releaseOthers(QUVEN_ENV);
  for (QUVENXaRay<double>* scratch : {&values, &rows}) scratch->deleteMemory(QUVEN_ENV);
  variables.deleteMemory(QUVEN_ENV);
  sources.deleteMemory(QUVEN_ENV);
}

void QUVENLinRegModel::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  scorer.clear();
}

void QUVENLinRegModel::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  scorer.clear();
  for (const QUVENField* field : ivInputFields) QUVEN_ASSERT(field != nullptr);
  for (const QUVENLSResults& results : ivResultsChannels) {
    const QUVENLSModel* selected = results.getSelectedModel();
    QUVEN_ASSERT(selected == nullptr || selected->getModelRank() == ivInputFields.getSize());
  }
}

// Training

void QUVENLinRegModel::clearInputs(const QUVENEnvHandle& env) {
  Members::clearInputs(QUVEN_ENV);
  variables.setSize(0, QUVEN_ENV);
}

bool QUVENLinRegModel::setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) {
  if (mode < 1 || mode > 9) quvenFatalReport("Invalid Model State", QUVEN_ENV);
  return true;
}

bool QUVENLinRegModel::beginPass(const QUVENEnvHandle& env) {
  switch (getMiningMode(QUVEN_ENV)) {
    case 1:
    case 2:
    case 4:
    case 5:
    case 8:
    case 9:
      allocateChannels(QUVEN_ENV);
      return true;
    case 3:
    case 6:
      return false;
    case 7:
      selectModels(QUVEN_ENV);
      return false;
    default:
      quvenFatalReport("Invalid Model State", QUVEN_ENV);
  }
}

bool QUVENLinRegModel::endPass(std::int32_t, const QUVENEnvHandle& env) {
  if (!isGathering()) quvenFatalReport("Invalid Model State", QUVEN_ENV);
  selectModels(QUVEN_ENV);
  return true;
}

void QUVENLinRegModel::refitMerged(const QUVENEnvHandle& env) { selectModels(QUVEN_ENV); }

void QUVENLinRegModel::selectModels(const QUVENEnvHandle& env) {
  auto method = quvenMake<QUVENLSCholeskiMethod>(QUVEN_ENV);
  scorer.clear();
  ivResultsChannels.setSize(0, QUVEN_ENV);
  ivInputFields.setSize(0, QUVEN_ENV);
  method->selectFolds(ivTrnChannels, ivEvalChannels, ivResultsChannels, floorFactor, QUVEN_ENV);
  method.reset(QUVEN_ENV);
}

const QUVENLSModel* QUVENLinRegModel::getSelectedModel(long channel) const {
  if (channel < 1 || channel > ivResultsChannels.getSize()) return nullptr;
  return ivResultsChannels[channel].getSelectedModel();
}

void QUVENLinRegModel::getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const {
  const long numChannels = getGlobalNumChannels();
  if (ivResultsChannels.getSize() < numChannels) return;
  const bool isSelected = getSelectedModel(numChannels) != nullptr;
  const long numCandidates = isSelected ? 1 : ivResultsChannels[numChannels].getNumModels();
  for (long rank = 0; rank < numCandidates; ++rank) {
    const auto modelOf = [&](long channel) -> const QUVENLSModel& {
      return isSelected ? *getSelectedModel(channel) : ivResultsChannels[channel].getModel(rank);
    };
    QUVENModelScores candidate;
    const auto add = [&](int slot, const QUVENLSFit& fit) {
      candidate.accumulate(slot, {fit.points, fit.score, fit.scoreVariance});
    };
    for (long channel = FirstFold; channel <= numChannels; ++channel) {
      add(QUVENModelScores::Train, modelOf(channel).getTrain());
      add(QUVENModelScores::Evaluation, modelOf(channel).getEval());
    }
    add(QUVENModelScores::HeldOut, modelOf(HeldOutChannel).getEval());
    scores.append(candidate, QUVEN_ENV);
  }
}

void QUVENLinRegModel::selectBest(long index, const QUVENEnvHandle& env) {
  const long numChannels = getGlobalNumChannels();
  if (getSelectedModel(numChannels) != nullptr) return;
  scorer.clear();
  for (QUVENLSResults& results : ivResultsChannels) results.selectRank(index - 1, QUVEN_ENV);
  const QUVENLSModel& model = *getSelectedModel(numChannels);
  ivInputFields.setSize(model.getModelRank(), QUVEN_ENV);
  for (long i = 1; i <= ivInputFields.getSize(); ++i) {
    ivInputFields[i] = getExplanatoryFields()[model.getVariableAt(i)].getField();
  }
}

// Queries

bool QUVENLinRegModel::hasUsableData(const QUVENEnvHandle&) const {
  if (ivEvalChannels.isEmpty() || ivTrnChannels.isEmpty()) return false;
  for (long c = FirstFold; c <= ivEvalChannels.getSize(); ++c) {
    if (ivEvalChannels[c].getNumDataPoints() < fewestEvalPoints) return false;
  }
  return std::all_of(ivTrnChannels.begin(), ivTrnChannels.end(),
                     [](const QUVENLSData& data) { return data.getNumDataPoints() >= fewestTrainPoints; });
}

double QUVENLinRegModel::getVolume(const QUVENEnvHandle&) const {
  constexpr double perEvalPoint = 0.5;
  constexpr double perTrainPoint = 0.1;
  if (ivEvalChannels.isEmpty() || ivTrnChannels.isEmpty()) return 0.0;
  double volume = std::numeric_limits<double>::max();
  for (long c = FirstFold; c <= ivEvalChannels.getSize(); ++c) {
    volume = std::min(volume, perEvalPoint * ivEvalChannels[c].getNumDataPoints());
  }
  for (const QUVENLSData& data : ivTrnChannels) volume = std::min(volume, perTrainPoint * data.getNumDataPoints());
  return volume;
}

/// A number of the selected models: summed over the folds for train and evaluation, else that of the held-out records.
double QUVENLinRegModel::scoreOf(int which, double QUVENLSFit::*part, const QUVENEnvHandle&) const {
  const long numChannels = getGlobalNumChannels();
  QUVEN_ASSERT(ivResultsChannels.getSize() == numChannels);
  QUVEN_ASSERT(getSelectedModel(numChannels) != nullptr);
  const bool isTrain = which == QUVENModelScores::Train;
  if (!isTrain && which != QUVENModelScores::Evaluation) return getSelectedModel(HeldOutChannel)->getEval().*part;
  double sum = 0;
  for (long c = FirstFold; c <= numChannels; ++c) {
    const QUVENLSModel& model = *getSelectedModel(c);
    sum += (isTrain ? model.getTrain() : model.getEval()).*part;
  }
  return sum;
}

double QUVENLinRegModel::getScore(int which, const QUVENEnvHandle& env) const {
  return scoreOf(which, &QUVENLSFit::score, QUVEN_ENV);
}

double QUVENLinRegModel::getScoreVariance(int which, const QUVENEnvHandle& env) const {
  return scoreOf(which, &QUVENLSFit::scoreVariance, QUVEN_ENV);
}

bool QUVENLinRegModel::hasNoSignal(const QUVENEnvHandle&) const {
  const QUVENLSModel* model = getSelectedModel(getGlobalNumChannels());
  return model == nullptr || model->getModelRank() == 0;
}

void QUVENLinRegModel::pruneInputs(const QUVENEnvHandle& env) { pruneUnusedInputs(QUVEN_ENV); }

void QUVENLinRegModel::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  if (getSelectedModel(getGlobalNumChannels()) != nullptr) {
    for (QUVENField* field : ivInputFields) fieldsUsed.add(field, QUVEN_ENV);
    return;
  }
  for (const QUVENModelInput& input : getExplanatoryFields()) fieldsUsed.add(input.getField(), QUVEN_ENV);
}

// Scoring

void QUVENLinRegModel::addTo(QUVENChannelScorer& channelScorer) const {
  const long channels = getGlobalNumChannels();
  for (long channel = 1; channel <= channels; ++channel) {
    const QUVENLSModel* model = getSelectedModel(channel);
    QUVEN_ASSERT(model != nullptr);
  }
  double* const numbers = channelScorer.addSegment(ivInputFields, channels);
  for (long channel = 1; channel <= channels; ++channel) {
    const QUVENLSModel& model = *getSelectedModel(channel);
    double* number = numbers + channel - 1;
    *number = model.getIntercept();
    *(number += channels) = model.getModelStdDev();
    for (long i = 1; i <= ivInputFields.getSize(); ++i) *(number += channels) = model.getCoefficientAt(i);
  }
}

QUVENChannelScorer& QUVENLinRegModel::getScorer() {
  if (scorer.isEmpty()) addTo(scorer);
  return scorer;
}

void QUVENLinRegModel::scorePoint(QUVENDataPoint&, const QUVENEnvHandle& env) {
  const auto channels = static_cast<std::size_t>(getGlobalNumChannels());
  QUVENChannelScorer& models = getScorer();
  if (ivPredValFieldPtr != nullptr) {
    models.predictAll(1, ivPredValFieldPtr->beginNumValuesOfChannels(QUVEN_ENV));
    ivPredValFieldPtr->endNumValuesOfChannels();
  }
  if (ivPredValStdDevFieldPtr == nullptr) return;
  ivPredValStdDevFieldPtr->setNumValuesOfChannels({models.getStdDevs(1), channels}, QUVEN_ENV);
}

void QUVENLinRegModel::scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle& env) {
  const QUVENChannelScorer& models = getScorer();
  const double prediction = models.predict(1, channel - 1);
  if (ivPredValFieldPtr != nullptr) ivPredValFieldPtr->setNumValueOfChannel(channel, prediction, QUVEN_ENV);
  if (ivPredValStdDevFieldPtr == nullptr) return;
  ivPredValStdDevFieldPtr->setNumValueOfChannel(channel, models.getStdDevs(1)[channel - 1], QUVEN_ENV);
}

// Report

void QUVENLinRegModel::writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const {
  const QUVENLSModel* model = getSelectedModel(TestChannel);
  QUVEN_ASSERT(model != nullptr);
  const auto nameOf = [](const QUVENField* field) { return std::string_view(field->getName()); };
  QUVENXaRay<double> coefficients;
  for (long i = 1; i <= ivInputFields.getSize(); ++i) {
    coefficients.append(model->getCoefficientAt(i), QUVEN_ENV);
    const std::string path = "InputParameters/Field" + std::to_string(i);
    tag.addLeafTagPath(path, QUVEN_ENV).setValue(nameOf(ivInputFields[i]), QUVEN_ENV);
  }
  tag.addLeafTagPath("InputParameters/Target", QUVEN_ENV)
      .setValue(nameOf(getTargetFields().at(1).getField()), QUVEN_ENV);
  tag.addLeafTagPath("RunParameters/MiningMode", QUVEN_ENV).setValue(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  tag.addLeafTagPath("RunParameters/NumChannels", QUVEN_ENV).setValue(getGlobalNumChannels(), QUVEN_ENV);
  tag.addLeafTagPath("AlgorithmOutput/Intercept", QUVEN_ENV).setValue(model->getIntercept(), QUVEN_ENV);
  tag.addLeafTagPath("AlgorithmOutput/CoefftInOrder", QUVEN_ENV).setFromVector(coefficients, QUVEN_ENV);
  tag.addLeafTagPath("AlgorithmOutput/ModelStdDev", QUVEN_ENV).setValue(model->getModelStdDev(), QUVEN_ENV);
  coefficients.deleteMemory(QUVEN_ENV);
}
