#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "command.h"
#include "option_lists.h"
#include "top/top_list.h"

namespace vesk {

namespace {

constexpr const char* footer = R"(
ENERGY is the result of vesk-analyze diffusion. Lift is the energy of a subscriber by its weighted in-degree: high for those
who get much energy with few calls. Seeds are left out unless --with-seeds is given, and so are subscribers without energy.
Columns: rank,id,energy,lift,group,leader_1,leader_2,seed_contacts; what is not known is empty. Of equal subscribers the
smaller number comes first.

Example:
  vesk top energy.csv --groups found_1.nodes.csv --seeds seeds.txt --dataset pairs.bin --ids ids.map --per-group 3 -o list.csv
)";

void run(const TopOptions& options, std::ostream& out, std::ostream& err) {
  const TopResult result = findTop(options);
  writeTop(options, result, out);
  if (!options.seeds.empty() && options.dataset.empty()) {
    err << "vesk: seed_contacts is empty: --dataset with the pair sums of the diffusion is needed to count them\n";
  }
  if (options.output.empty()) return;
  out << options.output << ": " << result.rows.size() << " of " << result.subscribers << " subscribers";
  if (result.seeds > 0) out << "; " << result.seedsFound << " of " << result.seeds << " seeds are among them";
  out << '\n';
}

void addOptions(CLI::App& command, Action& action) {
  auto options = std::make_shared<TopOptions>();
  command.add_option("ENERGY", options->energy, "The CSV file of a diffusion")->required()->type_name("FILE");
  command.add_option("--groups", options->groups, "The members of groups, NAME_1.nodes.csv of the group analysis")
      ->type_name("FILE");
  command.add_option("--seeds", options->seeds, "The seeds, an id per line")->type_name("FILE");
  CLI::Option* dataset =
      command.add_option("--dataset", options->dataset, "The pair sums, to count contacts among the seeds")
          ->type_name("FILE");
  command.add_option("--ids", options->idMap, "The map of ids of vesk convert")->type_name("MAP");
  command.add_option("-n,--rows", options->rows, "Length of the list")
      ->check(wholeNumberFrom(1))
      ->capture_default_str();
  command.add_option("--by", options->order, "energy or lift")
      ->transform(CLI::CheckedTransformer(
                      std::map<std::string, TopOrder>{{"energy", TopOrder::Energy}, {"lift", TopOrder::Lift}})
                      .description(""))
      ->default_str("energy")
      ->type_name("ORDER");
  CLI::Option* perGroup = command.add_option("--per-group", options->perGroup, "Most members of a group in the list")
                              ->check(wholeNumberFrom(1));
  CLI::Option* withSeeds = command.add_flag("--with-seeds", options->withSeeds, "List seeds as well");
  command.add_option("-o,--output", options->output, "The list; otherwise, and for -, standard output")
      ->type_name("OUT");
  perGroup->needs("--groups");
  dataset->needs("--seeds");
  withSeeds->needs("--seeds");
  command.footer(footer);
  command.callback([options, &action] {
    if (options->output == "-") options->output.clear();
    action = [options](std::ostream& out, std::ostream& err) { run(*options, out, err); };
  });
}

}  // namespace

const Command topCommand = {"", "top", "A list of the subscribers with most energy, with groups, leaders and ids",
                            &addOptions};

}  // namespace vesk
