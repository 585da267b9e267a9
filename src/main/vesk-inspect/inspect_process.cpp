#include "inspect_process.h"

#include <algorithm>
#include <ostream>
#include <vector>

#include "defect_list.h"
#include "number_format.h"
#include "text_table.h"

namespace vesk_inspect {

namespace {

TextTable entryTable(const ProcessShape& shape) {
  std::vector<std::string> headings{"record", "byte", "key", "entry", shape.pairSum ? "callee" : "value"};
  if (shape.dates) headings.emplace_back("date");
  if (shape.pairSum) headings.emplace_back("weight");
  for (std::uint32_t i = 1; i <= shape.payloads; ++i) headings.push_back("payload " + std::to_string(i));
  return TextTable(headings);
}

void addEntries(TextTable& table, const ProcessShape& shape, const ProcessRecord& record, std::uint64_t number) {
  for (std::size_t i = 0; i < record.firstEntries.size(); ++i) {
    const ProcessEntry& entry = record.firstEntries[i];
    std::vector<std::string> cells{std::to_string(number), std::to_string(record.offsetBytes), formatNumber(record.key),
                                   std::to_string(i + 1), formatNumber(entry.value)};
    if (shape.dates) cells.push_back(formatNumber(entry.date));
    if (shape.pairSum) cells.push_back(formatNumber(entry.weight));
    for (const double payload : entry.payloads) cells.push_back(formatNumber(payload));
    table.addRow(std::move(cells));
  }
}

}  // namespace

bool inspectProcess(const ProcessOptions& options, std::ostream& out) {
  ProcessCheck check(options.path, options.shape);
  TextTable table = entryTable(options.shape);
  std::size_t rowsLeft = options.rows;
  std::uint64_t keys = 0;
  std::uint64_t entries = 0;
  std::uint64_t longest = 0;
  for (ProcessRecord record; check.next(record, rowsLeft);) {
    ++keys;
    entries += record.entries;
    longest = std::max(longest, record.entries);
    addEntries(table, options.shape, record, keys);
    rowsLeft -= record.firstEntries.size();
  }

  DefectList defects(1);
  if (const auto& defect = check.getDefect()) defects.add(defect->record, defect->offsetBytes, defect->text);
  out << "file      " << options.path << "\n";
  out << "bytes     " << check.offsetBytes() << (check.getDefect() ? " read up to the defect" : "") << "\n";
  out << "keys      " << keys << "\n";
  out << "entries   " << entries << ", longest list " << longest << "\n";
  if (!table.isEmpty()) {
    out << "\n";
    table.print(out);
  }
  out << "\n";
  defects.print(out);
  return defects.getCount() == 0;
}

}  // namespace vesk_inspect
