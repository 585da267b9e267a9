#include <CLI/CLI.hpp>
#include <memory>
#include <ostream>
#include <string>

#include "command.h"
#include "report/report.h"

namespace vesk {

namespace {

constexpr const char* footer = R"(
NAME is the OutputFileName of vesk-analyze groups: NAME_1.clusters.csv and NAME_1.nodes.csv are read, and NAME_levels.csv and
NAME_changes.csv if they exist. At least one of --groups and --energy must be given. The page needs no other file and no
network. Each of its tables is also a CSV file beside it: PAGE.TABLE.csv for PAGE.html.

Example:
  vesk report --groups found --energy energy.csv --seeds seeds.txt --run groups.json --run diffusion.json -o page.html
)";

void run(const ReportOptions& options, std::ostream& out, std::ostream& err) {
  const ReportResult result = makeReport(options);
  for (const std::string& remark : result.remarks) err << "vesk: " << remark << '\n';
  out << options.output << ": a page with " << result.csvFiles.size() << " tables, each in a CSV file beside it\n";
}

void addOptions(CLI::App& command, Action& action) {
  auto options = std::make_shared<ReportOptions>();
  command.add_option("--groups", options->groups, "The results of the group analysis, by their OutputFileName")
      ->type_name("NAME");
  command.add_option("--energy", options->energy, "The CSV file of a diffusion")->type_name("FILE");
  command
      .add_option("--run", options->runs,
                  "What vesk-analyze --results-json has written; may be given once for each analysis")
      ->type_name("JSON")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  CLI::Option* seeds = command.add_option("--seeds", options->seeds, "The seeds, an id per line")->type_name("FILE");
  command.add_option("--ids", options->idMap, "The map of ids of vesk convert")->type_name("MAP");
  command.add_option("--title", options->title, "The title of the page")->type_name("TEXT");
  command.add_option("-o,--output", options->output, "The page, HTML")->required()->type_name("PAGE");
  seeds->needs("--energy");
  command.footer(footer);
  command.callback([options, &action] {
    if (options->groups.empty() && options->energy.empty()) {
      throw CLI::ValidationError("report", "at least one of --groups and --energy must be given");
    }
    if (options->output.empty() || options->output == "-") {
      throw CLI::ValidationError("-o", "must be the name of a file");
    }
    action = [options](std::ostream& out, std::ostream& err) { run(*options, out, err); };
  });
}

}  // namespace

const Command reportCommand = {"", "report", "A page about groups and energies for people: HTML with pictures",
                               &addOptions};

}  // namespace vesk
