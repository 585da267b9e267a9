#include "record_scan.h"

#include <limits>

#include "control/quven_partition.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

class RecordScan : public LoaderTest {
 protected:
  // Scans lines as one file, into new tables the first time.
  CapturedRun scan(const std::string& lines) {
    folder.write("in/calls", lines);
    if (tables.keys == nullptr) tables = LoaderTables::create(settings);
    return capturedRun([&] { update_map(path, tables, settings, scope); });
  }
  std::string start() {
    return logLine(0, ">>> VESK loader: staring update_map, file = " + path) +
           logLine(
               1, ">>> VESK loader: updating map, file = " + path + ", partition = " + std::to_string(scope.partition));
  }
  static std::string lineLength(int length) { return logLine(1, "Line length = " + std::to_string(length)); }
  static std::string end(int lines) {
    return logLine(1, "cdr file scan completed: " + std::to_string(lines) +
                          " lines are scanned\n>>> VESK loader: update map is done.");
  }
  static std::string failed(int line) {
    const std::string number = std::to_string(line);
    return errorLine(1351, number + ";|update map: Unexpected error occured: last line read = " + number);
  }
  Doubles row(double key) { return rowOf(tables, key).values; }
  const FileStatistics& statistics() { return scan_statistics().current(); }
  double weight(double caller, double callee) {
    const std::uint32_t number = tables.keys->findOrInsert(caller);
    return tables.pairs->weight(number, callee, PairSumTable::hash(number, callee));
  }

  LoaderSettings settings = tableSettings(3);
  ScanScope scope{0.0, 2, 0, 1};
  LoaderTables tables;
  std::string path = folder.path("in/calls");
};

TEST_F(RecordScan, SaysWhatItDoes) {
  const CapturedRun run = scan(record("1", "2") + record("1", "3"));
  EXPECT_EQ(run.out, start() + lineLength(20) + end(2));
  EXPECT_EQ(row(1), (Doubles{2, 3}));
  EXPECT_EQ(statistics().linesScanned, 2U);
  EXPECT_EQ(statistics().fileName, path);
  EXPECT_TRUE(statistics().tableRun);
}

TEST_F(RecordScan, RepeatsTheLineLengthUntilItIsNotZero) {
  setVerbosity(0);
  EXPECT_EQ(scan("\n\n" + record("1", "2") + "x\n").out,
            start() + lineLength(0) + lineLength(0) + lineLength(20) + end(4));
}

TEST_F(RecordScan, DropsALastLineWithoutALineFeed) {
  std::string last = record("1", "3");
  last.pop_back();
  EXPECT_EQ(scan(record("1", "2") + last).out, start() + lineLength(20) + end(1));
  EXPECT_EQ(row(1), (Doubles{2}));
}

TEST_F(RecordScan, LetsTheOldestEntryFallOut) {
  scan(record("1", "1") + record("1", "2") + record("1", "3") + record("1", "4"));
  EXPECT_EQ(row(1), (Doubles{2, 3, 4}));
}

TEST_F(RecordScan, AppendsAsOftenAsTheMultiplicityField) {
  settings.multiplicityField = 3;
  scan(record("1", "5", "20200101", "2") + record("2", "6", "20200101", "0") + record("3", "7", "20200101", "-3") +
       record("4", "8", "20200101", "1000") + record("5", "9", "20200101", "x"));
  EXPECT_EQ(row(1), (Doubles{5, 5}));
  EXPECT_EQ(row(2), (Doubles{6}));
  EXPECT_EQ(row(3), (Doubles{7}));
  EXPECT_EQ(row(4), (Doubles{8, 8, 8}));
  EXPECT_EQ(row(5), (Doubles{9}));
}

TEST_F(RecordScan, TakesNoMultiplicityFromTheVeryFirstField) {
  settings.multiplicityField = 0;
  scan(record("3", "5"));
  EXPECT_EQ(row(3), (Doubles{5}));
}

TEST_F(RecordScan, StoresDatesAndPayloads) {
  settings.dateField = 2;
  settings.payloadInputs = {3, 2};
  scan(record("1", "5", "20200102", "77"));
  const RowColumns columns = rowOf(tables, 1);
  EXPECT_EQ(columns.dates, (Doubles{20200102}));
  EXPECT_EQ(columns.payloads, (std::vector<Doubles>{{77}, {20200102}}));
}

