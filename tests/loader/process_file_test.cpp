#include "process_file.h"

#include <limits>
#include <random>

#include "loader_fixture.h"
#include "support/failing_allocation.h"
#include "support/stdout_capture.h"

namespace vesk_loader::testing {
namespace {

class ProcessFile : public LoaderTest {
 protected:
  ProcessFile() : settings(tableSettings(3)) {}

  CapturedRun readFile(const Doubles& numbers) { return readPath(folder.writeDoubles("process", numbers)); }
  CapturedRun readPath(const std::string& path) {
    return capturedRun([&] { result = read_process_file(path, settings, tables); });
  }
  CapturedRun writeFile() {
    return capturedRun([&] { result = write_process_file(folder.path("written"), tables); });
  }
  CapturedRun drop(double cutoff, std::uint32_t format) {
    return capturedRun([&] { result = drop_old_entries(tables, cutoff, format); });
  }
  std::string startLine(const std::string& name = "process") {
    return logLine(0, ">>> VESK loader: starting read_process_file, file = " + folder.path(name));
  }
  static std::string wrongCount() {
    return errorLine(1310, "read_process_file: Unexpected number of payload fields found in process file") +
           errorLine(1312, "read_process_file: Unexpected exception");
  }

  // A file that is read and written again comes out the same.
  void expectSameFile(const Doubles& numbers) {
    EXPECT_FALSE(readFile(numbers).threwLibraryException);
    EXPECT_FALSE(writeFile().threwLibraryException);
    EXPECT_EQ(folder.readDoubles("written"), numbers);
  }

  LoaderSettings settings;
  LoaderTables tables;
  int result = -1;
};

TEST_F(ProcessFile, HoldsBareRowsInTheOrderOfTheKeys) {
  tables = LoaderTables::create(settings);
  const double entries[] = {30, 10, 20};
  for (const double entry : entries) tables.keys->append(tables.keys->findOrInsert(9), &entry, 1);
  tables.keys->append(tables.keys->findOrInsert(4), &entries[0], 2);
  tables.keys->findOrInsert(6);  // without an entry: left out
  const CapturedRun run = writeFile();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_process_file, file = " + folder.path("written")) +
                         logLine(0, ">>> VESK loader: Writing process file done, 2 records are written."));
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{4, 30, 30, -2, -1, 9, 30, 10, 20, -2, -1}));
}

TEST_F(ProcessFile, IsLittleEndianBinary64WithoutHeader) {
  tables = LoaderTables::create(settings);
  const double entry = 2;
  tables.keys->append(tables.keys->findOrInsert(1), &entry, 1);
  writeFile();
  using namespace std::string_literals;
  EXPECT_EQ(folder.read("written"),
            "\0\0\0\0\0\0\xF0\x3F"
            "\0\0\0\0\0\0\0\x40"
            "\0\0\0\0\0\0\0\xC0"
            "\0\0\0\0\0\0\xF0\xBF"s);
}

TEST_F(ProcessFile, ComesBackAsItWas) {
  expectSameFile({});
  expectSameFile({4, 30, 30, -2, -1, 9, 30, 10, 20, -2, -1});
  settings.dateField = 2;
  expectSameFile({4, 30, 20200101, 31, 20200102, -2, -1});
  settings.payloadInputs = {3, 2};
  expectSameFile({4, 30, 20200101, 31, 20200102, -2, 5, 6, -2, 7, 8, -2, -1});
  settings = plainSettings();
  addOperation(settings, "Add", 3, 1);
  expectSameFile({4, 0, 12.5, 3, -2, -1, 5, 1, -2, -1});
  settings = pairSumSettings();
  expectSameFile({4, 30, 2, 31, 7.5, -2, -1, 9, 1, 1, -2, -1});
}

TEST_F(ProcessFile, ReadingSaysWhatItDoesAndCountsRecords) {
  const CapturedRun run = readFile({4, 30, -2, -1, 5, 31, -2, -1});
  EXPECT_EQ(result, 1);
  EXPECT_EQ(run.out, startLine() + logLine(0, ">>> VESK loader: read process file is done."));
  EXPECT_EQ(scan_statistics().processRecords, 2U);
}

TEST_F(ProcessFile, ThatIsMissingLeavesTheTablesAndGivesZero) {
  const CapturedRun run = readPath(folder.path("nothing"));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(tables.keys, nullptr);
  EXPECT_EQ(run.out, startLine("nothing"));
}

TEST_F(ProcessFile, OfSizeZeroIsAnEmptyTable) {
  readFile({});
  EXPECT_EQ(result, 1);
  EXPECT_EQ(tables.keys->size(), 0U);
}

