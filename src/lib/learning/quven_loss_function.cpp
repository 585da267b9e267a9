#include "learning/quven_loss_function.h"

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENLossFunction);

namespace {

void markComputed(const QUVENModelOutputs& outputs) {
  for (const QUVENOwnPtr<QUVENModelResultField>& record : outputs.getResultFields()) {
    if (record && record->getField() != nullptr) record->getField()->setComputed(true);
  }
}

}  // namespace

// The states

void QUVENLossFunction::enterResidualScan(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivState == NotBegun);
  ivState = ResidualScan;
  initResidualScan(QUVEN_ENV);
}

void QUVENLossFunction::enterResidualModelsDone(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivState == ResidualScan);
  ivState = ResidualModelsDone;
  for (const QUVENModelOutputs& outputs : ivResidualModelOutputs) {
    for (const QUVENOwnPtr<QUVENModelResultField>& record : outputs.getResultFields()) {
      const bool isPrediction = record && record->getOutputType() == QUVENOutputPredicted;
      if (isPrediction) record->getField()->setSampleFlag(true, QUVEN_ENV);
    }
  }
  afterResidualModels(QUVEN_ENV);
}

bool QUVENLossFunction::enterStepSearch(const QUVENEnvHandle& env) {
  const bool isSearching = searchStep(Newton, QUVEN_ENV);
  if (!isSearching) ivState = StepKnown;
  return isSearching;
}

bool QUVENLossFunction::searchStep(LineSearchType type, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivState == ResidualModelsDone);
  ivLineSearchType = type;
  const bool isSearching = beginStepSearch(QUVEN_ENV);
  if (isSearching) {
    ivState = StepSearch;
  } else {
    ivLineSearchType = NoLineSearch;
  }
  return isSearching;
}

bool QUVENLossFunction::leaveStepSearch(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivState == StepSearch);
  const bool isKnown = endStepSearch(QUVEN_ENV);
  if (isKnown) ivState = StepKnown;
  return isKnown;
}

void QUVENLossFunction::enterOutputsMade(QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivState == StepKnown);
  for (long i = 1; i <= ivResidualModelOutputs.getSize(); ++i) {
    const QUVENOwnPtr<QUVENModelResultField>& residual = pseudoResiduals.getResultFields().at(i);
    QUVEN_ASSERT(residual != nullptr);
    const auto make = [&](QUVENOutputType type) {
      return makeOutput(currentUnnormalizedOutputs, residual->getTargetField(), type, residual->getSuffix(), names,
                        QUVEN_ENV);
    };
    for (const QUVENOwnPtr<QUVENModelResultField>& record : ivResidualModelOutputs[i].getResultFields()) {
      if (!record) continue;
      if (record->getOutputType() == QUVENOutputPredicted) {
        make(QUVENOutputUnnormalizedPredicted)->setSampleFlag(true, QUVEN_ENV);
      } else if (record->getOutputType() == QUVENOutputStdDev || record->getOutputType() == QUVENOutputResidualStdDev) {
        make(QUVENOutputUnnormalizedStdDev);
      }
    }
  }
  ivState = OutputsMade;
  noteOutputsMade(QUVEN_ENV);
}

QUVENField* QUVENLossFunction::makeOutput(QUVENModelOutputs& outputs, QUVENField* target, QUVENOutputType type,
                                          std::string_view suffix, QUVENFieldNameMap& names,
                                          const QUVENEnvHandle& env) const {
  QUVENField* field = outputs.addOutput(target, type, suffix, names, QUVEN_ENV);
  field->setActualChannelCount(getGlobalNumChannels());
  return field;
}

void QUVENLossFunction::enterPredecessor(const QUVENEnvHandle&) {
  QUVEN_ASSERT(ivState >= OutputsMade);
  ivState = Predecessor;
  markComputed(currentUnnormalizedOutputs);
  for (const QUVENModelOutputs& outputs : ivResidualModelOutputs) markComputed(outputs);
}

void QUVENLossFunction::enterEnded(const QUVENEnvHandle&) {
  QUVEN_ASSERT(ivState >= OutputsMade);
  ivState = Ended;
}

// The slots of a class

void QUVENLossFunction::initResidualScan(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::noteResidualModelDone(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::afterResidualModels(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
bool QUVENLossFunction::beginStepSearch(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
bool QUVENLossFunction::endStepSearch(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::stepRecord(std::int32_t, QUVENDataPoint&, const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
double QUVENLossFunction::getAlpha(long, long) const {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  quvenUnreachable(QUVEN_ENV);
}
void QUVENLossFunction::updatePredictionsAll(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::updatePredictionsOne(std::int32_t, const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::exportOutputs(QUVENModelOutputs&, std::string_view, QUVENFieldNameMap&,
                                      const QUVENEnvHandle& env) {
  quvenUnreachable(QUVEN_ENV);
}
void QUVENLossFunction::computeResidualsAll(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::computeResidualsOne(std::int32_t, const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
void QUVENLossFunction::noteOutputsMade(const QUVENEnvHandle& env) { quvenUnreachable(QUVEN_ENV); }
