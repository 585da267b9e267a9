#ifndef VESK_TESTS_LOADER_CASE_H
#define VESK_TESTS_LOADER_CASE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "parameter_words.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace vesk_e2e {

// The report lines, each with its line break.

std::string logLine(int level, const std::string& text);
std::string warningLine(int code, const std::string& text);
std::string errorLine(int code, const std::string& text);

/// An error that terminates: its line and the report of the termination.
std::string fatal(int code, const std::string& text);

/// What follows the last error of a run that ends with status 99.
std::string illEnd();

/// The log line of one problem line at the default verbosity.
std::string problem(const std::string& text, int line);

// The cases of this folder provoke every code and text of the loader but these:
//
//   1001 (all texts)     reports of defects in the loader's own calls
//   1106 (code should not got here), 1150 (Error while reading input format file), 1301, 1302, 1303
//                        second lines of defence: the settings are tested before the output is begun, and the steps
//                        end well or raise an error
//   1300, 1324           nothing but memory can fail in these steps; for memory they have 1360 and 1311
//   FindNextFile error   needs a directory whose listing breaks off midway
//   Unknown              the output form of the settings; another tag value is refused with 1175

/// A folder of its own with the directory "in" of record files, in which the programs are run.
///
/// The expected standard output of a loader run is put together from the pieces of its steps. Arguments and parameter
/// file are said before: parameters(...), then the members below if their values do not do.
class LoaderCase : public ::testing::Test {
 protected:
  LoaderCase();

  // What a run is made of.

  /// Writes the parameter file "fmt".
  void parameters(const std::string& statements);
  /// Writes lines, each with its line feed, to a file of the record directory.
  void records(const std::string& name, const std::vector<std::string>& lines) const;
  void writeFile(const std::string& name, const std::string& bytes) const;
  void writeNumbers(const std::string& name, const std::vector<double>& numbers, const std::string& tail = "") const;

  ParameterWords words{""};
  std::vector<std::string> input{"in"};  ///< with or without mode word
  std::string processFile = "none";
  std::string outputFile = "out";
  std::string dateFormat = "0";
  std::string startDate = "20120302";  ///< empty: left to the clock
  std::string verbosity;               ///< empty: no -v
  ProgramLimits limits;

  /// Runs the loader with these arguments, or with any others.
  void run();
  void runWith(const std::vector<std::string>& arguments);
  /// Another program, with the same limits.
  ProgramRun runOther(const std::string& program, const std::vector<std::string>& arguments) const;

  ProgramRun result;

  // What it must have done.

  /// Checks the exit status and all of standard output and standard error.
  void expectRun(int status, const std::string& out) const;

  /// A complete run over one sound file in one partition without process file.
  void expectCompleteRun(const std::string& scans, int recordCount, const std::string& statistics) const;

  /// From the version to the settings.
  std::string head() const;
  std::string headBeforeSettings() const;
  /// The first lines of a partition.
  std::string opened(int partition = 0) const;
  std::string processFileMissing(int partition = 0) const;
  std::string processFileRead(int partition = 0, const std::string& warnings = "") const;
  std::string processFileWritten(int recordCount, int partition = 0) const;
  std::string listed(const std::vector<std::string>& names) const;
  /// The names of the record directory in the order of the system.
  std::vector<std::string> namesAsListed() const;
  /// A file that is read to its end; `length` is that of its first line.
  std::string scanned(const std::string& name, int lines, int length, const std::string& problems = "",
                      int partition = 0) const;
  std::string scanBegins(const std::string& name, int partition = 0) const;
  std::string written(int recordCount, int partition = 0) const;
  std::string writingBegins(int partition = 0) const;
  std::string statistics(const std::string& name, int lines) const;
  struct Omitted {
    int date = 0;
    int negative = 0;
    int parsing = 0;
    int spacing = 0;
  };
  /// `operations` is the text behind the first two lines.
  std::string statistics(const std::string& name, int lines, const Omitted& omitted,
                         const std::string& operations) const;
  static std::string noProblems(int operation) {
    return "  operation " + std::to_string(operation) + ": 0 problem cdrs, 0 restricted numbers ";
  }
  static std::string completed() { return logLine(0, "VESK loader completed succesfully."); }

  // What is on disk.

  std::string path(const std::string& name) const { return (folder / name).string(); }
  bool exists(const std::string& name) const { return std::filesystem::exists(folder / name); }
  std::string content(const std::string& name) const;
  std::vector<double> numbers(const std::string& name) const;
  /// All the files but the parameter file "fmt" and the record files, sorted.
  std::vector<std::string> files() const;

 private:
  std::string nameOf(const std::string& name, int partition) const;

  TemporaryFolder ownFolder;
  std::filesystem::path folder = ownFolder.path();
};

}  // namespace vesk_e2e

#endif  // VESK_TESTS_LOADER_CASE_H
