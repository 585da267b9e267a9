#include "learning/quven_term_variances.h"

#include <algorithm>
#include <cmath>

#include "kernel/quven_data_point.h"
#include "learning/quven_fold_dealing.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENTermVariances);

long QUVENTermVariances::addTerm(QUVENField* field, double factor, const QUVENEnvHandle& env) {
  ivFields.append(field, QUVEN_ENV);
  ivFactors.append(factor, QUVEN_ENV);
  return getNumTerms();
}

double QUVENTermVariances::getVariance(long term) const {
  return ivCounts.at(term) > 0 ? ivSquares.at(term) / ivCounts.at(term) : 0;
}

void QUVENTermVariances::beginRecords(const QUVENEnvHandle& env) {
  for (QUVENXaRay<double>* sums : {&ivCounts, &ivMeans, &ivSquares}) {
    sums->setSize(getNumTerms(), QUVEN_ENV);
    std::fill(sums->begin(), sums->end(), 0.0);
  }
}

QUVENDataScan::UpdateFunction QUVENTermVariances::getUpdateFunction(const QUVENEnvHandle&) const {
  return isScanInProgress() ? static_cast<UpdateFunction>(&QUVENTermVariances::observe) : nullptr;
}

void QUVENTermVariances::observe(QUVENDataPoint& point, const QUVENEnvHandle&) {
  if (point.getChannel() < QUVENFoldDealing::HeldOutChannel) return;
  for (long term = 1; term <= getNumTerms(); ++term) {
    const double value = ivFactors[term] * ivFields[term]->getNumValueOrSingle(QUVENFoldDealing::TestChannel);
    if (!std::isfinite(value)) continue;
    const double distance = value - ivMeans[term];
    ivMeans[term] += distance / ++ivCounts[term];
    ivSquares[term] += distance * (value - ivMeans[term]);
  }
}

bool QUVENTermVariances::merge(QUVENDataScan* other, const QUVENEnvHandle&) {
  const auto& part = static_cast<const QUVENTermVariances&>(*other);
  const long numTerms = ivCounts.getSize();
  QUVEN_ASSERT(part.ivCounts.getSize() == numTerms);
  QUVEN_ASSERT(part.ivMeans.getSize() == numTerms && part.ivSquares.getSize() == numTerms);
  for (long term = 1; term <= numTerms; ++term) {
    const double count = ivCounts[term] + part.ivCounts[term];
    if (count == 0) continue;
    const double distance = part.ivMeans[term] - ivMeans[term];
    const double share = part.ivCounts[term] / count;
    ivSquares[term] += part.ivSquares[term] + distance * distance * ivCounts[term] * share;
    ivMeans[term] += distance * share;
    ivCounts[term] = count;
  }
  return true;
}
