// What `vesk day` does with the lines of record files, and that its state is the one of the loader alone.

#include <gmock/gmock.h>

#include <fstream>
#include <thread>

#include "day_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class DayRecordsTest : public DayCase {};

const std::string rejectsHeader = "file,line,byte,cause,field,columns,text\n";

TEST_F(DayRecordsTest, TellsAllCausesApart) {
  folder.write("special", "9");
  folder.write("p.xml",
               layout(tableTags(3, "<SpecialList><File>special</File><OpName>Exclude</OpName></SpecialList>\n") +
                      "<Operation2><OpName>CyclicAddPayload</OpName><Input>4</Input></Operation2>\n"));
  const std::string good = line(1, 5, "20200105", 60);
  folder.write("in1/calls", good + "   1   5202\n" + "   1    20200105  60\n" + "   1  5520200105 6 0\n" +
                                "   1   520200105 6,0\n" + "   1 5\t520200105  60\n" + "   1  xy20200105  60\n" +
                                "   1 0x920200105  60\n" + "   1 1e220200105  60\n" + "   1 3.520200105  60\n" +
                                "   0   520200105  60\n" + "  -3   520200105  60\n" + "   1   520201305  60\n" +
                                "   1   520200230  60\n" + "   1   520200109  60\n" + "   1   520191201  60\n" +
                                "   1   520200105  -1\n" + "   1   920200105  60\n" + std::string(10000, '1') + "\n" +
                                std::string("   1   5\0 0200105  60\n", 21) + "\n" + good + "   1   52020010");
  const ProgramRun run = firstDay({"--max-bad", "90%"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(
      folder.read("st/current/rejects.csv"),
      rejectsHeader + "calls,2,21,short line,Seconds,17-20,   1   5202\n" + "calls,3,33,blank field,Callee,5-8,    \n" +
          "calls,4,54,blank inside a field,Seconds,17-20, 6 0\n" +
          "calls,5,75,comma or tab inside a field,Seconds,17-20,\" 6,0\"\n" +
          "calls,6,96,comma or tab inside a field,Callee,5-8, 5\t5\n" + "calls,7,117,not a number,Callee,5-8,  xy\n" +
          "calls,8,138,not a number,Callee,5-8, 0x9\n" + "calls,9,159,not a number,Callee,5-8, 1e2\n" +
          "calls,10,180,not a number,Callee,5-8, 3.5\n" + "calls,11,201,caller not above 0,Caller,1-4,   0\n" +
          "calls,12,222,caller not above 0,Caller,1-4,  -3\n" + "calls,13,243,no such date,Date,9-16,20201305\n" +
          "calls,14,264,no such date,Date,9-16,20200230\n" + "calls,15,285,after the day,Date,9-16,20200109\n" +
          "calls,16,306,before the horizon,Date,9-16,20191201\n" + "calls,17,327,-1 or -2,Seconds,17-20,  -1\n" +
          "calls,18,348,restricted,Callee,5-8,   9\n" + "calls,19,369,long line,,," + std::string(200, '1') + "\n" +
          "calls,20,10370,not text,,,   1   5\\x00 0200105  60\n" + "calls,22,10413,cut line,,,   1   52020010\n");
  EXPECT_EQ(run.out,
            "2020-01-07: 1 file, 22 lines, 3 loaded, 19 refused (86.36 %)\n"
            "  not a number                4 (18.18 %)\n"
            "  caller not above 0          2 (9.09 %)\n"
            "  comma or tab inside a field 2 (9.09 %)\n"
            "  no such date                2 (9.09 %)\n"
            "  -1 or -2                    1 (4.55 %)\n"
            "  after the day               1 (4.55 %)\n"
            "  before the horizon          1 (4.55 %)\n"
            "  blank field                 1 (4.55 %)\n"
            "  blank inside a field        1 (4.55 %)\n"
            "  cut line                    1 (4.55 %)\n"
            "  long line                   1 (4.55 %)\n"
            "  not text                    1 (4.55 %)\n"
            "  short line                  1 (4.55 %)\n"
            "left out by the special list: 1 of the loaded entries\n"
            "state: 1 caller, 2 entries\n"
            "generation 2020-01-07.1 is current: st/current, 346 bytes\n"
            "refused lines: st/current/rejects.csv\n");
  EXPECT_EQ(run.err, "vesk: calls: the last line has no line end\n");
}

TEST_F(DayRecordsTest, WritesAFewRejectsACauseAndCountsAll) {
  std::string lines = line(1, 5, "20200105", 60);
  for (int i = 0; i < 9; ++i) lines += "short\n";
  folder.write("in1/calls", lines);
  ProgramRun run = firstDay({"--max-bad", "0.9", "--rejects", "r.csv", "--rejects-max", "2"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(folder.read("r.csv"),
            rejectsHeader + "calls,2,21,short line,Date,9-16,short\ncalls,3,27,short line,Date,9-16,short\n");
  EXPECT_THAT(run.out, HasSubstr("  short line                  9 (90.00 %)\n"));
  EXPECT_FALSE(folder.has("st/current/rejects.csv"));
  EXPECT_THAT(run.out, HasSubstr("refused lines: r.csv\n"));
}

// ---- the threshold

TEST_F(DayRecordsTest, TooManyRefusedLinesLoadNothing) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  std::string lines;
  for (int i = 0; i < 19; ++i) lines += line(1, 5, "20200108", i + 1);
  folder.write("in2/calls", lines + "   1  a520200108  60\n" + "   1  b520200108  60\n" + "short\n");
  ProgramRun run = day("in2", "2020-01-08");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(
      run.err,
      "vesk: 3 of 22 lines (13.64 %) cannot be loaded, more than --max-bad 5.00 %; the most frequent cause is "
      "\"not a number\" (2 lines), as in calls line 20, field Callee in columns 5-8: [  a5]; nothing was loaded\n");
  EXPECT_EQ(current(), "2020-01-07.1");
  EXPECT_THAT(folder.read("st/last-failed/rejects.csv"), HasSubstr("calls,20,399,not a number,Callee,5-8,  a5\n"));
  EXPECT_EQ(day("in2", "2020-01-08", {"--max-bad", "13.7%"}).status, 0);
}

TEST_F(DayRecordsTest, NoGoodLineLoadsNothing) {
  folder.write("in1/calls", "a\nb\n");
  const ProgramRun run = firstDay({"--max-bad", "100%", "--no-check"});
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err,
              HasSubstr("vesk: none of the 2 lines can be loaded; the most frequent cause is \"short line\" (2 lines), "
                        "as in calls line 1, field Callee in columns 5-8: [a]; nothing was loaded\n"));
}

TEST_F(DayRecordsTest, AHorizonThatEmptiesTheStateLoadsNothing) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  folder.write("in2/calls", line(1, 5, "20200301", 1));
  const ProgramRun run = day("in2", "2020-03-01");
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(
      run.err,
      "vesk: 3 of the 3 entries of the state are older than the horizon of 30 days before 2020-03-01; nothing was "
      "loaded. Check --date and --record-dates; --force drops them\n");
  EXPECT_EQ(current(), "2020-01-07.1");
  EXPECT_EQ(day("in2", "2020-03-01", {"--force"}).status, 0);
}

TEST_F(DayRecordsTest, DatesInAnotherFormAreNotLoaded) {
  writeFirstDay();
  const ProgramRun run = day("in1", "2020-01-07", {"--record-dates", "ydm", "--new", "--no-check"});
  EXPECT_EQ(run.status, 3);  // read as days of May, June and July
  EXPECT_THAT(run.err, HasSubstr("the most frequent cause is \"after the day\" (3 lines)"));
}

// ---- forms of files

TEST_F(DayRecordsTest, CompressedFilesAreReadAsWhatTheyHold) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string plain = process();
  for (const char* program : {"/bin/gzip", "/usr/bin/zstd"}) {
    SCOPED_TRACE(program);
    std::filesystem::remove_all(folder.path("st"));
    std::filesystem::remove_all(folder.path("in1"));
    writeFirstDay();
    ASSERT_EQ(runProgram(program, {folder.path("in1/calls")}, folder.path()).status, 0);
    std::filesystem::remove(folder.path("in1/calls"));
    const ProgramRun run = firstDay();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(process(), plain);
  }
  std::filesystem::remove_all(folder.path("st"));
  const std::string zstd = folder.read("in1/calls.zst");
  folder.write("in1/calls.zst", zstd.substr(0, zstd.size() - 3));
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, StartsWith("vesk: in1/calls.zst: the zstd data ends too early"));
}

