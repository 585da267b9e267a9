// A day that is loaded whole or not at all: what the user sees, and what is in the folder of the state.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "day_case.h"

namespace vesk_e2e {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class DayTest : public DayCase {};

TEST_F(DayTest, LoadsTheFirstDayAndSaysWhatItDid) {
  writeFirstDay();
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "2020-01-07: 1 file, 3 lines, 3 loaded, 0 refused (0.00 %)\n"
            "state: 2 callers, 3 entries\n"
            "generation 2020-01-07.1 is current: st/current, 338 bytes\n");
  EXPECT_THAT(namesInState(), ElementsAre(".lock", "current", "generations", "ledger.jsonl"));
  for (const char* name : {"process", "dataset.bin", "dataset.bin.info", "dataset.card.json", "loader.log",
                           "parameters.xml", "rejects.csv", "run.json"}) {
    EXPECT_TRUE(folder.has(std::string("st/current/") + name)) << name;
    struct stat status {};
    ASSERT_EQ(::stat(folder.path(std::string("st/current/") + name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07, 0U) << name << " can be read by others";
  }
  EXPECT_EQ(folder.read("st/current/rejects.csv"), "file,line,byte,cause,field,columns,text\n");
}

TEST_F(DayTest, LedgerHasTheDay) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  const auto line = nlohmann::json::parse(folder.read("st/ledger.jsonl"));
  EXPECT_EQ(line["action"], "day");
  EXPECT_EQ(line["generation"], "2020-01-07.1");
  EXPECT_TRUE(line["parent"].is_null());
  EXPECT_EQ(line["date"], "2020-01-07");
  EXPECT_EQ(line["lines"], 3);
  EXPECT_EQ(line["accepted"], 3);
  EXPECT_EQ(line["callers"], 2);
  EXPECT_EQ(line["entries"], 3);
  EXPECT_EQ(line["dropped_by_horizon"], 0);
  EXPECT_EQ(line["inputs"][0]["name"], "calls");
  EXPECT_EQ(line["inputs"][0]["bytes"], 63);
  EXPECT_EQ(line["inputs"][0]["sha256"].get<std::string>().size(), 64U);
  EXPECT_EQ(line["settings"]["CyclicTableSize"], "3");
  EXPECT_GT(line["peak_memory_bytes"], 0);
}

TEST_F(DayTest, SecondDayGoesOnFromTheFirst) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("state: 3 callers, 5 entries\n"));
  EXPECT_EQ(current(), "2020-01-08.1");
}

// ---- nothing twice

TEST_F(DayTest, RefusesADayThatIsLoaded) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string before = process();
  const ProgramRun run = day("in2", "2020-01-07");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, StartsWith("vesk: the day 2020-01-07 is in the state: loaded "));
  EXPECT_THAT(
      run.err,
      HasSubstr(" as generation 2020-01-07.1 from calls, line 1 of ledger.jsonl; --redo takes it back first\n"));
  EXPECT_EQ(process(), before);
}

TEST_F(DayTest, RefusesAnEarlierDay) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const ProgramRun run = day("in2", "2020-01-06");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, StartsWith("vesk: the day 2020-01-06 is before the last one in the state, 2020-01-07: loaded "));
}

TEST_F(DayTest, RefusesRecordsThatAreLoadedUnderAnyName) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  folder.write("in2/other", folder.read("in1/calls"));
  ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err,
              StartsWith("vesk: other: the same records were loaded already under the name calls: day 2020-01-07, "));
  ASSERT_EQ(runProgram("/bin/gzip", {folder.path("in2/other")}, folder.path()).status, 0);
  run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, StartsWith("vesk: other.gz: the same records were loaded already under the name calls: "));
  EXPECT_EQ(current(), "2020-01-07.1");
}

TEST_F(DayTest, RefusesOneFileUnderTwoNames) {
  writeFirstDay();
  folder.write("in1/copy", folder.read("in1/calls"));
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: the input has the same records twice, as calls and as copy\n");
  EXPECT_EQ(current(), "");
}

