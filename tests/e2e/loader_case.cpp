#include "loader_case.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace vesk_e2e {

namespace {

using Names = std::vector<std::string>;

// The output must not depend on who runs the tests, nor a count of days on summer time.
void settleEnvironment() {
  for (const char* name : {"XRT_TRACEFILE", "XRT_TRACELEVEL", "XRT_TRACECOMP"}) ::unsetenv(name);
  ::setenv("TZ", "UTC", 1);
}

}  // namespace

std::string logLine(int level, const std::string& text) {
  return "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
}

std::string warningLine(int code, const std::string& text) {
  return "Warning;|" + std::to_string(code) + ";|" + text + ";|WarningEnd\n";
}

std::string errorLine(int code, const std::string& text) {
  return "Error;|" + std::to_string(code) + ";|" + text + ";|ErrorEnd\n";
}

std::string fatal(int code, const std::string& text) {
  return errorLine(code, text) +
         "\n*** ERROR in function report_error at line 41 in file loader_common\n    QUVEN Terminating\n";
}

std::string illEnd() { return logLine(2, "Ill termination of VESK loader"); }

std::string problem(const std::string& text, int line) {
  return logLine(1, text + ", line number " + std::to_string(line) + "\n");
}

LoaderCase::LoaderCase() {
  settleEnvironment();
  std::filesystem::create_directory(folder / "in");
}

void LoaderCase::parameters(const std::string& statements) {
  words = ParameterWords(statements);
  writeFile("fmt", words.file());
}

void LoaderCase::records(const std::string& name, const Names& lines) const {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  writeFile("in/" + name, text);
}

void LoaderCase::writeFile(const std::string& name, const std::string& bytes) const {
  std::ofstream file(path(name), std::ios::binary);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + path(name));
}

void LoaderCase::writeNumbers(const std::string& name, const std::vector<double>& numbers,
                              const std::string& tail) const {
  std::string bytes(numbers.size() * sizeof(double), '\0');
  if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
  writeFile(name, bytes + tail);
}

void LoaderCase::run() {
  Names arguments = input;
  for (const std::string& word : {std::string("fmt"), processFile, outputFile, dateFormat}) arguments.push_back(word);
  if (!startDate.empty()) arguments.push_back(startDate);
  if (!verbosity.empty()) arguments.insert(arguments.end(), {"-v", verbosity});
  runWith(arguments);
}

void LoaderCase::runWith(const Names& arguments) {
  result = runProgram("vesk-loader", arguments, folder.string(), limits);
}

ProgramRun LoaderCase::runOther(const std::string& program, const Names& arguments) const {
  return runProgram(program, arguments, folder.string(), limits);
}

void LoaderCase::expectRun(int status, const std::string& out) const {
  EXPECT_EQ(result.out, out);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.status, status);
}

void LoaderCase::expectCompleteRun(const std::string& scans, int recordCount, const std::string& statisticsText) const {
  expectRun(0,
            head() + opened() + listed(namesAsListed()) + scans + written(recordCount) + statisticsText + completed());
}

std::string LoaderCase::headBeforeSettings() const {
  std::string text = logLine(0, "vesk-loader version is 2.0.6");
  if (input[0] == "datadir") text += "using input directory " + input[1] + "\n";
  if (input[0] == "datafile") text += "using single cdr file input " + input[1] + "\n";
  text += logLine(0, ">>> VESK loader: starting read_input_file_format: reading input file fmt");
  text += logLine(0, ">>> VESK loader: read input file format done.");
  if (!words.isBinary()) {
    text += warningLine(1000, "only BINARY format is supported by GA and DA, use other formats for debug only!");
  }
  return text;
}

std::string LoaderCase::head() const {
  return headBeforeSettings() +
         logLine(2, words.settingsBeforeProcessFile() +
                        (processFile == "none" ? "No process file will be used.\n" : "") + words.settingsOfDates() +
                        "Start Date " + startDate + "\nVerbosity level " + (verbosity.empty() ? "1" : verbosity) +
                        "\n" + words.settingsOfOperations());
}

std::string LoaderCase::nameOf(const std::string& name, int partition) const {
  return words.partitions() == 1 ? name : name + "." + std::to_string(partition);
}

std::string LoaderCase::opened(int partition) const {
  const std::string start = "--- VESK loader: Starting partition " + std::to_string(partition) + "\n";
  return (words.partitions() > 1 ? start : "") + processFile +
         "\ncurrent output file full name = " + nameOf(outputFile, partition) + "\n";
}