TEST_F(ProcessFile, MayEndInOneToSevenStrayBytes) {
  for (std::size_t stray = 1; stray < 8; ++stray) {
    folder.writeDoubles("whole", {4, 30, -2, -1});
    const std::string path = folder.write("process", folder.read("whole") + std::string(stray, 'x'));
    EXPECT_FALSE(readPath(path).threwLibraryException);
    EXPECT_EQ(tables.keys->size(), 1U);
  }
}

TEST_F(ProcessFile, CutInsideARecordIs1312) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  folder.writeDoubles("whole", {4, 30, 20200101, -2, 5, -2, -1});
  const std::string whole = folder.read("whole");
  for (std::size_t length = 8; length < whole.size(); ++length) {
    const CapturedRun run = readPath(folder.write("process", whole.substr(0, length)));
    EXPECT_TRUE(run.threwLibraryException) << length;
    EXPECT_EQ(run.out, startLine() + errorLine(1312, "read_process_file: Unexpected exception")) << length;
  }
}

TEST_F(ProcessFile, NegativeIdsAreWarnedAboutAndKept) {
  const CapturedRun run = readFile({3, 1, -2, -1, -7, 30, -5.5, -2, -1});
  EXPECT_EQ(run.out,
            startLine() + warningLine(1371, "-7;2;|read_process_file: negative caller id -7, line 2") +
                warningLine(1370, "-5.5;2;-7;|read_process_file: negative callee id -5.5, line 2 (caller = -7)") +
                logLine(0, ">>> VESK loader: read process file is done."));
  EXPECT_EQ(rowOf(tables, -7).values, (Doubles{30, -5.5}));
  writeFile();
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{-7, 30, -5.5, -2, -1, 3, 1, -2, -1}));
}

TEST_F(ProcessFile, KeepsAKeyBelowOne) {
  readFile({0, 1, -2, -1, 0.5, 2, -2, -1});
  EXPECT_EQ(rowOf(tables, 0).values, (Doubles{1}));
  EXPECT_EQ(rowOf(tables, 0.5).values, (Doubles{2}));
}

TEST_F(ProcessFile, MayHoldASumOfMinusTwoThatCutsItsRow) {
  settings = plainSettings();
  addOperation(settings, "Add", 3, 1);
  tables = LoaderTables::create(settings);
  double* const sums = tables.keys->sums(tables.keys->findOrInsert(7), 3);
  sums[0] = 5, sums[1] = -2, sums[2] = -1;
  writeFile();
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{7, 5, -2, -1, -2, -1}));
  // What is left of the record reads as a record of the key -2.
  const CapturedRun run = readFile(folder.readDoubles("written"));
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(ProcessFile, WithAnotherNumberOfPayloadColumnsIs1310) {
  settings.payloadInputs = {3};
  CapturedRun run = readFile({4, 30, -2, -1});
  EXPECT_EQ(run.out, startLine() + wrongCount());
  run = readFile({4, 30, -2, 5, -2, 6, -2, -1});
  EXPECT_EQ(run.out, startLine() + wrongCount());
  settings.payloadInputs = {};
  run = readFile({4, 30, -2, 5, -2, -1});
  EXPECT_EQ(run.out, startLine() + wrongCount());
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(ProcessFile, TakesTheFirstValueOfAPayloadColumnWhateverItIs) {
  settings.payloadInputs = {3};
  EXPECT_FALSE(readFile({4, 30, -2, -2, 5, -2, -1}).threwLibraryException);
  EXPECT_EQ(rowOf(tables, 4).payloads, (std::vector<Doubles>{{-2, 5}}));
  // An empty column swallows the end of its record and the next one up to its end of list.
  EXPECT_FALSE(readFile({4, 30, -2, -2, -1, 5, 31, -2, -1}).threwLibraryException);
  EXPECT_EQ(rowOf(tables, 4).payloads, (std::vector<Doubles>{{-2, -1, 5, 31}}));
}

TEST_F(ProcessFile, WithoutDatesCannotBeReadWithADateField) {
  settings.dateField = 2;
  EXPECT_TRUE(readFile({4, 30, -2, -1}).threwLibraryException);
}

TEST_F(ProcessFile, OfAPairSumRunNeedsPairsForEveryCaller) {
  settings = pairSumSettings();
  tables = LoaderTables::create(settings);
  tables.pairs->weight(tables.keys->findOrInsert(4), 1, PairSumTable::hash(0, 1)) = 2;
  tables.keys->findOrInsert(1234567);  // a caller whose conditions all failed
  const CapturedRun run = writeFile();
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_process_file, file = " + folder.path("written")) +
                         errorLine(1000, "1.23457e+06;|missing pairsum information for key 1.23457e+06") +
                         errorLine(1323, "write_process_file: Unexpected exception occured (probably IO)"));
}

