#include "generate.h"

#include <sstream>

#include "generate_fixture.h"

namespace vesk_generate {
namespace {

using testing::contentOf;
using ::testing::EndsWith;
using testing::generateText;
using ::testing::HasSubstr;
using testing::linesOf;
using ::testing::StartsWith;
using testing::TemporaryFolder;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "vesk-generate");
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out;
  std::ostringstream err;
  const int status = runGenerate(static_cast<int>(argv.size()), argv.data(), out, err);
  return {status, out.str(), err.str()};
}

TEST(Generate, EachOptionReachesItsSetting) {
  const TemporaryFolder folder;
  GeneratorSettings settings;
  settings.records = 500;
  settings.seed = 9;
  settings.callers = 200;
  settings.firstCaller = 7000;
  settings.activityExponent = 1.25;
  settings.popularityExponent = 0.5;
  settings.groupCount = 11;
  settings.groupSizeMin = 3;
  settings.groupSizeMax = 8;
  settings.insideShare = 0.6;
  settings.startDate = parseDate("2011-11-20");
  settings.days = 45;
  settings.dateForm = DateForm::YearDayMonth;
  settings.shuffleDates = true;
  settings.meanDurationSeconds = 33.0;
  settings.maxMultiplicity = 9;
  settings.badShares = {0.1, 0.0, 0.05, 0.0, 0.0, 0.0, 0.02};
  settings.layout = parseLayout("40-54,1-9,12-21,23-30,32-32");
  const Outcome outcome = run({"-n",
                               "500",
                               "--seed",
                               "9",
                               "-c",
                               "200",
                               "--first-caller",
                               "7000",
                               "--activity-exponent",
                               "1.25",
                               "--popularity-exponent",
                               "0.5",
                               "--group-count",
                               "11",
                               "--group-size",
                               "3-8",
                               "--inside-share",
                               "0.6",
                               "--start-date",
                               "2011-11-20",
                               "--days",
                               "45",
                               "--date-form",
                               "yyyyddmm",
                               "--shuffle-dates",
                               "--mean-duration",
                               "33",
                               "--max-multiplicity",
                               "9",
                               "--bad",
                               "short=0.1,inner-blank=0.05",
                               "--bad",
                               "old-date=0.02",
                               "--layout",
                               "40-54,1-9,12-21,23-30,32-32",
                               "-o",
                               folder.path("calls"),
                               "-q"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(contentOf(folder.path("calls")), generateText(settings));
}

TEST(Generate, WithoutOptionsTheSettingsAreTheDefaults) {
  const TemporaryFolder folder;
  ASSERT_EQ(run({"-n", "300", "-o", folder.path("calls")}).status, 0);
  GeneratorSettings settings;
  settings.records = 300;
  EXPECT_EQ(contentOf(folder.path("calls")), generateText(settings));
}

TEST(Generate, TheSummaryCountsRecordsBytesAndBadLines) {
  const TemporaryFolder folder;
  const Outcome outcome =
      run({"-n", "100", "--bad", "zero-caller=1", "--files", "2", "--days", "31", "-o", folder.path("calls")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err,
            "100 records, 5100 bytes, files: 2, last day (yyyyddmm): 20203101\n"
            "bad lines: zero-caller 100\n");
}

TEST(Generate, TheGroupsFileHasALineForEachGroup) {
  const TemporaryFolder folder;
  const std::vector<std::string> options{"--group-count", "3", "--group-size", "4", "-c", "50"};
  std::vector<std::string> arguments = options;
  arguments.insert(arguments.end(), {"--groups", folder.path("groups.txt")});
  ASSERT_EQ(run(arguments).status, 0);
  GeneratorSettings settings;
  settings.callers = 50;
  settings.groupCount = 3;
  settings.groupSizeMin = settings.groupSizeMax = 4;
  const CallNetwork network(settings);
  std::string expected;
  for (std::uint32_t group = 1; group <= 3; ++group) {
    expected += std::to_string(group);
    for (const auto member : network.groupMembers(group)) expected.append(" ").append(std::to_string(member));
    expected += "\n";
  }
  EXPECT_EQ(contentOf(folder.path("groups.txt")), expected);
  EXPECT_EQ(linesOf(expected).size(), 3U);
}

TEST(Generate, TheOutcomesFileHasAHeadAndARowPerCallerAndLeavesTheRecords) {
  const TemporaryFolder folder;
  const std::vector<std::string> options{"-q", "-n", "300", "-c", "40000", "--group-count", "5"};
  std::vector<std::string> arguments = options;
  arguments.insert(arguments.end(), {"-o", folder.path("plain")});
  ASSERT_EQ(run(arguments).status, 0);
  arguments = options;
  arguments.insert(arguments.end(), {"-o", folder.path("calls"), "--files", "2", "--outcomes", folder.path("out.csv")});
  ASSERT_EQ(run(arguments).status, 0);
  EXPECT_EQ(contentOf(folder.path("calls.1")) + contentOf(folder.path("calls.2")), contentOf(folder.path("plain")));
  const std::vector<std::string> lines = linesOf(contentOf(folder.path("out.csv")));
  ASSERT_EQ(lines.size(), 40001U);
  EXPECT_EQ(lines[0], "caller,before,outcome");
  EXPECT_THAT(lines[1], StartsWith("1,"));
  EXPECT_THAT(lines[40000], StartsWith("40000,"));
}

TEST(Generate, OutcomesThatCannotBeWrittenLeaveNoRecords) {
  const TemporaryFolder folder;
  const Outcome outcome = run({"-n", "5", "-o", folder.path("calls"), "--outcomes", folder.path("no/out.csv")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("cannot open"));
  EXPECT_FALSE(std::filesystem::exists(folder.path("calls")));
}

TEST(Generate, ParamsGoToStandardOutputAndNoRecordsAreWritten) {
  const Outcome outcome = run({"--params", "table", "--table-size", "5", "--horizon", "60", "--partitions", "4",
                               "--no-payload", "--form", "dense"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, StartsWith("<LoaderParams>\n"));
  EXPECT_THAT(outcome.out, HasSubstr("<CyclicTableSize>5</CyclicTableSize>"));
  EXPECT_THAT(outcome.out, HasSubstr("<DateHorizon>60</DateHorizon>"));
  EXPECT_THAT(outcome.out, HasSubstr("<NumberOfPartitions>4</NumberOfPartitions>"));
  EXPECT_THAT(outcome.out, HasSubstr("<Output>Dense</Output>"));
  EXPECT_THAT(outcome.out, ::testing::Not(HasSubstr("CyclicAddPayload")));
}

TEST(Generate, ParamsAndRecordsTogetherWriteBoth) {
  const TemporaryFolder folder;
  const Outcome outcome = run({"--params", "sums", "-n", "5", "-o", folder.path("calls")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("<OpName>Add</OpName>"));
  EXPECT_EQ(linesOf(contentOf(folder.path("calls"))).size(), 5U);
}

TEST(Generate, HelpAndVersionEndWithStatusZero) {
  const Outcome help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("vesk-loader in table.xml none out.bin 2 20203001"));
  EXPECT_EQ(run({"--version"}).out, "vesk-generate 2.0.6\n");
}

TEST(Generate, EachMistakeIsOneLineAndStatusOne) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{}, "nothing to do: give --output, --groups or --params"},
      {{"--nope"}, "The following argument was not expected: --nope"},
      {{"--params", "foo"}, "--params: 'foo' is not one of pairsum, sums, table"},
      {{"--params", "pairsum", "--form", "dense"}, "a pair sum has the sparse form only"},
      {{"--params", "table", "--form", "wide"}, "--form: 'wide' is not one of dense, sparse"},
      {{"--params", "table", "-o", "-"}, "--params and --output - both want standard output"},
      {{"-o", "-", "--files", "2"}, "standard output is one file"},
      {{"-o", "same", "--groups", "same"}, "the records and the groups cannot share one file"},
      {{"-o", "same", "--outcomes", "same"}, "the records and the outcomes cannot share one file"},
      {{"-o", "x", "--groups", "same", "--outcomes", "same"}, "the groups and the outcomes cannot share one file"},
      {{"--groups", "x", "--outcomes", "y"}, "--outcomes needs --output: the outcomes depend on the calls"},
      {{"-o", "x", "--date-form", "dd"}, "--date-form: 'dd' is not one of yyyyddmm, yyyymmdd"},
      {{"-o", "x", "--start-date", "20200101"}, "'20200101' is not a date (yyyy-mm-dd)"},
      {{"-o", "x", "--group-size", "5-"}, "'5-' is not a group size (MIN-MAX)"},
      {{"-o", "x", "--bad", "tall=1"}, "unknown kind of bad line 'tall'"},
      {{"-o", "x", "--callers", "1"}, "the number of callers must be from 2 to 2000000000"},
      {{"-o", "/nonexistent/x"}, "cannot open /nonexistent/x: No such file or directory"},
      {{"-o", "/dev/full"}, "cannot write /dev/full: No space left on device"},
      {{"--groups", "/dev/full", "--group-count", "9"}, "cannot write /dev/full: No space left on device"}};
  for (const auto& [arguments, text] : cases) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1) << text;
    EXPECT_EQ(outcome.err, "vesk-generate: " + text + "\n");
    EXPECT_EQ(outcome.out, "");
  }
}