std::string LoaderCase::processFileMissing(int partition) const {
  return logLine(0, ">>> VESK loader: starting read_process_file, file = " + nameOf(processFile, partition)) +
         "Process file does not present, so creating a new one...\n";
}

std::string LoaderCase::processFileRead(int partition, const std::string& warnings) const {
  return logLine(0, ">>> VESK loader: starting read_process_file, file = " + nameOf(processFile, partition)) +
         warnings + logLine(0, ">>> VESK loader: read process file is done.");
}

std::string LoaderCase::processFileWritten(int recordCount, int partition) const {
  return logLine(0, ">>> VESK loader: starting write_process_file, file = " + nameOf(processFile, partition)) +
         logLine(
             0, ">>> VESK loader: Writing process file done, " + std::to_string(recordCount) + " records are written.");
}

std::string LoaderCase::listed(const Names& names) const {
  std::string text = logLine(0, ">>> VESK loader: update_process_file ");
  for (const std::string& name : names) text += name + "\n";
  return text;
}

Names LoaderCase::namesAsListed() const {
  Names names;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "in")) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

std::string LoaderCase::scanBegins(const std::string& name, int partition) const {
  const std::string file = "in/" + name;
  return "Processing " + file + "\n" + logLine(0, ">>> VESK loader: staring update_map, file = " + file) +
         logLine(1, ">>> VESK loader: updating map, file = " + file + ", partition = " + std::to_string(partition));
}

std::string LoaderCase::scanned(const std::string& name, int lines, int length, const std::string& problems,
                                int partition) const {
  return scanBegins(name, partition) +
         (lines > 0 ? logLine(1, "Line length = " + std::to_string(length)) : std::string()) + problems +
         logLine(1, "cdr file scan completed: " + std::to_string(lines) +
                        " lines are scanned\n>>> VESK loader: update map is done.");
}

std::string LoaderCase::writingBegins(int partition) const {
  return logLine(0, ">>> VESK loader: starting write_pml_file, file = " + nameOf(outputFile, partition));
}

std::string LoaderCase::written(int recordCount, int partition) const {
  const std::string info = nameOf(outputFile, partition) + ".info\n";
  return writingBegins(partition) +
         logLine(1, ">>> VESK loader: Writing output file \n" +
                        (words.isBinary() ? "Writing .info file." + info + "Writing .info file is done." + info
                                          : std::string()) +
                        ">>> VESK loader: Writing output file is done. " + std::to_string(recordCount) +
                        "records are written into the .bin file.") +
         logLine(0, ">>> VESK loader: write_pml_file is done");
}

std::string LoaderCase::statistics(const std::string& name, int lines) const {
  return logLine(1,
                 "Stats for file: in/" + name + "\n" + std::to_string(lines) + " lines scanned, no problem found \n");
}

std::string LoaderCase::statistics(const std::string& name, int lines, const Omitted& omitted,
                                   const std::string& operations) const {
  const std::string count = std::to_string(omitted.date + omitted.negative + omitted.parsing + omitted.spacing);
  return warningLine(1372, count + ";|Warning: The total omitted lines count is " + count) +
         logLine(1, "Stats for file: in/" + name + "\n" + std::to_string(lines) + " lines are scanned, " + count +
                        " omitted (" + std::to_string(omitted.date) + " date, " + std::to_string(omitted.negative) +
                        " negative callers, " + std::to_string(omitted.parsing) + " parsing, " +
                        std::to_string(omitted.spacing) + " space in the middle)\n" + operations);
}

std::string LoaderCase::content(const std::string& name) const {
  std::ifstream file(path(name), std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path(name));
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<double> LoaderCase::numbers(const std::string& name) const {
  const std::string bytes = content(name);
  if (bytes.size() % sizeof(double) != 0) throw std::runtime_error(name + " holds no whole numbers");
  std::vector<double> values(bytes.size() / sizeof(double));
  if (!values.empty()) std::memcpy(values.data(), bytes.data(), bytes.size());
  return values;
}

Names LoaderCase::files() const {
  Names names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string name = std::filesystem::relative(entry.path(), folder).string();
    if (!entry.is_directory() && name != "fmt" && name.rfind("in/", 0) != 0) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace vesk_e2e
