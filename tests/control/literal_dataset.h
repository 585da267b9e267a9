#ifndef TESTS_CONTROL_LITERAL_DATASET_H
#define TESTS_CONTROL_LITERAL_DATASET_H

// The reading modes of the binary dataset, literally and slowly, from vectors in memory: nothing is buffered, nothing
// is bound, every record is cut out of the bytes when it is asked for.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace literal {

/// What one reading delivers: the number that comes back and what the fields hold then, "-" for a missing value.
struct Delivery {
  std::int32_t number = 0;
  std::vector<std::string> fields;
  std::vector<std::int32_t> active;  ///< of sparse quadruples

  bool operator==(const Delivery&) const = default;
};

void PrintTo(const Delivery& delivery, std::ostream* out);

/// A column as the description tells it.
struct Column {
  std::string name;
  bool isNumeric = true;
  int purpose = 1;  ///< 1 explanatory, 2 target, 3 line number
};

/// The text of a field's value, for both sides of a comparison.
std::string numericText(double value);
std::string categoryText(double value);

struct Dataset {
  std::vector<Column> columns;
  std::vector<double> values;  ///< of all parts, in their order
  std::size_t tailBytes = 0;   ///< behind the last double

  int scanType = 0;
  int rank = 0;
  int count = 1;
  double samplingRate = 1.0;
  std::function<std::uint32_t()> clock;

  /// Everything that a pass delivers.
  std::vector<Delivery> pass() const;
};

/// The count of draws that the random skip takes from a seed.
std::int64_t randomSkip(std::uint32_t milliseconds, double rate);

/// The column number as an integer of 64 bits without sign.
std::uint64_t lineNumber(double value);

}  // namespace literal

#endif  // TESTS_CONTROL_LITERAL_DATASET_H