// The records once took the place of the groups without a word when their names were spelt apart.
TEST(Generate, RecordsAndGroupsUnderTwoNamesOfOneFileAreAMistake) {
  const TemporaryFolder folder;
  std::ofstream(folder.path("calls.1")) << "of the run before";
  std::filesystem::create_symlink(folder.path("calls.1"), folder.path("link"));
  const std::string calls = folder.path("calls");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-o", calls, "--groups", folder.path("./calls")},
        {"-o", folder.path(""), "--groups", calls},
        {"-o", calls, "--files", "2", "--groups", folder.path("calls.2")},
        {"-o", calls, "--files", "2", "--groups", folder.path("link")}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "vesk-generate: the records and the groups cannot share one file\n");
    EXPECT_FALSE(std::filesystem::exists(calls) || std::filesystem::exists(folder.path("calls.2")));
  }
  EXPECT_EQ(run({"-q", "-n", "2", "-o", calls, "--groups", folder.path("groups"), "--group-count", "1"}).status, 0);
}

TEST(Generate, MistakesFoundByTheParserAreOneLineToo) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"-o", "x", "-n", "many"}, {"-o", "x", "--files", "0"}, {"--table-size", "3"}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, StartsWith("vesk-generate: "));
    EXPECT_EQ(linesOf(outcome.err).size(), 1U) << outcome.err;
  }
}

TEST(Generate, AStandardOutputThatFailsIsReported) {
  std::ostringstream err;
  std::ostream closed(nullptr);  // a stream without buffer fails every write
  for (const std::vector<const char*>& argv :
       {std::vector<const char*>{"vesk-generate", "--params", "table"}, {"vesk-generate", "--help"}}) {
    closed.clear();
    err.str("");
    EXPECT_EQ(runGenerate(static_cast<int>(argv.size()), argv.data(), closed, err), 1);
    EXPECT_EQ(err.str(), "vesk-generate: cannot write to standard output\n");
  }
}

}  // namespace
}  // namespace vesk_generate
