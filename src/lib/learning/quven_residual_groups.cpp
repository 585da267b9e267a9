#include "learning/quven_residual_groups.h"

#include <algorithm>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENResidualGroups);

namespace {

constexpr long FinalChannel = 1;

}  // namespace

void QUVENResidualGroups::addEnd(double end, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(ivEnds.isEmpty() || ivEnds[ivEnds.getSize()] <= end);
  ivEnds.append(end, QUVEN_ENV);
}

long QUVENResidualGroups::addSplit(const QUVENSplitTest& test, const QUVENEnvHandle& env) {
  ivSplits.append(quvenNewCopy(test, QUVEN_ENV), QUVEN_ENV);
  return ivSplits.getSize();
}

long QUVENResidualGroups::countGroups() const {
  long count = getNumIntervals();
  for (const QUVENOwnPtr<QUVENSplitTest>& split : ivSplits) count += split->getNumSegments();
  return count;
}

void QUVENResidualGroups::clear(const QUVENEnvHandle& env) {
  ivGroups.setSize(0, QUVEN_ENV);
  ivGroups.setSize(countGroups(), QUVEN_ENV);
}

void QUVENResidualGroups::add(double actual, double predicted, const QUVENEnvHandle& env) {
  constexpr double noStdDev = 0;
  const long interval = std::lower_bound(ivEnds.begin(), ivEnds.end(), predicted) - ivEnds.begin() + 1;
  ivGroups[interval].add(actual, predicted, noStdDev);
  long before = getNumIntervals();
  for (const QUVENOwnPtr<QUVENSplitTest>& split : ivSplits) {
    ivGroups[before + split->getSegment(FinalChannel, QUVEN_ENV)].add(actual, predicted, noStdDev);
    before += split->getNumSegments();
  }
}

void QUVENResidualGroups::merge(const QUVENResidualGroups& other) {
  QUVEN_ASSERT(ivGroups.getSize() == other.ivGroups.getSize());
  for (long i = 1; i <= ivGroups.getSize(); ++i) ivGroups[i].merge(other.ivGroups[i]);
}

const QUVENLiftCurveBin& QUVENResidualGroups::getSegment(long split, std::int32_t segment) const {
  long before = getNumIntervals();
  for (long i = 1; i < split; ++i) before += ivSplits.at(i)->getNumSegments();
  QUVEN_ASSERT(1 <= segment && segment <= ivSplits.at(split)->getNumSegments());
  return ivGroups.at(before + segment);
}
