#ifndef VESK_PAGE_HTML_TABLE_H
#define VESK_PAGE_HTML_TABLE_H

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace vesk_page {

/// A table of an HTML page, row by row. It scrolls sideways where the page is too narrow. All texts are escaped.
/// Requires: close after the last row.
class HtmlTable {
 public:
  struct Column {
    std::string heading;
    bool isNumber = true;    ///< right-aligned
    bool isHeading = false;  ///< its cells name their rows
  };

  /// caption: empty for none.
  HtmlTable(std::ostream& text, std::vector<Column> headings, std::string_view caption = {});

  /// Requires: one cell per column.
  void addRow(const std::vector<std::string>& cells);
  void close();

 private:
  std::ostream& out;
  std::vector<Column> columns;
};

}  // namespace vesk_page

#endif  // VESK_PAGE_HTML_TABLE_H
