#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "command.h"
#include "table/column_names.h"
#include "table/join_table.h"

namespace vesk {

namespace {

/// The texts of the options as the user gave them.
struct RawOptions {
  JoinOptions join;
  std::vector<std::string> with;
  std::string target;
};

constexpr const char* footer = R"(
A FILE is a CSV file if its name ends in .csv or if there is no FILE.info; otherwise it is a table with named columns,
one file or parts. Its key column has the name of --key; in a CSV file without such a column the first column is the
key. The prefix is put before the names of the columns of FILE. The last colon separates it if a plain name without .
and / follows. If FILE does not have the key of a record of BASE, its columns are missing in that record.
Written: OUT (all records and columns of BASE, then the columns of each FILE except its key), OUT.info, OUT.labels.
)";

RightFile readFile(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return {text, ""};
  const std::string prefix = text.substr(colon + 1);
  if (!columnNameMistake(prefix).empty() || prefix.find_first_of("./") != std::string::npos) return {text, ""};
  return {text.substr(0, colon), prefix};
}

void readTexts(RawOptions& raw, const CLI::App& command) {
  JoinOptions& join = raw.join;
  join.key = plainColumnName(join.key);
  if (join.key.empty()) throw CLI::ValidationError("--key", "[] is no name");
  for (const std::string& text : raw.with) {
    join.with.push_back(readFile(text));
    if (join.with.back().path.empty()) throw CLI::ValidationError("--with", "[" + text + "] has no file");
  }
  if (command.count("--target") == 0) return;
  if (raw.target.empty()) throw CLI::ValidationError("--target", "[] is no name");
  join.target = plainColumnName(raw.target);
  if (*join.target == join.key) throw CLI::ValidationError("--target", join.key + " is the key");
}

std::string typeWord(const dataset_info::Column& column, const QUVENTableLabels& labels) {
  const QUVENTableLabels::Column* texts = labels.findColumn(column.name);
  const std::string purpose = column.purpose == dataset_info::Target ? "target, " : "";
  if (column.type == dataset_info::Numeric) return purpose + "numeric" + (texts ? ", 0 and 1 for two texts" : "");
  return purpose + "categorical, " + std::to_string(texts ? texts->labels.size() : 0) + " categories";
}

void run(const JoinOptions& options, std::ostream& out, std::ostream& err) {
  const JoinTable table = makeJoinTable(options);
  out << options.output << ": " << table.records << " records, " << table.columns << " columns\n";
  if (table.missingKeys > 0) out << "  " << table.missingKeys << " records of " << options.base << " have no key\n";
  for (const JoinTable::Side& side : table.sides) {
    out << "  " << side.path << ": key column " << side.keyName << ", " << side.keys << " keys, " << side.keysInBase
        << " of them in " << options.base << " and " << side.keys - side.keysInBase << " not; "
        << side.recordsWithoutPartner << " records of " << options.base << " have no partner\n";
    for (const dataset_info::Column& column : side.columns) {
      out << "    " << column.name << ": " << typeWord(column, table.labels) << '\n';
    }
  }
  for (const std::string& remark : table.remarks) err << "vesk: " << remark << '\n';
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  command.add_option("BASE", raw->join.base, "The table whose records are kept")->required()->type_name("FILE");
  command.add_option("OUT", raw->join.output, "The dataset to write")->required()->type_name("FILE");
  command.add_option("--key", raw->join.key, "The column of BASE by which rows of the files are found")
      ->required()
      ->type_name("NAME");
  command.add_option("--with", raw->with, "A file whose columns are added; may be given again")
      ->required()
      ->type_name("FILE[:PREFIX]")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--target", raw->target, "The column of OUT to predict; it becomes the only target")
      ->type_name("NAME");
  command.footer(footer);
  command.callback([raw, &command, &action] {
    readTexts(*raw, command);
    action = [raw](std::ostream& out, std::ostream& err) { run(raw->join, out, err); };
  });
}

}  // namespace

const Command tableJoinCommand = {"table", "join", "A table with the columns of other files, found by a key",
                                  &addOptions};

}  // namespace vesk