TEST_F(DayRecordsTest, MarksReturnsAndMissingLineEndsLoseNothing) {
  writeFirstDay();
  ASSERT_EQ(firstDay().status, 0);
  const std::string plain = process();
  std::filesystem::remove_all(folder.path("st"));
  std::string text = folder.read("in1/calls");
  for (std::size_t place = text.find('\n'); place != std::string::npos; place = text.find('\n', place + 2)) {
    text.insert(place, 1, '\r');
  }
  folder.write("in1/calls", "\xEF\xBB\xBF" + text.substr(0, text.size() - 2));
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(process(), plain);
  EXPECT_EQ(run.err,
            "vesk: calls: the byte order mark was passed over\n"
            "vesk: calls: the carriage returns before the line feeds were left out\n"
            "vesk: calls: the last line has no line end\n");
}

TEST_F(DayRecordsTest, Utf16IsNamed) {
  folder.write("in1/calls", std::string("\xFF\xFE"
                                        "1\0",
                                        4));
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vesk: in1/calls: UTF-16 text; convert it to UTF-8 first\n");
}

TEST_F(DayRecordsTest, AVeryLongLineIsOneRefusedLine) {
  writeFirstDay();
  const std::string records = folder.read("in1/calls");
  folder.write("in1/calls", records + std::string(std::size_t{40} << 20, '7') + "\n" + line(4, 4, "20200107", 4));
  const ProgramRun run = firstDay({"--max-bad", "20%"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out,
              HasSubstr("5 lines, 4 loaded, 1 refused (20.00 %)\n  long line                   1 (20.00 %)\n"));
}

TEST_F(DayRecordsTest, ManySmallFilesAreReadInTheOrderOfTheirNames) {
  std::string all;
  for (int i = 0; i < 2000; ++i) {
    const std::string record = line(1 + i % 7, 1 + i % 900, "20200105", i % 60);
    folder.write("in1/c" + std::to_string(10000 + i), record);
    all += record;
  }
  folder.write("all/calls", all);
  const ProgramRun run = firstDay();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, StartsWith("2020-01-07: 2,000 files, 2,000 lines, 2,000 loaded, "));
  const std::string state = process();
  std::filesystem::remove_all(folder.path("st"));
  ASSERT_EQ(day("all", "2020-01-07", {"--record-dates", "ymd", "--new"}).status, 0);
  EXPECT_EQ(process(), state);
}

