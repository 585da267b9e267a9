#include "groups/grouping.h"

#include <algorithm>
#include <charconv>
#include <tuple>

#include "groups/line_file.h"

namespace vesk_groups {

Grouping GroupingBuilder::finish(const LineFile& file) {
  std::sort(rows.begin(), rows.end(),
            [](const Row& a, const Row& b) { return std::tie(a.node, a.line) < std::tie(b.node, b.line); });
  refuseRepeatedNodes(file);

  Grouping grouping;
  for (const Row& row : rows) grouping.numbers.push_back(row.groupNumber);
  std::sort(grouping.numbers.begin(), grouping.numbers.end());
  grouping.numbers.erase(std::unique(grouping.numbers.begin(), grouping.numbers.end()), grouping.numbers.end());
  grouping.members.reserve(rows.size());
  for (const Row& row : rows) {
    const auto place = std::lower_bound(grouping.numbers.begin(), grouping.numbers.end(), row.groupNumber);
    grouping.members.push_back({row.node, static_cast<std::size_t>(place - grouping.numbers.begin())});
  }
  return grouping;
}

/// Requires: rows ascending by node and line.
void GroupingBuilder::refuseRepeatedNodes(const LineFile& file) const {
  const Row* repetition = nullptr;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const bool repeats = rows[i].node == rows[i - 1].node;
    if (repeats && (repetition == nullptr || rows[i].line < repetition->line)) repetition = &rows[i];
  }
  if (repetition == nullptr) return;
  const Row& earlier = *(repetition - 1);
  file.failAt(repetition->line, "node " + std::to_string(repetition->node) + " stands already in line " +
                                    std::to_string(earlier.line) + ", in group " + std::to_string(earlier.groupNumber));
}

std::optional<std::uint64_t> readWholeNumber(std::string_view text) {
  std::uint64_t number = 0;
  const char* end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

}  // namespace vesk_groups
