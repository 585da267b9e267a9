#ifndef VESK_GROUPS_GROUPING_H
#define VESK_GROUPS_GROUPING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk_groups {

class LineFile;

/// Subscribers in groups, each in one group at most.
///
/// Shapes: groups are known by their place from 0 to numbers.size() - 1, in the ascending order of their numbers;
///         members ascend by node, and each node stands there once.
struct Grouping {
  struct Member {
    std::uint64_t node;
    std::size_t group;  ///< its place
  };

  std::vector<std::uint64_t> numbers{};  ///< of the groups, as the file has them
  std::vector<Member> members{};
};

/// Collects the members of groups in the order of a file.
///
/// Cost: O(n log n) for n members, 24 bytes a member until finish().
class GroupingBuilder {
 public:
  void add(std::uint64_t node, std::uint64_t groupNumber, std::uint64_t line) {
    rows.push_back({node, groupNumber, line});
  }

  /// The groups. Of a node that stands in the file more than once `file` reports the first repetition.
  [[nodiscard]] Grouping finish(const LineFile& file);

 private:
  struct Row {
    std::uint64_t node;
    std::uint64_t groupNumber;
    std::uint64_t line;
  };

  void refuseRepeatedNodes(const LineFile& file) const;

  std::vector<Row> rows;
};

/// The whole text as decimal digits without a sign; nothing when it is not that, or 2^64 and above.
std::optional<std::uint64_t> readWholeNumber(std::string_view text);

}  // namespace vesk_groups

#endif  // VESK_GROUPS_GROUPING_H
