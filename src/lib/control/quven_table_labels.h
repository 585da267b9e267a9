#ifndef QUVEN_TABLE_LABELS_H
#define QUVEN_TABLE_LABELS_H

#include <cstdint>
#include <functional>
#include <istream>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "control/quven_category_code.h"
#include "util/quven_env.h"

/// The labels of a dataset's categories: per column the text for which a number stands.
///
/// In a file: CSV of the columns `column,code,label`, one row per category. A numeric column has labels when it was
/// made from two texts: its codes are 0 and 1. Units: codes are whole numbers from 0 to LargestCode, as the dataset has
/// them.
class QUVENTableLabels {
 public:
  static constexpr std::uint64_t LargestCode = 999999999999999U;

  struct Column {
    std::string name;
    std::map<std::uint64_t, std::string> labels;  ///< by code

    bool operator==(const Column&) const = default;
  };

  /// The file of a dataset's labels.
  static std::string pathOf(const std::string& dataset) { return dataset + ".labels"; }

  /// Adds a label; false when the column has another label for the code, which stays. Requires: code <= LargestCode.
  [[nodiscard]] bool add(std::string_view column, std::uint64_t code, std::string_view label);

  /// Null when the column has no such code.
  const std::string* find(std::string_view column, double code) const;
  /// The same by the text that the code has in a data point, see QUVENCategoryText.
  const std::string* findByText(std::string_view column, std::string_view text) const;
  /// Null when the column has no labels.
  const Column* findColumn(std::string_view column) const;

  bool isEmpty() const { return columns.empty(); }
  /// In the order in which they were added first.
  const std::vector<Column>& getColumns() const { return columns; }

  /// Reads the labels of a file. False when there is no such file; then there are no labels.
  /// Errors: the terminating report 2302 with the file, and the line where one is wrong. The labels are unchanged then.
  [[nodiscard]] bool read(const std::string& path, const QUVENEnvHandle& env);
  /// The same from a text. The result is empty, or says what is wrong, with the line; the labels are unchanged then.
  /// A stream that fails is one of the mistakes.
  [[nodiscard]] std::string readFrom(std::istream& text);

  /// Writes the text that readFrom reads. The stream's state tells whether it was written.
  void write(std::ostream& out) const;

  bool operator==(const QUVENTableLabels& other) const { return columns == other.columns; }

 private:
  std::vector<Column> columns;
  std::map<std::string, std::size_t, std::less<>> places;  // of the columns by name
};

#endif  // QUVEN_TABLE_LABELS_H
