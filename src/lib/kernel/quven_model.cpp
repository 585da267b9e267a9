#include "kernel/quven_model.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "kernel/quven_field_name_map.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelInput);
QUVEN_REGISTER(QUVENModelGlobalVars);
QUVEN_REGISTER(QUVENModel);

QUVENModelGlobalVars& QUVENModelGlobalVars::get(const QUVENEnvHandle& env) {
  static const QUVENStringWithHash key("QUVENModel::cv");
  return *QUVENEnv::getGlobal<QUVENModelGlobalVars>(key, QUVEN_ENV);
}

void QUVENModel::addInput(QUVENField* field, std::int32_t usage, const QUVENEnvHandle& env) {
  switch (usage) {
    case QUVENUsageTarget:
      ivTargetFields.append(QUVENModelInput(field, usage), QUVEN_ENV);
      break;
    case QUVENUsageExplanatory:
    case QUVENUsageExplanatory3:
    case QUVENUsageCarried:
    case QUVENUsageSupplementary:
      ivExplanatoryFields.append(QUVENModelInput(field, usage), QUVEN_ENV);
      break;
    case QUVENUsageCaseWeight:
      ivCaseWeightFieldPtr = field;
      break;
    case QUVENUsageInverseVarianceWeight:
      ivInvVarWeightFieldPtr = field;
      break;
    default:
      quvenFatalReport("Invalid model input field usage type", QUVEN_ENV);
  }
  noteInputAdded(field, usage, QUVEN_ENV);
}

void QUVENModel::removeExplanatory(long index, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(1 <= index && index <= ivExplanatoryFields.getSize());
  std::move(ivExplanatoryFields.begin() + index, ivExplanatoryFields.end(), ivExplanatoryFields.begin() + index - 1);
  ivExplanatoryFields.setSize(ivExplanatoryFields.getSize() - 1, QUVEN_ENV);
}

bool QUVENModel::setMiningMode(std::int32_t mode, QUVENModel* refModelPtr, const QUVENModelInput* extraInput,
                               const QUVENEnvHandle& env) {
  constexpr std::int32_t modeOfOneMoreDegree = 5;
  if (!setMiningModeHook(mode, refModelPtr, QUVEN_ENV)) return false;
  if (refModelPtr != nullptr) {
    ivExplanatoryFields.copyFrom(refModelPtr->ivExplanatoryFields, QUVEN_ENV);
    ivNumAddDegreesOfFreedom = refModelPtr->ivNumAddDegreesOfFreedom + (mode == modeOfOneMoreDegree ? 1 : 0);
    noteInputsAdded(ivExplanatoryFields, QUVEN_ENV);
  }
  if (extraInput != nullptr) {
    ivModelState = 0;
    addInput(extraInput->getField(), extraInput->getUsage(), QUVEN_ENV);
  }
  ivModelState = mode;
  referenceModel = refModelPtr;
  noteModeChosen(QUVEN_ENV);
  return true;
}

std::int32_t QUVENModel::getMiningMode(const QUVENEnvHandle& env) const {
  if (-LastMode <= ivModelState && ivModelState <= LastMode) return std::abs(ivModelState);
  if (ivModelState > ScanningBase && ivModelState <= ScanningBase + LastMode) return ivModelState - ScanningBase;
  quvenFatalReport("Invalid model state", QUVEN_ENV);
}

void QUVENModel::chooseBest(std::int32_t mode, const QUVENEnvHandle& env) {
  constexpr std::int32_t modesWithoutChoice[] = {7, 10};
  constexpr std::int32_t modeOfHeldOut = 8;
  if (mode < 1 || mode > LastMode) quvenFatalReport("Invalid model state", QUVEN_ENV);
  if (std::ranges::find(modesWithoutChoice, mode) != std::end(modesWithoutChoice)) return;
  selectBestModel(mode == modeOfHeldOut ? QUVENModelScores::HeldOut : QUVENModelScores::Evaluation, QUVEN_ENV);
}

bool QUVENModel::beginDataScan(const QUVENEnvHandle& env) {
  if (isScanning()) return true;
  const bool needsData = beginPass(QUVEN_ENV);
  const std::int32_t mode = getMiningMode(QUVEN_ENV);  // a model that was trained can be trained again
  if (mode < 1) quvenFatalReport("Invalid model state", QUVEN_ENV);
  if (needsData) {
    ivModelState = ScanningBase + mode;
    noteScanBegun(QUVEN_ENV);
  } else {
    ivModelState = -mode;
    chooseBest(mode, QUVEN_ENV);
  }
  refreshHandlers(QUVEN_ENV);
  return isScanning();
}

