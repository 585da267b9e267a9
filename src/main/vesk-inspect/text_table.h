#ifndef VESK_INSPECT_TEXT_TABLE_H
#define VESK_INSPECT_TEXT_TABLE_H

#include <iosfwd>
#include <string>
#include <vector>

namespace vesk_inspect {

/// Rows of text under headings, printed with every column as wide as its widest cell.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> headings) : rows{std::move(headings)} {}

  /// Requires: not more cells than headings; cells that are missing stay blank.
  void addRow(std::vector<std::string> cells) { rows.push_back(std::move(cells)); }

  bool isEmpty() const { return rows.size() == 1; }

  /// Cells stand right-aligned, two blanks apart; no line ends in a blank.
  void print(std::ostream& out) const;

 private:
  std::vector<std::vector<std::string>> rows;  // the headings first
};

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_TEXT_TABLE_H