TEST_F(DayRecordsTest, AFileThatChangesWhileItIsReadIsNotLoaded) {
  // The pipe to the loader holds a megabyte: behind it the run waits in the middle of the file.
  std::string lines;
  for (int i = 0; i < 200000; ++i) lines += line(1 + i % 900, 1 + i % 800, "20200105", 1);
  folder.write("in1/calls", lines);
  folder.write("in1/later", line(1, 2, "20200105", 3));
  std::thread writer([this] {
    waitForWork();
    std::ofstream(folder.path("in1/later"), std::ios::app) << line(1, 2, "20200106", 3);
  });
  const ProgramRun run = firstDay();
  writer.join();
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vesk: in1/later: the file changed while it was read; run again when it is complete\n");
  EXPECT_EQ(current(), "");
}

TEST_F(DayRecordsTest, AFileThatComesWhileTheOthersAreReadIsNoHalfDay) {
  std::string lines;
  for (int i = 0; i < 200000; ++i) lines += line(1 + i % 900, 1 + i % 800, "20200105", 1);
  folder.write("in1/calls", lines);
  folder.write("came", line(1, 2, "20200105", 3));
  std::thread writer([this] {
    waitForWork();
    std::filesystem::rename(folder.path("came"), folder.path("in1/came"));
  });
  const ProgramRun run = firstDay();
  writer.join();
  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.err, "vesk: in1/came: came while the input was read; run again when it is complete\n");
  EXPECT_EQ(current(), "");
}