// The records before a caller without pairs used to be lost with the writer's block.
TEST_F(ProcessFile, KeepsTheRecordsBeforeACallerWithoutPairs) {
  settings = pairSumSettings();
  tables = LoaderTables::create(settings);
  tables.pairs->weight(tables.keys->findOrInsert(4), 1, PairSumTable::hash(0, 1)) = 2;
  tables.keys->findOrInsert(5);
  EXPECT_TRUE(writeFile().threwLibraryException);
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{4, 1, 2, -2, -1}));
}

TEST_F(ProcessFile, OfAPairSumRunLeavesOutACallerWithAnEmptyMap) {
  settings = pairSumSettings();
  readFile({4, -2, -1, 5, 1, 2, -2, -1});
  writeFile();
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{5, 1, 2, -2, -1}));
}

TEST_F(ProcessFile, WritesTheCalleesOfAPairSumRunInOrder) {
  settings = pairSumSettings();
  expectSameFile({4, 1, 9, -2, -1});
  readFile({4, 8, 1, 2, 5, -2, -1});
  writeFile();
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{4, 2, 5, 8, 1, -2, -1}));
}

TEST_F(ProcessFile, OfAPairSumRunCarriesConfiguredDates) {
  settings = pairSumSettings();
  settings.dateField = 2;
  expectSameFile({4, 1, 20200101, 9, 2, 20200102, 3, -2, -1});
}

TEST_F(ProcessFile, ThatCannotBeCreatedIs1201) {
  tables = LoaderTables::create(settings);
  const std::string name = folder.path("no/such/file");
  const CapturedRun run = capturedRun([&] { write_process_file(name, tables); });
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_process_file, file = " + name) +
                         errorLine(1201, name + ";|write_process_file, Cannot open file " + name) +
                         errorLine(1323, "write_process_file: Unexpected exception occured (probably IO)"));
}

TEST_F(ProcessFile, OnAFullDiskIs1323) {
  tables = LoaderTables::create(settings);
  const double entry = 2;
  tables.keys->append(tables.keys->findOrInsert(1), &entry, 1);
  const CapturedRun run = capturedRun([&] { write_process_file("/dev/full", tables); });
  EXPECT_EQ(run.out, logLine(0, ">>> VESK loader: starting write_process_file, file = /dev/full") +
                         errorLine(1323, "write_process_file: Unexpected exception occured (probably IO)"));
}

// The file used to be emptied before the order of its records was made: without memory for that, the state was lost.
TEST_F(ProcessFile, KeepsItsBytesWhenMemoryEndsBeforeItIsWritten) {
  for (const bool pairSum : {false, true}) {
    SCOPED_TRACE(pairSum);
    settings = pairSum ? pairSumSettings() : tableSettings(40);
    settings.dateField = 2;
    if (!pairSum) settings.payloadInputs = {3};
    const Doubles before{4, 30, 20200101, 7, -2, -1};
    const auto fill = [&] {
      tables = LoaderTables::create(settings);
      for (std::uint32_t i = 0; i < 2000; ++i) {
        const std::uint32_t row = tables.keys->findOrInsert(1 + i % 100);
        const double entry[] = {static_cast<double>(i), 20200101, 5};
        if (pairSum) {
          tables.pairs->weight(row, i, PairSumTable::hash(row, i)) = 1;
        } else {
          tables.keys->append(row, entry, 1);
        }
      }
      // Rows as only a process file can have them, longer than any other.
      RowColumns irregular;
      irregular.clear(settings.payloadInputs.size());
      irregular.values.assign(60, 1);
      for (auto& column : irregular.payloads) column.assign(70, 2);
      if (!pairSum) tables.keys->assign(tables.keys->findOrInsert(77), irregular);
    };
    fill();
    writeFile();
    const Doubles after = folder.readDoubles("written");
    const std::string path = folder.path("written");
    int failures = 0;
    for (long allocations = 0; allocations < 100; ++allocations) {
      fill();
      folder.writeDoubles("written", before);
      const StdoutCapture capture;
      bool failed = false;
      try {
        const FailingAllocation failing(allocations);
        write_process_file(path, tables);
      } catch (...) {
        failed = true;
      }
      const Doubles found = folder.readDoubles("written");
      EXPECT_TRUE(found == after || (failed && found == before)) << allocations << ": " << found.size();
      if (failed) ++failures;
      if (!failed) break;
    }
    EXPECT_GT(failures, 2);
    EXPECT_LT(failures, 100);
  }
}

