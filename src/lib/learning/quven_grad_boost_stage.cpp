#include "learning/quven_grad_boost_stage.h"

#include <cmath>

#include "kernel/quven_data_point.h"
#include "kernel/quven_scan_results.h"
#include "learning/quven_trans_reg_residual_model.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENGradBoostStage);

// Configuration

void QUVENGradBoostStage::configureFirstStage(std::int32_t lossId, const QUVENTypeName& residualType,
                                              std::string_view suffix, const QUVENEnvHandle& env) {
  ivLossId = lossId;
  QUVENGeneralLoss::create(ivLossFuncPtr, lossId, QUVEN_ENV);
  ivLossFuncPtr->openFirst(getTargetFields(), getInvVarWeightField(), suffix, getNames(), QUVEN_ENV);
  createResidualModels(residualType, nullptr, QUVEN_ENV);
}

void QUVENGradBoostStage::configureFromPrevious(const QUVENGradBoostStage& previousStage,
                                                const QUVENTypeName& residualType, std::string_view suffix,
                                                const QUVENEnvHandle& env) {
  const QUVENGeneralLoss& previousLoss = previousStage.getLoss();
  ivLossId = previousStage.ivLossId;
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  previousLoss.makeNewObject(made, QUVEN_ENV);
  quvenMoveAs(ivLossFuncPtr, made, QUVEN_ENV);
  ivLossFuncPtr->openNext(previousLoss, suffix, getNames(), QUVEN_ENV);
  createResidualModels(residualType, &previousLoss, QUVEN_ENV);
}

void QUVENGradBoostStage::createResidualModels(const QUVENTypeName& residualType, const QUVENGeneralLoss* previousLoss,
                                               const QUVENEnvHandle& env) {
  const QUVENGeneralLoss& loss = getLoss();
  ivResidualModelVec.deleteMemory(QUVEN_ENV);
  ivResidualModelVec.setSize(loss.getNumTargets(), QUVEN_ENV);
  for (long i = 1; i <= loss.getNumTargets(); ++i) {
    QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
    residualType.create(made, QUVEN_ENV);
    quvenMoveAs(ivResidualModelVec[i], made, QUVEN_ENV);
    QUVENModel& model = *ivResidualModelVec[i];
    model.addInput(loss.getResiduals()[i], QUVENUsageTarget, QUVEN_ENV);
    const bool hasWeights = !loss.getInvVarFields().isEmpty();
    QUVENField* const weight = hasWeights ? loss.getInvVarFields()[i] : getInvVarWeightField();
    if (weight != nullptr) model.addInput(weight, QUVENUsageInverseVarianceWeight, QUVEN_ENV);
    for (const QUVENModelInput& input : getExplanatoryFields()) {
      model.addInput(input.getField(), input.getUsage(), QUVEN_ENV);
    }
    if (getCaseWeightField() != nullptr) model.addInput(getCaseWeightField(), QUVENUsageCaseWeight, QUVEN_ENV);
    if (model.isA(QUVENFeatureTransform::typeName()) != 0) {
      QUVEN_ASSERT(previousLoss != nullptr);
      static_cast<QUVENFeatureTransform&>(model).setSplitField(previousLoss->getCurrentPredictedValues().at(i));
    } else if (model.isA(QUVENTransRegResidualModel::typeName()) != 0) {
      static_cast<QUVENTransRegResidualModel&>(model).setNames(getNames());
    }
  }
}

void QUVENGradBoostStage::getOutputs(QUVENModelOutputs& outputs, std::string_view suffix,
                                     QUVENFieldNameMap& outputNames, const QUVENEnvHandle& env) {
  ivLossFuncPtr->exportOutputs(outputs, suffix, outputNames, QUVEN_ENV);
}

void QUVENGradBoostStage::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT((ivLossFuncPtr == nullptr ? 0 : ivLossFuncPtr->getNumTargets()) == ivResidualModelVec.getSize());
  for (const QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) QUVEN_ASSERT(model.get() != nullptr);
}

const QUVENModel& QUVENGradBoostStage::answering(const QUVENEnvHandle&) const { return *ivResidualModelVec.at(1); }

// Training

