#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <string>

#include "command.h"
#include "ids/id_map.h"
#include "ids/id_texts.h"
#include "option_lists.h"

namespace vesk {

namespace {

struct RawOptions {
  std::string map;
  std::string toText;
  std::string toNumbers;
  std::string columns;
  bool noHeader = false;
  IdTextsOptions texts;
};

constexpr const char* footer = R"(
MAP is the file that vesk convert --ids keeps. Without options its number of ids is printed. Ids that are plain numbers are
in no map and stay as they are. The table is ids(id, text), for sqlite3 as well.

Examples:
  vesk ids ids.map
  vesk ids ids.map --to-text energy.csv --column Number -o energy.text.csv
  vesk ids ids.map --to-numbers seeds.txt --no-header --column 1 -o seeds.numbers
)";

void readTexts(RawOptions& raw) {
  const bool hasFile = !raw.toText.empty() || !raw.toNumbers.empty();
  if (!raw.toText.empty() && !raw.toNumbers.empty()) {
    throw CLI::ValidationError("--to-text", "does not go with --to-numbers");
  }
  if (hasFile == raw.columns.empty()) {
    throw CLI::ValidationError("--column", hasFile ? "is needed" : "needs --to-text or --to-numbers");
  }
  if (!hasFile && !raw.texts.output.empty()) throw CLI::ValidationError("-o", "needs --to-text or --to-numbers");
  raw.texts.toText = !raw.toText.empty();
  raw.texts.input = raw.texts.toText ? raw.toText : raw.toNumbers;
  raw.texts.columns = readList("--column", raw.columns);
  raw.texts.hasHeader = !raw.noHeader;
}

void run(const RawOptions& raw, std::ostream& out, std::ostream& err) {
  IdMap map(raw.map);
  if (map.isNew()) throw CommandFailure(Status::Data, raw.map + " does not exist, or is empty");
  if (raw.texts.input.empty()) {
    out << raw.map << ": " << map.count() << " ids, "
        << (map.getMappedIds() == MappedIds::All ? "all ids are mapped" : "plain numbers stay themselves") << '\n';
    return;
  }
  const IdTextsResult result = replaceIds(map, raw.texts, out);
  if (result.unknown > 0) {
    err << "vesk: " << result.unknown << " numbers from 2^52 on are not in " << raw.map << ", such as "
        << result.unknownExample << '\n';
  }
  if (!raw.texts.output.empty()) {
    out << raw.texts.output << ": " << result.rows << " rows, " << result.replaced << " ids replaced\n";
  }
}

void addOptions(CLI::App& command, Action& action) {
  auto raw = std::make_shared<RawOptions>();
  command.add_option("MAP", raw->map, "The map of ids")->required()->type_name("FILE");
  command.add_option("--to-text", raw->toText, "A CSV file in which numbers become the ids of the input again")
      ->type_name("FILE");
  command.add_option("--to-numbers", raw->toNumbers, "A CSV file in which ids become their numbers")->type_name("FILE");
  command.add_option("--column", raw->columns, "Its columns with ids: names, or numbers from 1")->type_name("COL,..");
  command.add_flag("--no-header", raw->noHeader, "Its first row is a record; columns are numbers");
  command.add_option("-o,--output", raw->texts.output, "The file to write; otherwise, and for -, standard output")
      ->type_name("FILE");
  command.footer(footer);
  command.callback([raw, &action] {
    readTexts(*raw);
    if (raw->texts.output == "-") raw->texts.output.clear();
    action = [raw](std::ostream& out, std::ostream& err) { run(*raw, out, err); };
  });
}

}  // namespace

const Command idsCommand = {"", "ids", "The map of ids that are no plain numbers: counts them, puts them back",
                            &addOptions};

}  // namespace vesk