bool QUVENModel::endDataScan(std::int32_t lastPass, const QUVENEnvHandle& env) {
  if (!isScanning()) return true;
  if (endPass(lastPass, QUVEN_ENV)) {
    const std::int32_t mode = ivModelState - ScanningBase;
    ivModelState = -mode;
    chooseBest(mode, QUVEN_ENV);
    noteScanEnded(QUVEN_ENV);
  }
  refreshHandlers(QUVEN_ENV);
  return !isScanning();
}

void QUVENModel::selectBestModel(int selector, const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENModelScores>& modelScores = QUVENModelGlobalVars::get(QUVEN_ENV).getScoresVector();
  modelScores.setSize(0, QUVEN_ENV);
  getModelScoresVector(modelScores, QUVEN_ENV);
  QUVEN_ASSERT_CAUSE(modelScores.getSize() > 0, "Model scores vector not initialized by derived class");
  if (selector == QUVENModelScores::HeldOut && modelScores[1][QUVENModelScores::HeldOut].ivPts < 1.0) {
    selector = QUVENModelScores::Evaluation;
  }
  long best = 1;
  if (modelScores[1][selector].ivPts > 0) {
    best = modelScores.getSize();
    for (long i = best - 1; i >= 1; --i) {
      if (modelScores[i][selector].ivFit <= modelScores[best][selector].ivFit) best = i;
    }
  }
  selectBest(best, QUVEN_ENV);
}

void QUVENModel::clone(QUVENOwnPtr<QUVENModel>& result, const QUVENEnvHandle& env) const {
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  makeNewObject(made, QUVEN_ENV);
  auto& model = static_cast<QUVENModel&>(*made);
  model.ivTargetFields.copyFrom(ivTargetFields, QUVEN_ENV);
  model.ivExplanatoryFields.copyFrom(ivExplanatoryFields, QUVEN_ENV);
  model.ivCaseWeightFieldPtr = ivCaseWeightFieldPtr;
  model.ivInvVarWeightFieldPtr = ivInvVarWeightFieldPtr;
  model.referenceModel = nullptr;
  model.ivNumAddDegreesOfFreedom = 0;
  model.ivModelState = 0;
  model.noteInputsAdded(model.ivTargetFields, QUVEN_ENV);
  model.noteInputsAdded(model.ivExplanatoryFields, QUVEN_ENV);
  if (ivCaseWeightFieldPtr != nullptr) {
    model.noteInputAdded(ivCaseWeightFieldPtr, QUVENUsageCaseWeight, QUVEN_ENV);
  }
  if (ivInvVarWeightFieldPtr != nullptr) {
    model.noteInputAdded(ivInvVarWeightFieldPtr, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
  }
  quvenMoveAs(result, made, QUVEN_ENV);
}

void QUVENModel::noteInputsAdded(const Inputs& inputs, const QUVENEnvHandle& env) {
  // By index: a model may add inputs of its own when it is told of one.
  const long count = inputs.getSize();
  for (long i = 1; i <= count; ++i) {
    const QUVENModelInput& input = inputs[i];
    noteInputAdded(input.getField(), input.getUsage(), QUVEN_ENV);
  }
}

bool QUVENModel::sameFields(const Inputs& a, const Inputs& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const QUVENModelInput& x, const QUVENModelInput& y) { return x.getField() == y.getField(); });
}

int QUVENModel::mergeModel(QUVENModel* other, const QUVENEnvHandle& env) {
  const bool inputsMatch = sameFields(ivExplanatoryFields, other->ivExplanatoryFields);
  const bool numbersMatch = ivNumAddDegreesOfFreedom == other->ivNumAddDegreesOfFreedom;
  ivNumAddDegreesOfFreedom = std::min(ivNumAddDegreesOfFreedom, other->ivNumAddDegreesOfFreedom);
  if (inputsMatch && numbersMatch && merge(other, QUVEN_ENV)) {
    refitMerged(QUVEN_ENV);
    selectBestModel(QUVENModelScores::Evaluation, QUVEN_ENV);
    return 1;
  }
  const std::int32_t degrees = ivNumAddDegreesOfFreedom;
  const std::int32_t state = ivModelState;
  QUVENModel* const reference = referenceModel;
  clearInputs(QUVEN_ENV);  // the inputs alone are to go
  ivNumAddDegreesOfFreedom = degrees;
  ivModelState = state;
  referenceModel = reference;
  for (long i = other->ivExplanatoryFields.getSize(); i >= 1; --i) {
    const QUVENModelInput& input = other->ivExplanatoryFields[i];
    addInput(input.getField(), input.getUsage(), QUVEN_ENV);
  }
  return 0;
}

