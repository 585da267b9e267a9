#include "report/report_table.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ostream>

#include "csv/column_choice.h"
#include "page/html_table.h"
#include "page/html_text.h"

namespace vesk {

std::string ReportCell::onPage() const {
  switch (kind) {
    case Kind::Text:
      return textValue;
    case Kind::Count:
      return vesk_page::countNumber(numberValue);
    case Kind::Number:
      return vesk_page::shortNumber(numberValue);
    case Kind::Share:
      return vesk_page::percentText(numberValue);
    case Kind::Nothing:
      break;
  }
  return "";
}

std::string ReportCell::inCsv() const {
  if (kind == Kind::Text) return csvCell(textValue, ',');
  if (kind == Kind::Nothing) return "";
  if (kind == Kind::Count) return vesk_page::countNumber(numberValue);
  std::array<char, 32> digits{};
  const double value = numberValue == 0 ? 0.0 : numberValue;  // no "-0"
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

void writeHtmlTable(const ReportTable& table, std::ostream& out) {
  std::vector<vesk_page::HtmlTable::Column> columns;
  for (const ReportTable::Column& column : table.columns) {
    columns.push_back({column.heading, column.isNumber, columns.empty()});
  }
  if (table.isFolded) out << "<details><summary>Numbers: " << vesk_page::htmlText(table.caption) << "</summary>\n";
  vesk_page::HtmlTable html(out, columns, table.caption);
  for (std::size_t i = 0; i < std::min(table.rows.size(), table.rowsOnPage); ++i) {
    std::vector<std::string> cells;
    for (const ReportCell& cell : table.rows[i]) cells.push_back(cell.onPage());
    html.addRow(cells);
  }
  html.close();
  if (table.isFolded) out << "</details>\n";
}

std::string csvOf(const ReportTable& table) {
  std::string text;
  for (const ReportTable::Column& column : table.columns) text += (text.empty() ? "" : ",") + column.name;
  text += '\n';
  for (const std::vector<ReportCell>& row : table.rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) text += ',';
      text += row[i].inCsv();
    }
    text += '\n';
  }
  return text;
}

}  // namespace vesk
