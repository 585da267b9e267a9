#include "learning/quven_class_ranks.h"

#include <algorithm>
#include <limits>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENClassRanks);

namespace {

constexpr std::size_t mostLastRecords = std::size_t{1} << 16;

}  // namespace

void QUVENClassRanks::add(double prediction, bool isPositive, const QUVENEnvHandle& env) {
  lastRecords.emplace_back(prediction, isPositive);
  // Sorting in walks over all counts, so with many counts it is done less often.
  if (lastRecords.size() >= std::max(mostLastRecords, static_cast<std::size_t>(getNumPredictions()))) sortIn(QUVEN_ENV);
}

void QUVENClassRanks::sortIn(const QUVENEnvHandle& env) {
  if (lastRecords.empty()) return;
  std::sort(lastRecords.begin(), lastRecords.end());
  std::vector<Counts> ascending;
  for (const auto& [prediction, isPositive] : lastRecords) {
    if (ascending.empty() || ascending.back().prediction != prediction) ascending.push_back({prediction, 0, 0});
    ++(isPositive ? ascending.back().positives : ascending.back().negatives);
  }
  lastRecords.clear();
  mergeCounts(ascending, QUVEN_ENV);
}

void QUVENClassRanks::merge(const QUVENClassRanks& other, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(lastRecords.empty() && other.lastRecords.empty());
  QUVEN_ASSERT(other.ivPositives.getSize() == other.getNumPredictions());
  QUVEN_ASSERT(other.ivNegatives.getSize() == other.getNumPredictions());
  std::vector<Counts> ascending;
  ascending.reserve(static_cast<std::size_t>(other.getNumPredictions()));
  for (long i = 1; i <= other.getNumPredictions(); ++i) {
    ascending.push_back({other.ivPredictions[i], other.ivPositives[i], other.ivNegatives[i]});
  }
  mergeCounts(ascending, QUVEN_ENV);
}

void QUVENClassRanks::mergeCounts(const std::vector<Counts>& ascending, const QUVENEnvHandle& env) {
  std::vector<Counts> all;
  all.reserve(ascending.size() + static_cast<std::size_t>(getNumPredictions()));
  const auto append = [&all](const Counts& counts) {
    if (all.empty() || all.back().prediction != counts.prediction) {
      all.push_back(counts);
      return;
    }
    all.back().positives += counts.positives;
    all.back().negatives += counts.negatives;
  };
  auto next = ascending.begin();
  for (long i = 1; i <= getNumPredictions(); ++i) {
    for (; next != ascending.end() && next->prediction < ivPredictions[i]; ++next) append(*next);
    append({ivPredictions[i], ivPositives[i], ivNegatives[i]});
  }
  for (; next != ascending.end(); ++next) append(*next);
  const auto count = static_cast<long>(all.size());
  for (QUVENXaRay<double>* numbers : {&ivPredictions, &ivPositives, &ivNegatives}) numbers->setSize(count, QUVEN_ENV);
  for (long i = 1; i <= count; ++i) {
    const Counts& counts = all[static_cast<std::size_t>(i) - 1];
    ivPredictions[i] = counts.prediction;
    ivPositives[i] = counts.positives;
    ivNegatives[i] = counts.negatives;
  }
}

void QUVENClassRanks::clear(const QUVENEnvHandle& env) {
  lastRecords.clear();
  for (QUVENXaRay<double>* numbers : {&ivPredictions, &ivPositives, &ivNegatives}) numbers->setSize(0, QUVEN_ENV);
}

double QUVENClassRanks::getArea() const {
  QUVEN_ASSERT(lastRecords.empty());
  double positives = 0;
  double negatives = 0;  // below the present prediction
  double pairs = 0;      // in the right order
  for (long i = 1; i <= getNumPredictions(); ++i) {
    pairs += ivPositives[i] * (negatives + ivNegatives[i] / 2);
    positives += ivPositives[i];
    negatives += ivNegatives[i];
  }
  if (positives == 0 || negatives == 0) return std::numeric_limits<double>::quiet_NaN();
  return pairs / (positives * negatives);
}
