#include "learning/quven_split_test.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "util/quven_debug.h"
#include "util/quven_numbers.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENSplitTest);
QUVEN_REGISTER(QUVENNumericSplit);
QUVEN_REGISTER(QUVENCategoricalSplit);

namespace {

void mapAll(QUVENXaRay<std::int32_t>& segments, const QUVENXaRay<std::int32_t>& map) {
  for (std::int32_t& segment : segments) segment = map.at(segment);
}

std::int32_t largestOf(const QUVENXaRay<std::int32_t>& map) {
  return map.isEmpty() ? 0 : *std::max_element(map.begin(), map.end());
}

/// Whether what was read from a stream names segments that are there.
bool areSegments(const QUVENXaRay<std::int32_t>& segments, std::int32_t missingSegment, std::int32_t numSegments) {
  const auto isSegment = [&](std::int32_t segment) { return 1 <= segment && segment <= numSegments; };
  return isSegment(missingSegment) && std::all_of(segments.begin(), segments.end(), isSegment);
}

template <class Split, class Field>
void makeSplit(QUVENOwnPtr<QUVENSplitTest>& result, Field* field, double minRecords, const QUVENEnvHandle& env) {
  auto split = quvenMake<Split>(QUVEN_ENV);
  split->open(field, minRecords, QUVEN_ENV);
  result = std::move(split);
}

}  // namespace

void QUVENSplitTest::createSplitTest(QUVENOwnPtr<QUVENSplitTest>& result, QUVENField* field, double minRecords,
                                     const QUVENEnvHandle& env) {
  if (auto* categorical = dynamic_cast<QUVENCatField*>(field)) {
    return makeSplit<QUVENCategoricalSplit>(result, categorical, minRecords, QUVEN_ENV);
  }
  if (auto* numeric = dynamic_cast<QUVENNumField*>(field)) {
    return makeSplit<QUVENNumericSplit>(result, numeric, minRecords, QUVEN_ENV);
  }
  quvenFatalReport("Invalid field type", QUVEN_ENV);
}

void QUVENNumericSplit::open(QUVENNumField* field, double minRecords, const QUVENEnvHandle& env) {
  ivFieldPtr = field;
  ivBoundaryVec.setSize(0, QUVEN_ENV);
  const QUVENNumFieldDist* dist = field->getDistribution();
  const long numBins = dist == nullptr ? 0 : dist->getNumBins();
  // A field with a value per channel is counted once per channel.
  const std::int32_t channels = field->getActualChannelCount();
  const double recordsPerCount = channels > 1 ? 1.0 / channels : 1.0;
  double counter = 0;
  for (long i = 1; i < numBins; ++i) {
    counter += dist->getBin(i).getCount();
    const double value = dist->getBin(i).getHiEnd();
    if (value == dist->getBin(i + 1).getHiEnd() || !(counter * recordsPerCount >= minRecords)) continue;
    ivBoundaryVec.append(value, QUVEN_ENV);
    counter = 0;
  }
  // The last bin is not in the counter, so this usually drops a boundary. Fixed by the model; do not correct.
  if (!ivBoundaryVec.isEmpty() && counter * recordsPerCount < minRecords) {
    ivBoundaryVec.setSize(ivBoundaryVec.getSize() - 1, QUVEN_ENV);
  }
  const long intervals = ivBoundaryVec.getSize() + 1;
  ivSegmentVec.setSize(intervals, QUVEN_ENV);
  for (long i = 1; i <= intervals; ++i) ivSegmentVec[i] = static_cast<std::int32_t>(i);
  ivMissingSegment = ivNumSegments = static_cast<std::int32_t>(intervals + 1);
  ends.setEnds(ivBoundaryVec);
}

void QUVENNumericSplit::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(ivFieldPtr != nullptr);
  QUVEN_ASSERT(ivSegmentVec.getSize() == ivBoundaryVec.getSize() + 1);
  QUVEN_ASSERT(areSegments(ivSegmentVec, ivMissingSegment, ivNumSegments));
  // A NaN compares as not above the boundary before it.
  for (long i = 2; i <= ivBoundaryVec.getSize(); ++i) QUVEN_ASSERT(ivBoundaryVec[i] > ivBoundaryVec[i - 1]);
  ends.setEnds(ivBoundaryVec);
}

bool QUVENNumericSplit::hasValuePerChannel() const {
  QUVEN_ASSERT(ivFieldPtr != nullptr);
  return ivFieldPtr->getNumValues() > 1;
}

std::int32_t QUVENNumericSplit::getSegment(long channel, const QUVENEnvHandle&) const {
  QUVEN_ASSERT(ivFieldPtr != nullptr);
  const double x = ivFieldPtr->getNumValueOrSingle(channel);
  if (!ivFieldPtr->hasValue() || ivFieldPtr->isMissing() || std::isnan(x)) return ivMissingSegment;
  const long boundaries = ivBoundaryVec.getSize();
  if (boundaries <= MostCounted) {
    long below = 0;
    for (const double boundary : ivBoundaryVec) below += boundary < x ? 1 : 0;
    return ivSegmentVec[below + 1];
  }
  // The search is for finite numbers; an infinite one is in the same interval as the largest.
  if (ends.isSearchable()) return ivSegmentVec.at(std::min(long{ends.find(quvenClampDouble(x))}, boundaries) + 1);
  return ivSegmentVec.at(std::lower_bound(ivBoundaryVec.begin(), ivBoundaryVec.end(), x) - ivBoundaryVec.begin() + 1);
}

