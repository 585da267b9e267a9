#include "generate_options.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <map>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "number_text.h"
#include "record_output.h"

namespace vesk_generate {

namespace {

constexpr const char* footer = R"(
Bad lines (--bad): short, blank, inner-blank, zero-caller, negative-caller,
text-caller, old-date; "all" spreads its share over all kinds.

Example: a million calls with planted groups, the parameter file, the loader.
  mkdir in
  vesk-generate -n 1000000 -c 20000 --group-count 500 -o in/calls --groups groups.txt
  vesk-generate --params table > table.xml
  vesk-loader in table.xml none out.bin 2 20203001

Example: the same calls as a CSV file that vesk convert reads.
  vesk-generate -n 1000000 -c 20000 --group-count 500 --csv -o calls.csv
)";

constexpr const char* tableFooter = R"(
Columns: tenure,minutes,calls,plan,region,spend. spend is the sum of a curve of tenure, which is linear between its
points, of 0.03 minutes, of an effect of plan (-6, 0 or 6, two plans each) and of noise. With --signals there is a
column rate behind calls, and spend also has 0.01 minutes rate, 12 above 120 calls, and -15 in a row without calls.

Example: a table and its curve, the dataset.
  vesk-generate table --rows 20000 -o table.csv --curve curve.csv
  vesk table csv table.csv table.bin --target spend
)";

/// The texts of the options that need reading of their own.
struct RawOptions {
  std::string groupSize = "5-15";
  std::string startDate = "2020-01-01";
  std::string layout;
  std::vector<std::string> badShares;
  std::string dateForm = "yyyymmdd";
  std::string run;
  std::string datasetForm = "sparse";
  LoaderParamsSettings params;
  bool noPayload = false;
};

using DateFormWords = std::map<std::string, DateForm>;
using LoaderRunWords = std::map<std::string, LoaderRun>;
using DatasetFormWords = std::map<std::string, DatasetForm>;

/// The value of a word; the mistake names the option and the words that it takes.
template <class Value>
Value readWord(const std::map<std::string, Value>& words, const std::string& word, const std::string& option) {
  if (const auto place = words.find(word); place != words.end()) return place->second;
  std::string known;
  for (const auto& [name, value] : words) known += (known.empty() ? "" : ", ") + name;
  throw std::invalid_argument(option + ": '" + word + "' is not one of " + known);
}

void addNetworkOptions(CLI::App& app, GenerateOptions& options, RawOptions& raw) {
  const std::string group = "Network";
  GeneratorSettings& s = options.generator;
  app.add_option("-c,--callers", s.callers, "Number of callers; the callees are the same numbers")
      ->capture_default_str()
      ->group(group);
  app.add_option("--first-caller", s.firstCaller, "The smallest caller number")->capture_default_str()->group(group);
  app.add_option("--activity-exponent", s.activityExponent, "Callers of rank r call like r^-X; 0: all alike")
      ->capture_default_str()
      ->group(group);
  app.add_option("--popularity-exponent", s.popularityExponent, "The same for being called")
      ->capture_default_str()
      ->group(group);
  app.add_option("--group-count", s.groupCount, "Number of planted groups")->capture_default_str()->group(group);
  app.add_option("--group-size", raw.groupSize, "Members of a group: MIN-MAX or one number")
      ->capture_default_str()
      ->group(group);
  app.add_option("--inside-share", s.insideShare, "Share of a member's calls that stay inside its group")
      ->capture_default_str()
      ->group(group);
}

void addRecordOptions(CLI::App& app, GenerateOptions& options, RawOptions& raw) {
  const std::string group = "Records";
  GeneratorSettings& s = options.generator;
  app.add_option("-n,--records", s.records, "Number of records")->capture_default_str()->group(group);
  app.add_option("--seed", s.seed, "Same seed and options, same bytes")->capture_default_str()->group(group);
  app.add_option("--start-date", raw.startDate, "First day, yyyy-mm-dd")->capture_default_str()->group(group);
  app.add_option("--days", s.days, "Number of days")->capture_default_str()->group(group);
  app.add_option("--date-form", raw.dateForm, "yyyymmdd or yyyyddmm")->capture_default_str()->group(group);
  app.add_flag("--shuffle-dates", s.shuffleDates, "Dates by chance; without it they rise")->group(group);
  app.add_option("--mean-duration", s.meanDurationSeconds, "Seconds of a call")->capture_default_str()->group(group);
  app.add_option("--max-multiplicity", s.maxMultiplicity, "Largest number of calls in one record")
      ->capture_default_str()
      ->group(group);
  app.add_option("--bad", raw.badShares, "Share of bad lines of a kind; may be given again")
      ->type_name("KIND=SHARE")
      ->delimiter(',')
      ->group(group);
  app.add_option("--layout", raw.layout,
                 "Columns of caller,callee,date,duration,multiplicity (default 1-15,17-31,33-40,42-47,49-50)")
      ->type_name("RANGES")
      ->group(group);
}

