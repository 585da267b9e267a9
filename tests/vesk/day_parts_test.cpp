// The smaller parts of `vesk day`: texts, estimates, the comparison of a state with its dataset.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "counted.h"
#include "day/feed_progress.h"
#include "day/generation_files.h"
#include "day/loader_process.h"
#include "day/room.h"
#include "day/state_check.h"
#include "files/printable.h"
#include "support/binary_numbers.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(DayTextTest, NumbersAndNames) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(1234567), "1,234,567");
  EXPECT_EQ(counted(1, "line"), "1 line");
  EXPECT_EQ(counted(2000, "line"), "2,000 lines");
  EXPECT_EQ(bytesText(999), "999 bytes");
  EXPECT_EQ(bytesText(1000), "1.0 kB");
  EXPECT_EQ(bytesText(999999), "1.0 MB");
  EXPECT_EQ(bytesText(1234567890), "1.2 GB");
  EXPECT_EQ(vesk_files::printable("a\nb\x7F\x1B"), "a\\x0Ab\\x7F\\x1B");
  EXPECT_EQ(vesk_files::printable("\xC3\xA4"), "\xC3\xA4");
}

TEST(FeedProgressTest, TellsShareRateAndRest) {
  EXPECT_EQ(FeedProgress::text(250, 1000, 500000, 10.0), "25 %, 500,000 lines, 50,000 lines/s, about 0:30 left");
  EXPECT_EQ(FeedProgress::text(0, 0, 0, 0.0), "100 %, 0 lines, 0 lines/s, about 0:00 left");
  std::ostringstream out;
  { FeedProgress(out, true, 100).show(50, 1); }
  EXPECT_EQ(out.str(), "") << "a quick run shows nothing";
}

TEST(RoomTest, GrowsWithTheInput) {
  LedgerLine last;
  last.inputs = {{"a", 1000, "", "", 0, 0}};
  constexpr std::uint64_t mebibyte = 1 << 20;
  last.peakMemoryBytes = 116 * mebibyte;  // 16 of them do not depend on the input
  last.stateBytes = 5000;
  EXPECT_EQ(estimateRoom(last, 500).memory, 116 * mebibyte);
  EXPECT_EQ(estimateRoom(last, 3000).memory, 316 * mebibyte);
  EXPECT_EQ(estimateRoom(last, 3000).disk, 15000U);
  last.peakMemoryBytes = 5 * mebibyte;
  EXPECT_EQ(estimateRoom(last, 300000).memory, 5 * mebibyte) << "a trial with a few lines says nothing of memory";
  last.peakMemoryBytes = last.stateBytes = ~std::uint64_t{0};
  EXPECT_EQ(estimateRoom(last, 300000).memory, ~std::uint64_t{0});
  EXPECT_EQ(estimateRoom(last, 300000).disk, ~std::uint64_t{0});
  EXPECT_GT(availableMemory(), 1000U);
  EXPECT_EQ(lackOfRoom({1, 1}, "."), std::nullopt);
  EXPECT_THAT(*lackOfRoom({~std::uint64_t{0}, 1}, "."), HasSubstr("of memory, "));
  EXPECT_THAT(*lackOfRoom({1, ~std::uint64_t{0} >> 1}, "."), HasSubstr(" on the disk of ., where "));
}

TEST(LoaderLogTest, ErrorsWarningsAndCounts) {
  const TemporaryFolder folder;
  const std::string log =
      folder.write("log",
                   "Warning;|1371;|-3;2;|read_process_file: negative caller id -3, line 2;|WarningEnd\n"
                   "Log;|1;|Stats for file: a\n7 lines are scanned, 3 omitted (1 date, 0 negative callers, 2 parsing, "
                   "0 space in the middle)\n"
                   "  operation 0: 0 problem cdrs, 0 restricted numbers ;|LogEnd\n"
                   "Log;|1;|Stats for file: a\n12 lines scanned, no problem found \n;|LogEnd\n"
                   "Error;|1201;|p;|write_process_file, Cannot open file p;|ErrorEnd\nError;|1303;|Error writing "
                   "process file ;|ErrorEnd\n");
  const LoaderReports reports = readLoaderLog(log, "a");
  EXPECT_THAT(reports.errors,
              ElementsAre("1201: write_process_file, Cannot open file p", "1303: Error writing process file "));
  EXPECT_THAT(reports.warnings, ElementsAre("1371: read_process_file: negative caller id -3, line 2"));
  EXPECT_EQ(reports.linesScanned, 19U);
  EXPECT_EQ(reports.linesOmitted, 3U);
}

class StateCheckTest : public ::testing::Test {
 protected:
  StateCheckTest() {
    settings.cyclicTableSize = 4;
    settings.sparse = 1;
    settings.dateField = -1;
  }