void QUVENNumericSplit::mapSegments(const QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env) {
  mapAll(ivSegmentVec, map);
  ivMissingSegment = map.at(ivMissingSegment);
  ivNumSegments = largestOf(map);
  long kept = 1;
  for (long i = 2; i <= ivSegmentVec.getSize(); ++i) {
    if (ivSegmentVec[i] == ivSegmentVec[kept]) continue;
    ivBoundaryVec[kept] = ivBoundaryVec[i - 1];
    ivSegmentVec[++kept] = ivSegmentVec[i];
  }
  // The end of the last interval that is kept is open.
  ivSegmentVec.setSize(kept, QUVEN_ENV);
  ivBoundaryVec.setSize(kept - 1, QUVEN_ENV);
  ends.setEnds(ivBoundaryVec);
}

std::vector<QUVENSegmentDescription> QUVENNumericSplit::describeSegments(const QUVENEnvHandle&) const {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  std::vector<QUVENSegmentDescription> descriptions;
  const long boundaries = ivBoundaryVec.getSize();
  for (long i = 1; i <= ivSegmentVec.getSize(); ++i) {
    QUVENSegmentDescription description;
    description.segment = ivSegmentVec[i];
    description.isInterval = true;
    description.from = i > 1 ? ivBoundaryVec.at(i - 1) : -infinity;
    description.to = i <= boundaries ? ivBoundaryVec[i] : infinity;
    descriptions.push_back(description);
  }
  QUVENSegmentDescription missing;
  missing.segment = ivMissingSegment;
  missing.isMissing = true;
  descriptions.push_back(missing);
  return descriptions;
}

void QUVENCategoricalSplit::open(QUVENCatField* field, double minRecords, const QUVENEnvHandle& env) {
  ivFieldPtr = field;
  const QUVENCatFieldDist* dist = field->getDistribution();
  const auto isFrequent = [&](long category) { return dist->getCat(category).getCount() >= minRecords; };
  long last = dist == nullptr ? 0 : dist->getNumCats();
  while (last > 0 && !isFrequent(last)) --last;
  ivSegmentVec.setSize(last + 1, QUVEN_ENV);
  std::int32_t segments = 0;
  for (long i = 1; i <= last; ++i) ivSegmentVec[i + 1] = isFrequent(i) ? ++segments : 0;
  const std::int32_t shared = segments + 1;
  for (std::int32_t& segment : ivSegmentVec) {
    if (segment == 0) segment = shared;
  }
  const bool manyMissing = dist != nullptr && dist->getMissingCount() >= minRecords;
  ivMissingSegment = ivNumSegments = manyMissing ? shared + 1 : shared;
}

void QUVENCategoricalSplit::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  QUVEN_ASSERT(ivFieldPtr != nullptr);
  QUVEN_ASSERT(!ivSegmentVec.isEmpty());
  QUVEN_ASSERT(areSegments(ivSegmentVec, ivMissingSegment, ivNumSegments));
}

std::int32_t QUVENCategoricalSplit::getSegmentOfCategory(std::int32_t category) const {
  return ivSegmentVec.at(category < ivSegmentVec.getSize() ? category + 1 : QUVENField::DefaultValueIndex + 1);
}

std::int32_t QUVENCategoricalSplit::getSegment(long, const QUVENEnvHandle& env) const {
  QUVEN_ASSERT(ivFieldPtr != nullptr);
  const std::int32_t category = ivFieldPtr->getValueIndex(env);
  return category == QUVENField::MissingValueIndex ? ivMissingSegment : getSegmentOfCategory(category);
}

void QUVENCategoricalSplit::mapSegments(const QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle&) {
  mapAll(ivSegmentVec, map);
  ivMissingSegment = map.at(ivMissingSegment);
  ivNumSegments = largestOf(map);
}

std::vector<QUVENSegmentDescription> QUVENCategoricalSplit::describeSegments(const QUVENEnvHandle& env) const {
  std::vector<QUVENSegmentDescription> descriptions;
  const auto of = [&](std::int32_t segment) -> QUVENSegmentDescription& {
    const auto found = std::ranges::find(descriptions, segment, &QUVENSegmentDescription::segment);
    if (found != descriptions.end()) return *found;
    descriptions.emplace_back().segment = segment;
    return descriptions.back();
  };
  const long numCategories = ivFieldPtr->hasDistribution() ? ivFieldPtr->getNumDistValues(QUVEN_ENV) : 0;
  for (std::int32_t i = 1; i <= numCategories; ++i) of(getSegmentOfCategory(i)).categories.push_back(i);
  of(getSegmentOfCategory(QUVENField::DefaultValueIndex)).categories.push_back(QUVENField::DefaultValueIndex);
  of(ivMissingSegment).isMissing = true;
  std::stable_partition(descriptions.begin(), descriptions.end(),
                        [](const auto& description) { return !description.isMissing; });
  return descriptions;
}
