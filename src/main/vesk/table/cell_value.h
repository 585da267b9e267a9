#ifndef VESK_CELL_VALUE_H
#define VESK_CELL_VALUE_H

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

enum class CellKind {
  Missing,
  Number,
  NotFinite,  ///< a number that no dataset holds: infinite, too large, or "nan"
  Text
};

struct CellValue {
  CellKind kind;
  double number;  ///< of the kind Number
};

/// Tells what the text of a cell is.
///
/// A number is a decimal number as std::from_chars reads it, and nothing else: `12`, `-1.5`, `.5`, `1e5`. `+1`, `0x10`
/// and `1,5` are texts; `inf` and `nan`, in any case, are not finite. A number too small for a double is 0.
class CellReader {
 public:
  /// The texts of missing values, beside the empty cell, which always is one.
  explicit CellReader(const std::vector<std::string>& missing) : missingTexts(missing.begin(), missing.end()) {}

  CellValue read(std::string_view text) const;

 private:
  std::set<std::string, std::less<>> missingTexts;
};

/// A text for a message: in quotes, on one line and shortened if it is long.
std::string shownText(std::string_view text);

}  // namespace vesk

#endif  // VESK_CELL_VALUE_H
