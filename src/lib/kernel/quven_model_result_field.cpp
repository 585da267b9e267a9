#include "kernel/quven_model_result_field.h"

#include <array>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENModelResultField);
QUVEN_REGISTER(QUVENResultFieldOwner);
QUVEN_REGISTER(QUVENResultFieldExporter);

std::string_view quvenOutputPrefix(std::int32_t outputType, const QUVENEnvHandle& env) {
  static constexpr std::array<std::string_view, QUVENOutputWarning> prefixes = {"Predicted_",
                                                                                "PredictedDisplay_",
                                                                                "UnnormalizedPredicted_",
                                                                                "IncrementalPredicted_",
                                                                                "InverseVarianceWeight_",
                                                                                "StdDev_",
                                                                                "UnnormalizedStdDev_",
                                                                                "Probability_",
                                                                                "Residual_",
                                                                                "ResidualStdDev_",
                                                                                "Warning_"};
  if (outputType < QUVENOutputPredicted || outputType > QUVENOutputWarning) {
    quvenFatalReport("Invalid feature specified", QUVEN_ENV);
  }
  return prefixes[static_cast<std::size_t>(outputType - 1)];
}

bool QUVENModelResultField::isOf(const QUVENField* targetField, std::int32_t outputType,
                                 std::string_view suffix) const {
  return ivTargetFieldPtr == targetField && ivOutputType == outputType && ivSuffix == suffix;
}

void QUVENModelResultField::describe(QUVENField* targetField, std::int32_t outputType, std::string_view suffix,
                                     const QUVENEnvHandle& env) {
  quvenAssignText(ivSuffix, suffix, QUVEN_ENV);
  ivTargetFieldPtr = targetField;
  ivOutputType = outputType;
}

void QUVENFieldRegistration::hold(const QUVENField& field, QUVENFieldNameMap& fieldNames) {
  name = field.getName().str();
  names = &fieldNames;
  registeredField = &field;
  names->setHolder(name, this);
}

bool QUVENFieldRegistration::isHolder() const {
  return names != nullptr && names->find(name) == registeredField && names->getHolder(name) == this;
}

void QUVENFieldRegistration::end(const QUVENEnvHandle& env) {
  if (isHolder() && !names->isMirror()) names->remove(name, QUVEN_ENV);
  giveUp();
}

void QUVENFieldRegistration::giveUp() {
  if (isHolder()) names->setHolder(name, nullptr);
  names = nullptr;
  registeredField = nullptr;
  name.clear();
}

void QUVENFieldRegistration::swap(QUVENFieldRegistration& other) {
  const bool held = isHolder();
  const bool otherHeld = other.isHolder();
  std::swap(names, other.names);
  std::swap(registeredField, other.registeredField);
  name.swap(other.name);
  if (held) other.names->setHolder(other.name, &other);
  if (otherHeld) names->setHolder(name, this);
}

void QUVENResultFieldOwner::open(QUVENField* targetField, std::int32_t outputType, std::string_view suffix,
                                 std::int32_t startingSuffix, QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(targetField != nullptr, "An output without a target field");
  std::string name(quvenOutputPrefix(outputType, QUVEN_ENV));
  name += targetField->getName().str();
  if (!suffix.empty()) name.append("_").append(suffix);

  const bool isPrediction = outputType == QUVENOutputPredicted || outputType == QUVENOutputPredictedDisplay;
  QUVENOwnPtr<QUVENField> field(QUVEN_ENV);
  if (isPrediction && !targetField->isNumeric()) {
    field = quvenMake<QUVENCatField>(QUVEN_ENV);
  } else {
    field = quvenMake<QUVENNumField>(QUVEN_ENV);
  }
  field->setName(names.makeUniqueName(name, startingSuffix, QUVEN_ENV));
  field->setComputed(true);

  registration.end(QUVEN_ENV);
  ivFieldPtr = nullptr;
  describe(targetField, outputType, suffix, QUVEN_ENV);
  ivFieldPtr = names.addOwned(std::move(field), QUVEN_ENV);
  registration.hold(*ivFieldPtr, names);
}

void QUVENResultFieldOwner::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (!ownsField()) registration.end(QUVEN_ENV);
}

void QUVENResultFieldOwner::readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::readPrimitive(reader, QUVEN_ENV);
  if (!ownsField()) registration.giveUp();
}

void QUVENResultFieldOwner::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  if (ivFieldPtr == nullptr) return;
  // Also if the field is the same: reading the map cleared the holders.
  QUVENFieldNameMap* names = nullptr;
  reader.getBackPointer(names, QUVENFieldNameMap::cvBackPtrName());
  if (names != nullptr) registration.hold(*ivFieldPtr, *names);
}

void QUVENResultFieldExporter::open(const QUVENModelResultField& exported, QUVENFieldNameMap& callerNames,
                                    const QUVENEnvHandle& env) {
  QUVENField* field = exported.getField();
  QUVEN_ASSERT_CAUSE(field != nullptr, "A record of an output without its field");
  registration.end(QUVEN_ENV);
  ivFieldPtr = nullptr;
  describe(exported.getTargetField(), exported.getOutputType(), exported.getSuffix(), QUVEN_ENV);
  if (callerNames.find(field->getName()) != field) {
    callerNames.addReference(field, QUVEN_ENV);
    registration.hold(*field, callerNames);
  }
  ivFieldPtr = field;
}

void QUVENResultFieldExporter::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (!registration.holds(ivFieldPtr)) registration.end(QUVEN_ENV);
}
