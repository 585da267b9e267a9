#ifndef VESK_TABLE_COLUMN_H
#define VESK_TABLE_COLUMN_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_table_labels.h"
#include "table/cell_value.h"

namespace vesk {

/// A cell that does not fit its column.
struct CellMistake {
  std::uint64_t line;  ///< of the file; 0 when the whole column does not fit
  std::string what;
};

/// A column of a table while it is read twice: the first reading decides its type, the second one gives its numbers.
class TableColumn {
 public:
  enum class Wish {
    Any,
    Numeric,
    Categorical,
    Key,         ///< numeric, whole numbers below 2^53 in every row
    CategoryKey  ///< categorical, a text in every row; the texts are not kept, so the column has no labels
  };
  enum class Type {
    Numeric,
    Categorical,
    TwoTexts  ///< a target: numeric, with 0 and 1 for its two texts
  };

  TableColumn(std::string columnName, Wish typeWish, bool target);

  const std::string& getName() const { return name; }
  bool isTarget() const { return isTargetColumn; }
  Type getType() const { return type; }
  std::uint64_t getMissing() const { return missing; }
  dataset_info::Column describe() const;
  std::size_t countCategories() const { return type == Type::TwoTexts ? targetTexts.size() : categories.size(); }

  /// Sets the texts by code that another table has for these categories. `take` refuses a text whose code belongs to a
  /// different text there.
  /// Lifetime: the texts must outlive the column.
  void compareWith(const std::map<std::uint64_t, std::string>& texts) { otherTexts = &texts; }

  /// First reading: adds the cell of a row.
  void look(std::string_view text, const CellValue& cell, std::uint64_t line);
  /// After the first reading: decides the type. Returns the mistake of the column, if it has one.
  std::optional<CellMistake> decide();
  /// A warning for the user, or nothing: for a column with numbers that became categorical without an option, it names
  /// the first cell that is not a number; for numeric keys with an exponent, it names the first of them.
  /// Requires: decide.
  std::string remark() const;

  /// Second reading: the number of a cell in the dataset. Empty if the first reading cannot have seen this cell.
  /// Errors: std::runtime_error that names both texts, if two texts have the same code.
  std::optional<double> take(std::string_view text, const CellValue& cell);
  /// After the second reading.
  void addLabels(QUVENTableLabels& labels) const;

 private:
  struct Place {
    std::uint64_t line;
    std::string text;
  };

  bool isWrongKey(const CellValue& cell) const;
  void lookAtTarget(std::string_view text);
  std::optional<CellMistake> decideTarget();
  std::optional<double> codeOf(std::string_view text);

  std::string name;
  Wish wish;
  bool isTargetColumn;
  Type type = Type::Numeric;
  std::uint64_t missing = 0;
  std::uint64_t numbers = 0;
  std::uint64_t exponents = 0;  // number of keys that are written with an exponent
  std::optional<Place> firstText;
  std::optional<Place> firstNotFinite;
  std::optional<Place> firstWrongKey;
  std::optional<Place> firstExponent;
  std::optional<Place> firstMissingNumber;  // a number that means a missing value in a dataset
  std::vector<std::string> targetTexts;     // the first different ones, not more than three; sorted by decide
  std::unordered_map<std::uint64_t, std::string> categories;
  const std::map<std::uint64_t, std::string>* otherTexts = nullptr;
};

}  // namespace vesk

#endif  // VESK_TABLE_COLUMN_H
