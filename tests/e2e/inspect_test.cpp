#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Strings = std::vector<std::string>;

/// The installed inspector on files that are not what they should be.
class InspectorRun : public LoaderCase {
 protected:
  ProgramRun inspect(const Strings& arguments) { return runOther("vesk-inspect", arguments); }

  /// A file that can be read, with one defect.
  void expectDefect(const Strings& arguments, const std::string& defect) {
    SCOPED_TRACE(defect);
    const ProgramRun run = inspect(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "");
    EXPECT_THAT(run.out, EndsWith("\nchecks: 1 defect\n  " + defect + "\n"));
  }
  /// A file that cannot be read, or a wrong command line.
  void expectRefused(const Strings& arguments, const std::string& text) {
    SCOPED_TRACE(text);
    const ProgramRun run = inspect(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "vesk-inspect: " + text + "\n");
  }
};

TEST_F(InspectorRun, ADatasetThatIsCutHasADefect) {
  writeNumbers("out", {1, 0, 1, 1, 1, 5, 1, 2, 0, 2}, "abc");
  expectDefect({"dataset", "out", "--form", "sparse"},
               "record 4 (byte 72): the size 83 is not a multiple of 24, 11 bytes are left over");
  writeNumbers("out", {1, 5, 2});
  writeFile("out.info", "Col0 Numeric Explanatory\nCol1 Numeric Explanatory\n");
  expectDefect({"dataset", "out"}, "record 2 (byte 16): the size 24 is not a multiple of 16, 8 bytes are left over");
}

TEST_F(InspectorRun, KeysThatDoNotRiseAreADefect) {
  writeNumbers("out", {2, 5, 1, 5});
  expectDefect({"dataset", "out", "--form", "dense", "--columns", "2"},
               "record 2 (byte 16): key 1 does not rise above key 2");
}

TEST_F(InspectorRun, AProcessFileThatIsCutHasADefect) {
  writeNumbers("process", {1, 9, -2, -1, 2, 9});
  const ProgramRun run = inspect({"process", "process"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("\nchecks: 1 defect\n  record 2 (byte 48): "));
}

TEST_F(InspectorRun, AProcessFileOfOtherSettingsHasADefect) {
  writeNumbers("process", {1, 9, 20120101, -2, 30, -2, -1});
  EXPECT_EQ(inspect({"process", "process", "--dates", "--payloads", "1"}).status, 0);
  for (const Strings& options : {Strings{}, {"--dates"}, {"--dates", "--payloads", "2"}, {"--pair-sum"}}) {
    Strings arguments{"process", "process"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramRun run = inspect(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("\nchecks: 1 defect\n"));
  }
}

TEST_F(InspectorRun, AnXmlFileThatDoesNotParseShowsTheParsersWords) {
  writeFile("fmt", "<LoaderParams><Key>1</Key><Key>2</Key></LoaderParams>");
  const ProgramRun run = inspect({"xml", "fmt"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "Duplicate child tag [Key]\nXML Parse error.\nCurrent tag stack: __XMLRoot__ LoaderParams \n"
            "Current XML partial read: \n[__XMLRoot__] { }\n  [LoaderParams] { }\n    [Key][1] { }\n\n"
            "ERROR ecnountered while reading XML file\n");
}

TEST_F(InspectorRun, AnXmlFileThatFailsToReadEndsWithTheReportOfTheLibrary) {
  const ProgramRun run = inspect({"xml", "/proc/self/mem"});  // opens, and fails at its first read
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, StartsWith("Error;|2100;|QUVENXMLHandler::readXMLFile, bad ifstream;|ErrorEnd\n"));
}

TEST_F(InspectorRun, AnXmlFileIsPrintedInTheSystemsForm) {
  writeFile("fmt",
            "<LoaderParams><Key> 1</Key>\r\n<Output>XML</Output><XML><TagPrefix>x:</TagPrefix>"
            "<OutputNamespace>a=&quot;b&quot;</OutputNamespace></XML>\n</LoaderParams>");
  const ProgramRun run = inspect({"xml", "fmt"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out,
            "<LoaderParams>\n  <Key>1</Key>\n  <Output>XML</Output>\n  <XML>\n    <TagPrefix>x:</TagPrefix>\n"
            "    <OutputNamespace>a=&quot;b&quot;</OutputNamespace>\n  </XML>\n</LoaderParams>\n");
}

TEST_F(InspectorRun, AFileThatIsNotThereOrADirectoryIsOneLine) {
  for (const std::string command : {"dataset", "process"}) {
    expectRefused({command, "missing"}, "cannot open missing: No such file or directory");
    const ProgramRun run = inspect({command, "in"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, StartsWith("vesk-inspect: cannot read in: "));
  }
  expectRefused({"xml", "missing"}, "cannot open missing");
  expectRefused({"xml", "in"}, "in is a directory");
}

/// The nodes file of one group of two.
constexpr const char* nodesFile =
    "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,RankType2,RankOrderType2,InDegree,OutDegree,"
    "WeightedInDegree,WeightedOutDegree,IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,"
    "GroupLeaderType2Conf\n"
    "11,1,1,0.75,1,0.25,2,1,1,0.25,0.25,1,3,0,0\n"
    "12,1,0,0.25,2,0.75,1,1,1,0.75,0.75,0,0,1,3\n";

TEST_F(InspectorRun, FoundGroupsAreComparedWithThoseOfTheGenerator) {
  writeFile("found", nodesFile);
  ASSERT_EQ(runOther("vesk-generate", {"-c", "2000", "--group-count", "3", "--groups", "planted"}).status, 0);
  const ProgramRun run = inspect({"groups", "found", "planted", "--largest", "1"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, StartsWith("found                found\ngroups               1, members 2\n"
                                  "known                planted\ngroups               3, members "));
  EXPECT_THAT(run.out, HasSubstr("\n      1     2     1        11           3        12           3  "));
}

TEST_F(InspectorRun, AFileThatIsNoNodesFileIsOneLine) {
  writeFile("found", nodesFile);
  writeFile("planted", "1 11 12\n");
  expectRefused({"groups", "planted", "planted"},
                "planted, line 1: this is not the head line of a nodes file of the group analysis");
  expectRefused({"groups", "found", "found"}, "found, line 1: 'NodeNumber' is no whole number");
  expectRefused({"groups", "found", "missing"}, "cannot open missing: No such file or directory");
  expectRefused({"groups", "in", "planted"}, "cannot read in: Is a directory");
  limits.fileBytes = 60;  // room for the message, not for the page
  const ProgramRun run = inspect({"groups", "found", "planted"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "vesk-inspect: cannot write to standard output\n");
}

TEST_F(InspectorRun, AnOutputThatFindsNoRoomIsOneLine) {
  writeNumbers("process", {1, 9, -2, -1});
  limits.fileBytes = 60;  // room for the message, not for the page
  const ProgramRun run = inspect({"process", "process"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "vesk-inspect: cannot write to standard output\n");
}

}  // namespace
}  // namespace vesk_e2e
