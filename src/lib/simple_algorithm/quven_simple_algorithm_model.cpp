#include "simple_algorithm/quven_simple_algorithm_model.h"

#include <algorithm>
#include <ostream>

#include "control/quven_XML_tag.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_sample_number.h"
#include "simple_algorithm/quven_cgadata.h"
#include "simple_algorithm/quven_kept_rows.h"
#include "simple_algorithm/quven_kernel_data.h"
#include "simple_algorithm/quven_snadata.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENSimpleAlgorithmModel);

namespace {

constexpr int InternalError = 2100;
constexpr std::int32_t scanningInMode1 = 101;
constexpr std::int32_t lastScanningState = 110;
constexpr std::int32_t lastMode = 10;
constexpr std::int32_t scoresKind = 4;
// Rows of the final test and of the held-out set are not handed to an analysis.
constexpr std::int32_t finalTestChannel = 1;
constexpr std::int32_t heldOutChannel = 2;

}  // namespace

QUVENSimpleAlgorithmAbstractData& QUVENSimpleAlgorithmModel::getData(const QUVENEnvHandle&) const {
  QUVEN_ASSERT(ivDataPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  return *ivDataPtr;
}

void QUVENSimpleAlgorithmModel::open(std::int32_t modelId, const QUVENXaRay<QUVENField*>& fieldList,
                                     const QUVENXMLTag& parameterTag, const QUVENEnvHandle& env) {
  ivState = Open;
  ivLineNumberFieldOrder = -1;
  ivExplanatoryFieldOrder.setSize(0, QUVEN_ENV);
  ivTargetFieldOrder.setSize(0, QUVEN_ENV);
  for (const QUVENField* field : fieldList) {
    const std::int32_t lineNumber = static_cast<std::int32_t>(findExplanatory(field, QUVENUsageSupplementary));
    const std::int32_t input = static_cast<std::int32_t>(findExplanatory(field));
    const std::int32_t target = static_cast<std::int32_t>(findTarget(field));
    if (lineNumber >= 1) {
      ivLineNumberFieldOrder = lineNumber;
    } else if (input >= 1) {
      ivExplanatoryFieldOrder.append(input, QUVEN_ENV);
    } else if (target >= 1) {
      ivTargetFieldOrder.append(target, QUVEN_ENV);
    } else {
      quvenUnreachable(QUVEN_ENV);
    }
  }
  QUVENOwnPtr<QUVENSimpleAlgorithmAbstractData> opened(QUVEN_ENV);
  const auto open = [&](auto data, const auto&... more) {
    data->open(parameterTag, more..., QUVEN_ENV);
    opened = std::move(data);
  };
  switch (modelId) {
    case KernelModel:
      open(quvenMake<QUVENKernelData>(QUVEN_ENV));
      break;
    case GroupModel:
      open(quvenMake<QUVENCGAData>(QUVEN_ENV));
      break;
    case DiffusionModel:
      open(quvenMake<QUVENSNAData>(QUVEN_ENV), parameterFileName);
      break;
    default:
      report_error(InternalError, "QUVENSimpleAlgorithmModel::open: Internal error - wrong  modelId", QUVEN_ENV, false);
      quvenNotImplemented(QUVEN_ENV);
  }
  bindFields(QUVEN_ENV);
  ivDataPtr = std::move(opened);
}

void QUVENSimpleAlgorithmModel::resetModel(const QUVENEnvHandle& env) {
  ivDataPtr.reset(QUVEN_ENV);
  ivExplanatoryFieldOrder.deleteMemory(QUVEN_ENV);
  ivTargetFieldOrder.deleteMemory(QUVEN_ENV);
  ivDataVec.deleteMemory(QUVEN_ENV);
  ivTargetVec.deleteMemory(QUVEN_ENV);
  explanatoryFields.clear();
  targetFields.clear();
  lineNumberField = nullptr;
  ivIterationCount = 0;
  ivState = Empty;
  ivLineNumberFieldOrder = -1;
}

void QUVENSimpleAlgorithmModel::bindFields(const QUVENEnvHandle& env) {
  // One input is the line number, which has no place in the vector.
  ivDataVec.setSize(getExplanatoryFields().getSize() - 1, QUVEN_ENV);
  ivTargetVec.setSize(getTargetFields().getSize(), QUVEN_ENV);
  const auto fieldAt = [](const Inputs& inputs, std::int32_t order) -> const QUVENField* {
    QUVEN_ASSERT_CAUSE(1 <= order && order <= inputs.getSize(), "A field order beyond the inputs of the model");
    return inputs[order].getField();
  };
  // An order that is longer than its vector, of a field that was named twice, ends with the vector.
  const auto bind = [&](Fields& fields, const QUVENXaRay<std::int32_t>& orders, const Inputs& inputs, long size) {
    fields.clear();
    for (long i = 1; i <= std::min(size, orders.getSize()); ++i) fields.push_back(fieldAt(inputs, orders[i]));
  };
  bind(explanatoryFields, ivExplanatoryFieldOrder, getExplanatoryFields(), ivDataVec.getSize());
  bind(targetFields, ivTargetFieldOrder, getTargetFields(), ivTargetVec.getSize());
  lineNumberField = ivLineNumberFieldOrder < 1 ? nullptr : fieldAt(getExplanatoryFields(), ivLineNumberFieldOrder);
}

void QUVENSimpleAlgorithmModel::updatePoint(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const std::int32_t selector = point.getChannel();
  long i = 0;
  for (const QUVENField* field : explanatoryFields) ivDataVec[++i] = field->getNumValueOrSingle(selector);
  i = 0;
  for (const QUVENField* field : targetFields) ivTargetVec[++i] = field->getNumValueOrSingle(selector);
  if (selector == finalTestChannel || selector == heldOutChannel) return;
  QUVEN_ASSERT_CAUSE(lineNumberField != nullptr, "A record without a line number field");
  const std::uint64_t sampleNumber = quvenSampleNumber(lineNumberField->getNumValueOrSingle(selector));
  getData(env).update(ivDataVec, ivTargetVec, sampleNumber, env);
}

bool QUVENSimpleAlgorithmModel::updateFromKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle& env) {
  if (keptRows == nullptr) return false;
  done.records = getData(QUVEN_ENV).updateFromKeptRows(*keptRows, QUVEN_ENV);
  done.bytesRead = keptRows->takeBytesRead();
  done.secondsReading = keptRows->takeSecondsOfReading();
  return done.records >= 0;
}

