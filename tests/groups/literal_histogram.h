#ifndef TESTS_GROUPS_LITERAL_HISTOGRAM_H
#define TESTS_GROUPS_LITERAL_HISTOGRAM_H

// The online histogram as it is told, with an ordered map.

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace literal {

/// Location and count of each bin, locations ascending.
using Bins = std::vector<std::pair<double, std::int32_t>>;

class Histogram {
 public:
  explicit Histogram(std::size_t theLimit) : limit(theLimit) {}

  void add(double value);

  /// Joins the closest two neighbours; of equally close ones the lowest. Requires two bins.
  void compress();

  Bins getBins() const { return {bins.begin(), bins.end()}; }

  /// The bins of both, joined while there are more than the limit.
  static Bins merge(const Bins& first, const Bins& second, std::size_t limit);

 private:
  std::size_t limit;
  std::map<double, std::int32_t> bins;
};

/// The bins of all workers, by rank: those above rank 0 merge as neighbours, the lower rank takes in the higher one,
/// over steps of 1, 2, 4...; rank 0 takes in their outcome at last.
Bins mergeWorkers(std::vector<Bins> byRank, std::size_t limit);

}  // namespace literal

#endif  // TESTS_GROUPS_LITERAL_HISTOGRAM_H
