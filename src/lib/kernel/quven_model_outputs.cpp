#include "kernel/quven_model_outputs.h"

#include <algorithm>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelOutputs);
QUVEN_REGISTER(QUVENModelOutputPair);
QUVEN_REGISTER(QUVENExportedOutputs);

namespace {

using ResultFields = QUVENModelOutputs::ResultFields;

QUVENField* find(const ResultFields& records, const QUVENField* targetField, std::int32_t outputType,
                 std::string_view suffix) {
  for (const QUVENOwnPtr<QUVENModelResultField>& record : records) {
    if (record && record->isOf(targetField, outputType, suffix)) return record->getField();
  }
  return nullptr;
}

void append(ResultFields& records, QUVENOwnPtr<QUVENModelResultField>&& record, const QUVENEnvHandle& env) {
  const long index = records.getSize() + 1;
  records.autoExtend(index, QUVEN_ENV);
  records[index] = std::move(record);
}

}  // namespace

QUVENField* QUVENModelOutputs::addOutput(QUVENField* targetField, std::int32_t outputType, std::string_view suffix,
                                         QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  if (QUVENField* existing = findOutput(targetField, outputType, suffix)) return existing;
  auto record = quvenMake<QUVENResultFieldOwner>(QUVEN_ENV);
  record->open(targetField, outputType, suffix, ivStartingSuffix, names, QUVEN_ENV);
  QUVENField* field = record->getField();
  append(ivResultFieldVec, std::move(record), QUVEN_ENV);
  return field;
}

QUVENField* QUVENModelOutputs::findOutput(const QUVENField* targetField, std::int32_t outputType,
                                          std::string_view suffix) const {
  return find(ivResultFieldVec, targetField, outputType, suffix);
}

void QUVENExportedOutputs::exportOutputs(const QUVENModelOutputs& outputs, QUVENFieldNameMap& callerNames,
                                         const QUVENEnvHandle& env) {
  const auto isExported = [&](const QUVENField* field) {
    return std::any_of(ivResultFieldVec.begin(), ivResultFieldVec.end(),
                       [&](const auto& record) { return record && record->getField() == field; });
  };
  for (const QUVENOwnPtr<QUVENModelResultField>& record : outputs.getResultFields()) {
    if (!record || isExported(record->getField())) continue;
    auto exporter = quvenMake<QUVENResultFieldExporter>(QUVEN_ENV);
    exporter->open(*record, callerNames, QUVEN_ENV);
    append(ivResultFieldVec, std::move(exporter), QUVEN_ENV);
  }
}

QUVENField* QUVENExportedOutputs::findOutput(const QUVENField* targetField, std::int32_t outputType,
                                             std::string_view suffix) const {
  return find(ivResultFieldVec, targetField, outputType, suffix);
}
