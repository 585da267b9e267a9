#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>

#include "command.h"
#include "export/export_dataset.h"

namespace vesk {

namespace {

constexpr const char* footer = R"(
DATASET is any binary dataset of vesk-loader, vesk day or vesk table: one file, or the parts DATASET.0, DATASET.1, ...;
also a payload file DATASET_payload_1. Columns:
  table of contacts    caller,callee                  --wide: caller,callee_1,callee_2,..
  pair sums            caller,callee,weight           --wide: caller,callee_1,weight_1,callee_2,..
  sums, payloads       caller,position,value          --wide: caller,value_1,value_2,..
  dense, tables        the names of the description; categories as their texts
A missing value is an empty cell. Numbers are the shortest texts that read back exactly. If the dataset has a card, its
files are compared with it first.

Examples:
  vesk export pairs.bin -o pairs.csv
  vesk export table.bin --wide | head
)";

void run(const ExportOptions& options, std::ostream& out) {
  const Exported exported = exportDataset(options, out);
  if (options.output == "-") return;
  out << options.output << ": " << exported.lines << " lines, " << exported.columns << " columns\n";
}

void addOptions(CLI::App& command, Action& action) {
  auto options = std::make_shared<ExportOptions>();
  command.add_option("DATASET", options->dataset, "The dataset")->required()->type_name("FILE");
  command
      .add_option("-o,--output", options->output, "The file to write; with the ending .tsv, tabs are between the cells")
      ->type_name("FILE")
      ->capture_default_str();
  command.add_flag("--wide", options->isWide, "One line per caller");
  command.add_flag("--tsv", options->hasTabs, "Tabs between the cells");
  command.add_flag("--verify", options->verifies,
                   "Compare the SHA-256 of the files with the card, not their sizes alone");
  command.footer(footer);
  command.callback(
      [options, &action] { action = [options](std::ostream& out, std::ostream&) { run(*options, out); }; });
}

}  // namespace

const Command exportCommand = {"", "export", "Any binary dataset as CSV or TSV", &addOptions};

}  // namespace vesk
