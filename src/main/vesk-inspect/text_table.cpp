#include "text_table.h"

#include <algorithm>
#include <ostream>

namespace vesk_inspect {

void TextTable::print(std::ostream& out) const {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) line += std::string(2 + widths[i] - row[i].size(), ' ') + row[i];
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << "\n";
  }
}

}  // namespace vesk_inspect