TEST_F(RecordScan, CarriesOutEveryCyclicAddInOrder) {
  addOperation(settings, "CyclicAdd", 3);
  settings.payloadInputs = {2};
  scan(record("1", "5", "20200102", "77"));
  EXPECT_EQ(row(1), (Doubles{5, 77}));
  EXPECT_EQ(rowOf(tables, 1).payloads, (std::vector<Doubles>{{20200102, 20200102}}));
}

TEST_F(RecordScan, MakesNoRowIfTheConditionOfATableFails) {
  settings.operationConditions = {"GT"};
  settings.operationThresholds = {5};
  scan(record("1", "5") + record("2", "6"));
  EXPECT_EQ(tables.keys->size(), 1U);
  EXPECT_EQ(row(2), (Doubles{6}));
  EXPECT_FALSE(statistics().problemsFound);
}

struct ConditionCase {
  const char* name;
  Doubles passing;  // of the callees 4, 5 and 6 against the threshold 5
};

TEST_F(RecordScan, TestsEveryCondition) {
  for (const auto& [name, passing] : std::initializer_list<ConditionCase>{{"EQ", {5}},
                                                                          {"LE", {4, 5}},
                                                                          {"GE", {5, 6}},
                                                                          {"GT", {6}},
                                                                          {"LT", {4}},
                                                                          {"NoCondition", {4, 5, 6}},
                                                                          {"eq", {4, 5, 6}}}) {
    settings.operationConditions = {name};
    settings.operationThresholds = {5};
    tables = LoaderTables();
    scan(record("1", "4") + record("1", "5") + record("1", "6"));
    EXPECT_EQ(row(1), passing) << name;
  }
}

TEST_F(RecordScan, RestrictsAndExcludesByTheSpecialList) {
  settings.specialList.assign({5, 6});
  settings.specialListFilter = SpecialListFilter::Restrict;
  const std::string lines = record("1", "4") + record("1", "5");
  EXPECT_EQ(scan(lines).out, start() + lineLength(20) + end(2));
  EXPECT_EQ(row(1), (Doubles{5}));
  EXPECT_EQ(statistics().restrictedNumbers, (std::vector<std::int32_t>{1}));
  EXPECT_EQ(statistics().linesOmitted, 0U);
  settings.specialListFilter = SpecialListFilter::Exclude;
  tables = LoaderTables();
  scan(lines);
  EXPECT_EQ(row(1), (Doubles{4}));
}

TEST_F(RecordScan, FiltersEachOperationOfALineByItself) {
  addOperation(settings, "CyclicAdd", 3);
  settings.specialList.assign({77});
  settings.specialListFilter = SpecialListFilter::Restrict;
  scan(record("1", "5", "20200102", "77"));
  EXPECT_EQ(row(1), (Doubles{77}));
  EXPECT_EQ(statistics().restrictedNumbers, (std::vector<std::int32_t>{1, 0}));
}

TEST_F(RecordScan, CountsBadLinesByCause) {
  scope.cutoffDate = 20200203;  // 2 March
  settings.dateField = 2;
  const CapturedRun run = scan(record("1", "2", "20200302") +    // line 1: good
                               "   1\n" +                        // 2: ends before the date's first column
                               record("1", "  ", "20200302") +   // 3: a blank field
                               record("1 1", "2", "20200302") +  // 4: a separator inside
                               record("1", "2", "20200214") +    // 5: 14 February
                               record("0", "2", "20200302") +    // 6
                               record("-5", "2", "20200302") +   // 7
                               record("abc", "2", "20200302") +  // 8
                               record(".9", "2", "20200302") +   // 9
                               record("nan", "2", "20200302") +  // 10
                               record("1,", "3", "20200302"));   // 11: padding
  std::string problems;
  for (const auto& [line, text] : std::initializer_list<std::pair<int, const char*>>{{2, "parsing problems"},
                                                                                     {3, "spacing problems"},
                                                                                     {4, "spacing problems"},
                                                                                     {6, "negative caller ID"},
                                                                                     {7, "negative caller ID"},
                                                                                     {8, "negative caller ID"},
                                                                                     {9, "negative caller ID"},
                                                                                     {10, "negative caller ID"}}) {
    problems += logLine(1, std::string(text) + ", line number " + std::to_string(line) + "\n");
  }
  EXPECT_EQ(run.out, start() + lineLength(20) + problems + end(11));
  EXPECT_EQ(row(1), (Doubles{2, 3}));
  EXPECT_EQ(statistics().parsing, 1U);
  EXPECT_EQ(statistics().spacing, 2U);
  EXPECT_EQ(statistics().date, 1U);
  EXPECT_EQ(statistics().negativeCallers, 5U);
  EXPECT_EQ(statistics().linesOmitted, 9U);
}