void QUVENSimpleAlgorithmModel::print(std::ostream& out) const {
  out << "SimpleAlgorithmModel:\nState: " << ivState << "\nivDataVec size: " << ivDataVec.getSize()
      << "\nivTargetVec size: " << ivTargetVec.getSize()
      << "\nivExplanatoryFieldOrder size: " << ivExplanatoryFieldOrder.getSize()
      << "\nivTargetFieldOrder size: " << ivTargetFieldOrder.getSize() << "\nivIterationCount: " << ivIterationCount
      << "\nData: ";
  if (ivDataPtr) {
    ivDataPtr->print(out);
  } else {
    out << "NULL";
  }
  out << '\n';
}

QUVENScanType QUVENSimpleAlgorithmModel::getScanType(const QUVENEnvHandle& env) const {
  return getData(QUVEN_ENV).getScanKind(QUVEN_ENV);
}

double QUVENSimpleAlgorithmModel::getSamplingRate(const QUVENEnvHandle& env) const {
  return getData(QUVEN_ENV).getScanFraction(QUVEN_ENV);
}

bool QUVENSimpleAlgorithmModel::getScanOption(const QUVENEnvHandle& env) const {
  return getData(QUVEN_ENV).needsMerge() != 0;
}

bool QUVENSimpleAlgorithmModel::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  if (!Members::merge(other, QUVEN_ENV)) return false;
  QUVEN_ASSERT(other->isA(typeName()));
  getData(QUVEN_ENV).merge(&static_cast<QUVENSimpleAlgorithmModel*>(other)->getData(QUVEN_ENV), QUVEN_ENV);
  return true;
}

void QUVENSimpleAlgorithmModel::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  // A result has no fields, and is shown no records.
  if (hasFields()) bindFields(QUVEN_ENV);
}

