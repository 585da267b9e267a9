#include "literal_comparison.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

#include "loader_dates.h"
#include "loader_driver.h"
#include "output_files.h"
#include "process_file.h"
#include "support/stdout_capture.h"

namespace vesk_loader::testing {

namespace {

namespace fs = std::filesystem;

using Files = std::map<std::string, std::string>;

void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

Files readFolder(const fs::path& folder) {
  Files files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    files[entry.path().string()] = {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  return files;
}

/// What one run did.
struct Outcome {
  std::string out;
  int status = 0;
  Files files;
  std::vector<FileStatistics> statistics;
  std::uint32_t processRecords = 0;
};

/// A case on disk: in/ has the record files, work/ the process files and the output files.
class CaseFolder {
 public:
  CaseFolder(const LoaderCase& theCase, const fs::path& theFolder) : loaderCase(theCase), folder(theFolder) {
    for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry.path());
    fs::create_directory(folder / "work");
    writeFile(folder / "special", specialListText(loaderCase));
    for (const auto& [suffix, bytes] : loaderCase.processFiles) writeFile(workPath("process" + suffix), bytes);
  }

  std::string workPath(const std::string& name) const { return (folder / "work" / name).string(); }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  Files workFiles() const { return readFolder(folder / "work"); }

  /// Puts the record files of a run in place and gives them in the order in which the system lists them.
  LiteralDirectory prepare(const LoaderCase::Run& run) const {
    const fs::path input = folder / "in";
    fs::remove_all(input);
    LiteralDirectory directory{input.string(), run.directoryExists, {}};
    if (!run.directoryExists) return directory;
    fs::create_directory(input);
    for (const auto& entry : run.entries) {
      if (entry.bytes) {
        writeFile(input / entry.name, *entry.bytes);
      } else {
        fs::create_directory(input / entry.name);
      }
    }
    for (const auto& listed : fs::directory_iterator(input)) {
      const std::string name = listed.path().filename().string();
      directory.entries.push_back(
          *std::find_if(run.entries.begin(), run.entries.end(), [&](const auto& entry) { return entry.name == name; }));
    }
    return directory;
  }

  CommandLine commandLine(const LoaderCase::Run& run) const {
    CommandLine line;
    line.inputDirectory = path("in");
    line.singleFile = loaderCase.singleFile;
    line.singleInput = !loaderCase.singleFile.empty();
    line.parameterFile = path("parameters");
    line.processFile = loaderCase.processFileInUse ? workPath("process") : "none";
    line.processFileInUse = loaderCase.processFileInUse;
    line.outputFile = workPath("out.bin");
    line.dateFormat = loaderCase.dateFormat;
    line.startDate = run.startDate;
    return line;
  }

 private:
  const LoaderCase& loaderCase;
  fs::path folder;
};

/// One partition by the loader's own steps.
void runSteps(const LoaderSettings& settings, const CommandLine& line, std::uint32_t partition) {
  const bool partitioned = settings.numberOfPartitions > 1;
  const std::string suffix = partitioned ? "." + std::to_string(partition) : std::string();
  if (partitioned) print_line("--- VESK loader: Starting partition " + std::to_string(partition));
  print_line(line.processFile);
  print_line("current output file full name = " + line.outputFile + suffix);
  LoaderTables tables;
  if (!line.processFileInUse) {
    tables = LoaderTables::create(settings);
  } else if (read_process_file(line.processFile + suffix, settings, tables) == 0) {
    print_line("Process file does not present, so creating a new one...");
    tables = LoaderTables::create(settings);
  }
  ScanScope scope;
  scope.dateFormat = line.dateFormat;
  scope.partition = partition;
  scope.partitions = static_cast<std::uint32_t>(settings.numberOfPartitions);
  if (settings.dateHorizon != -1 && settings.dateField != -1 && line.dateFormat != 0) {
    scope.cutoffDate = compute_cutoff_date(line.startDate, static_cast<std::uint32_t>(settings.dateHorizon));
    print_line("Everything before " + std::to_string(static_cast<long>(scope.cutoffDate)) + " will be dropped ");
    drop_old_entries(tables, scope.cutoffDate, static_cast<std::uint32_t>(line.dateFormat));
  }
  update_process_file(line.inputDirectory, line.singleFile, tables, settings, scope);
  if (line.processFileInUse) write_process_file(line.processFile + suffix, tables);
  if (write_pml_file(line.outputFile + suffix, tables, settings) == 0) report_error(1304, "Error writing pml file ");
}

Outcome outcomeOfSteps(const LoaderSettings& settings, const CommandLine& line, std::int32_t level,
                       const CaseFolder& folder) {
  scan_statistics() = ScanStatistics();
  setVerbosity(level);
  Outcome outcome;
  StdoutCapture capture;
  try {
    for (std::int32_t p = 0; p < settings.numberOfPartitions; ++p) {
      runSteps(settings, line, static_cast<std::uint32_t>(p));
    }
    print_scan_statistics(scan_statistics());
  } catch (int termination) {
    outcome.status = termination == 0 ? 99 : termination;
  }
  outcome.out = capture.text();
  outcome.files = folder.workFiles();
  for (const auto& record : scan_statistics().fileRecords) outcome.statistics.push_back(*record);
  outcome.processRecords = scan_statistics().processRecords;
  return outcome;
}

Outcome literalOutcomeOfSteps(LiteralLoader& loader, const LoaderSettings& settings, const CommandLine& line,
                              const LiteralDirectory& directory) {
  Outcome outcome;
  try {
    for (std::int32_t p = 0; p < settings.numberOfPartitions; ++p) {
      loader.runPartition(line, directory, static_cast<std::uint32_t>(p));
    }
    loader.printScanStatistics();
  } catch (const LiteralTermination&) {
    outcome.status = 99;
  }
  outcome.out = loader.out;
  outcome.files = loader.files;
  outcome.statistics = loader.statistics;
  outcome.processRecords = loader.processRecords;
  return outcome;
}

/// Runs the program's entry in a child.
Outcome outcomeOfRun(const std::vector<std::string>& arguments, const CaseFolder& folder) {
  scan_statistics() = ScanStatistics();
  setVerbosity(1);
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  Outcome outcome;
  StdoutCapture capture;
  const pid_t child = ::fork();
  if (child < 0) throw std::runtime_error("no second process");
  if (child == 0) {
    const int status = run_loader(static_cast<int>(argv.size()), argv.data());
    std::fflush(stdout);
    ::_exit(status);
  }
  int state = 0;
  if (::waitpid(child, &state, 0) != child) throw std::runtime_error("the second process is lost");
  outcome.status = WIFEXITED(state) ? WEXITSTATUS(state) : -WTERMSIG(state);
  outcome.out = capture.text();
  outcome.files = folder.workFiles();
  return outcome;
}

std::vector<std::string> argumentsOf(const LoaderCase& loaderCase, const CommandLine& line) {
  std::vector<std::string> arguments = {"vesk-loader"};
  if (line.singleInput) {
    arguments.insert(arguments.end(), {"datafile", line.inputDirectory + "/" + line.singleFile});
  } else {
    if (loaderCase.modeWord) arguments.emplace_back("datadir");
    arguments.push_back(line.inputDirectory);
  }
  std::ostringstream start;
  start.precision(17);
  start << line.startDate;
  arguments.insert(arguments.end(), {line.parameterFile, line.processFile, line.outputFile,
                                     std::to_string(line.dateFormat), start.str()});
  if (loaderCase.verbosity != 1) arguments.insert(arguments.end(), {"-v", std::to_string(loaderCase.verbosity)});
  return arguments;
}

std::string escaped(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
    text += byte == '\n' ? "\\n\n" : byte >= ' ' && byte < 127 ? std::string(1, byte) : std::string(code);
  }
  return text;
}

/// Where two texts part, with what stands around.
std::string textDifference(const std::string& real, const std::string& literal) {
  const auto parted = std::mismatch(real.begin(), real.end(), literal.begin(), literal.end());
  const auto at = static_cast<std::size_t>(parted.first - real.begin());
  const std::size_t from = at > 200 ? at - 200 : 0;
  return " differs at byte " + std::to_string(at) + " of " + std::to_string(real.size()) + " and " +
         std::to_string(literal.size()) + "\n--- loader\n" + escaped(real.substr(from, 500)) + "\n--- literal\n" +
         escaped(literal.substr(from, 500)) + "\n";
}

std::string statisticsText(const std::vector<FileStatistics>& records) {
  std::ostringstream text;
  const auto list = [&text](const auto& values) {
    for (const auto& value : values) text << " " << value;
    text << ";";
  };
  for (const FileStatistics& record : records) {
    text << record.fileName << " " << record.index << ";";
    list(record.operationNames);
    text << record.operationCount << " " << record.problemsFound << " " << record.tableRun << " " << record.linesScanned
         << " " << record.linesOmitted << " " << record.date << " " << record.negativeCallers << " " << record.parsing
         << " " << record.spacing << " " << record.tableLimitCount << ";";
    list(record.firstProblemLine);
    list(record.problemLines);
    list(record.restrictedNumbers);
    list(record.conditions);
    text << "\n";
  }
  return text.str();
}

std::string difference(const Outcome& real, const Outcome& literal) {
  if (real.out != literal.out) return "standard output" + textDifference(real.out, literal.out);
  if (real.status != literal.status) {
    return "status is " + std::to_string(real.status) + ", literal " + std::to_string(literal.status);
  }
  std::set<std::string> names;
  for (const auto& [name, bytes] : real.files) names.insert(name);
  for (const auto& [name, bytes] : literal.files) names.insert(name);
  for (const std::string& name : names) {
    if (real.files.count(name) == 0) return name + " is missing";
    if (literal.files.count(name) == 0) return name + " should not be there";
    if (real.files.at(name) != literal.files.at(name)) {
      return name + textDifference(real.files.at(name), literal.files.at(name));
    }
  }
  const std::string statistics = statisticsText(real.statistics);
  const std::string literalStatistics = statisticsText(literal.statistics);
  if (statistics != literalStatistics) return "statistics" + textDifference(statistics, literalStatistics);
  if (real.processRecords != literal.processRecords) return "the number of process records differs";
  return {};
}

template <class Compare>
std::string differenceOver(const LoaderCase& loaderCase, const std::string& folderPath, Compare&& compare) {
  const CaseFolder folder(loaderCase, folderPath);
  Files files = folder.workFiles();
  for (std::size_t i = 0; i < loaderCase.runs.size(); ++i) {
    const LoaderCase::Run& run = loaderCase.runs[i];
    const LoaderSettings settings = loaderCase.settingsOf(run);
    const LiteralDirectory directory = folder.prepare(run);
    LiteralLoader loader(settings, {loaderCase.specialNumbers.begin(), loaderCase.specialNumbers.end()},
                         loaderCase.verbosity);
    loader.files = files;
    const std::string found = compare(folder, run, settings, directory, loader);
    if (!found.empty()) {
      return "run " + std::to_string(i + 1) + ": " + found + "--- settings\n" + parameterText(settings, "special");
    }
    files = loader.files;
  }
  return {};
}

}  // namespace