TEST_F(DayTest, RedoTakesTheDayBackFirst) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  ASSERT_EQ(day("in2", "2020-01-08").status, 0);
  const std::string once = process();
  const ProgramRun run = day("in2", "2020-01-08", {"--redo"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "vesk: the day 2020-01-08 is taken back: generation 2020-01-08.1\n");
  EXPECT_EQ(current(), "2020-01-08.2");
  EXPECT_EQ(process(), once);
}

TEST_F(DayTest, RedoOfTheFirstDayBeginsFromNothing) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string once = process();
  EXPECT_EQ(day("in1", "2020-01-07", {"--redo"}).status, 0);
  EXPECT_EQ(process(), once);
}

TEST_F(DayTest, RedoOfADayBeforeTheLastIsRefused) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  ASSERT_EQ(day("in2", "2020-01-08").status, 0);
  const ProgramRun run = day("in1", "2020-01-07", {"--redo"});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(
      run.err,
      HasSubstr("the day 2020-01-07 cannot be taken back: later days were loaded after it, the last one 2020-01-08"));
}

TEST_F(DayTest, FailedRedoLeavesTheDay) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  ASSERT_EQ(day("in2", "2020-01-08").status, 0);
  folder.write("bad/calls", "nothing good\n");
  EXPECT_EQ(day("bad", "2020-01-08", {"--redo"}).status, 3);
  EXPECT_EQ(current(), "2020-01-08.1");
}

// ---- the state

