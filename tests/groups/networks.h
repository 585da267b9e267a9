#ifndef TESTS_GROUPS_NETWORKS_H
#define TESTS_GROUPS_NETWORKS_H

// Datasets of callers in planted groups, with everything a dataset may hold beside them.

#include <cstdint>
#include <random>
#include <vector>

#include "literal_groups.h"

namespace literal {

/// Appends the records of a caller. A width of 0 is the number of contacts; fillers are not stored.
void appendBlock(std::vector<Line>& lines, double caller, const std::vector<double>& contacts, std::size_t width = 0);

class Choices {
 public:
  explicit Choices(std::uint64_t seed) : random(seed) {}
  int below(int limit) { return static_cast<int>(random() % static_cast<std::uint64_t>(limit)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool oneIn(int n) { return below(n) == 0; }
  std::uint64_t bits() { return random(); }

 private:
  std::mt19937_64 random;
};

/// 20 to 200 callers in groups, every eighth time 1 to 6 only. Among them callers without contacts, with themselves as
/// contact, contacts that never call, numbers above 2 to the 32, the number 0, callers with two blocks and, unless all
/// is to be in order, records that are out of place.
enum class Network { InOrder, Any };
std::vector<Line> randomNetwork(Choices& choices, Network form = Network::Any);

GroupParameters randomParameters(Choices& choices);

}  // namespace literal

#endif  // TESTS_GROUPS_NETWORKS_H
