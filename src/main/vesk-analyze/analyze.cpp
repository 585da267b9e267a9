#include "analyze.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <sstream>
#include <string_view>

#include "dataset_card_check.h"
#include "groups_run.h"
#include "parameter_help.h"
#include "progress_line.h"
#include "run_memory.h"
#include "run_timings.h"
#include "scoring_run.h"

namespace vesk_analyze {

namespace {

constexpr const char* footer = R"(
Runs alone, or on several workers under mpirun. The parameter file is XML with the top element AnalysisParams.
If no file DATASET exists, its parts DATASET.0, DATASET.1, ... are read.

Exit status: 0 when the analysis has ended, 99 when it failed, 1 when the command line is wrong.
)";

constexpr int mostReasons = 1000;

/// The end of the help of the program, and of an analysis.
std::string footerWithExample(const AnalysisKind& kind) {
  const std::string command = kind.command;
  const std::string model = kind.exampleModel == nullptr ? "" : std::string(kind.exampleModel) + " ";
  return footer + ("\nExample:\n  mpirun -n 2 vesk-analyze " + command + " " + command + ".xml " + model) +
         kind.exampleDataset + " --timings\n";
}

// CLI11 does not know --timings=json FILE, a flag whose value decides whether a file follows. The command line is read
// with another name in its place; help and messages have the documented one.
constexpr std::string_view timingsFileOption = "--timings=json";
constexpr const char* timingsFileName = "--timings-json";

std::vector<const char*> withTimingsFileName(int argc, const char* const* argv) {
  std::vector<const char*> arguments(argv, argv + argc);
  const auto is = [](std::string_view word) { return [word](const char* argument) { return argument == word; }; };
  const auto endOfOptions = std::find_if(arguments.begin(), arguments.end(), is("--"));
  std::replace_if(arguments.begin(), endOfOptions, is(timingsFileOption), timingsFileName);
  return arguments;
}

std::string withTimingsFileOption(std::string text) {
  const std::string_view name = timingsFileName;
  const std::size_t place = text.find(name);
  if (place != std::string::npos) text.replace(place, name.size(), timingsFileOption);
  return text;
}

class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool isPositional) const override {
    return withTimingsFileOption(CLI::Formatter::make_option_name(option, isPositional));
  }
};

/// What every sub-command takes.
void addCommonOptions(CLI::App& command, AnalyzeOptions& options) {
  command.add_option("--results", options.resultsFile, "Write parameters and counters of the run to this XML file");
  command.add_option("--results-json", options.resultsJsonFile, "Write the same, and the defaults, to this JSON file");
  command.add_flag("--timings", options.timings, "A table of the passes and their phases, on standard error");
  command.add_option(timingsFileName, options.timingsFile, "Write the same of all ranks to this JSON file");
  command.add_flag("--strict", options.isStrict,
                   "End with status 99 at a warning that the result is not what was asked for");
  command.add_flag("--verify", options.verifies,
                   "Compare the SHA-256 of the dataset's files with its card, not their sizes alone");
}

void addMemory(CLI::App& command, AnalyzeOptions& options) {
  const auto read = [&options](const std::string& text) {
    const std::optional<std::int64_t> bytes = readMemorySize(text);
    if (!bytes) throw CLI::ValidationError("--memory", "\"" + text + "\" is not a size such as 500M, 1.5G or 0");
    options.memoryBytes = *bytes;
  };
  command
      .add_option_function<std::string>(
          "--memory", read,
          "Rows that each rank keeps in memory between passes, such as 500M or 8G, 0 for none; "
          "if not given, half of the machine's memory divided by the ranks on it")
      ->type_name("SIZE");
}

/// What the group analysis takes.
void addGroupOptions(CLI::App& command, AnalyzeOptions& options) {
  const auto check = [](const std::string& text) {
    return readLevels(text) ? std::string()
                            : "\"" + text + "\" is neither auto nor numbers above 0 and below 1 with commas between";
  };
  command
      .add_option("--levels", options.levels,
                  "Compare these sparsity levels, such as 0.3,0.5,0.7, and write a table of them; with auto, compare "
                  "0.1 to 0.9 and three more, and go on with the one of the best modularity")
      ->check(check)
      ->type_name("LIST");
  command
      .add_option("--previous", options.previousNodes,
                  "Nodes file of an earlier run, whose group numbers go on; the changes go to NAME_changes.csv")
      ->type_name("NODES.csv");
}

void addScore(CLI::App& app, AnalyzeOptions& options) {
  CLI::App* command = app.add_subcommand("score", "The prediction of a model for each record of a table");
  command->add_option("MODEL", options.modelFile, "The model, as train has written it")->required();
  command->add_option("DATASET", options.dataset, "The table, with the explanatory columns of the training")
      ->required();
  command->add_option("OUTPUT", options.outputFile, "The predictions, CSV; one row a record")->required();
  command->add_flag("--channels", options.writesChannels,
                    "Write the channel that training deals the record to, and the prediction of each channel");
  command->add_flag("--stages", options.writesStages, "Write the prediction after each stage of the model");
  command
      ->add_option("--reasons", options.numReasons,
                   "Write the N inputs whose replacement by a missing value moves the prediction most, with the moves")
      ->check(CLI::Range(1, mostReasons))
      ->type_name("N");
  command->add_option("--keep", options.keptColumns, "Columns to copy, with their labels; commas between")
      ->delimiter(',');
  addCommonOptions(*command, options);
  command->footer("\nExample:\n  mpirun -n 2 vesk-analyze score churn.model churn.bin churn.csv --keep state\n");
  command->callback([&options] {
    options.kind = nullptr;
    options.makeRun = makeRunOf<ScoringRun>;
  });
}

}  // namespace

