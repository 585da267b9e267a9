#include "model_examples.h"

#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTestModel);
QUVEN_REGISTER(QUVENTestBareModel);

std::string QUVENTestModel::takeCalls() {
  std::string text;
  for (const std::string& call : calls) text += (text.empty() ? "" : "; ") + call;
  calls.clear();
  return text;
}

void QUVENTestModel::addCandidate(QUVENScoreTriple evaluation, QUVENScoreTriple heldOut) {
  QUVENModelScores& scores = candidates.emplace_back();
  scores.accumulate(QUVENModelScores::Evaluation, evaluation);
  scores.accumulate(QUVENModelScores::HeldOut, heldOut);
}

bool QUVENTestModel::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  calls.emplace_back("merge");
  if (!canMerge || !Members::merge(other, QUVEN_ENV)) return false;
  ivRecords += static_cast<QUVENTestModel*>(other)->ivRecords;
  return true;
}

QUVENDataScan::UpdateFunction QUVENTestModel::recordHandler(const QUVENEnvHandle&) const {
  return isScanning() ? static_cast<UpdateFunction>(&QUVENTestModel::count) : nullptr;
}

QUVENDataScan::UpdateFunction QUVENTestModel::batchHandler(const QUVENEnvHandle&) const {
  return isScanning() ? static_cast<UpdateFunction>(&QUVENTestModel::countTwice) : nullptr;
}

void QUVENTestModel::clearInputs(const QUVENEnvHandle& env) {
  calls.emplace_back("clear");
  Members::clearInputs(QUVEN_ENV);
}

bool QUVENTestModel::setMiningModeHook(std::int32_t mode, QUVENModel* refModel, const QUVENEnvHandle&) {
  calls.push_back("hook " + std::to_string(mode) + (refModel == nullptr ? "" : " with reference"));
  return hasMode;
}

bool QUVENTestModel::beginPass(const QUVENEnvHandle&) {
  calls.emplace_back("begin");
  return needsData;
}

bool QUVENTestModel::endPass(std::int32_t lastPass, const QUVENEnvHandle&) {
  calls.push_back("end " + std::to_string(lastPass));
  return isDone;
}

void QUVENTestModel::getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores, const QUVENEnvHandle& env) const {
  calls.push_back("scores of " + std::to_string(scores.getSize()));
  for (const QUVENModelScores& candidate : candidates) scores.append(candidate, QUVEN_ENV);
}

void QUVENTestModel::collectFieldsUsed(QUVENModelFieldsUsed& fieldsUsed, const QUVENEnvHandle& env) const {
  for (const QUVENField* field : usedFields) fieldsUsed.add(const_cast<QUVENField*>(field), QUVEN_ENV);
}

int QUVENTestModel::noteInputAdded(QUVENField* field, std::int32_t usage, const QUVENEnvHandle& env) {
  calls.push_back("added " + std::to_string(usage));
  return Members::noteInputAdded(field, usage, QUVEN_ENV);
}