TEST_F(RecordScan, TestsFieldsThatNoOperationUses) {
  scan(record("1", "2", "20200302", " ") + record("1", "2", "2020 302"));
  EXPECT_EQ(statistics().spacing, 2U);
}

TEST_F(RecordScan, ShortensAFieldInWhichTheLineEnds) {
  scan("   1   2202001017\n");
  EXPECT_EQ(row(1), (Doubles{2}));
}

TEST_F(RecordScan, TestsNoDatesWithoutADateFieldOrFormat) {
  scope.cutoffDate = 20200302;
  scan(record("1", "2", "19990101"));
  EXPECT_EQ(row(1), (Doubles{2}));
  settings.dateField = 2;
  scope.dateFormat = 0;
  tables = LoaderTables();
  scan(record("1", "2", "19990101"));
  EXPECT_EQ(row(1), (Doubles{2}));
}

TEST_F(RecordScan, TakesInfinityForACaller) {
  scan(record("inf", "2"));
  EXPECT_EQ(row(std::numeric_limits<double>::infinity()), (Doubles{2}));
}

TEST_F(RecordScan, AddsAndCountsByPosition) {
  settings = plainSettings();
  settings.multiplicityField = 3;
  addOperation(settings, "Add", 1, 2);
  addOperation(settings, "Count", 1, 0, "GE", 50);
  addOperation(settings, "CyclicAdd", 1);
  scan(record("1", "40", "20200101", "3") + record("1", "50", "20200101", "4"));
  EXPECT_EQ(row(1), (Doubles{4, 0, 90}));  // the multiplicity plays no part in Add
  EXPECT_FALSE(statistics().tableRun);
}

// A sum of 1e16 swallows a 1, and a sum of ones does not: another order of the additions gives another sum.
TEST_F(RecordScan, AddsTwoFieldsToOneSumInTheOrderOfTheRecords) {
  settings = plainSettings();
  addOperation(settings, "Add", 1, 2);
  addOperation(settings, "Add", 3, 2, "GT", 0);
  std::string lines;
  double byRecord = 0.0;
  double byOperation = 3.0;
  for (int i = 0; i < 3; ++i) {
    lines += record("1", "1", "20200101", "1e16");
    byRecord += 1.0;
    byRecord += 1e16;
    byOperation += 1e16;
  }
  scan(lines);
  EXPECT_EQ(row(1), (Doubles{0, 0, byRecord}));
  EXPECT_NE(byRecord, byOperation);
}

TEST_F(RecordScan, CountsWithoutAnyValue) {
  settings = plainSettings();
  settings.multiplicityField = 3;
  addOperation(settings, "Count", 1, 1);
  std::string lines;
  for (int i = 0; i < 1000; ++i) lines += record(std::to_string(1 + i % 7), "40", "20200101", "2");
  scan(lines);
  EXPECT_EQ(row(1), (Doubles{0, 286}));
  EXPECT_EQ(row(7), (Doubles{0, 284}));
}

TEST_F(RecordScan, MakesTheRowOfAPlainRunBeforeTheCondition) {
  settings = plainSettings();
  addOperation(settings, "Add", 1, 2, "GT", 1000);
  scan(record("1", "40"));
  EXPECT_EQ(row(1), (Doubles{0, 0, 0}));
}

TEST_F(RecordScan, MakesNoRowWithoutAnOperation) {
  settings = plainSettings();
  addOperation(settings, "CyclicAdd", 1);
  EXPECT_EQ(scan(record("1", "40") + record("0", "40")).out,
            start() + lineLength(20) + logLine(1, "negative caller ID, line number 2\n") + end(2));
  EXPECT_EQ(tables.keys->size(), 0U);
}

TEST_F(RecordScan, DoesNotLimitTheMultiplicityOfAPlainRun) {
  settings = plainSettings();
  settings.multiplicityField = 3;
  addOperation(settings, "Count", 1, 0);
  scan(record("1", "40", "20200101", "9999"));
  EXPECT_EQ(row(1), (Doubles{9999}));
}