TEST_F(DayTest, FirstRunSaysNewAndOthersDoNot) {
  writeFirstDay();
  ProgramRun run = day("in1", "2020-01-07", {"--record-dates", "ymd"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: st: there is no such state folder; a first run says --new\n");
  EXPECT_FALSE(folder.has("st"));
  ASSERT_EQ(firstDay().status, 0);
  run = day("in1", "2020-01-08", {"--new"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: st: there is a state already, of 2020-01-07.1; leave --new away to go on with it\n");
}

TEST_F(DayTest, AFolderWithOtherThingsIsNoState) {
  writeFirstDay();
  folder.write("st/letter", "dear");
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: st: holds letter, which is no part of a state; choose a folder of its own\n");
}

struct SettingsChange {
  const char* name;
  std::string before;
  std::string after;
  const char* difference;
};

TEST_F(DayTest, OtherSettingsAreRefusedTagByTag) {
  writeFirstDay();
  writeSecondDay();
  const std::string sum = sumTags();
  const SettingsChange changes[] = {
      {"table size", tableTags(3), tableTags(2), "CyclicTableSize: 3 in the state, 2 now"},
      {"distinct callees", tableTags(3), tableTags(3, "<CyclicTableDistinct>Yes</CyclicTableDistinct>\n"),
       "CyclicTableDistinct: none in the state, Yes now"},
      {"partitions", tableTags(3), tableTags(3, "<NumberOfPartitions>2</NumberOfPartitions>\n"),
       "NumberOfPartitions: 1 in the state, 2 now"},
      {"payload", tableTags(3), payloadTags(), "Payload1: none in the state, Seconds now"},
      {"kind", tableTags(3), pairTags(),
       "CyclicTableSize: 3 in the state, 0 now; DateField: Date in the state, none now"},
      {"dates",
       "<CyclicTableSize>3</CyclicTableSize><Output>Sparse</Output><Operation1><OpName>CyclicAdd</OpName><Input>2</"
       "Input></Operation1>",
       tableTags(3), "DateField: none in the state, Date now"},
      {"pair sum to table", pairTags(), tableTags(3),
       "Operation1: PairSum of Callee in the state, CyclicAdd of Callee now"},
      {"sums", sumTags(), pairTags(), "Operation1: Count of Callee to output 2 in the state, PairSum of Callee now"},
  };
  for (const SettingsChange& change : changes) {
    SCOPED_TRACE(change.name);
    std::filesystem::remove_all(folder.path("st"));
    folder.write("p.xml", layout(change.before));
    ASSERT_EQ(firstDay().status, 0);
    const std::string before = current();
    folder.write("p.xml", layout(change.after));
    const ProgramRun run = day("in2", "2020-01-08", {"--record-dates", "ymd"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(
        run.err,
        StartsWith("vesk: the state was made with other settings, and its numbers would change their meaning. "));
    EXPECT_THAT(run.err, HasSubstr(change.difference));
    EXPECT_EQ(current(), before);
  }
}

TEST_F(DayTest, OtherColumnsAndHorizonAreNoOtherSettings) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  std::string text = layout(tableTags(3));
  text.replace(text.find("<DateHorizon>30"), 15, "<DateHorizon>60");
  folder.write("p.xml", text);
  writeSecondDay();
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
}

TEST_F(DayTest, TheFileOfRefusedLinesIsNotTheSpecialList) {
  writeFirstDay();
  folder.write("special", "5 7");
  folder.write("p.xml", layout(tableTags(3, "<SpecialList><File>special</File></SpecialList>\n")));
  const ProgramRun run = firstDay({"--rejects", "special"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "vesk: --rejects: would replace the input special\n");
  EXPECT_EQ(folder.read("special"), "5 7");
}

TEST_F(DayTest, AHorizonWithoutDatesIsARemark) {
  writeFirstDay();
  const ProgramRun run = day("in1", "2020-01-07", {"--record-dates", "none", "--new"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "vesk: the DateHorizon has no effect with --record-dates none\n");
}

TEST_F(DayTest, RecordDatesOfTheStateHold) {
  writeFirstDay();
  writeSecondDay();
  ProgramRun run = day("in1", "2020-01-07", {"--new"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, StartsWith("vesk: --record-dates is missing: "));
  ASSERT_EQ(firstDay().status, 0);
  EXPECT_EQ(day("in2", "2020-01-08", {"--record-dates", "ydm"}).status, 2);
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
}

TEST_F(DayTest, AChangedStateIsAnError) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string good = process();
  const std::string path = "st/generations/2020-01-07.1/process";
  // The first record ends at byte 56: what is left is a whole file of fewer callers.
  for (const std::string& bad : {good.substr(0, 56), good.substr(0, 50), std::string()}) {
    folder.write(path, bad);
    const ProgramRun run = day("in2", "2020-01-08");
    EXPECT_EQ(run.status, 99);
    EXPECT_THAT(run.err, HasSubstr(path));
    EXPECT_EQ(current(), "2020-01-07.1");
  }
  std::filesystem::remove(folder.path(path));
  const ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err, "vesk: " + path + ": cannot open the file: No such file or directory\n");
  folder.write(path, good);
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
}

TEST_F(DayTest, KeepsTheLastGenerations) {
  writeFirstDay();
  ASSERT_EQ(firstDay({"--keep", "2"}).status, 0);
  for (int d = 8; d <= 11; ++d) {
    const std::string date = (d < 10 ? "0" : "") + std::to_string(d);
    folder.write("in/calls", line(1, d, "202001" + date, 5));
    ASSERT_EQ(day("in", "2020-01-" + date, {"--keep", "2"}).status, 0);
  }
  EXPECT_TRUE(folder.has("st/generations/2020-01-11.1"));
  EXPECT_TRUE(folder.has("st/generations/2020-01-10.1"));
  EXPECT_FALSE(folder.has("st/generations/2020-01-09.1"));
  const ProgramRun run = vesk({"day", "--list", "st"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("  2020-01-09.1  1 file, 1 line, 1 loaded; "));
  EXPECT_THAT(run.out, HasSubstr("; not kept\n"));
  EXPECT_THAT(run.out, HasSubstr("* 2020-01-11.1  1 file, 1 line, 1 loaded; "));
}

TEST_F(DayTest, RollbackMakesAnEarlierGenerationCurrent) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string first = process();
  ASSERT_EQ(day("in2", "2020-01-08").status, 0);
  const std::string second = process();
  ProgramRun run = vesk({"day", "--rollback", "2020-01-07", "st"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "generation 2020-01-07.1 is current: st/current\n");
  EXPECT_EQ(process(), first);
  EXPECT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).err, "vesk: 2020-01-07.1 is current already\n");
  run = vesk({"day", "--rollback", "2020-01-01", "st"});
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, "vesk: no generation of 2020-01-01 is kept; vesk day --list st shows those that are\n");
  // The day after is free again.
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
  EXPECT_EQ(process(), second);
  EXPECT_EQ(current(), "2020-01-08.2");
}

TEST_F(DayTest, TheLockKeepsASecondRunOut) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const int lock = ::open(folder.path("st/.lock").c_str(), O_RDWR);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, StartsWith("vesk: st: another run works on this state (process "));
  run = day("in2", "2020-01-08", {"--wait", "0.2"});
  EXPECT_EQ(run.status, 2);
  ::close(lock);
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
}

TEST_F(DayTest, OfTwoRunsAtOnceOneLoadsTheDay) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  for (int round = 0; round < 5; ++round) {
    ProgramRun runs[2];
    {
      std::thread other([&] { runs[1] = day("in2", "2020-01-08", {"--wait", "60"}); });
      runs[0] = day("in2", "2020-01-08", {"--wait", "60"});
      other.join();
    }
    EXPECT_THAT((std::vector<int>{runs[0].status, runs[1].status}), ::testing::UnorderedElementsAre(0, 2))
        << runs[0].err << runs[1].err;
    ASSERT_EQ(vesk({"day", "--rollback", "2020-01-07", "st"}).status, 0);
  }
}

TEST_F(DayTest, AFileThatIsOpenStaysWhatItIs) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string before = dataset();
  std::ifstream open(folder.path("st/current/dataset.bin"), std::ios::binary);
  ASSERT_EQ(day("in2", "2020-01-08", {"--keep", "1"}).status, 0);
  EXPECT_FALSE(folder.has("st/generations/2020-01-07.1"));
  EXPECT_EQ((std::string{std::istreambuf_iterator<char>(open), std::istreambuf_iterator<char>()}), before);
}

