// What `vesk day` does with a state that runs, people or machines have left in another form than a finished run.

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "day_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
namespace fs = std::filesystem;

class DayStateTest : public DayCase {
 protected:
  /// Loads 2020-01-07 and the days after it up to `last`.
  void loadDays(int last, const std::vector<std::string>& more = {}) {
    writeFirstDay();
    ASSERT_EQ(firstDay(more).status, 0);
    for (int d = 8; d <= last; ++d) ASSERT_EQ(loadDay(d, more).status, 0);
  }
  ProgramRun loadDay(int d, const std::vector<std::string>& more = {}) {
    const std::string date = (d < 10 ? "0" : "") + std::to_string(d);
    folder.write("in" + date + "/calls", line(1, d, "202001" + date, 5) + line(d, 3, "202001" + date, 5));
    return day("in" + date, "2020-01-" + date, more);
  }
  bool hasGeneration(const std::string& name) const { return folder.has("st/generations/" + name); }
  std::size_t generations() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder.path("st/generations")), fs::directory_iterator()));
  }
  void cutLedgerTo(std::size_t lines) {
    const std::string text = folder.read("st/ledger.jsonl");
    std::size_t end = 0;
    for (std::size_t i = 0; i < lines; ++i) end = text.find('\n', end) + 1;
    folder.write("st/ledger.jsonl", text.substr(0, end));
  }
};

// ---- generations that are kept

TEST_F(DayStateTest, ARedoCanBeRepeated) {
  loadDays(8, {"--keep", "2"});
  const std::string once = process();
  for (int i = 0; i < 3; ++i) {
    const ProgramRun run = loadDay(8, {"--keep", "2", "--redo"});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(process(), once);
  }
  EXPECT_TRUE(hasGeneration("2020-01-07.1"));
}

TEST_F(DayStateTest, AfterARollbackTheGenerationsThatLeadToTheStateStay) {
  loadDays(10);
  ASSERT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).status, 0);
  ASSERT_EQ(loadDay(11, {"--keep", "3"}).status, 0);
  EXPECT_TRUE(hasGeneration("2020-01-11.1"));
  EXPECT_TRUE(hasGeneration("2020-01-07.1"));
  EXPECT_TRUE(hasGeneration("2020-01-10.1")) << "the rollback can be undone";
  EXPECT_EQ(generations(), 3U);
}

TEST_F(DayStateTest, ARemovalThatWasInterruptedIsFinished) {
  loadDays(8);
  fs::create_directory(folder.path("st/.old-2020-01-06.1"));
  folder.write("st/.old-2020-01-06.1/process", "x");
  EXPECT_EQ(loadDay(9).status, 0);
  EXPECT_FALSE(folder.has("st/.old-2020-01-06.1"));
}

// ---- a ledger and generations that disagree

TEST_F(DayStateTest, ALostLedgerRemovesNoGeneration) {
  loadDays(9);
  const std::string ledger = folder.read("st/ledger.jsonl");
  fs::remove(folder.path("st/ledger.jsonl"));
  ProgramRun run = loadDay(10);
  EXPECT_EQ(run.status, 99);
  EXPECT_THAT(run.err, HasSubstr("st/ledger.jsonl: the ledger has no line for the generation 2020-01-08.1"));
  EXPECT_EQ(generations(), 3U);
  fs::remove(folder.path("st/ledger.jsonl"));
  fs::remove(folder.path("st/current"));
  run = day("in10", "2020-01-10", {"--new", "--record-dates", "ymd"});
  EXPECT_EQ(run.status, 99);
  EXPECT_THAT(run.err, HasSubstr("st/ledger.jsonl: has no line for the generation 2020-01-07.1 and others, so lines "
                                 "are missing; put the whole ledger back, or move these generations away"));
  EXPECT_EQ(generations(), 3U);
  folder.write("st/ledger.jsonl", ledger);
  EXPECT_EQ(vesk({"day", "--rollback", "2020-01-09", "st"}).status, 0);
  EXPECT_EQ(loadDay(10).status, 0);
}

TEST_F(DayStateTest, AnOldLedgerRemovesNoGeneration) {
  loadDays(10);
  ASSERT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).status, 0);
  cutLedgerTo(2);
  const ProgramRun run = loadDay(11);
  EXPECT_EQ(run.status, 99);
  EXPECT_THAT(run.err, HasSubstr("has no line for the generation 2020-01-09.1 and others"));
  EXPECT_EQ(generations(), 4U);
}

TEST_F(DayStateTest, TheGenerationOfAKilledRunIsRemoved) {
  loadDays(8);
  ASSERT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).status, 0);
  cutLedgerTo(1);
  const ProgramRun run = loadDay(8);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.err, HasSubstr("its generation 2020-01-08.1 was removed"));
  EXPECT_EQ(current(), "2020-01-08.1");
}