TEST_F(ProcessFile, ReplacesWhatTheFileHeld) {
  folder.write("written", std::string(1000, 'x'));
  tables = LoaderTables::create(settings);
  writeFile();
  EXPECT_EQ(folder.read("written"), "");
}

TEST_F(ProcessFile, DropsTheEntriesBeforeTheCutoff) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  readFile({4, 30, 20120202, 31, 20120302, 32, 20120203, -2, 5, 6, 7, -2, -1, 5, 40, 20110101, -2, 8, -2, -1});
  EXPECT_EQ(drop(20120302, 1).out, "");
  EXPECT_EQ(result, 1);
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{31, 32}));
  EXPECT_EQ(rowOf(tables, 4).dates, (Doubles{20120302, 20120203}));
  EXPECT_EQ(rowOf(tables, 4).payloads, (std::vector<Doubles>{{6, 7}}));
  EXPECT_EQ(tables.keys->size(), 2U);
  EXPECT_TRUE(rowOf(tables, 5).values.empty());
  writeFile();
  EXPECT_EQ(folder.readDoubles("written"), (Doubles{4, 31, 20120302, 32, 20120203, -2, 6, 7, -2, -1}));
}

// Payloads beside no entry used to outlive the entries that were dropped if no date of their row was old.
TEST_F(ProcessFile, DropsPayloadsThatStandBesideNoEntry) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  readFile({4, 30, 20120302, -2, 5, 6, -2, -1, 5, -2, 8, -2, -1});
  drop(20120302, 1);
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{30}));
  EXPECT_EQ(rowOf(tables, 4).payloads, (std::vector<Doubles>{{5}}));
  EXPECT_EQ(rowOf(tables, 5).payloads, (std::vector<Doubles>{{}}));
}

TEST_F(ProcessFile, DroppedRowsGoOnAsTables) {
  settings.dateField = 2;
  readFile({4, 30, 20120202, 31, 20120302, 32, 20120302, -2, -1});
  drop(20120302, 1);
  for (const double callee : {33.0, 34.0, 35.0}) {
    const double entry[] = {callee, 20120402};
    tables.keys->append(tables.keys->findOrInsert(4), entry, 1);
  }
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{33, 34, 35}));
}

TEST_F(ProcessFile, EqualDatesOfBothFormatsAreKept) {
  settings.dateField = 2;
  readFile({4, 30, 20120203, 31, 20120202, -2, -1});
  drop(20120302, 2);  // 3 February both
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{30}));
}

TEST_F(ProcessFile, RowsWithRepeatsBecomeDistinctWhenTheyAreRead) {
  settings.dateField = 2;
  settings.payloadInputs = {3};
  settings.distinctCyclicTable = true;
  settings.cyclicTableSize = 2;
  readFile({4, 30, 20120401, 31, 20120402, 30, 20120403, -2, 7, 8, 9, -2, -1,    // 30 twice
            5, 40, 20120401, 41, 20120402, 42, 20120403, -2, 7, 8, 9, -2, -1});  // more than the table size
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{31, 30}));
  EXPECT_EQ(rowOf(tables, 4).dates, (Doubles{20120402, 20120403}));
  EXPECT_EQ(rowOf(tables, 4).payloads, (std::vector<Doubles>{{8, 9}}));
  EXPECT_EQ(rowOf(tables, 5).values, (Doubles{41, 42}));
}

// The call that comes later in the input decides about the date too, as it decides about the place.
TEST_F(ProcessFile, ARepeatIsRemovedBeforeOldEntriesAreDropped) {
  settings.dateField = 2;
  settings.distinctCyclicTable = true;
  readFile({4, 30, 20120302, 31, 20120302, 30, 20120202, -2, -1});
  drop(20120302, 1);
  EXPECT_EQ(rowOf(tables, 4).values, (Doubles{31}));
}

TEST_F(ProcessFile, LargeTablesComeBackAsTheyWere) {
  settings.cyclicTableSize = 20;
  settings.dateField = 2;
  settings.payloadInputs = {3};
  Doubles numbers;
  std::mt19937_64 random(9);
  for (int key = 1; key <= 20000; ++key) {
    numbers.push_back(key);
    const std::size_t length = 1 + random() % 20;
    for (std::size_t i = 0; i < length; ++i) {
      numbers.push_back(static_cast<double>(random() % 100000));
      numbers.push_back(20200101);
    }
    numbers.push_back(-2);
    for (std::size_t i = 0; i < length; ++i) numbers.push_back(static_cast<double>(random() % 1000));
    numbers.push_back(-2);
    numbers.push_back(-1);
  }
  expectSameFile(numbers);
}

}  // namespace
}  // namespace vesk_loader::testing
