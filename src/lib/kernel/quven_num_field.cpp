#include "kernel/quven_num_field.h"

#include <cmath>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENNumValueProducer);
QUVEN_REGISTER(QUVENNumField);

QUVENNumField::QUVENNumField(const QUVENEnvHandle& env) : Members(QUVENFieldType::Numeric, QUVEN_ENV) {}

void QUVENNumField::setSampleCapacity(std::int32_t capacity, const QUVENEnvHandle&) {
  sampleCapacity = capacity;
  if (hasDistribution()) ivNumFieldDistPtr->setSampleCapacity(capacity);
}

void QUVENNumField::markAsLineNumber(const QUVENEnvHandle& env) {
  Members::markAsLineNumber(QUVEN_ENV);
  setSampleFlag(false, QUVEN_ENV);
}

void QUVENNumField::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (hasDistribution()) ivNumFieldDistPtr->setField(this);
}

void QUVENNumField::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  if (hasDistribution()) ivNumFieldDistPtr->setField(this);
}

bool QUVENNumField::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(other->isA(typeName()));
  const QUVENNumFieldDist* part = static_cast<const QUVENNumField*>(other)->getDistribution();
  if (hasDistribution() && part != nullptr) ivNumFieldDistPtr->merge(*part, QUVEN_ENV);
  return true;
}

bool QUVENNumField::hasScanResult(const QUVENEnvHandle&) const { return true; }

long QUVENNumField::getNumDistValues(const QUVENEnvHandle&) const {
  return hasDistribution() ? ivNumFieldDistPtr->getNumBins() : 0;
}

void QUVENNumField::setSampleFlag(bool sample, const QUVENEnvHandle& env) {
  if (!sample) {
    ivSampleFlag = 0;
    ivNumFieldDistPtr.reset(QUVEN_ENV);
    return;
  }
  if (isLineNumber()) return;
  if (!hasDistribution()) {
    ivNumFieldDistPtr = quvenMake<QUVENNumFieldDist>(QUVEN_ENV);
    ivNumFieldDistPtr->setField(this);
    ivNumFieldDistPtr->setSampleCapacity(sampleCapacity);
  }
  ivSampleFlag = 1;
}

void QUVENNumField::computeValue(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (valueProducer == nullptr) return;
  double value = 0;
  if (valueProducer->produceValue(point, value, QUVEN_ENV)) {
    setNumValue(value);
  } else {
    setMissing();
  }
  getValueIndex(QUVEN_ENV);
}

void QUVENNumField::reservedOperation(const QUVENEnvHandle&) {}

void QUVENNumField::updateDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) {
  if (!isGathering() || !hasValue()) return;
  if (isMissing()) {
    ivNumFieldDistPtr->updateMissing();
  } else if (getNumValues() == 0) {
    updateDistributionWith(recordId, getNumValue(QUVEN_ENV), QUVEN_ENV);
  } else {
    for (long i = 1; i <= getNumValues(); ++i) {
      updateDistributionWith(recordId, getNumValueOfChannel(i, QUVEN_ENV), QUVEN_ENV);
    }
  }
}

void QUVENNumField::updateDistributionWith(std::uint32_t recordId, double value, const QUVENEnvHandle& env) {
  if (isComputed() && std::isnan(value)) {
    ivNumFieldDistPtr->updateMissing();
  } else {
    ivNumFieldDistPtr->update(recordId, value, QUVEN_ENV);
  }
}

void QUVENNumField::beginDistributionPass(const QUVENEnvHandle& env) {
  if (isGathering()) ivNumFieldDistPtr->beginPass(QUVEN_ENV);
}

void QUVENNumField::endDistributionPass(const QUVENEnvHandle& env) {
  if (isGathering()) ivNumFieldDistPtr->endPass(QUVEN_ENV);
}

std::int32_t QUVENNumField::getIndexOfText(const QUVENStringWithHash&, const QUVENEnvHandle&) const {
  quvenOrdinaryAssertionFailed("0", nullptr, __func__, __LINE__, __FILE__);
}

std::int32_t QUVENNumField::getIndexOfValue(double value, const QUVENEnvHandle& env) const {
  // A value that is no number counts as missing where a model or a producer has set it.
  if (isMissing() || (isComputed() && std::isnan(value))) return MissingValueIndex;
  return hasDistribution() ? ivNumFieldDistPtr->getBinIndex(value, QUVEN_ENV) : 0;
}

const QUVENStringWithHash& QUVENNumField::getCategoryText(std::int32_t, const QUVENEnvHandle& env) const {
  quvenUnreachable(QUVEN_ENV);
}

bool QUVENNumField::hasDistribution() const { return ivNumFieldDistPtr != nullptr; }

void QUVENNumField::sampleFromDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) {
  if (!hasDistribution()) return;
  const QUVENNumFieldDist& dist = *ivNumFieldDistPtr;
  const QUVENFieldDraw draw(recordId, getName());
  const double place = draw.inTotal(dist.getMissingCount() + dist.getValidCount());
  double sum = dist.getMissingCount();
  if (sum > place) {
    setMissing();
    getValueIndex(QUVEN_ENV);
    return;
  }
  for (long i = 1; i <= dist.getNumBins(); ++i) {
    const QUVENNumFieldBin& bin = dist.getBin(i);
    sum += bin.getCount();
    if (sum > place) {
      setNumValue(bin.valueOfDraw(draw.within(bin.getCount())));
      getValueIndex(QUVEN_ENV);
      return;
    }
  }
}