bool QUVENGradBoostStage::setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) {
  quvenRequireMiningMode(mode, QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) {
    if (!ivResidualModelVec[i]->setMiningMode(mode, nullptr, QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
  }
  return true;
}

bool QUVENGradBoostStage::beginPass(const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  ivLossFuncPtr->enterResidualScan(QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) {
    if (!ivResidualModelVec[i]->beginDataScan(QUVEN_ENV)) quvenUnreachable(QUVEN_ENV);
  }
  return true;
}

/// True when no residual model is scanning any more.
bool QUVENGradBoostStage::endResidualModels(std::int32_t lastPass, const QUVENEnvHandle& env) {
  bool isFinished = true;
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) {
    isFinished = ivResidualModelVec[i]->endDataScan(lastPass, QUVEN_ENV) && isFinished;
  }
  return isFinished;
}

bool QUVENGradBoostStage::endPass(std::int32_t lastPass, const QUVENEnvHandle& env) {
  quvenRequireMiningMode(getMiningMode(QUVEN_ENV), QUVEN_ENV);
  QUVENGeneralLoss& loss = getLoss();
  switch (loss.getState()) {
    case QUVENLossFunction::ResidualScan:
      loss.noteResidualModelDone(QUVEN_ENV);
      if (!endResidualModels(lastPass, QUVEN_ENV)) return false;
      for (long i = 1; i <= ivResidualModelVec.getSize(); ++i) {
        ivResidualModelVec[i]->getOutputs(loss.getResidualModelOutputs().at(i), "", getNames(), QUVEN_ENV);
      }
      loss.enterResidualModelsDone(QUVEN_ENV);
      if (loss.enterStepSearch(QUVEN_ENV)) return false;
      break;
    case QUVENLossFunction::StepSearch:
      if (!loss.leaveStepSearch(QUVEN_ENV)) return false;
      break;
    default:
      quvenReportPlace(QUVEN_ENV, "Invalid loss function state");
      return true;
  }
  loss.enterOutputsMade(getNames(), QUVEN_ENV);
  return true;
}

// Records

QUVENDataScan::UpdateFunction QUVENGradBoostStage::recordHandler(const QUVENEnvHandle& env) const {
  if (!isScanning()) return nullptr;
  switch (getLoss().getState()) {
    case QUVENLossFunction::ResidualScan:
      return static_cast<UpdateFunction>(&QUVENGradBoostStage::learnResiduals);
    case QUVENLossFunction::StepSearch:
      return static_cast<UpdateFunction>(&QUVENGradBoostStage::searchStep);
    case QUVENLossFunction::Predecessor:
    case QUVENLossFunction::Ended:
      return static_cast<UpdateFunction>(&QUVENGradBoostStage::scoreRecord);
    default:
      quvenFatalReport("Invalid loss function state", QUVEN_ENV);
  }
}

void QUVENGradBoostStage::learnResiduals(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  ivLossFuncPtr->computeResidualsAll(QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) ivResidualModelVec[i]->update(point, QUVEN_ENV);
}

void QUVENGradBoostStage::searchStep(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  ivLossFuncPtr->computeResidualsAll(QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) ivResidualModelVec[i]->scorePoint(point, QUVEN_ENV);
  for (std::int32_t channel = 1; channel <= getGlobalNumChannels(); ++channel) {
    ivLossFuncPtr->stepRecord(channel, point, QUVEN_ENV);
  }
}

void QUVENGradBoostStage::beginRecords(const QUVENEnvHandle& env) {
  ivLossFuncPtr->beginRecords(QUVEN_ENV);
  for (QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) {
    if (model->isScanning()) model->beginRecords(QUVEN_ENV);
  }
}

void QUVENGradBoostStage::endRecords(const QUVENEnvHandle& env) {
  ivLossFuncPtr->endRecords(QUVEN_ENV);
  for (QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) {
    if (model->isScanning()) model->endRecords(QUVEN_ENV);
  }
}

void QUVENGradBoostStage::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                                const QUVENEnvHandle& env) const {
  if (ivLossFuncPtr == nullptr) return;
  quvenWriteScanResults(*ivLossFuncPtr, writer, keyword, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) {
    if (model->isScanning()) quvenWriteScanResults(*model, writer, keyword, QUVEN_ENV);
  }
}

// Queries

bool QUVENGradBoostStage::hasNoSignal(const QUVENEnvHandle& env) const {
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) {
    const double alpha = getLoss().getAlpha(i, QUVENFoldDealing::TestChannel);
    if (std::abs(alpha) > 0 && !ivResidualModelVec[i]->hasNoSignal(QUVEN_ENV)) return false;
  }
  return true;
}

void QUVENGradBoostStage::pruneInputs(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) model->pruneInputs(QUVEN_ENV);
  pruneUnusedInputs(QUVEN_ENV);
}

void QUVENGradBoostStage::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  getLoss().collectFieldsUsed(fieldsUsed, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) model->collectFieldsUsed(fieldsUsed, QUVEN_ENV);
}

// Scoring

void QUVENGradBoostStage::finishScoring(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENModel>& model : ivResidualModelVec) model->finishScoring(QUVEN_ENV);
}

void QUVENGradBoostStage::scorePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  ivLossFuncPtr->computeResidualsAll(QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) ivResidualModelVec[i]->scorePoint(point, QUVEN_ENV);
  ivLossFuncPtr->updatePredictionsAll(QUVEN_ENV);
}

void QUVENGradBoostStage::scoreChannel(std::int32_t channel, QUVENDataPoint& point, const QUVENEnvHandle& env) {
  ivLossFuncPtr->computeResidualsOne(channel, QUVEN_ENV);
  for (long i = ivResidualModelVec.getSize(); i >= 1; --i) {
    ivResidualModelVec[i]->scoreChannel(channel, point, QUVEN_ENV);
  }
  ivLossFuncPtr->updatePredictionsOne(channel, QUVEN_ENV);
}