std::string differenceOfSteps(const LoaderCase& loaderCase, const std::string& folder) {
  return differenceOver(loaderCase, folder,
                        [&](const CaseFolder& disk, const LoaderCase::Run& run, const LoaderSettings& settings,
                            const LiteralDirectory& directory, LiteralLoader& loader) {
                          const CommandLine line = disk.commandLine(run);
                          return difference(outcomeOfSteps(settings, line, loaderCase.verbosity, disk),
                                            literalOutcomeOfSteps(loader, settings, line, directory));
                        });
}

std::string differenceOfRuns(const LoaderCase& loaderCase, const std::string& folder) {
  return differenceOver(loaderCase, folder,
                        [&](const CaseFolder& disk, const LoaderCase::Run& run, const LoaderSettings& settings,
                            const LiteralDirectory& directory, LiteralLoader& loader) {
                          const CommandLine line = disk.commandLine(run);
                          writeFile(line.parameterFile, parameterText(settings, disk.path("special")));
                          Outcome literal;
                          literal.status = loader.run(line, loaderCase.modeWord || line.singleInput, directory);
                          literal.out = loader.out;
                          literal.files = loader.files;
                          return difference(outcomeOfRun(argumentsOf(loaderCase, line), disk), literal);
                        });
}

}  // namespace vesk_loader::testing
