#include "vesk.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <map>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "check/known_tags.h"
#include "command.h"
#include "files/input_bytes.h"
#include "files/printable.h"

namespace vesk {

namespace {

constexpr CommandGroup groups[] = {{"table", "Makes datasets from tables with named columns"}};
constexpr const Command* commands[] = {&dayCommand,   &tableCsvCommand, &tableRowsCommand, &tableJoinCommand,
                                       &checkCommand, &exportCommand,   &convertCommand,   &idsCommand,
                                       &topCommand,   &reportCommand};

constexpr const char* footer = R"(
Exit status: 0 when the command has ended, 1 when the command line is wrong, 2 when the state refuses the run, 3 when the
input or a parameter file is wrong, 99 when the command failed.

Examples:
  vesk check table.xml in --record-dates ymd
  vesk convert calls.csv -o in/calls --caller caller --callee callee --time start --ids ids.map
  vesk top energy.csv --groups found_1.nodes.csv --seeds seeds.txt --ids ids.map -o list.csv
  vesk report --groups found --energy energy.csv --run groups.json --run diffusion.json -o page.html
  vesk table csv customers.csv customers.bin --target churn --drop phone_number
  vesk table rows sums.bin month.bin --columns 1:calls,2:seconds
  vesk table join month.bin all.bin --key caller --with customers.bin:known_
  vesk export pairs.bin -o pairs.csv
)";

int report(std::ostream& err, Status status, const std::string& text) {
  err << "vesk: " << text << '\n';
  return static_cast<int>(status);
}

void addCommands(CLI::App& app, Action& action) {
  app.require_subcommand(1);
  std::map<std::string, CLI::App*> groupsByName;
  for (const CommandGroup& group : groups) {
    CLI::App* added = app.add_subcommand(group.name, group.summary);
    added->require_subcommand(1);
    groupsByName[group.name] = added;
  }
  for (const Command* command : commands) {
    CLI::App* parent = *command->group == '\0' ? &app : groupsByName.at(command->group);
    CLI::App* added = parent->add_subcommand(command->name, command->summary);
    command->addOptions(*added, action);
  }
}

/// What is wrong with the first word that the chosen command does not know; empty if it knows all of them. The parser
/// itself would name what is missing, and not the misspelt word in its place.
std::string unknownWord(const CLI::App& app) {
  const CLI::App* command = &app;
  std::string place;
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
    place += (place.empty() ? "" : " ") + command->get_name();
  }
  if (!place.empty()) place += ": ";
  const std::vector<std::string> rest = command->remaining();
  if (rest.empty()) return {};
  const auto option = std::ranges::find_if(rest, [](const std::string& word) { return word.starts_with('-'); });
  const bool wantsCommand = !command->get_subcommands({}).empty() && option != rest.begin();
  const bool isOption = option != rest.end() && !wantsCommand;
  const std::string& word = isOption ? *option : rest.front();
  std::vector<std::string> known;
  if (isOption) {
    for (const CLI::Option* each : command->get_options()) {
      for (const std::string& name : each->get_lnames()) known.push_back("--" + name);
    }
  } else {
    for (const CLI::App* each : command->get_subcommands({})) known.push_back(each->get_name());
  }
  const bool isArgument = !isOption && !wantsCommand;
  const auto near = nearestText(std::string_view(word).substr(0, word.find('=')), known);
  return place +
         (isArgument ? "one argument too many: "
          : isOption ? "there is no option "
                     : "there is no command ") +
         "[" + vesk_files::printable(word) + "]; " +
         (near ? "did you mean " + std::string(*near) + "?" : std::string("see --help"));
}

}  // namespace

int runVesk(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app(
      "The system's program for people: prepares calls for the loader, lists of subscribers, and tables for the "
      "models.",
      "vesk");
  app.set_version_flag("--version", "vesk " VESK_VERSION);
  app.footer(footer);
  Action action;
  addCommands(app, action);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      const std::string unknown = unknownWord(app);
      return report(err, Status::Usage, unknown.empty() ? error.what() : unknown);
    }
    app.exit(error, out, err);  // --help or --version
    action = [](std::ostream&, std::ostream&) {};
  }
  try {
    action(out, err);
    if (!out.flush()) throw std::runtime_error("cannot write to standard output");
    return static_cast<int>(Status::Done);
  } catch (const CommandFailure& failure) {
    return report(err, failure.getStatus(), failure.what());
  } catch (const vesk_files::DamagedContent& damage) {
    return report(err, Status::Data, damage.what());
  } catch (const std::bad_alloc&) {
    return report(err, Status::Failed, "not enough memory");
  } catch (const std::exception& error) {
    return report(err, Status::Failed, error.what());
  }
}

}  // namespace vesk