CommandLine readCommandLine(int argc, const char* const* argv, AnalyzeOptions& options, std::ostream& out,
                            std::ostream& err) {
  CLI::App app("Runs an analysis over a dataset of vesk-loader, or learns from a table and applies what was learned.",
               "vesk-analyze");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", "vesk-analyze " VESK_VERSION);
  app.footer(footerWithExample(analysisKinds().front()));
  app.require_subcommand(1);
  for (const AnalysisKind& kind : analysisKinds()) {
    CLI::App* command = app.add_subcommand(kind.command, kind.summary);
    command
        ->add_option("PARAMETER_FILE", options.parameterFile,
                     "Parameters, XML with the top element AnalysisParams; - for none, with --set")
        ->required();
    if (kind.exampleModel != nullptr) {
      command->add_option("MODEL", options.modelFile, "The model, as train has written it")->required();
    }
    command->add_option("DATASET", options.dataset, "The dataset, the name given to vesk-loader or vesk table")
        ->required();
    addCommonOptions(*command, options);
    const bool isNetworkAnalysis = kind.modelId != 0;
    if (isNetworkAnalysis) addMemory(*command, options);
    if (kind.comparesGroups) addGroupOptions(*command, options);
    const auto addSetting = [&options, &kind](const std::string& text) {
      if (readSetting(kind, text, options.settings.emplace_back())) return;
      throw CLI::ValidationError("--set", "\"" + text + "\" is not KEY=VALUE with a parameter of " + kind.command);
    };
    command->add_option_function<std::string>("--set", addSetting, "Set a parameter for this run: KEY=VALUE")
        ->trigger_on_parse()
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const auto printExample = [&kind](std::int64_t) {
      throw CLI::CallForVersion(parameterExample(kind), static_cast<int>(CLI::ExitCodes::Success));
    };
    command->add_flag_function("--example", printExample, "Print a parameter file that works, and end");
    command->footer("");  // not that of the program
    command->footer([&kind] { return "\n" + parameterHelp(kind) + footerWithExample(kind); });
    command->callback([&options, &kind] {
      if (!options.previousNodes.empty() && !options.levels.empty() && options.levels != "auto") {
        throw CLI::ValidationError("--previous", "a list of levels gives no groups; use --levels auto");
      }
      options.kind = &kind;
      options.makeRun = kind.makeRun;
    });
  }
  addScore(app, options);
  try {
    app.parse(argc, withTimingsFileName(argc, argv).data());
    return CommandLine::Run;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      app.exit(error, out, err);  // --help or --version
      return CommandLine::Done;
    }
    err << "vesk-analyze: " << withTimingsFileOption(error.what()) << '\n';
    return CommandLine::Wrong;
  }
}

void runAnalysis(const AnalyzeOptions& options, std::ostream& err) {
  const auto start = std::chrono::system_clock::now();
  const auto begin = std::chrono::steady_clock::now();
  QUVENEnv environment;
  environment.activate();
  environment.setStrict(options.isStrict);
  QUVENEnv* env = &environment;
  const QUVENWorkerTransport transport;
  const std::unique_ptr<Run> run = options.makeRun(options, transport, QUVEN_ENV);
  const CardNeeds needs{run->getCommand(),
                        options.kind == nullptr ? vesk_files::DatasetKind::Dense : options.kind->datasetKind,
                        options.verifies};
  const std::optional<UsedCard> card = checkDatasetCard(options.dataset, needs, transport, QUVEN_ENV);
  run->open(QUVEN_ENV);
  ProgressLine progress(err, transport.isMaster() && ::isatty(STDERR_FILENO) != 0);
  run->getDriver().setObserver(&progress);
  run->work(QUVEN_ENV);
  if (transport.isMaster()) run->finish(QUVEN_ENV);
  const std::span<const QUVENPassCounters> passes = run->getDriver().getPasses();
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  const ResultsFiles resultsFiles{options.resultsFile, options.resultsJsonFile};
  if (transport.isMaster() && !(resultsFiles.xml.empty() && resultsFiles.json.empty())) {
    const RunSummary summary{run->getCommand(), options.dataset, transport.getCount(), start, seconds, passes, card};
    const auto addOwn = [&](QUVENXMLTag& results) { run->addResults(results, QUVEN_ENV); };
    writeRunResults(resultsFiles, summary, addOwn, run->getParameterFile(), QUVEN_ENV);
  }
  QUVENRunTimings timings{.rank = transport.getRank(), .seconds = seconds, .passes = passes};
  timings.measureProcess();
  if (!options.timingsFile.empty()) {
    writeTimingsFile(options.timingsFile, run->getCommand(), options.dataset, timings, transport, QUVEN_ENV);
  }
  if (options.timings) {
    std::ostringstream table;  // in one piece, beside those of the other workers
    quvenPrintTimings(timings, table);
    err << table.str() << std::flush;
  }
  run->release(QUVEN_ENV);
}

}  // namespace vesk_analyze
