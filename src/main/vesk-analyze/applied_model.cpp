#include "applied_model.h"

#include "learning/quven_feature_transform.h"
#include "shared_words.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

void refuseInput(const std::string& subject, const std::string& text, const QUVENEnvHandle& env) {
  constexpr int fileUnusable = 2302;
  report_error(fileUnusable, subject, "vesk-analyze: " + text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);
}

const char* typeText(QUVENFieldType type) { return type == QUVENFieldType::Numeric ? "numeric" : "categorical"; }

AppliedModel::AppliedModel(std::string modelPath, const QUVENWorkerTransport& workerTransport,
                           const QUVENEnvHandle& env)
    : path(std::move(modelPath)), transport(workerTransport), file(path, QUVEN_ENV) {}

void AppliedModel::refuseFile(const QUVENEnvHandle& env) const {
  refuseInput(path, "the file is cut, or is no model file", QUVEN_ENV);
}

const ModelFacts& AppliedModel::share(const QUVENEnvHandle& env) {
  std::int32_t isFromRoot = 0;
  if (transport.isMaster()) {
    const QUVENTrainingFacts& read = file.readFacts(QUVEN_ENV);
    facts.dealing = read.getDealing();
    facts.shares = read.ivShares;
    isFromRoot = read.ivUnseenFromRoot;
    facts.loss = read.ivLoss;
    facts.targetName = read.ivTargetName;
    facts.predictionName = read.ivPredictionName;
    facts.stdDevName = read.ivStdDevName;
    facts.stageNames.assign(read.ivStageNames.begin(), read.ivStageNames.end());
    if (facts.stageNames.empty()) facts.stageNames = {facts.predictionName};
    facts.inputNames.assign(read.ivInputNames.begin(), read.ivInputNames.end());
  }
  shareDealing(facts.dealing, transport);
  shareWord(facts.shares, transport);
  shareWord(isFromRoot, transport);
  for (std::string* text : {&facts.loss, &facts.targetName, &facts.predictionName, &facts.stdDevName}) {
    shareText(*text, transport, QUVEN_ENV);
  }
  shareTexts(facts.stageNames, transport, QUVEN_ENV);
  shareTexts(facts.inputNames, transport, QUVEN_ENV);
  facts.isUnseenFromRoot = isFromRoot != 0;
  QUVENTransformGlobalVars::get(QUVEN_ENV).setUnseenFromRoot(facts.isUnseenFromRoot);
  return facts;
}

void AppliedModel::takeTrainingFields(const QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const QUVENFieldNameMap& trainingFields = file.readFields(QUVEN_ENV);
  for (const std::string& name : facts.inputNames) {
    const QUVENField* trained = trainingFields.find(name);
    const long index = point.getFieldIndex(name);
    if (index == 0) refuseInput(name, "the dataset does not have this column of the training", QUVEN_ENV);
    QUVENField& field = point.getField(index);
    if (trained == nullptr) refuseFile(QUVEN_ENV);
    if (field.getType() != trained->getType()) {
      refuseInput(name,
                  std::string("the column is ") + typeText(field.getType()) + ", in the training it was " +
                      typeText(trained->getType()),
                  QUVEN_ENV);
    }
    field.copyFromPrimitive(trained, QUVEN_ENV);
  }
}

QUVENModel& AppliedModel::addTo(QUVENPassDriver& driver, const QUVENEnvHandle& env) {
  QUVENFieldNameMap& names = driver.getNames();
  for (const QUVENOwnPtr<QUVENField>& field : file.getTrainingFields().getOwnedFields()) {
    const std::string name = field->getName().str();
    if (names.find(name) == nullptr) {
      names.addOwned(quvenNewCopy(*field, QUVEN_ENV), QUVEN_ENV);
    } else if (field->isComputed()) {
      refuseInput(name, "a column of the dataset has the name of a prediction", QUVEN_ENV);
    }
  }
  std::vector<std::string> needed = {facts.targetName, facts.predictionName, facts.stdDevName};
  needed.insert(needed.end(), facts.stageNames.begin(), facts.stageNames.end());
  for (const std::string& name : needed) {
    if (names.find(name) == nullptr) refuseFile(QUVEN_ENV);
  }
  QUVENOwnPtr<QUVENModel> model = file.readModel(names, QUVEN_ENV);
  if (model->getModelState() >= 0) refuseInput(path, "the model is not trained", QUVEN_ENV);
  return driver.addScan(std::move(model), QUVEN_ENV);
}

}  // namespace vesk_analyze