void addOutputOptions(CLI::App& app, GenerateOptions& options) {
  const std::string group = "Output";
  app.add_option("-o,--output", options.output, "File, directory or prefix of the records; - is standard output")
      ->type_name("PATH")
      ->group(group);
  app.add_option("--files", options.files, "Number of files, PATH.1, PATH.2 ...; the records are shared out in order")
      ->check(CLI::Range(1, 100000).description(""))
      ->capture_default_str()
      ->group(group);
  app.add_flag("--csv", options.isCsv,
               "The same calls as a CSV file that needs cleaning: header, + numbers, ISO times, quotes, bad rows")
      ->group(group);
  app.add_option("--csv-bad", options.csvBadShare, "Share of bad rows of --csv")
      ->check(CLI::Range(0.0, 1.0).description(""))
      ->capture_default_str()
      ->group(group);
  app.add_option("--groups", options.groupsFile, "Write the planted groups: a line each, number and members")
      ->type_name("FILE")
      ->group(group);
  app.add_option("--outcomes", options.outcomesFile,
                 "Write an outcome of each caller as CSV: caller,before,outcome, 0 or 1; it depends on the calls")
      ->type_name("FILE")
      ->group(group);
  app.add_flag("-q,--quiet", options.quiet, "No summary on standard error")->group(group);
}

CLI::Option* addParamsOptions(CLI::App& app, RawOptions& raw) {
  const std::string group = "Loader parameter file";
  LoaderParamsSettings& p = raw.params;
  CLI::Option* params = app.add_option("--params", raw.run, "Print the parameter file: table, pairsum or sums")
                            ->type_name("RUN")
                            ->group(group);
  app.add_option("--form", raw.datasetForm, "Form of the dataset: sparse or dense")
      ->capture_default_str()
      ->needs(params)
      ->group(group);
  app.add_option("--table-size", p.tableSize, "Entries of a caller in a table run")
      ->capture_default_str()
      ->needs(params)
      ->group(group);
  app.add_option("--horizon", p.horizonDays, "Days that a table run looks back")
      ->capture_default_str()
      ->needs(params)
      ->group(group);
  app.add_option("--partitions", p.partitions, "Number of partitions")
      ->capture_default_str()
      ->needs(params)
      ->group(group);
  app.add_flag("--no-payload", raw.noPayload, "A table run without durations")->needs(params)->group(group);
  return params;
}

CLI::App* addTableCommand(CLI::App& app, GenerateOptions& options, TableSettings& table) {
  CLI::App* command = app.add_subcommand("table", "A CSV table with a planted curve, in place of records");
  command->add_option("-o,--output", options.output, "The table; - is standard output")->type_name("FILE")->required();
  command->add_option("--rows", table.rows, "Number of rows")->capture_default_str();
  command->add_option("--seed", table.seed, "Same seed and options, same bytes")->capture_default_str();
  command->add_option("--noise", table.noise, "Standard deviation of the noise of spend")->capture_default_str();
  command->add_option("--missing", table.missingShare, "Share of missing cells of tenure, calls and plan")
      ->capture_default_str();
  command->add_flag("--signals", table.hasSignals, "Also a step, a product of two columns and missing cells that tell");
  command->add_option("--curve", options.curveFile, "Write the planted curve of tenure as CSV: x,y")->type_name("FILE");
  command->add_flag("-q,--quiet", options.quiet, "No summary on standard error");
  command->footer(tableFooter);
  return command;
}

/// The options of records say nothing about a table.
void refuseRecordOptions(const CLI::App& app) {
  for (const CLI::Option* option : app.get_options()) {
    if (option->count() > 0) throw std::invalid_argument(option->get_name() + " does not go with table");
  }
}

void readGroupSize(const std::string& text, GeneratorSettings& settings) {
  const std::size_t dash = std::min(text.find('-'), text.size());
  const std::string_view view = text;
  const auto smallest = readNumber<std::uint32_t>(view.substr(0, dash));
  const auto largest = dash == text.size() ? smallest : readNumber<std::uint32_t>(view.substr(dash + 1));
  if (!smallest || !largest) throw std::invalid_argument("'" + text + "' is not a group size (MIN-MAX)");
  settings.groupSizeMin = *smallest;
  settings.groupSizeMax = *largest;
}

void readGeneratorTexts(const RawOptions& raw, GeneratorSettings& settings) {
  const DateFormWords dateForms{{"yyyyddmm", DateForm::YearDayMonth}, {"yyyymmdd", DateForm::YearMonthDay}};
  settings.dateForm = readWord(dateForms, raw.dateForm, "--date-form");
  readGroupSize(raw.groupSize, settings);
  settings.startDate = parseDate(raw.startDate);
  if (!raw.layout.empty()) settings.layout = parseLayout(raw.layout);
  for (const std::string& share : raw.badShares) parseBadShare(share, settings.badShares);
}

