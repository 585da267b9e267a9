#ifndef TESTS_LOADER_FIXTURE_H
#define TESTS_LOADER_FIXTURE_H

// The small language of the loader's tests: files of doubles, settings, and captured steps.

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "loader_common.h"
#include "loader_settings.h"
#include "loader_tables.h"
#include "support/captured_run.h"
#include "support/temporary_folder.h"

namespace vesk_loader::testing {

using Doubles = std::vector<double>;

/// What every terminating error prints behind its line.
inline const std::string terminationReport =
    "\n*** ERROR in function report_error at line 41 in file loader_common\n    QUVEN Terminating\n";

/// An error line with the report of the termination.
inline std::string errorLine(int code, const std::string& text) {
  return "Error;|" + std::to_string(code) + ";|" + text + ";|ErrorEnd\n" + terminationReport;
}
inline std::string logLine(int level, const std::string& text) {
  return "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
}
inline std::string warningLine(int code, const std::string& text) {
  return "Warning;|" + std::to_string(code) + ";|" + text + ";|WarningEnd\n";
}

/// A folder of the test's own, with files of doubles.
class LoaderFolder : public TemporaryFolder {
 public:
  std::string writeDoubles(const std::string& name, const Doubles& numbers) const {
    return write(name, std::string(reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)));
  }
  Doubles readDoubles(const std::string& name) const {
    const std::string bytes = read(name);
    Doubles numbers(bytes.size() / sizeof(double));
    if (!numbers.empty()) std::memcpy(numbers.data(), bytes.data(), numbers.size() * sizeof(double));
    EXPECT_EQ(bytes.size() % sizeof(double), 0U);
    return numbers;
  }
};

/// Every test starts with fresh statistics and the default verbosity.
class LoaderTest : public ::testing::Test {
 protected:
  LoaderTest() {
    scan_statistics() = ScanStatistics();
    setVerbosity(1);
  }

  LoaderFolder folder;
};

/// Fields of four columns each: caller 0-3, callee 4-7, date or number 8-15, number 16-19.
inline LoaderSettings plainSettings() {
  LoaderSettings settings;
  settings.fieldNames = {"Caller", "Callee", "Date", "Number"};
  settings.fieldTypes = {"Numeric", "Numeric", "Numeric", "Numeric"};
  settings.fieldStarts = {0, 4, 8, 16};
  settings.fieldEnds = {3, 7, 15, 19};
  settings.keyField = 0;
  settings.sparse = 1;
  return settings;
}

inline void addOperation(LoaderSettings& settings, const std::string& name, int input, int output = -1,
                         const std::string& condition = "NoCondition", double threshold = -1.0) {
  settings.operationNames.push_back(name);
  settings.operationInputs.push_back(input);
  settings.operationOutputs.push_back(output);
  settings.operationConditions.push_back(condition);
  settings.operationThresholds.push_back(threshold);
  if (name == "PairSum") settings.pairSumFlag = 1;
}

inline LoaderSettings tableSettings(int size) {
  LoaderSettings settings = plainSettings();
  settings.cyclicTableSize = size;
  addOperation(settings, "CyclicAdd", 1);
  return settings;
}

inline LoaderSettings pairSumSettings() {
  LoaderSettings settings = plainSettings();
  addOperation(settings, "PairSum", 1, 0);
  return settings;
}

/// A line of plainSettings.
inline std::string record(const std::string& caller, const std::string& callee, const std::string& date = "20200101",
                          const std::string& number = "1") {
  const auto column = [](const std::string& text, std::size_t width) {
    return std::string(width > text.size() ? width - text.size() : 0, ' ') + text;
  };
  return column(caller, 4) + column(callee, 4) + column(date, 8) + column(number, 4) + "\n";
}

/// The row of a key, empty if there is no such key.
inline RowColumns rowOf(LoaderTables& tables, double key) {
  RowColumns columns;
  const std::uint32_t row = tables.keys->findOrInsert(key);
  tables.keys->removeRepeats(row);
  tables.keys->read(row, columns);
  return columns;
}

}  // namespace vesk_loader::testing

#endif  // TESTS_LOADER_FIXTURE_H