  std::string check(const std::vector<double>& process, const std::vector<double>& dataset) {
    folder.write("process", bytesOf(process));
    folder.write("d.bin", bytesOf(dataset));
    try {
      const PartitionCheck found = checkPartition(folder.path("process"), folder.path("d.bin"), settings, nullptr);
      return std::to_string(found.state.callers) + " callers, " + std::to_string(found.state.entries) + " entries, " +
             std::to_string(found.records) + " records";
    } catch (const std::runtime_error& error) {
      return std::string(error.what()).substr(folder.path().size() + 1);
    }
  }

  static std::string bytesOf(const std::vector<double>& numbers) {
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(double)};
  }

  TemporaryFolder folder;
  vesk_loader::LoaderSettings settings;
};

TEST_F(StateCheckTest, SortedTable) {
  const std::vector<double> process = {1, 9, 3, -2, -1, 4, 7, -2, -1};
  const std::vector<double> good = {1, 0, 2, 1, 1, 3, 1, 2, 9, 1, 3, 0, 4, 0, 2, 4, 1, 7, 4, 3, 0};
  EXPECT_EQ(check(process, good), "2 callers, 3 entries, 7 records");
  std::vector<double> bad = good;
  bad[8] = 8;
  EXPECT_EQ(check(process, bad), "d.bin: near byte 72, caller 1: 8 stands where the state has 9");
  bad = good;
  bad.resize(12);
  EXPECT_EQ(check(process, bad), "d.bin: near byte 96, caller 4: the file ends too early");
  bad = good;
  bad.insert(bad.end(), {5, 0, 2});
  EXPECT_EQ(check(process, bad), "d.bin: near byte 176, caller 4: there is more than the state holds");
  settings.sortCyclicTable = false;
  EXPECT_EQ(check(process, good), "d.bin: near byte 48, caller 1: 3 stands where the state has 9");
}

TEST_F(StateCheckTest, ProcessFilesThatDoNotReadBack) {
  EXPECT_EQ(check({1, 9, 3, -2}, {}), "process: record 1, byte 32: the file ends inside the record");
  EXPECT_EQ(check({1, 9, -2, -3}, {}), "process: record 1, byte 32: the end of the record is not where it belongs");
  EXPECT_EQ(check({1, -2, -1}, {}), "process: record 1, byte 16: the caller has no entry");
  EXPECT_EQ(check({0, 9, -2, -1}, {}), "process: record 1, byte 8: the callers are not positive and ascending");
  folder.write("process", "1234567");
  EXPECT_THROW(countState(folder.path("process"), {}, std::nullopt), std::runtime_error);
}

TEST_F(StateCheckTest, PairSumsAndSums) {
  settings.cyclicTableSize = 0;
  settings.pairSumFlag = 1;
  EXPECT_EQ(check({1, 3, 2, 5, 1, -2, -1}, {1, 0, 2, 1, 3, 2, 1, 5, 1, 1, 0, 7788}), "1 callers, 2 entries, 4 records");
  settings.pairSumFlag = 0;
  EXPECT_EQ(check({1, 30, 20, 10, -2, -1}, {1, 0, 3, 1, 1, 20, 1, 2, 10, 1, 4, 0}), "1 callers, 3 entries, 4 records");
  settings.sparse = 0;
  EXPECT_EQ(check({1, 30, 20, 10, -2, -1}, {1, 20, 10}), "1 callers, 3 entries, 1 records");
}

TEST_F(StateCheckTest, PayloadsMoveWithTheirEntries) {
  settings.payloadInputs = {3};
  folder.write("d.bin_payload_1", bytesOf({1, 0, 2, 1, 1, 20, 1, 2, 10, 1, 3, 0}));
  const std::vector<double> dataset = {1, 0, 2, 1, 1, 3, 1, 2, 9, 1, 3, 0};
  EXPECT_EQ(check({1, 9, 3, -2, 10, 20, -2, -1}, dataset), "1 callers, 2 entries, 4 records");
  EXPECT_EQ(check({1, 9, 3, -2, 20, 10, -2, -1}, dataset),
            "d.bin_payload_1: near byte 48, caller 1: 20 stands where the state has 10");
  EXPECT_EQ(check({1, 9, 3, -2, 20, -2, -1}, dataset),
            "process: record 1, byte 48: a payload column is not as long as the entries");
}

TEST(GenerationFilesTest, NamesOfARunInParts) {
  vesk_loader::LoaderSettings settings;
  settings.numberOfPartitions = 2;
  settings.payloadInputs = {3};
  settings.sparse = 1;
  const GenerationFiles names(settings, "d");
  EXPECT_THAT(names.all(), ElementsAre("process.0", "process.1", "d.bin.0", "d.bin.0.info", "d.bin.0_payload_1",
                                       "d.bin.1", "d.bin.1.info", "d.bin.1_payload_1"));
  EXPECT_EQ(names.cardName(0), "d.card.json");
  EXPECT_EQ(names.cardName(1), "d.payload_1.card.json");
  EXPECT_EQ(names.cardName(1), vesk_files::cardPath("d.bin.1_payload_1"));
}

}  // namespace
}  // namespace vesk
