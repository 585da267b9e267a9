#ifndef VESK_REPORT_TABLE_H
#define VESK_REPORT_TABLE_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace vesk {

/// A value of a table: on the page short and readable, in the CSV file exact.
class ReportCell {
 public:
  ReportCell() = default;  ///< nothing
  static ReportCell text(std::string value) { return {Kind::Text, std::move(value), 0}; }
  static ReportCell count(std::uint64_t value) { return {Kind::Count, "", static_cast<double>(value)}; }
  static ReportCell number(double value) { return {Kind::Number, "", value}; }
  /// A share from 0 to 1, which the page shows as a percentage.
  static ReportCell share(double value) { return {Kind::Share, "", value}; }

  std::string onPage() const;
  /// A number has the shortest digits that read back to it, a text is in quotes where it must be.
  std::string inCsv() const;

 private:
  enum class Kind { Nothing, Text, Count, Number, Share };
  ReportCell(Kind cellKind, std::string text, double number)
      : kind(cellKind), textValue(std::move(text)), numberValue(number) {}

  Kind kind = Kind::Nothing;
  std::string textValue;
  double numberValue = 0;
};

/// A table of the page, which is also a CSV file.
struct ReportTable {
  struct Column {
    std::string name;     ///< in the CSV file
    std::string heading;  ///< on the page
    bool isNumber = true;
  };

  std::string name;     ///< of the CSV file, unique in a report
  std::string caption;  ///< on the page
  std::vector<Column> columns;
  std::vector<std::vector<ReportCell>> rows;
  std::size_t rowsOnPage = SIZE_MAX;  ///< the first rows; the CSV file has all
  bool isFolded = false;              ///< shown on request, because a picture shows the same
};

/// The first column names the rows.
void writeHtmlTable(const ReportTable& table, std::ostream& out);

std::string csvOf(const ReportTable& table);

}  // namespace vesk

#endif  // VESK_REPORT_TABLE_H