// ---- sums that the state cannot hold

TEST_F(DayRecordsTest, SumsThatDoNotReadBackAreNotLoaded) {
  folder.write(
      "p.xml",
      layout("<Output>Sparse</Output><Operation1><OpName>Add</OpName><Input>4</Input><Output>1</Output></Operation1>"
             "<Operation2><OpName>Add</OpName><Input>4</Input><Output>2</Output></Operation2>"));
  folder.write("in1/calls", line(1, 5, "20200105", -1) + line(1, 5, "20200105", -1));
  const ProgramRun run = day("in1", "2020-01-07", {"--new"});
  EXPECT_NE(run.status, 0);
  EXPECT_THAT(run.err,
              HasSubstr("/process: record 1, byte 16: the caller has no entry; a sum of exactly -2 ends a record"));
  EXPECT_EQ(current(), "");
}

// ---- the same as the loader alone

struct RunKind {
  const char* name;
  std::vector<std::string> options;
};

TEST_F(DayRecordsTest, StateAndDatasetAreThoseOfTheLoader) {
  const RunKind kinds[] = {{"table", {"--params", "table"}},
                           {"table in parts", {"--params", "table", "--partitions", "3"}},
                           {"table without payload", {"--params", "table", "--no-payload", "--table-size", "4"}},
                           {"dense table", {"--params", "table", "--form", "dense"}},
                           {"pair sums", {"--params", "pairsum", "--partitions", "2"}},
                           {"sums", {"--params", "sums"}},
                           {"dense sums", {"--params", "sums", "--form", "dense", "--partitions", "2"}}};
  for (const RunKind& kind : kinds) {
    SCOPED_TRACE(kind.name);
    std::filesystem::remove_all(folder.path("st"));
    std::filesystem::remove_all(folder.path("alone"));
    std::filesystem::create_directory(folder.path("alone"));
    folder.write("p.xml", runProgram("vesk-generate", kind.options, folder.path()).out);
    const bool hasDates = std::string(kind.options[1]) == "table";
    for (int d = 1; d <= 3; ++d) {
      const std::string input = "in" + std::to_string(d);
      std::filesystem::create_directory(folder.path(input));
      ASSERT_EQ(
          runProgram("vesk-generate",
                     {"-q", "-n", "3000", "-c", "200", "--days", "5", "--start-date", "2020-01-0" + std::to_string(d),
                      "--seed", std::to_string(d), "--bad", "all=0.03", "-o", input + "/calls"},
                     folder.path())
              .status,
          0);
      std::vector<std::string> more = {"--max-bad", "10%"};
      if (d == 1) more.insert(more.end(), {"--new", "--record-dates", hasDates ? "ymd" : "none"});
      const ProgramRun run = day(input, "2020-01-1" + std::to_string(d), more);
      ASSERT_EQ(run.status, 0) << run.err;
      ASSERT_EQ(runProgram("vesk-loader",
                           {"datadir", input, "p.xml", "alone/process", "alone/dataset.bin", hasDates ? "2" : "0",
                            "20201" + std::to_string(d) + "01"},
                           folder.path())
                    .status,
                0);
      std::size_t files = 0;
      for (const auto& entry : std::filesystem::directory_iterator(folder.path("alone"))) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE(folder.read("alone/" + name) == folder.read("st/current/" + name)) << name;
        ++files;
      }
      EXPECT_GE(files, 3U);
    }
  }
}

}  // namespace
}  // namespace vesk_e2e
