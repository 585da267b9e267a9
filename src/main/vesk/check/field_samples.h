#ifndef VESK_CHECK_FIELD_SAMPLES_H
#define VESK_CHECK_FIELD_SAMPLES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// How a word is written.
enum class WordKind { Plain, Signed, Fraction, Exponent, Hexadecimal, Text };
constexpr std::size_t WordKindCount = static_cast<std::size_t>(WordKind::Text) + 1;

/// Digits only; with a sign; with a point; with an exponent; hexadecimal; anything else.
WordKind kindOf(std::string_view word);

/// The columns beside one edge of a field that belong to no field.
struct EdgeSamples {
  std::uint64_t full = 0;                  ///< lines with a digit inside the edge
  std::uint64_t digits = 0;                ///< of these, lines with a digit beside the edge, too
  std::uint64_t shortRuns = 0;             ///< of these, lines in which at most 3 digits of no field follow
  std::array<std::uint64_t, 10> values{};  ///< of the digit beside the field
  std::uint64_t detached = 0;              ///< lines with a blank inside the edge and a digit beside it
  std::uint64_t apart = 0;                 ///< lines with a blank inside the edge and no digit beside it
};

/// What is seen of one field in many lines.
struct FieldSamples {
  std::uint64_t lines = 0;  ///< that are long enough for the field
  std::uint64_t blanks = 0;
  std::uint64_t innerBlanks = 0;
  std::uint64_t separators = 0;                      ///< lines with a comma or a tab in the field
  std::uint64_t above53 = 0;                         ///< numbers above 2^53
  std::array<std::uint64_t, WordKindCount> kinds{};  ///< of the fields with one word
  std::uint64_t numbers = 0;                         ///< plain, signed, with a point or an exponent
  double smallest = 0.0;                             ///< of these numbers
  double largest = 0.0;
  std::size_t longest = 0;           ///< characters of the longest word
  std::vector<std::string> samples;  ///< the first different texts
  EdgeSamples before;
  EdgeSamples after;

  std::uint64_t of(WordKind kind) const { return kinds[static_cast<std::size_t>(kind)]; }
};

/// Gathers the samples of all fields of lines.
class FieldSampler {
 public:
  /// 0-based first and last columns, inclusive.
  FieldSampler(const std::vector<std::int32_t>& starts, const std::vector<std::int32_t>& ends);

  void add(std::string_view line);

  const std::vector<FieldSamples>& getFields() const { return fields; }
  /// Whether a field covers the 0-based column.
  bool isCovered(std::size_t column) const { return column < covered.size() && covered[column]; }
  /// The columns of a field in this line, without the separators around its word.
  std::string_view wordOf(std::string_view line, std::size_t field) const;

 private:
  struct Columns {
    std::size_t first;
    std::size_t last;
  };

  void addText(std::string_view text, FieldSamples& samples) const;
  void addEdges(std::string_view line, const Columns& range, FieldSamples& samples) const;

  std::vector<Columns> columns;
  std::vector<FieldSamples> fields;
  std::vector<bool> covered;
};

}  // namespace vesk

#endif  // VESK_CHECK_FIELD_SAMPLES_H