TEST_F(RecordScan, SumsPairs) {
  settings = pairSumSettings();
  settings.multiplicityField = 3;
  scan(record("1", "5", "20200101", "2") + record("1", "6", "20200101", "1") + record("1", "5", "20200101", "3"));
  EXPECT_EQ(weight(1, 5), 5);
  EXPECT_EQ(weight(1, 6), 1);
  EXPECT_EQ(tables.pairs->size(), 2U);
}

TEST_F(RecordScan, MakesNoPairIfTheConditionFailsButKeepsTheCaller) {
  settings = pairSumSettings();
  settings.operationConditions = {"LT"};
  settings.operationThresholds = {5};
  scan(record("1", "5") + record("2", "4"));
  EXPECT_EQ(tables.keys->size(), 2U);
  EXPECT_EQ(tables.pairs->size(), 1U);
}

TEST_F(RecordScan, RefusesADateFieldWithoutATable) {
  settings = plainSettings();
  settings.dateField = 2;
  addOperation(settings, "Count", 1, 0);
  const CapturedRun run = scan(record("1", "5"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(
      run.out,
      start() +
          errorLine(1350, "update map: loader does not support date field in non table operations (fix ldr file)") +
          failed(0));
}

TEST_F(RecordScan, WarnsAboutAFileThatCannotBeOpened) {
  tables = LoaderTables::create(settings);
  const CapturedRun run = capturedRun([&] { update_map(folder.path("nothing"), tables, settings, scope); });
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: staring update_map, file = " + folder.path("nothing")) +
                         warningLine(1000, "update_map: cannot open file " + folder.path("nothing") + ", ignoring"));
  EXPECT_TRUE(scan_statistics().fileRecords.empty());
}

TEST_F(RecordScan, EndsAtALineOf10000Characters) {
  const CapturedRun run = scan(record("1", "2") + std::string(10000, '1') + "\n" + record("1", "3"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out,
            start() + lineLength(20) + logLine(2, "Vesk Loader, update_map: reading failure in line 3") + failed(3));
}

TEST_F(RecordScan, FailsAtTheFirstLineIfASettingNamesNoField) {
  const LoaderSettings good = settings;
  const auto fails = [&](auto change) {
    settings = good;
    settings.cyclicTableSize = 3;
    change(settings);
    tables = LoaderTables();
    const CapturedRun run = scan(record("1", "2"));
    EXPECT_EQ(run.out, start() + lineLength(20) + failed(1));
  };
  fails([](LoaderSettings& s) { s.keyField = 4; });
  fails([](LoaderSettings& s) { s.keyField = -3; });
  fails([](LoaderSettings& s) { s.dateField = 4; });
  fails([](LoaderSettings& s) { s.multiplicityField = 4; });
  fails([](LoaderSettings& s) { s.operationInputs = {4}; });
  fails([](LoaderSettings& s) { s.operationInputs = {-1}; });
  fails([](LoaderSettings& s) { s.payloadInputs = {4}; });
  scope.partitions = 2;
  fails([](LoaderSettings& s) { s.keyField = 4; });
  scope.partitions = 1;
  fails([](LoaderSettings& s) { s.fieldStarts.clear(), s.fieldEnds.clear(); });
}

TEST_F(RecordScan, SplitsTheKeysOverThePartitions) {
  std::string lines;
  for (int key = 1; key <= 60; ++key) lines += record(std::to_string(key), "5");
  scope.partitions = 3;
  std::uint32_t total = 0;
  for (scope.partition = 0; scope.partition < 3; ++scope.partition) {
    tables = LoaderTables();
    EXPECT_EQ(scan(lines).out, start() + lineLength(20) + end(60));
    for (std::uint32_t i = 0; i < tables.keys->size(); ++i) {
      EXPECT_EQ(partition_of_key(static_cast<std::uint64_t>(tables.keys->key(i)), 3), scope.partition);
    }
    total += tables.keys->size();
    EXPECT_EQ(statistics().linesScanned, 60U);
    EXPECT_EQ(statistics().linesOmitted, 0U);
  }
  EXPECT_EQ(total, 60U);
}

TEST_F(RecordScan, GivesALineWithoutAKeyToPartition0) {
  settings.keyField = 3;
  scope.partitions = 2;
  for (scope.partition = 0; scope.partition < 2; ++scope.partition) {
    tables = LoaderTables();
    scan("   1   2\n");
    EXPECT_EQ(statistics().parsing, scope.partition == 0 ? 1U : 0U);
  }
}

// A key beyond the last field used to end the run at a line that was given up before any key was needed.
TEST_F(RecordScan, GivesALineThatCannotBeCutToPartition0EvenIfTheKeyIsNoField) {
  settings.keyField = 4;
  scope.partitions = 2;
  for (scope.partition = 0; scope.partition < 2; ++scope.partition) {
    tables = LoaderTables();
    EXPECT_FALSE(scan("   1   2\n").threwLibraryException);
    EXPECT_EQ(statistics().parsing, scope.partition == 0 ? 1U : 0U);
  }
}

TEST_F(RecordScan, GivesALineThatIsCutBehindItsKeyToThePartitionOfTheKey) {
  scope.partitions = 2;
  for (scope.partition = 0; scope.partition < 2; ++scope.partition) {
    tables = LoaderTables();
    scan("  17   2\n");
    EXPECT_EQ(statistics().parsing, scope.partition == partition_of_key(17, 2) ? 1U : 0U);
  }
}

TEST_F(RecordScan, ReadsTheKeyOfThePartitionBeforeTheBlankTest) {
  scope.partitions = 2;
  for (scope.partition = 0; scope.partition < 2; ++scope.partition) {
    tables = LoaderTables();
    scan(record("17 3", "2"));
    EXPECT_EQ(statistics().spacing, scope.partition == partition_of_key(17, 2) ? 1U : 0U);
  }
}

TEST_F(RecordScan, TracesEveryLineOfATableAtVerbosity100) {
  setVerbosity(100);
  settings.multiplicityField = 3;
  settings.operationConditions = {"GE"};
  settings.operationThresholds = {5};
  const std::string first = record("1", "5", "20200101", "2");
  const std::string second = record("2", "4");
  const std::string third = record("0", "4");
  EXPECT_EQ(scan(first + second + third).out,
            start() + logLine(1, path + ": 1 lines scanned, sample line: " + first) + lineLength(20) +
                logLine(1, "--- cyclic add sample trace \n--- caller ID (parsed) = 1\n--- multiplicity = 2") +
                logLine(1, "--- called ID (parsed) = 5") +
                logLine(1, path + ": 2 lines scanned, sample line: " + second) +
                logLine(1, "--- cyclic add sample trace \n--- caller ID (parsed) = 2\n--- multiplicity = 1") +
                logLine(1, "--- skipping, conditions do not hold.") +
                logLine(1, path + ": 3 lines scanned, sample line: " + third) +
                logLine(1, "negative caller ID, line number 3\n") + end(3));
}

TEST_F(RecordScan, TracesEveryLineOfAPlainRun) {
  setVerbosity(100);
  settings = plainSettings();
  settings.multiplicityField = 3;
  addOperation(settings, "Add", 1, 0, "GE", 5);
  addOperation(settings, "Count", 1, 1);
  const std::string line = record("1", "4", "20200101", "2");
  EXPECT_EQ(scan(line).out, start() + logLine(1, path + ": 1 lines scanned, sample line: " + line) + lineLength(20) +
                                logLine(1, "--- caller ID = 1") +
                                "--- Add: called ID = 4 multiplicity = 2\n--- skipping due to conditions \n"
                                "--- Count: called ID = 4 multiplicity = 2\n" +
                                end(1));
}

TEST_F(RecordScan, TracesEveryLineOfAPairSumRun) {
  setVerbosity(100);
  settings = pairSumSettings();
  settings.multiplicityField = 3;
  settings.operationConditions = {"GE"};
  settings.operationThresholds = {5};
  const std::string line = record("1", "5", "20200101", "2");
  const std::string skipped = record("1", "4");
  const auto trace = [&](int number, const std::string& text, const std::string& rest) {
    return logLine(1, path + ": " + std::to_string(number) + " lines scanned, sample line: " + text) +
           (number == 1 ? lineLength(20) : "") + logLine(1, "--- caller ID = 1") + rest;
  };
  EXPECT_EQ(scan(line + line + skipped).out,
            start() + trace(1, line, "--- pairSum: called ID = 5 multiplicity = 2\nline 1, caller 1 called 5 dur 2\n") +
                trace(2, line, "--- pairSum: called ID = 5 multiplicity = 2\nline 2, caller 1 called 5 dur 4\n") +
                trace(3, skipped, "--- pairSum: called ID = 4 multiplicity = 1\n") + end(3));
}

TEST_F(RecordScan, TracesEveryMillionthLineAtVerbosity2) {
  setVerbosity(2);
  std::string lines;
  const std::string line = record("1", "5");
  for (int i = 0; i < 2000000; ++i) lines += line;
  const CapturedRun run = scan(lines);
  EXPECT_EQ(
      run.out, start() + lineLength(20) + [&] {
        std::string samples;
        for (const char* number : {"1000000", "2000000"}) {
          samples += logLine(1, path + ": " + number + " lines scanned, sample line: " + line) +
                     logLine(1, "--- cyclic add sample trace \n--- caller ID (parsed) = 1\n--- multiplicity = 1") +
                     logLine(1, "--- called ID (parsed) = 5");
        }
        return samples;
      }() + end(2000000));
}

class DirectoryScan : public RecordScan {
 protected:
  CapturedRun scanDirectory(const std::string& directory, const std::string& filter = "") {
    tables = LoaderTables::create(settings);
    return capturedRun([&] { update_process_file(directory, filter, tables, settings, scope); });
  }
  const std::string begin = logLine(0, ">>> VESK loader: update_process_file ");
};

TEST_F(DirectoryScan, ListsThenScansEachFile) {
  folder.write("in/calls", record("1", "2"));
  path = folder.path("in") + "/calls";
  EXPECT_EQ(scanDirectory(folder.path("in")).out,
            begin + "calls\nProcessing " + path + "\n" + start() + lineLength(20) + end(1));
}

TEST_F(DirectoryScan, KeepsTheOrderOfTheListingForEveryName) {
  for (int i = 0; i < 20; ++i) folder.write("in/calls" + std::to_string(i), record("1", std::to_string(i + 1)));
  settings.cyclicTableSize = 100;
  const std::string out = scanDirectory(folder.path("in")).out;
  std::vector<std::string> names;
  std::size_t position = begin.size();
  for (int i = 0; i < 20; ++i) {
    const std::size_t lineEnd = out.find('\n', position);
    names.push_back(out.substr(position, lineEnd - position));
    position = lineEnd + 1;
  }
  Doubles callees;
  for (const std::string& name : names) callees.push_back(std::stod(name.substr(5)) + 1);
  EXPECT_EQ(row(1), callees);
}

TEST_F(DirectoryScan, ReadsOnlyTheFileOfTheFilter) {
  folder.write("in/a", record("1", "2"));
  folder.write("in/aa", record("1", "3"));
  const CapturedRun run = scanDirectory(folder.path("in"), "a");
  EXPECT_EQ(row(1), (Doubles{2}));
  EXPECT_EQ(run.out.find("aa\n"), std::string::npos);
}

TEST_F(DirectoryScan, WithoutAFileIs1200) {
  std::filesystem::create_directories(folder.path("empty"));
  EXPECT_EQ(scanDirectory(folder.path("empty")).out,
            begin + errorLine(1200, "update_process_file: Cannot open directory " + folder.path("empty")));
  folder.write("in/a", "");
  EXPECT_EQ(scanDirectory(folder.path("in"), "b").out,
            begin + errorLine(1200, "update_process_file: Cannot open directory " + folder.path("in")));
}

TEST_F(DirectoryScan, ThatCannotBeListedGoesOnWithoutFiles) {
  const CapturedRun run = scanDirectory(folder.path("nothing"));
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(run.out, begin + "Error: Invalid file handle. Error is 2\n");
}

TEST_F(DirectoryScan, WarnsAboutSubDirectoriesAndGoesOn) {
  folder.write("in/sub/calls", "");
  const CapturedRun run = scanDirectory(folder.path("in"));
  path = folder.path("in") + "/sub";
  EXPECT_EQ(run.out, begin + "sub\nProcessing " + path + "\n" +
                         logLine(0, ">>> VESK loader: staring update_map, file = " + path) +
                         warningLine(1000, "update_map: cannot open file " + path + ", ignoring"));
  EXPECT_TRUE(scan_statistics().fileRecords.empty());
}

}  // namespace
}  // namespace vesk_loader::testing