TEST_F(DayTest, AWrongUmaskMakesNoFilesForOthers) {
  writeFirstDay();
  const mode_t mask = ::umask(0);
  const ProgramRun run = firstDay();
  ::umask(mask);
  ASSERT_EQ(run.status, 0);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path("st"))) {
    struct stat status {};
    ASSERT_EQ(::lstat(entry.path().c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode) || (status.st_mode & 027) == 0) << entry.path();
  }
}

TEST_F(DayTest, FilesThatComeDuringTheWaitAreLoaded) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const int lock = ::open(folder.path("st/.lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    folder.write("in2/late", line(1, 9, "20200108", 10));
    ::close(lock);
  });
  const ProgramRun run = day("in2", "2020-01-08", {"--wait", "20"});
  other.join();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, StartsWith("2020-01-08: 2 files, 3 lines, 3 loaded, "));
}

// ---- names that lead elsewhere

TEST_F(DayTest, NothingLeadsOutOfTheState) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  namespace fs = std::filesystem;
  const auto withLink = [&](const std::string& name, const std::string& target, const std::string& words) {
    SCOPED_TRACE(name + " -> " + target);
    const fs::path path = folder.path("st/" + name);
    fs::rename(path, folder.path("saved"));
    fs::create_symlink(target, path);
    const ProgramRun run = day("in2", "2020-01-08");
    EXPECT_EQ(run.status, 99);
    EXPECT_THAT(run.err, HasSubstr(words));
    fs::remove(path);
    fs::rename(folder.path("saved"), path);
  };
  fs::copy(folder.path("st/generations/2020-01-07.1"), folder.path("outside"));
  withLink("current", folder.path("outside"), "which is no generation of this state");
  withLink("current", "generations/../../outside", "which is no generation of this state");
  withLink("current", "generations/2020-01-09.1", "which is not there");
  withLink("generations/2020-01-07.1", folder.path("outside"), "which is not there");
  withLink("generations", folder.path("outside"), "not a folder; the state cannot be used");
  withLink("ledger.jsonl", folder.path("st/current/run.json"), "not a file; the state cannot be used");
  withLink("generations/2020-01-07.1/process", folder.path("outside/process"), "cannot open the file");
  withLink(".lock", folder.path("outside/lock"), "cannot open the lock");
  EXPECT_FALSE(folder.has("outside/lock"));
  EXPECT_EQ(day("in2", "2020-01-08").status, 0);
}