void QUVENModel::pruneUnusedInputs(const QUVENEnvHandle& env) {
  auto fieldsUsed = quvenMake<QUVENModelFieldsUsed>(QUVEN_ENV);
  collectFieldsUsed(*fieldsUsed, QUVEN_ENV);
  for (long i = ivExplanatoryFields.getSize(); i >= 1; --i) {
    if (!fieldsUsed->contains(ivExplanatoryFields[i].getField())) removeExplanatory(i, QUVEN_ENV);
  }
  fieldsUsed.reset(QUVEN_ENV);
}

long QUVENModel::findTarget(const QUVENField* field) const {
  for (long i = 1; i <= ivTargetFields.getSize(); ++i) {
    if (ivTargetFields[i].getField() == field) return i;
  }
  return 0;
}

long QUVENModel::findExplanatory(const QUVENField* field) const {
  for (long i = 1; i <= ivExplanatoryFields.getSize(); ++i) {
    if (ivExplanatoryFields[i].getField() == field) return i;
  }
  return 0;
}

long QUVENModel::findExplanatory(const QUVENField* field, std::int32_t usage) const {
  for (long i = 1; i <= ivExplanatoryFields.getSize(); ++i) {
    if (ivExplanatoryFields[i].getField() == field && ivExplanatoryFields[i].getUsage() == usage) return i;
  }
  return 0;
}

void QUVENModel::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  const long before = ivExplanatoryFields.getSize();
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (source == nullptr || source == this) return;
  scratchWord = 0;
  std::printf("Copied exp fields from %ld to %ld\n", ivExplanatoryFields.getSize(), before);
}

void QUVENModel::transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) {
  if (source != nullptr && source->isA(typeName()) != 0) {
    const Inputs& given = static_cast<QUVENModel*>(source)->ivExplanatoryFields;
    std::printf("Transfered exp fields from %ld to %ld\n", given.getSize(), ivExplanatoryFields.getSize());
  }
  Members::transferFromPrimitive(source, QUVEN_ENV);
}

QUVENDataScan::UpdateFunction QUVENModel::recordHandler(const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}
QUVENDataScan::UpdateFunction QUVENModel::batchHandler(const QUVENEnvHandle& env) const { quvenUnreachable(QUVEN_ENV); }

void QUVENModel::noteModeChosen(const QUVENEnvHandle&) {}
void QUVENModel::noteScanBegun(const QUVENEnvHandle&) {}
void QUVENModel::noteScanEnded(const QUVENEnvHandle&) {}
void QUVENModel::refitMerged(const QUVENEnvHandle&) {}

void QUVENModel::clearInputs(const QUVENEnvHandle& env) {
  ivTargetFields.setSize(0, QUVEN_ENV);
  ivExplanatoryFields.setSize(0, QUVEN_ENV);
  ivCaseWeightFieldPtr = ivInvVarWeightFieldPtr = nullptr;
  ivNumAddDegreesOfFreedom = ivModelState = 0;
  referenceModel = nullptr;
}

int QUVENModel::acceptsScore() const { return 1; }
std::int32_t QUVENModel::reservedQuery1() const { return 0; }
std::int32_t QUVENModel::reservedQuery2() const { return 0; }
std::int32_t QUVENModel::reservedQuery3() const { return 0; }
std::int32_t QUVENModel::reservedQuery4() const { return 0; }

int QUVENModel::noteInputAdded(QUVENField* field, std::int32_t usage, const QUVENEnvHandle&) {
  // What the data say of a field goes before what a model makes of it: the dataset knows its columns by it.
  constexpr auto none = static_cast<std::int32_t>(QUVENFieldPurpose::None);
  if (usage == QUVENUsageSupplementary) return 0;
  if (field != nullptr && field->getPurpose() == none) field->setPurpose(usage);
  return 0;
}

void QUVENModel::getOutputs(QUVENModelOutputs&, std::string_view, QUVENFieldNameMap&, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

long QUVENModel::firstStepReading(const QUVENField* field, const QUVENEnvHandle& env) const {
  auto fieldsUsed = quvenMake<QUVENModelFieldsUsed>(QUVEN_ENV);
  collectFieldsUsed(*fieldsUsed, QUVEN_ENV);
  const bool isUsed = fieldsUsed->contains(field);
  fieldsUsed.reset(QUVEN_ENV);
  return isUsed ? 1 : getNumScoringSteps() + 1;
}

void QUVENModel::scoreChannelFrom(long, std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  scoreChannel(channel, point, QUVEN_ENV);
}
