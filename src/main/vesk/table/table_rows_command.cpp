#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "command.h"
#include "option_lists.h"
#include "table/column_names.h"
#include "table/key_value.h"
#include "table/rows_table.h"

namespace vesk {

namespace {

/// The texts of the options as the user gave them.
struct RawOptions {
  RowsOptions rows;
  std::string columns;
};

constexpr const char* footer = R"(
IN is a sparse dataset of a vesk-loader run with sums: one file, or the parts IN.0, IN.1, ... The output N of an
operation in the parameter file is at position N - 1. If a caller does not have a position, its value is 0.
Written: OUT (one record per caller, in ascending order), OUT.info (names, types, purposes), OUT.labels (no labels).
)";

constexpr const char* columnsOption = "--columns";

void checkName(const char* option, const std::string& name) {
  const std::string mistake = columnNameMistake(name);
  if (!mistake.empty()) throw CLI::ValidationError(option, "the name [" + name + "]" + mistake);
}

SumsColumn readColumn(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) throw CLI::ValidationError(columnsOption, "[" + text + "] is not POSITION:NAME");
  SumsColumn column{0, plainColumnName(text.substr(colon + 1))};
  const auto [end, error] = std::from_chars(text.data(), text.data() + colon, column.position);
  if (error != std::errc() || end != text.data() + colon || column.position == 0 ||
      column.position >= static_cast<std::uint64_t>(KeyLimit)) {
    throw CLI::ValidationError(columnsOption,
                               "[" + text.substr(0, colon) + "] is no position; positions are 1, 2, ...");
  }
  checkName(columnsOption, column.name);
  return column;
}

void readTexts(RawOptions& raw) {
  RowsOptions& rows = raw.rows;
  rows.key = plainColumnName(rows.key);
  checkName("--key", rows.key);
  std::set<std::uint64_t> positions;
  std::set<std::string> names{rows.key};
  for (const std::string& text : readList(columnsOption, raw.columns)) {
    rows.columns.push_back(readColumn(text));
    const SumsColumn& column = rows.columns.back();
    if (!positions.insert(column.position).second) {
      throw CLI::ValidationError(columnsOption, "position " + std::to_string(column.position) + " is there twice");
    }
    if (column.name == rows.key) {
      throw CLI::ValidationError(columnsOption, "the name " + column.name + " is that of the key; see --key");
    }
    if (!names.insert(column.name).second) {
      throw CLI::ValidationError(columnsOption, "the name " + column.name + " is there twice");
    }
  }
  if (rows.columns.empty()) throw CLI::ValidationError(columnsOption, "[] is no list");
  if (rows.columns.size() >= MostColumns) {
    throw CLI::ValidationError(columnsOption, "a table has at most " + std::to_string(MostColumns) + " columns");
  }
}

void run(const RowsOptions& options, std::ostream& out, std::ostream& err) {
  const RowsTable table = makeRowsTable(options);
  out << options.output << ": " << table.records << " records, " << options.columns.size() + 1 << " columns\n";
  out << "  " << options.key << ": the key\n";
  for (std::size_t c = 0; c < options.columns.size(); ++c) {
    const SumsColumn& column = options.columns[c];
    out << "  " << column.name << ": position " << column.position << ", " << table.callers[c] << " callers have it\n";
  }
  if (table.otherEntries > 0) out << "  " << table.otherEntries << " entries are at other positions\n";
  for (const std::string& remark : table.remarks) err << "vesk: " << remark << '\n';
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  command.add_option("IN", raw->rows.input, "The sparse dataset of the sums")->required()->type_name("FILE");
  command.add_option("OUT", raw->rows.output, "The dataset to write")->required()->type_name("FILE");
  command.add_option(columnsOption, raw->columns, "Positions of the sums and the names of their columns")
      ->required()
      ->type_name("POSITION:NAME,..");
  command.add_option("--key", raw->rows.key, "The name of the first column, the caller")
      ->type_name("NAME")
      ->capture_default_str();
  command.footer(footer);
  command.callback([raw, &action] {
    readTexts(*raw);
    action = [raw](std::ostream& out, std::ostream& err) { run(raw->rows, out, err); };
  });
}

}  // namespace

const Command tableRowsCommand = {"table", "rows", "Sums of a loader run: a dataset with one record per caller",
                                  &addOptions};

}  // namespace vesk
