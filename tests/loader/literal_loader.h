#ifndef TESTS_LOADER_LITERAL_LOADER_H
#define TESTS_LOADER_LITERAL_LOADER_H

// A second loader, slow and literal: maps, strings and atof, no block, no plan, no arena. The tests compare the loader
// with it, byte by byte. It touches no disk: files are strings in a map, standard output is a string.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "loader_common.h"
#include "loader_settings.h"
#include "record_scan.h"

namespace vesk_loader::testing {

/// Thrown behind the termination report of an error line.
struct LiteralTermination {};

/// A failed read or write inside a step.
struct LiteralFailure {};

/// Ascending, a NaN behind every number: a NaN is one callee like any other.
struct LiteralOrder {
  bool operator()(double left, double right) const;
};

using LiteralRow = std::vector<double>;
using LiteralRows = std::map<double, LiteralRow, LiteralOrder>;

struct LiteralTables {
  LiteralRows keys;
  LiteralRows dates;
  std::map<double, std::vector<LiteralRow>, LiteralOrder> payloads;
  std::map<double, std::map<double, double, LiteralOrder>, LiteralOrder> pairs;
};

/// A directory of record files in the order of the system.
struct LiteralDirectory {
  struct Entry {
    std::string name;
    std::optional<std::string> bytes;  ///< nothing: the entry cannot be opened, it is a directory
  };
  std::string path;
  bool exists = true;
  std::vector<Entry> entries;
};

/// One run. The steps have the names and results of the loader's own; an error throws LiteralTermination.
class LiteralLoader {
 public:
  LiteralLoader(LoaderSettings theSettings, std::set<double> theSpecialNumbers, std::int32_t theVerbosity);

  /// The run behind the parameter file: the log of the settings, their checks, every partition, the statistics.
  /// Returns the status of the process, 0 or 99. `modeWord` tells whether "datadir" or "datafile" was given.
  int run(const CommandLine& line, bool modeWord, const LiteralDirectory& directory);

  void runPartition(const CommandLine& line, const LiteralDirectory& directory, std::uint32_t partition);
  bool readProcessFile(const std::string& fileName);
  void dropOldEntries(double cutoffDate, std::int32_t dateFormat);
  void updateProcessFile(const LiteralDirectory& directory, const std::string& singleFile, const ScanScope& scope);
  void updateMap(const std::string& path, const std::optional<std::string>& bytes, ScanScope scope);
  void writeProcessFile(const std::string& fileName);
  bool writePmlFile(const std::string& stem);
  void printScanStatistics();

  std::map<std::string, std::string> files;  ///< process files and output files by name
  std::string out;                           ///< what standard output holds
  std::vector<FileStatistics> statistics;
  std::uint32_t processRecords = 0;
  LiteralTables tables;

 private:
  struct Line;
  struct OutputStep;

  void log(std::int32_t level, const std::string& text);
  void warn(std::int32_t code, const std::string& text);
  void print(const std::string& text);
  [[noreturn]] void error(std::int32_t code, const std::string& text);
  template <class Body>
  void guarded(std::int32_t code, const std::string& text, Body&& body);

  void logSettings(const CommandLine& line);
  void checkSettings();

  void problem(Problem type, std::uint32_t line, std::int32_t operation);
  bool listDirectory(const LiteralDirectory& directory, const std::string& filter,
                     std::vector<const LiteralDirectory::Entry*>& entries);
  void scanLines(const std::string& path, const std::string& bytes, const ScanScope& scope, std::uint32_t& count);
  void scanLine(const Line& line, const ScanScope& scope);
  bool splitFixedFields(const std::string& text, std::vector<std::string>& fields) const;
  std::int32_t multiplicityOf(const Line& line) const;
  void tableOperations(const Line& line, std::int32_t multiplicity);
  void plainOperations(const Line& line, std::int32_t multiplicity);
  void insert(const Line& line, double key, double value, std::int32_t multiplicity);
  void removeCallee(double key, double callee);
  void removeEntry(double key, std::size_t entry);
  void makeDistinct(double key);

  void readRecord(const std::string& bytes, std::size_t& position, double key, long record);
  void writeRows(OutputStep& step);
  void writeBinary(OutputStep& step, double key, const LiteralRow& row);
  void writeXML(std::string& file, double key, const LiteralRow& row);
  void writeCSV(std::string& file, double key, const LiteralRow& row);
  void writeInfo(OutputStep& step);
  bool isTableRun() const { return settings.cyclicTableSize > 0; }

  LoaderSettings settings;
  std::set<double> specialNumbers;
  std::int32_t verbosityLevel;
};

// The single rules, for tests with results by hand.
std::uint32_t literalPartitionOfKey(std::uint64_t key, std::uint32_t partitions);
std::uint64_t literalUnsigned(double value);
bool literalDateIsBefore(double date, double reference, std::int32_t dateFormat);
double literalCutoffDate(double startDate, std::uint32_t horizonDays);
bool literalCondition(const std::string& condition, double value, double threshold);

/// Bubble sort, ascending; gives the permutation of the elements.
std::vector<std::size_t> literalSort(LiteralRow& row);

}  // namespace vesk_loader::testing

#endif  // TESTS_LOADER_LITERAL_LOADER_H
