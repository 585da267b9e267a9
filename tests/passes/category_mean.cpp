#include "category_mean.h"

#include <cmath>
#include <numeric>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENCategoryMean);

QUVENField* QUVENCategoryMean::addOutput(QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  return ivOutputs.addOutput(getTargetFields().at(1).getField(), QUVENOutputPredicted, "", names, QUVEN_ENV);
}

bool QUVENCategoryMean::beginPass(const QUVENEnvHandle&) {
  // Without categories every record would silently be of the default one.
  QUVEN_ASSERT(getExplanatoryFields().at(1).getField()->getDistributionPasses() > 0);
  return true;
}

void QUVENCategoryMean::beginRecords(const QUVENEnvHandle& env) {
  const long numSlots = getExplanatoryFields()[1].getField()->getNumDistValues(QUVEN_ENV) + SlotOfDefault;
  for (QUVENXaRay<double>* values : {&ivCounts, &ivMeans}) {
    values->setSize(0, QUVEN_ENV);
    values->setSize(numSlots, QUVEN_ENV);
  }
  ivSquares = 0;
}

QUVENDataScan::UpdateFunction QUVENCategoryMean::recordHandler(const QUVENEnvHandle&) const {
  return isScanning() ? static_cast<UpdateFunction>(&QUVENCategoryMean::learn) : nullptr;
}

/// A field without a value keeps the text of an earlier record, so it is not asked for its category.
long QUVENCategoryMean::slotOfInput(const QUVENEnvHandle& env) const {
  QUVENField& input = *getExplanatoryFields()[1].getField();
  return SlotOfDefault + (input.hasValue() ? input.getValueIndex(QUVEN_ENV) : QUVENField::MissingValueIndex);
}

void QUVENCategoryMean::learn(QUVENDataPoint&, const QUVENEnvHandle& env) {
  const QUVENField& target = *getTargetFields()[1].getField();
  if (!target.hasValue() || target.isMissing() || std::isnan(target.getNumValue(QUVEN_ENV))) return;
  add(slotOfInput(QUVEN_ENV), 1, target.getNumValue(QUVEN_ENV));
}

/// The update of Chan, Golub and LeVeque for the mean and the squares of two groups.
void QUVENCategoryMean::add(long slot, double count, double mean) {
  if (count == 0) return;
  const double difference = mean - ivMeans[slot];
  const double share = count / (ivCounts[slot] + count);
  ivSquares += difference * difference * ivCounts[slot] * share;
  ivMeans[slot] += difference * share;
  ivCounts[slot] += count;
}

bool QUVENCategoryMean::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENCategoryMean&>(*other);
  if (part.ivCounts.getSize() != ivCounts.getSize()) return false;
  for (long i = 1; i <= ivCounts.getSize(); ++i) add(i, part.ivCounts[i], part.ivMeans[i]);
  ivSquares += part.ivSquares;
  return true;
}

double QUVENCategoryMean::getVolume(const QUVENEnvHandle&) const {
  return std::accumulate(ivCounts.begin(), ivCounts.end(), 0.0);
}

double QUVENCategoryMean::getScore(int, const QUVENEnvHandle& env) const {
  return hasUsableData(QUVEN_ENV) ? ivSquares / getVolume(QUVEN_ENV) : 0;
}

void QUVENCategoryMean::scoreChannel(std::int32_t channel, QUVENDataPoint&, const QUVENEnvHandle& env) {
  if (ivOutputs.getResultFields().isEmpty()) return;
  QUVENField& output = *ivOutputs.getResultFields()[1]->getField();
  const long slot = slotOfInput(QUVEN_ENV);
  if (ivCounts[slot] == 0) return output.setMissing();
  output.setNumValueOfChannel(channel, ivMeans[slot], QUVEN_ENV);
}
