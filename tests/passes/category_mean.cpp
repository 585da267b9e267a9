#include "category_mean.h"

#include <cmath>
#include <limits>
#include <numeric>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENCategoryMean);

void QUVENCategoryMean::beginRecords(const QUVENEnvHandle& env) {
  // Without categories every record would silently be of the default one.
  QUVEN_ASSERT(getInput().getDistributionPasses() > 0);
  for (QUVENXaRay<double>* values : {&ivCounts, &ivMeans}) {
    values->setSize(0, QUVEN_ENV);
    values->setSize(getInput().getNumDistValues(QUVEN_ENV) + SlotOfDefault, QUVEN_ENV);
  }
  ivSquares = 0;
}

void QUVENCategoryMean::learn(QUVENDataPoint&, const QUVENEnvHandle& env) {
  const QUVENField& target = *getTargetFields()[1].getField();
  if (!target.hasValue() || target.isMissing() || std::isnan(target.getNumValue(env))) return;
  add(SlotOfDefault + getInput().getValueIndex(env), 1, target.getNumValue(env));
}

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
  const long slot = SlotOfDefault + getInput().getValueIndex(env);
  predict(channel, ivCounts[slot] > 0 ? ivMeans[slot] : std::numeric_limits<double>::quiet_NaN(), env);
}
