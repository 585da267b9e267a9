#include "pass_examples.h"

#include <limits>
#include <string>
#include <utility>

#include "kernel/quven_data_point.h"
#include "kernel/quven_scan_results.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENPassModel);
QUVEN_REGISTER(QUVENPassCount);
QUVEN_REGISTER(QUVENPassDoubler);
QUVEN_REGISTER(QUVENPassEnsemble);

void QUVENPassCount::beginRecords(const QUVENEnvHandle&) {
  ivRecords = 0;
  ivSum = 0;
  ivMistakes = 0;
  if (idOfThisObject == 0) idOfThisObject = ivId;
  if (idOfThisObject != ivId) ivMistakes = 1;
}

int QUVENPassCount::updateWithoutDataScan(const QUVENEnvHandle&) {
  ++ivRecords;
  return 1;
}

bool QUVENPassCount::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENPassCount&>(*other);
  ivRecords += part.ivRecords;
  ivSum += part.ivSum;
  ivMistakes += part.ivMistakes;
  return true;
}

void QUVENPassCount::count(QUVENDataPoint&, const QUVENEnvHandle& env) {
  ++ivRecords;
  const QUVENField& field = *getExplanatoryFields()[1].getField();
  if (field.hasValue() && !field.isMissing()) ivSum += field.getNumValue(env);
}

void QUVENPassCount::noteResults() {
  recordsOfPasses.push_back(ivRecords);
  sumsOfPasses.push_back(ivSum);
  mistakesOfPasses.push_back(ivMistakes);
}

bool QUVENPassCount::endPass(std::int32_t lastPass, const QUVENEnvHandle&) {
  lastPassWords.push_back(lastPass);
  noteResults();
  return --ivPassesLeft < 1 || lastPass != 0;
}

QUVENField* QUVENPassDoubler::addOutput(QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  return ivOutputs.addOutput(getTargetFields()[1].getField(), QUVENOutputPredicted, "", names, QUVEN_ENV);
}

/// The double of the input; of 13 no number, of 17 infinity, of a missing value a missing one.
void QUVENPassDoubler::scorePoint(QUVENDataPoint&, const QUVENEnvHandle& env) {
  ++scored;
  const QUVENField& input = *getExplanatoryFields()[1].getField();
  QUVENField& output = *ivOutputs.getResultFields()[1]->getField();
  QUVEN_ASSERT(!output.hasValue());  // cleared before each record, and set once
  if (input.isMissing()) return output.setMissing();
  const double value = input.getNumValue(env);
  using Limits = std::numeric_limits<double>;
  output.setNumValue(value == 13 ? Limits::quiet_NaN() : value == 17 ? Limits::infinity() : 2 * value);
}

void QUVENPassEnsemble::addModel(std::int32_t id, QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  auto model = quvenMake<QUVENPassCount>(QUVEN_ENV);
  model->ivId = id;
  model->addInput(getExplanatoryFields()[1].getField(), QUVENUsageExplanatory, QUVEN_ENV);
  ivModels.append(std::move(model), QUVEN_ENV);
  const long place = ivModels.getSize();
  ivOutputs.autoExtend(place, QUVEN_ENV);
  ivOutputs[place].addOutput(getTargetFields()[1].getField(), QUVENOutputPredicted, std::to_string(id), names,
                             QUVEN_ENV);
}

void QUVENPassEnsemble::swapModels(long a, long b, const QUVENEnvHandle& env) {
  std::swap(ivModels[a], ivModels[b]);
  QUVENModelOutputs kept;
  kept.transferFromPrimitive(&ivOutputs[a], QUVEN_ENV);
  ivOutputs[a].transferFromPrimitive(&ivOutputs[b], QUVEN_ENV);
  ivOutputs[b].transferFromPrimitive(&kept, QUVEN_ENV);
  kept.destroyPrimitive(QUVEN_ENV);
}

void QUVENPassEnsemble::dropModel(long place, const QUVENEnvHandle& env) {
  for (long i = place; i < ivModels.getSize(); ++i) swapModels(i, i + 1, QUVEN_ENV);
  ivModels.setSize(ivModels.getSize() - 1, QUVEN_ENV);
  ivOutputs.setSize(ivOutputs.getSize() - 1, QUVEN_ENV);
}

void QUVENPassEnsemble::beginRecords(const QUVENEnvHandle& env) {
  for (const QUVENOwnPtr<QUVENPassCount>& model : ivModels) model->beginRecords(QUVEN_ENV);
}

void QUVENPassEnsemble::writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                              const QUVENEnvHandle& env) const {
  for (const QUVENOwnPtr<QUVENPassCount>& model : ivModels) {
    writer.beginItem(QUVEN_ENV);
    writer.writeKeyword(keyword, QUVEN_ENV);
    quvenWriteObject(writer, *model, QUVEN_ENV);
  }
}

void QUVENPassEnsemble::learn(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const double value = getExplanatoryFields()[1].getField()->getNumValue(env);
  for (long i = 1; i <= ivModels.getSize(); ++i) {
    ivModels[i]->count(point, env);
    ivOutputs[i].getResultFields()[1]->getField()->setNumValue(value * ivModels[i]->ivId);
  }
}

bool QUVENPassEnsemble::endPass(std::int32_t, const QUVENEnvHandle&) {
  for (const QUVENOwnPtr<QUVENPassCount>& model : ivModels) model->noteResults();
  return --ivPassesLeft < 1;
}
