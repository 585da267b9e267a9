#include "kernel/quven_field.h"

#include <algorithm>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENFieldGlobalVars);
QUVEN_REGISTER(QUVENField);

QUVENFieldGlobalVars& QUVENFieldGlobalVars::get(const QUVENEnvHandle& env) {
  static const QUVENStringWithHash key("QUVENField::cv");
  return *QUVENEnv::getGlobal<QUVENFieldGlobalVars>(key, QUVEN_ENV);
}

QUVENField::QUVENField(QUVENFieldType type, const QUVENEnvHandle& env)
    : Members(env), ivFieldType(static_cast<std::int32_t>(type)) {}

void QUVENField::setCatValue(std::string_view text) {
  clearValue();
  valuePresent = 1;
  catValue.assign(text);  // before the category is left, whose text this may be
  category = nullptr;
}

void QUVENField::setCatValueOf(double number, std::string_view text) {
  clearValue();
  valuePresent = 1;
  category = &categoryNumbers.add(number, text, StaleValueIndex);
}

void QUVENField::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  const QUVENStringWithHash text = static_cast<const QUVENField*>(source)->presentText();
  Members::copyFromPrimitive(source, QUVEN_ENV);
  catValue.copyFrom(text, QUVEN_ENV);
  category = nullptr;
  forgetCategoryIndices();
}

void QUVENField::setNumValues(const QUVENXaRay<double>& values, const QUVENEnvHandle& env) {
  clearValue();
  if (values.isEmpty()) return;
  if (numValues.getSize() < values.getSize()) numValues.autoExtend(values.getSize(), QUVEN_ENV);
  std::copy(values.begin(), values.end(), numValues.begin());
  valuePresent = 1;
  numValue = values[1];
  numValueCount = static_cast<std::int32_t>(values.getSize());
}

void QUVENField::saveValue(QUVENFieldValue& savedfieldval, const QUVENEnvHandle& env) const {
  savedfieldval.ivFieldType = getType();
  savedfieldval.valuePresent = valuePresent;
  savedfieldval.valueMissing = valueMissing;
  savedfieldval.numValue = numValue;
  savedfieldval.catValue = presentText();
  savedfieldval.valueIndex = valueIndex;
  savedfieldval.numValues.fromZeroBased(numValues.toZeroBased().first(static_cast<std::size_t>(numValueCount)),
                                        QUVEN_ENV);
}

void QUVENField::restoreValue(const QUVENFieldValue& savedfieldval, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(savedfieldval.ivFieldType == getType());
  setNumValues(savedfieldval.numValues, QUVEN_ENV);
  valuePresent = savedfieldval.valuePresent;
  valueMissing = savedfieldval.valueMissing;
  numValue = savedfieldval.numValue;
  catValue = savedfieldval.catValue;
  category = nullptr;
  valueIndex = savedfieldval.valueIndex;
}

const QUVENStringWithHash& QUVENField::getCatValue(const QUVENEnvHandle&) const {
  QUVEN_ASSERT(!isMissing());
  requireSet();
  return presentText();
}

double QUVENField::getNumValueOfChannel(long channel, const QUVENEnvHandle&) const {
  QUVEN_ASSERT(!isMissing());
  requireSet();
  QUVEN_ASSERT(1 <= channel && channel <= numValueCount);
  return numValues[channel];
}

void QUVENField::setNumValueOfChannel(long channel, double value, const QUVENEnvHandle& env) {
  const long channels = getGlobalNumChannels();
  QUVEN_ASSERT(1 <= channel && channel <= channels);
  if (numValueCount < channels) {
    const bool hasSingle = hasValue() && !isMissing();
    const double others = hasSingle ? numValue : std::numeric_limits<double>::quiet_NaN();
    if (numValues.getSize() < channels) numValues.autoExtend(channels, QUVEN_ENV);
    std::fill(numValues.begin() + numValueCount, numValues.begin() + channels, others);
    numValueCount = static_cast<std::int32_t>(channels);
  }
  numValues[channel] = value;
  numValue = numValues[1];
  valuePresent = 1;
  valueMissing = 0;
  valueIndex = StaleValueIndex;
}

void QUVENField::setNumValuesOfChannels(std::span<const double> values, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(static_cast<long>(values.size()) == getGlobalNumChannels());
  std::copy(values.begin(), values.end(), beginNumValuesOfChannels(QUVEN_ENV));
  endNumValuesOfChannels();
}

std::int32_t QUVENField::getValueIndex(const QUVENEnvHandle& env) {
  if (valueIndex == StaleValueIndex) {
    requireSet();
    if (isMissing() || !hasValue()) {
      valueIndex = MissingValueIndex;
    } else {
      valueIndex = isNumeric() ? getIndexOfValue(numValue, QUVEN_ENV) : getIndexOfCategory(QUVEN_ENV);
    }
  }
  return valueIndex;
}

std::int32_t QUVENField::getIndexOfCategory(const QUVENEnvHandle& env) {
  if (category == nullptr) return getIndexOfText(catValue, QUVEN_ENV);
  if (category->index == StaleValueIndex) category->index = getIndexOfText(category->text, QUVEN_ENV);
  return category->index;
}

void QUVENField::markAsLineNumber(const QUVENEnvHandle&) { lineNumber = 1; }

void QUVENField::readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  QUVENStringWithHash tempName;
  if (!quvenRead(reader, QUVEN_KWD(ivName), tempName, QUVEN_ENV)) return Members::readPrimitive(reader, QUVEN_ENV);
  if (!ivName.isEmpty() && !(ivName == tempName)) {
    quvenReportPieces({"*** ERROR ", ivName, " != ", tempName, "\n"});
    quvenOrdinaryAssertionFailed("ivName.size() <= 0 || ivName == tempName",
                                 "Attempt to overwrite an existing field object with a different field", __func__,
                                 __LINE__, __FILE__);
  }
  ivName = tempName;
}

void QUVENField::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  if (isNumeric() && ivPurpose == static_cast<std::int32_t>(QUVENFieldPurpose::LineNumber)) lineNumber = 1;
}

bool QUVENField::hasScanResult(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
bool QUVENField::merge(QUVENDataScan*, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
long QUVENField::getNumDistValues(const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::setSampleFlag(bool, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::computeValue(QUVENDataPoint&, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::reservedOperation(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::updateDistribution(std::uint32_t, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::beginDistributionPass(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
void QUVENField::endDistributionPass(const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
std::int32_t QUVENField::getIndexOfText(const QUVENStringWithHash&, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
std::int32_t QUVENField::getIndexOfValue(double, const QUVENEnvHandle& env) const { quvenNotImplemented(QUVEN_ENV); }
const QUVENStringWithHash& QUVENField::getCategoryText(std::int32_t, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}
bool QUVENField::hasDistribution() const {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  quvenNotImplemented(QUVEN_ENV);
}
void QUVENField::sampleFromDistribution(std::uint32_t, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }
