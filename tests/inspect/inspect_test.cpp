#include "inspect.h"

#include <sstream>

#include "groups/groups_fixture.h"
#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::HasSubstr;
using testing::tableRow;
using vesk_groups::testing::nodesFile;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

Outcome run(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "vesk-inspect");
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  std::ostringstream out;
  std::ostringstream err;
  const int status = runInspect(static_cast<int>(argv.size()), argv.data(), out, err);
  return {status, out.str(), err.str()};
}

class InspectProgramTest : public testing::InspectTest {};

TEST_F(InspectProgramTest, ASoundFileGivesStatusZero) {
  writeNumbers(tableRow(1, 1, {5}));
  const Outcome dataset = run({"dataset", path(), "--form", "sparse"});
  EXPECT_EQ(dataset.status, 0);
  EXPECT_EQ(dataset.err, "");
  EXPECT_THAT(dataset.out, HasSubstr("checks: sound\n"));
  writeNumbers({1, 5, -2, -1});
  EXPECT_EQ(run({"process", path()}).status, 0);
}

TEST_F(InspectProgramTest, ADefectGivesStatusOneAndIsPartOfTheOutput) {
  writeNumbers({1, 0, 1});
  const Outcome dataset = run({"dataset", path()});
  EXPECT_EQ(dataset.status, 1);
  EXPECT_EQ(dataset.err, "");
  EXPECT_THAT(dataset.out, HasSubstr("the file ends within the row of key 1"));
  EXPECT_EQ(run({"process", path()}).status, 1);
}

TEST_F(InspectProgramTest, TheOptionsOfADatasetReachIt) {
  writeNumbers({1, 5, 6, 7, 2, 5, 6, 7, 2, 5, 6, 7});
  const Outcome outcome =
      run({"dataset", path(), "--form", "dense", "--columns", "4", "--rows", "1", "--defects", "0"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, HasSubstr("form      dense (as given)\n"));
  EXPECT_THAT(outcome.out,
              HasSubstr("Col3\n       1     0       1     5     6     7\n\nchecks: 1 defect\n  and 1 more\n"));
}

TEST_F(InspectProgramTest, GroupsAreComparedWithStatusZeroWhateverTheAgreement) {
  writeText(nodesFile({{1, 1}, {2, 1}}), "found");
  writeText("5 7 8\n", "known");
  const Outcome outcome = run({"groups", path("found"), path("known")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, HasSubstr("pairs F1             0.000000\n"));
  EXPECT_EQ(outcome.out.find("leader"), std::string::npos);
  EXPECT_THAT(run({"groups", path("found"), path("known"), "--largest", "1"}).out, HasSubstr("leader 1"));
}

TEST_F(InspectProgramTest, AFileOfGroupsThatIsWrongIsOneLineAndStatusOne) {
  writeText(nodesFile({{1, 1}, {1, 2}}), "found");
  writeText("5 7 8\n", "known");
  const Outcome outcome = run({"groups", path("found"), path("known")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "vesk-inspect: " + path("found") + ", line 3: node 1 stands already in line 2, in group 1\n");
}

TEST_F(InspectProgramTest, ACountIsAWholeNumberWithoutASign) {
  writeNumbers(tableRow(1, 1, {5}));
  for (const char* text : {"-1", "", "+1", "1x", "0x10", "1.5", " 1", "18446744073709551616"}) {
    for (const auto& [command, option] : {std::pair{"dataset", "--rows"},
                                          {"dataset", "--defects"},
                                          {"process", "--rows"},
                                          {"stream", "--elements"},
                                          {"groups", "--largest"}}) {
      const Outcome outcome = run({command, path(), option, text});
      EXPECT_EQ(outcome.status, 1) << command << option << text;
      EXPECT_EQ(outcome.out, "") << command << option << text;
      EXPECT_EQ(outcome.err, std::string("vesk-inspect: ") + option + ": [" + text + "] is no count\n");
    }
  }
  for (const char* text : {"0", "007", "18446744073709551615"}) {
    EXPECT_EQ(run({"dataset", path(), "--form", "sparse", "--rows", text}).status, 0) << text;
  }
}

TEST_F(InspectProgramTest, TheOptionsOfAProcessFileReachIt) {
  writeNumbers({1, 5, 20200101, 2, 6, 20200101, 2, -2, 60, 61, -2, -1});
  const Outcome outcome = run({"process", path(), "--dates", "--payloads", "1", "--pair-sum", "--rows", "1"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("callee      date  weight  payload 1\n"
                                     "       1     0    1      1       5  20200101       2         60\n\n"));
}

TEST_F(InspectProgramTest, AnXmlFileIsPrintedInTheSystemsForm) {
  writeText("<A><B x=\"1\">2</B></A>");
  const Outcome outcome = run({"xml", path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "<A>\n  <B x=\"1\">2</B>\n</A>\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(InspectProgramTest, AnXmlFileThatDoesNotParseGivesTheParsersWordsAndStatusOne) {
  writeText("<A></B>");
  ::testing::internal::CaptureStdout();
  const Outcome outcome = run({"xml", path()});
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(printed, ::testing::StartsWith("Closing tag [B] does not match opening tag [A]\nXML Parse error.\n"));
}

TEST_F(InspectProgramTest, TheLibraryExceptionOfTheParserEndsWithStatusOne) {
  ::testing::internal::CaptureStdout();
  const Outcome outcome = run({"xml", "/proc/self/mem"});  // opens, and fails at its first read
  const std::string printed = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(printed, ::testing::StartsWith("Error;|2100;|QUVENXMLHandler::readXMLFile, bad ifstream;|ErrorEnd\n"));
}

TEST_F(InspectProgramTest, HelpAndVersionEndWithStatusZero) {
  EXPECT_EQ(run({"--version"}).out, "vesk-inspect 2.0.6\n");
  const Outcome help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.out, HasSubstr("vesk-inspect process table.process --dates --payloads 1"));
  EXPECT_THAT(help.out, HasSubstr("vesk-inspect xml table.xml"));
  const Outcome datasetHelp = run({"dataset", "--help"});
  EXPECT_EQ(datasetHelp.status, 0);
  EXPECT_THAT(datasetHelp.out, HasSubstr("--columns"));
}

TEST_F(InspectProgramTest, EachMistakeIsOneLineAndStatusOne) {
  const std::string missing = path("missing");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
      {{}, "A subcommand is required"},
      {{"dataset"}, "FILE is required"},
      {{"process"}, "FILE is required"},
      {{"xml"}, "FILE is required"},
      {{"groups"}, "FOUND is required"},
      {{"groups", missing}, "KNOWN is required"},
      {{"groups", missing, missing}, "cannot open " + missing + ": No such file or directory"},
      {{"xml", missing}, "cannot open " + missing},
      {{"dataset", missing}, "cannot open " + missing + ": No such file or directory"},
      {{"process", missing}, "cannot open " + missing + ": No such file or directory"},
      {{"dataset", missing, "--form", "wide"}, "--form: wide not in {sparse,dense}"},
      {{"dataset", missing, "--columns", "0"}, "--columns: Value 0 not in range 1 to 1000000"},
      {{"dataset", missing, "--form", "sparse", "--columns", "2"}, "the sparse form has three columns"}};
  for (const auto& [arguments, text] : cases) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 1) << text;
    EXPECT_EQ(outcome.err, "vesk-inspect: " + text + "\n");
    EXPECT_EQ(outcome.out, "");
  }
}

TEST_F(InspectProgramTest, AStandardOutputThatFailsIsReported) {
  writeNumbers(tableRow(1, 1, {5}));
  const std::string file = path();
  const std::vector<const char*> argv{"vesk-inspect", "dataset", file.c_str()};
  std::ostream closed(nullptr);  // a stream without buffer fails every write
  std::ostringstream err;
  EXPECT_EQ(runInspect(static_cast<int>(argv.size()), argv.data(), closed, err), 1);
  EXPECT_EQ(err.str(), "vesk-inspect: cannot write to standard output\n");
}

}  // namespace
}  // namespace vesk_inspect
