#include "page/html_table.h"

#include <ostream>
#include <utility>

#include "page/html_text.h"

namespace vesk_page {

HtmlTable::HtmlTable(std::ostream& text, std::vector<Column> headings, std::string_view caption)
    : out(text), columns(std::move(headings)) {
  out << "<div class=\"scroll\"";
  // A keyboard can scroll the table only if it can have the focus.
  if (!caption.empty()) out << " role=\"region\" tabindex=\"0\" aria-label=\"" << htmlText(caption) << '"';
  out << "><table>\n";
  if (!caption.empty()) out << "<caption>" << htmlText(caption) << "</caption>\n";
  out << "<thead><tr>";
  for (const Column& column : columns) {
    out << "<th scope=\"col\"" << (column.isNumber ? " class=\"number\"" : "") << '>' << htmlText(column.heading)
        << "</th>";
  }
  out << "</tr></thead>\n<tbody>\n";
}

void HtmlTable::addRow(const std::vector<std::string>& cells) {
  out << "<tr>";
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const char* element = columns[i].isHeading ? "th" : "td";
    out << '<' << element << (columns[i].isHeading ? " scope=\"row\"" : "")
        << (columns[i].isNumber ? " class=\"number\">" : ">") << htmlText(cells[i]) << "</" << element << '>';
  }
  out << "</tr>\n";
}

void HtmlTable::close() { out << "</tbody>\n</table></div>\n"; }

}  // namespace vesk_page
