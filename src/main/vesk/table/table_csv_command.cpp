#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "command.h"
#include "option_lists.h"
#include "table/column_names.h"
#include "table/csv_table.h"

namespace vesk {

namespace {

/// The texts of the options as they were given.
struct RawOptions {
  CsvTableOptions table;
  std::string target;
  std::string categorical;
  std::string numeric;
  std::string drop;
  std::string missing;
  std::string delimiter = ",";
  bool noHeader = false;
};

constexpr const char* footer = R"(
A column is categorical when a cell of it is neither empty, missing nor a number. A target of two texts becomes 0 and 1
in their order. White space, commas and double quotes in a column name become _, in the names of the options as well.
Lists are cut at commas; a text with a comma is put in double quotes.
Written: OUT (a double per column and record), OUT.info (names, types, purposes), OUT.labels (texts of the codes).
)";

char readDelimiter(const std::string& text) {
  if (text == "tab" || text == "\\t") return '\t';
  constexpr const char* choices = ",;|: \t#~^&/!";
  if (text.size() == 1 && std::string(choices).find(text) != std::string::npos) return text.front();
  throw CLI::ValidationError("--delimiter", "[" + text + "] is none of , ; | : # ~ ^ & / ! blank, tab");
}

/// A name may be in one of the lists only.
void refuseContradictions(const CsvTableOptions& table) {
  using List = std::pair<const char*, std::vector<std::string>>;
  const std::vector<std::string> target = table.target ? std::vector{*table.target} : std::vector<std::string>{};
  const auto refuseCommon = [](const List& a, const List& b) {
    for (const std::string& name : a.second) {
      if (std::ranges::find(b.second, name) == b.second.end()) continue;
      throw CLI::ValidationError(a.first, name + " is in " + b.first + " too");
    }
  };
  refuseCommon({"--target", target}, {"--categorical", table.categorical});
  refuseCommon({"--target", target}, {"--drop", table.drop});
  refuseCommon({"--categorical", table.categorical}, {"--numeric", table.numeric});
  refuseCommon({"--categorical", table.categorical}, {"--drop", table.drop});
  refuseCommon({"--numeric", table.numeric}, {"--drop", table.drop});
}

void readTexts(RawOptions& raw, const CLI::App& command) {
  CsvTableOptions& table = raw.table;
  if (command.count("--target") > 0) {
    if (raw.target.empty()) throw CLI::ValidationError("--target", "[] is no name");
    table.target = plainColumnName(raw.target);
  }
  table.categorical = readNames("--categorical", raw.categorical);
  table.numeric = readNames("--numeric", raw.numeric);
  table.drop = readNames("--drop", raw.drop);
  if (command.count("--missing") > 0) table.missing = readList("--missing", raw.missing);
  table.delimiter = readDelimiter(raw.delimiter);
  table.hasHeader = !raw.noHeader;
  refuseContradictions(table);
}

std::string typeWord(const TableColumn& column) {
  switch (column.getType()) {
    case TableColumn::Type::Numeric:
      return "numeric";
    case TableColumn::Type::Categorical:
      return "categorical, " + std::to_string(column.countCategories()) + " categories";
    case TableColumn::Type::TwoTexts:
      return "numeric, 0 and 1 for two texts";
  }
  return "";
}

void run(const CsvTableOptions& options, std::ostream& out, std::ostream& err) {
  const CsvTable table = makeCsvTable(options);
  out << options.output << ": " << table.rows << " records, " << table.columns.size() << " columns\n";
  for (const TableColumn& column : table.columns) {
    out << "  " << column.getName() << ": " << (column.isTarget() ? "target, " : "") << typeWord(column);
    if (column.getMissing() > 0) out << ", " << column.getMissing() << " missing";
    out << '\n';
  }
  for (const std::string& remark : table.remarks) err << "vesk: " << remark << '\n';
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  command.add_option("IN", raw->table.input, "The CSV file")->required()->type_name("FILE");
  command.add_option("OUT", raw->table.output, "The dataset to write")->required()->type_name("FILE");
  command.add_option("--target", raw->target, "The column to predict")->type_name("NAME");
  command.add_option("--categorical", raw->categorical, "Columns that are categorical although they have numbers only")
      ->type_name("NAME,..");
  command.add_option("--numeric", raw->numeric, "Columns in which a text is a mistake")->type_name("NAME,..");
  command.add_option("--drop", raw->drop, "Columns to leave out")->type_name("NAME,..");
  command.add_option("--missing", raw->missing, "Texts of missing values, beside the empty cell (NA,NaN,null,?)")
      ->type_name("TEXT,..");
  command.add_flag("--no-header", raw->noHeader, "The first row is a record; the columns are C1, C2, ...");
  command.add_option("--delimiter", raw->delimiter, "What separates cells; tab for a tab")
      ->type_name("C")
      ->capture_default_str();
  command.footer(footer);
  command.callback([raw, &command, &action] {
    readTexts(*raw, command);
    action = [raw](std::ostream& out, std::ostream& err) { run(raw->table, out, err); };
  });
}

}  // namespace

const Command tableCsvCommand = {"table", "csv", "A CSV file: a dataset with named columns and labels", &addOptions};

}  // namespace vesk
