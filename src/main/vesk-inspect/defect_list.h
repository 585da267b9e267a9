#ifndef VESK_INSPECT_DEFECT_LIST_H
#define VESK_INSPECT_DEFECT_LIST_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace vesk_inspect {

/// What is wrong with a file: the first defects by their words, the others by their number.
class DefectList {
 public:
  /// `shown`: how many defects are kept with their words.
  explicit DefectList(std::size_t shown) : limit(shown) {}

  /// `record` counts from 1; `offsetBytes` is where it begins.
  void add(std::uint64_t record, std::uint64_t offsetBytes, const std::string& text);
  /// A defect of no record.
  void add(const std::string& text);

  std::uint64_t getCount() const { return count; }
  /// The words of the first defect. Requires: one was added, and `shown` is not 0.
  const std::string& getFirst() const { return lines.front(); }

  /// One line a defect, or one line that says that there is none.
  void print(std::ostream& out) const;

 private:
  std::size_t limit;
  std::uint64_t count = 0;
  std::vector<std::string> lines;
};

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_DEFECT_LIST_H