TEST_F(DayStateTest, OtherThingsAmongTheGenerationsAreNotRemoved) {
  loadDays(8);
  fs::copy(folder.path("st/generations/2020-01-07.1"), folder.path("st/generations/2020-01-07.1.copy"));
  const ProgramRun run = loadDay(9);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: st/generations holds 2020-01-07.1.copy, which is no generation; move it away\n");
  EXPECT_TRUE(hasGeneration("2020-01-07.1.copy/process"));
}

TEST_F(DayStateTest, ARollbackWithoutItsLineIsWrittenToTheLedger) {
  loadDays(9);
  fs::remove(folder.path("st/current"));
  fs::create_symlink("generations/2020-01-08.1", folder.path("st/current"));
  ProgramRun run = loadDay(10);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err,
            "vesk: the link current leads to 2020-01-08.1 and the last line of the ledger was of 2020-01-09.1; a line "
            "for the rollback was added\n");
  EXPECT_THAT(vesk({"day", "--list", "st"}).out, HasSubstr("  2020-01-08.1  rollback from 2020-01-09.1, "));
  EXPECT_EQ(loadDay(11).err, "");
}

TEST_F(DayStateTest, ARollbackToAGenerationThatIsNotWholeIsRefused) {
  loadDays(9);
  const std::string good = folder.read("st/generations/2020-01-07.1/dataset.bin");
  folder.write("st/generations/2020-01-07.1/dataset.bin", good.substr(0, 24));
  ProgramRun run = vesk({"day", "--rollback", "2020-01-07", "st"});
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err,
            "vesk: st/generations/2020-01-07.1/dataset.bin: not what the run has written; choose another date\n");
  fs::remove(folder.path("st/generations/2020-01-07.1/dataset.bin"));
  EXPECT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).status, 99);
  EXPECT_EQ(current(), "2020-01-09.1");
}

// ---- hostile content

TEST_F(DayStateTest, AReportThatIsNestedDeeplyIsAnError) {
  loadDays(7);
  fs::remove(folder.path("st/ledger.jsonl"));
  const std::size_t depth = 4000000;
  folder.write("st/generations/2020-01-07.1/run.json",
               "{\"files\":[],\"ledger\":" + std::string(depth, '[') + std::string(depth, ']') + "}");
  const ProgramRun run = loadDay(8);
  EXPECT_EQ(run.status, 99);
  EXPECT_THAT(run.err, HasSubstr("it is nested too deeply"));
}

TEST_F(DayStateTest, APipeInThePlaceOfAFileIsAnError) {
  loadDays(7);
  for (const std::string name : {"process", "run.json"}) {
    SCOPED_TRACE(name);
    const fs::path path = folder.path("st/generations/2020-01-07.1/" + name);
    fs::rename(path, folder.path("saved"));
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const ProgramRun run = loadDay(8);
    EXPECT_EQ(run.status, 99);
    EXPECT_THAT(run.err, HasSubstr("/" + name + ": no"));
    fs::remove(path);
    fs::rename(folder.path("saved"), path);
  }
  EXPECT_EQ(loadDay(8).status, 0);
}

TEST_F(DayStateTest, WordsOfTheLedgerDoNotSteerATerminal) {
  loadDays(7);
  std::string text = folder.read("st/ledger.jsonl");
  const std::string mark = "\"finished\":\"";
  text.insert(text.find(mark) + mark.size(), "\\u001b[2J");
  folder.write("st/ledger.jsonl", text);
  for (const ProgramRun& run : {day("in1", "2020-01-07"), vesk({"day", "--list", "st"})}) {
    EXPECT_NE(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("line 1 cannot be used: the member finished is no time"));
    EXPECT_EQ(run.err.find('\x1b'), std::string::npos);
  }
}

// ---- reports that cannot be written

TEST_F(DayStateTest, AReportThatCannotBeWrittenChangesNoStatus) {
  writeFirstDay();
  ProgramRun run = firstDay({"--json", "missing/run.json"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.err, StartsWith("vesk: missing/run.json"));
  EXPECT_THAT(run.err, HasSubstr("; there is no report of this run\n"));
  EXPECT_EQ(current(), "2020-01-07.1");
  run = day("in1", "2020-01-07", {"--json", "missing/run.json"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("vesk: the day 2020-01-07 is in the state"));
}

// ---- estimates

TEST_F(DayStateTest, ATrialWithFewLinesDoesNotRefuseARealDay) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the memory of a loader with sanitizers is not that of its tables";
#endif
  folder.write("in1/calls", line(1, 5, "20200107", 60));
  ASSERT_EQ(firstDay().status, 0);
  std::string lines;
  for (int i = 0; i < 200000; ++i) lines += line(1 + i % 9000, 1 + i % 800, "20200108", 1);
  folder.write("in2/calls", lines);
  const ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 0) << run.err;
}

}  // namespace
}  // namespace vesk_e2e