TEST_F(DayTest, AnUnreadableLedgerIsNamedWithItsLine) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string good = folder.read("st/ledger.jsonl");
  folder.write("st/ledger.jsonl", good + "{\"action\":\"day\"}\n");
  const ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 99);
  EXPECT_EQ(run.err, "vesk: st/ledger.jsonl: line 2 cannot be used: the member generation is missing\n");
}

TEST_F(DayTest, InputsThatAreNoRecordFilesAreNamed) {
  namespace fs = std::filesystem;
  const auto refused = [&](const std::string& words) {
    const ProgramRun run = firstDay();
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "vesk: " + words + "\n");
    EXPECT_FALSE(folder.has("st/current"));
  };
  refused("in1: there is no such input: No such file or directory");
  fs::create_directory(folder.path("in1"));
  refused("in1: the input folder is empty");
  fs::create_directory(folder.path("in1/sub"));
  refused("in1/sub: a folder inside the input; give it as an input of its own, or move it away");
  fs::remove(folder.path("in1/sub"));
  ASSERT_EQ(::mkfifo(folder.path("in1/pipe").c_str(), 0600), 0);
  refused("in1/pipe: no regular file; move it out of the input");
  fs::remove(folder.path("in1/pipe"));
  for (const char* name : {"calls.partial123", "calls.part", "calls.tmp"}) {
    folder.write(std::string("in1/") + name, line(1, 5, "20200105", 60));
    refused(std::string("in1/") + name +
            ": a file that was not finished; remove it, or wait until it has its own name");
    fs::remove(folder.path(std::string("in1/") + name));
  }
  fs::create_symlink("/etc/passwd", folder.path("in1/link"));
  refused("in1/link: a symbolic link; put the file itself into the input");
  fs::remove(folder.path("in1/link"));
  folder.write("in1/empty", "");
  refused("the input has no line; nothing was loaded");
}

TEST_F(DayTest, ASingleFileIsAnInput) {
  writeFirstDay();
  EXPECT_EQ(day("in1/calls", "2020-01-07", {"--record-dates", "ymd", "--new"}).status, 0);
}

