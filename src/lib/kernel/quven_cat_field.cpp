#include "kernel/quven_cat_field.h"

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENCatValueProducer);
QUVEN_REGISTER(QUVENCatField);

QUVENCatField::QUVENCatField(const QUVENEnvHandle& env) : Members(QUVENFieldType::Categorical, QUVEN_ENV) {}

void QUVENCatField::setSampleCapacity(std::int32_t capacity, const QUVENEnvHandle&) {
  sampleCapacity = capacity;
  if (hasDistribution()) ivCatFieldDistPtr->setSampleCapacity(capacity);
}

void QUVENCatField::setMaxCatsAllowed(std::int32_t maxCats, const QUVENEnvHandle&) {
  maxCatsAllowed = maxCats;
  if (hasDistribution()) ivCatFieldDistPtr->setMaxCatsAllowed(maxCats);
}

void QUVENCatField::setMinCatOccuranceThreshold(std::int32_t minOccurance, const QUVENEnvHandle&) {
  minCatOccuranceThreshold = minOccurance;
  if (hasDistribution()) ivCatFieldDistPtr->setMinCatOccuranceThreshold(minOccurance);
}

void QUVENCatField::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (hasDistribution()) ivCatFieldDistPtr->setField(this);
}

void QUVENCatField::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  forgetCategoryIndices();
  if (hasDistribution()) ivCatFieldDistPtr->setField(this);
}

bool QUVENCatField::merge(QUVENDataScan* other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(other->isA(typeName()));
  const QUVENCatFieldDist* part = static_cast<const QUVENCatField*>(other)->getDistribution();
  if (hasDistribution() && part != nullptr) ivCatFieldDistPtr->merge(*part, QUVEN_ENV);
  return true;
}

bool QUVENCatField::hasScanResult(const QUVENEnvHandle&) const { return true; }

long QUVENCatField::getNumDistValues(const QUVENEnvHandle&) const {
  return hasDistribution() ? ivCatFieldDistPtr->getNumCats() : 0;
}

void QUVENCatField::setSampleFlag(bool sample, const QUVENEnvHandle& env) {
  forgetCategoryIndices();
  if (!sample) {
    ivSampleFlag = 0;
    ivCatFieldDistPtr.reset(QUVEN_ENV);
    return;
  }
  if (!hasDistribution()) {
    ivCatFieldDistPtr = quvenMake<QUVENCatFieldDist>(QUVEN_ENV);
    ivCatFieldDistPtr->setField(this);
    ivCatFieldDistPtr->setSampleCapacity(sampleCapacity);
    ivCatFieldDistPtr->setMaxCatsAllowed(maxCatsAllowed);
    ivCatFieldDistPtr->setMinCatOccuranceThreshold(minCatOccuranceThreshold);
  }
  ivSampleFlag = 1;
}

void QUVENCatField::computeValue(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  if (valueProducer == nullptr) return;
  QUVENStringWithHash value;
  if (valueProducer->produceValue(point, value, QUVEN_ENV)) {
    setCatValue(value);
  } else {
    setMissing();
  }
  getValueIndex(QUVEN_ENV);
}

void QUVENCatField::reservedOperation(const QUVENEnvHandle&) {}

void QUVENCatField::updateDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) {
  if (!isGathering() || !hasValue()) return;
  if (isMissing()) {
    ivCatFieldDistPtr->updateMissing();
  } else if (ivCatFieldDistPtr->isCounting()) {
    ivCatFieldDistPtr->count(getIndexOfCategory(QUVEN_ENV));
  } else {
    ivCatFieldDistPtr->update(recordId, getCatValue(QUVEN_ENV), QUVEN_ENV);
  }
}

void QUVENCatField::beginDistributionPass(const QUVENEnvHandle& env) {
  if (isGathering()) ivCatFieldDistPtr->beginPass(QUVEN_ENV);
}

void QUVENCatField::endDistributionPass(const QUVENEnvHandle& env) {
  if (isGathering()) ivCatFieldDistPtr->endPass(QUVEN_ENV);
  forgetCategoryIndices();
}

std::int32_t QUVENCatField::getIndexOfText(const QUVENStringWithHash& text, const QUVENEnvHandle&) const {
  if (isMissing()) return MissingValueIndex;
  return hasDistribution() ? ivCatFieldDistPtr->getCatIndex(text) : DefaultValueIndex;
}

std::int32_t QUVENCatField::getIndexOfValue(double, const QUVENEnvHandle& env) const { quvenUnreachable(QUVEN_ENV); }

const QUVENStringWithHash& QUVENCatField::getCategoryText(std::int32_t index, const QUVENEnvHandle&) const {
  static const QUVENStringWithHash quvenEmptyStr;
  const QUVENCatFieldDist* fieldDistPtr = getDistribution();
  QUVEN_ASSERT(fieldDistPtr != nullptr);
  if (index != DefaultValueIndex) return fieldDistPtr->getCat(index).getValue();
  QUVEN_ASSERT(fieldDistPtr->getCatIndex(quvenEmptyStr) == QUVENField::DefaultValueIndex);
  return quvenEmptyStr;
}

bool QUVENCatField::hasDistribution() const { return ivCatFieldDistPtr != nullptr; }

void QUVENCatField::sampleFromDistribution(std::uint32_t recordId, const QUVENEnvHandle& env) {
  if (!hasDistribution()) return;
  const QUVENCatFieldDist& dist = *ivCatFieldDistPtr;
  const double place = QUVENFieldDraw(recordId, getName()).inTotal(dist.getMissingCount() + dist.getValidCount());
  double sum = dist.getMissingCount();
  if (sum > place) {
    setMissing();
    getValueIndex(QUVEN_ENV);
    return;
  }
  sum += dist.getDefaultCount();
  std::int32_t index = DefaultValueIndex;
  while (sum <= place) {
    if (index == dist.getNumCats()) return;  // what no category has counted leaves the value as it is
    sum += dist.getCat(++index).getCount();
  }
  setCatValue(getCategoryText(index, QUVEN_ENV));
  getValueIndex(QUVEN_ENV);
}
