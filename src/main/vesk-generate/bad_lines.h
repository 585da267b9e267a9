#ifndef VESK_GENERATE_BAD_LINES_H
#define VESK_GENERATE_BAD_LINES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "random.h"
#include "record_layout.h"

namespace vesk_generate {

/// The ways to spoil a line; each is given up by the loader for one cause.
enum class BadLineKind : std::size_t {
  ShortLine,       ///< ends before the second id field: cannot be cut
  BlankField,      ///< one field, any, is blank
  InnerBlank,      ///< one field, of 3 columns or more, ends in "1 2"
  ZeroCaller,      ///< the caller is 0
  NegativeCaller,  ///< the caller is -1 to -9
  TextCaller,      ///< the caller is "abc", which reads as 0
  OldDate          ///< 19000101: given up only in a run that looks at dates
};

inline constexpr std::size_t badLineKinds = 7;

/// The words of the command line, by kind.
inline constexpr std::array<std::string_view, badLineKinds> badLineNames{
    "short", "blank", "inner-blank", "zero-caller", "negative-caller", "text-caller", "old-date"};

using BadLineShares = std::array<double, badLineKinds>;
using BadLineCounts = std::array<std::uint64_t, badLineKinds>;

/// Reads "KIND=SHARE" into the shares; the kind "all" gives each kind an equal part of the share.
///
/// Errors: std::invalid_argument for an unknown kind or a share that is not a number from 0 to 1.
void parseBadShare(std::string_view text, BadLineShares& shares);

/// Spoils the shares of lines that the settings ask for, and counts them.
///
/// It has random numbers of its own, so that the lines left alone are the same whatever the shares are.
class LineSpoiler {
 public:
  /// Requires: shares that add up to at most 1, a checked layout.
  LineSpoiler(const BadLineShares& shares, const RecordLayout& layout, Xoshiro256 random);

  /// Spoils the line or not. The result is the number of bytes that the line now has, line feed included.
  ///
  /// Requires: a whole line of the layout.
  std::size_t treat(char* line) {
    if (limits.back() == 0) return lineBytes;
    const std::uint64_t place = random.next() >> 11;
    lastIsSpoiled = place < limits.back();
    return lastIsSpoiled ? spoil(line, place) : lineBytes;
  }

  /// Whether the last call of treat spoiled its line.
  bool hasSpoiledLast() const { return lastIsSpoiled; }

  const BadLineCounts& getCounts() const { return counts; }

 private:
  std::size_t spoil(char* line, std::uint64_t place);
  void replaceCaller(char* line, std::string_view text) const;

  std::array<std::uint64_t, badLineKinds> limits{};  // running sums of the thresholds, in units of 2^-53
  BadLineCounts counts{};
  std::array<ColumnRange, 5> fields;
  std::vector<ColumnRange> wideFields;  // of 3 columns or more
  ColumnRange callerField;
  ColumnRange dateField;
  bool lastIsSpoiled = false;
  std::size_t lineBytes;
  std::size_t shortLimit;  // a short line has fewer characters than this
  Xoshiro256 random;
};

}  // namespace vesk_generate

#endif  // VESK_GENERATE_BAD_LINES_H