TEST_F(DayTest, NamesWithBlanksAndLineFeedsAreNames) {
  folder.write("in1/a b\nc\"d", line(1, 5, "20200105", 60) + "short\n");
  const ProgramRun run = firstDay({"--max-bad", "50%"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(folder.read("st/current/rejects.csv"),
            "file,line,byte,cause,field,columns,text\n\"a b\nc\"\"d\",2,21,short line,Date,9-16,short\n");
}

TEST_F(DayTest, AStateCanHaveAnyName) {
  writeFirstDay();
  for (const std::string name : {"s t\nx", "Error;|9;|x;|ErrorEnd %s%n Stats for file: "}) {
    const ProgramRun run =
        vesk({"day", "p.xml", "in1", name, "--date", "2020-01-07", "--record-dates", "ymd", "--new"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(folder.has(name + "/current/process"));
  }
}

TEST_F(DayTest, StateAndInputDoNotLieInEachOther) {
  writeFirstDay();
  EXPECT_EQ(vesk({"day", "p.xml", "in1", "in1/st", "--record-dates", "ymd", "--new"}).err,
            "vesk: the state folder in1/st is inside the input\n");
  ASSERT_EQ(firstDay().status, 0);
  EXPECT_EQ(vesk({"day", "p.xml", "st/current", "st"}).status, 1);
  EXPECT_EQ(day("in1", "2020-01-08", {"--rejects", "in1/calls"}).status, 1);
  EXPECT_EQ(day("in1", "2020-01-08", {"--json", "p.xml"}).status, 1);
  ::link(folder.path("in1/calls").c_str(), folder.path("alias").c_str());
  EXPECT_EQ(day("in1", "2020-01-08", {"--rejects", "alias"}).err,
            "vesk: --rejects: would replace the input in1/calls\n");
  EXPECT_EQ(folder.read("in1/calls").size(), 63U);
}

// ---- the report

TEST_F(DayTest, JsonTellsOfRunsThatAreRefused) {
  writeFirstDay();
  ASSERT_EQ(firstDay({"--json", "run.json"}).status, 0);
  auto json = nlohmann::json::parse(folder.read("run.json"));
  EXPECT_EQ(json["status"], 0);
  EXPECT_EQ(json["ledger"]["generation"], "2020-01-07.1");
  EXPECT_EQ(day("in1", "2020-01-08", {"--json", "run.json"}).status, 2);
  json = nlohmann::json::parse(folder.read("run.json"));
  EXPECT_EQ(json["status"], 2);
  EXPECT_THAT(json["message"].get<std::string>(), StartsWith("calls: the same records were loaded already"));
  EXPECT_TRUE(json["ledger"].is_null());
}

TEST_F(DayTest, ADayIsLoadedThoughItsReportCannotBeShown) {
  writeFirstDay();
  writeSecondDay();
  ASSERT_EQ(firstDay().status, 0);
  ProgramLimits limits;
  limits.standardOutput = "/dev/full";
  const ProgramRun run = day("in2", "2020-01-08", {}, limits);
  EXPECT_EQ(current(), "2020-01-08.1");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "vesk: the day is loaded, but its report cannot be written to standard output\n");
}

TEST_F(DayTest, WrongOptionsAreUsageErrors) {
  writeFirstDay();
  const auto usage = [&](const std::vector<std::string>& arguments, const std::string& words) {
    const ProgramRun run = vesk(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, HasSubstr(words));
  };
  usage({"day", "p.xml", "in1"}, "needs PARAMS, INPUT and STATE");
  usage({"day", "p.xml", "in1", "st", "--date", "20200107"}, "[20200107] is no date of the form YYYY-MM-DD");
  usage({"day", "p.xml", "in1", "st", "--date", "2020-02-30"}, "[2020-02-30] is no date of the form YYYY-MM-DD");
  usage({"day", "p.xml", "in1", "st", "--record-dates", "yyyymmdd"}, "--record-dates");
  usage({"day", "p.xml", "in1", "st", "--max-bad", "120%"}, "[120%] is no share such as 5% or 0.05");
  usage({"day", "p.xml", "in1", "st", "--output", "../x"}, "is no name for a dataset");
  usage({"day", "p.xml", "in1", "st", "--output", "process"}, "is no name for a dataset");
  usage({"day", "p.xml", "in1", "st", "--keep", "0"}, "--keep");
  usage({"day", "p.xml", "in1", "st", "--new", "--redo"}, "a new state has no day to take back");
  usage({"day", "--list", "st", "p.xml"}, "goes with no other argument");
}

TEST_F(DayTest, ParameterFileErrorsHaveTheirPlace) {
  writeFirstDay();
  std::string text = layout(tableTags(3));
  text.replace(text.find("DateHorizon>30"), 11, "DateHorizont");
  text.replace(text.find("/DateHorizon>"), 12, "/DateHorizont");
  folder.write("p.xml", text);
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, HasSubstr("DateHorizont: did you mean DateHorizon?"));
  EXPECT_THAT(run.err, HasSubstr("p.xml"));
}

}  // namespace
}  // namespace vesk_e2e