LoaderParamsSettings readParamsTexts(const RawOptions& raw) {
  const LoaderRunWords runs{{"table", LoaderRun::Table}, {"pairsum", LoaderRun::PairSum}, {"sums", LoaderRun::Sums}};
  const DatasetFormWords forms{{"sparse", DatasetForm::Sparse}, {"dense", DatasetForm::Dense}};
  LoaderParamsSettings params = raw.params;
  params.run = readWord(runs, raw.run, "--params");
  params.form = readWord(forms, raw.datasetForm, "--form");
  params.payload = !raw.noPayload;
  return params;
}

/// One file can have several names. A path that cannot be resolved is compared as it stands; opening it tells what is
/// wrong.
std::filesystem::path resolvedPath(const std::string& path) {
  std::error_code unknown;
  const std::filesystem::path resolved = std::filesystem::weakly_canonical(path, unknown);
  return unknown ? std::filesystem::path(path) : resolved;
}

void checkNotShared(const std::string& path, const std::string& name, const std::vector<std::string>& others,
                    const std::string& otherName) {
  if (path.empty()) return;
  for (const std::string& other : others) {
    if (!other.empty() && resolvedPath(path) == resolvedPath(other)) {
      throw std::invalid_argument("the " + otherName + " and the " + name + " cannot share one file");
    }
  }
}

void checkTable(const GenerateOptions& options) {
  checkTableSettings(*options.table);
  if (!options.curveFile.empty() && resolvedPath(options.curveFile) == resolvedPath(options.output)) {
    throw std::invalid_argument("the table and the curve cannot share one file");
  }
  if (!options.curveFile.empty() && options.table->hasSignals) {
    throw std::invalid_argument("--curve does not go with --signals");
  }
}

/// Options of the fixed columns, which say nothing about CSV, and the other way round.
void checkCsv(const CLI::App& app, bool isCsv) {
  if (!isCsv && app.count("--csv-bad") > 0) throw std::invalid_argument("--csv-bad needs --csv");
  for (const char* option : {"--bad", "--layout", "--date-form", "--outcomes"}) {
    if (isCsv && app.count(option) > 0) throw std::invalid_argument(std::string(option) + " does not go with --csv");
  }
}

void checkOutputs(const GenerateOptions& options) {
  if (options.output.empty() && options.groupsFile.empty() && !options.params) {
    throw std::invalid_argument("nothing to do: give --output, --groups or --params");
  }
  if (options.output == "-" && options.params) {
    throw std::invalid_argument("--params and --output - both want standard output");
  }
  if (options.output == "-" && options.files > 1) throw std::invalid_argument("standard output is one file");
  if (options.output.empty() && !options.outcomesFile.empty()) {
    throw std::invalid_argument("--outcomes needs --output: the outcomes depend on the calls");
  }
  const std::vector<std::string> records =
      options.output.empty() ? std::vector<std::string>{} : recordFileNames(options.output, options.files);
  checkNotShared(options.groupsFile, "groups", records, "records");
  checkNotShared(options.outcomesFile, "outcomes", records, "records");
  checkNotShared(options.outcomesFile, "outcomes", {options.groupsFile}, "groups");
}

}  // namespace

std::variant<GenerateOptions, int> parseGenerateOptions(int argc, const char* const* argv, std::ostream& out,
                                                        std::ostream& err) {
  CLI::App app("Writes synthetic call records as fixed-column text lines, or a table, the same for the same seed.",
               "vesk-generate");
  app.footer(footer);
  app.set_version_flag("--version", "vesk-generate " VESK_VERSION);
  GenerateOptions options;
  RawOptions raw;
  addOutputOptions(app, options);
  addRecordOptions(app, options, raw);
  addNetworkOptions(app, options, raw);
  const CLI::Option* params = addParamsOptions(app, raw);
  TableSettings table;
  const CLI::App* tableCommand = addTableCommand(app, options, table);
  try {
    app.parse(argc, argv);
    if (tableCommand->parsed()) {
      refuseRecordOptions(app);
      options.table = table;
      checkTable(options);
      return options;
    }
    readGeneratorTexts(raw, options.generator);
    if (params->count() > 0) options.params = readParamsTexts(raw);
    checkCsv(app, options.isCsv);
    checkOutputs(options);
    checkSettings(options.generator);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error, out, err);  // --help or --version
    err << "vesk-generate: " << error.what() << "\n";
    return 1;
  } catch (const std::invalid_argument& error) {
    err << "vesk-generate: " << error.what() << "\n";
    return 1;
  }
  return options;
}

}  // namespace vesk_generate