void QUVENSimpleAlgorithmModel::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  // An analysis of the same class stays, and becomes the copy; of another class it is replaced.
  QUVENOwnPtr<QUVENSimpleAlgorithmAbstractData> held(QUVEN_ENV);
  if (source != nullptr && source != this && source->isA(typeName()) != 0 && ivDataPtr) {
    const auto& sourceData = static_cast<const QUVENSimpleAlgorithmModel*>(source)->ivDataPtr;
    if (sourceData && sourceData->getTypeName() == ivDataPtr->getTypeName()) held = std::move(ivDataPtr);
  }
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (held) {
    held->transferFromPrimitive(ivDataPtr.get(), QUVEN_ENV);
    ivDataPtr = std::move(held);
  }
  if (source != nullptr && hasFields()) bindFields(QUVEN_ENV);
}

QUVENDataScan::UpdateFunction QUVENSimpleAlgorithmModel::recordHandler(const QUVENEnvHandle& env) const {
  const std::int32_t state = getModelState();
  if (state < scanningInMode1) return nullptr;
  if (state == scanningInMode1) return static_cast<UpdateFunction>(&QUVENSimpleAlgorithmModel::updatePoint);
  if (state <= lastScanningState) quvenNotImplemented(QUVEN_ENV);
  quvenFatalReport("Invalid model state", QUVEN_ENV);
}

QUVENDataScan::UpdateFunction QUVENSimpleAlgorithmModel::batchHandler(const QUVENEnvHandle&) const { return nullptr; }

void QUVENSimpleAlgorithmModel::prepareInput(const QUVENEnvHandle& env) { bindFields(QUVEN_ENV); }

bool QUVENSimpleAlgorithmModel::setMiningModeHook(std::int32_t mode, QUVENModel*, const QUVENEnvHandle& env) {
  if (mode == BestModelTrainDataOnly) return true;
  if (mode > BestModelTrainDataOnly && mode <= lastMode) quvenNotImplemented(QUVEN_ENV);
  quvenFatalReport("Invalid Model State", QUVEN_ENV);
}

bool QUVENSimpleAlgorithmModel::beginPass(const QUVENEnvHandle& env) {
  // The state itself, not the mode behind it: an analysis that has ended does not begin again.
  const std::int32_t state = getModelState();
  if (state == lastMode) quvenNotImplemented(QUVEN_ENV);
  if (state != BestModelTrainDataOnly) quvenFatalReport("Invalid Model State", QUVEN_ENV);
  ivState = InPass;
  getData(QUVEN_ENV).beginDataScan(static_cast<std::int32_t>(getExplanatoryFields().getSize()) - 1, QUVEN_ENV);
  return true;  // the analysis decides by its passes, not by this answer
}

bool QUVENSimpleAlgorithmModel::endPass(std::int32_t stage, const QUVENEnvHandle& env) {
  if (stage != 0) return false;
  if (getModelState() != scanningInMode1) quvenFatalReport("Invalid Model State", QUVEN_ENV);
  const int ended = getData(QUVEN_ENV).endDataScan(QUVEN_ENV);
  ++ivIterationCount;
  ivState = PassEnded;
  return ended != 0;
}

void QUVENSimpleAlgorithmModel::getModelScoresVector(QUVENXaRay<QUVENModelScores>& scores,
                                                     const QUVENEnvHandle& env) const {
  QUVENModelScores only;
  only.kind = scoresKind;
  scores.append(only, QUVEN_ENV);
}

void QUVENSimpleAlgorithmModel::selectBest(long, const QUVENEnvHandle&) {}  // there is one candidate

bool QUVENSimpleAlgorithmModel::hasUsableData(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
double QUVENSimpleAlgorithmModel::getVolume(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
double QUVENSimpleAlgorithmModel::getScore(int, const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
double QUVENSimpleAlgorithmModel::getScoreVariance(int, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
bool QUVENSimpleAlgorithmModel::hasNoSignal(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
void QUVENSimpleAlgorithmModel::pruneInputs(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENSimpleAlgorithmModel::finishScoring(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENSimpleAlgorithmModel::scorePoint(QUVENDataPoint&, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}
void QUVENSimpleAlgorithmModel::scoreChannel(std::int32_t, QUVENDataPoint&, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}
void QUVENSimpleAlgorithmModel::collectFieldsUsed(QUVENModelFieldsUsed&, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
