#include "inspect_xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include "inspect_stream.h"
#include "support/temporary_folder.h"

namespace {

using ::testing::HasSubstr;

class InspectXml : public ::testing::Test {
 protected:
  std::string write(const std::string& text) { return folder.write("in.xml", text); }

  /// Runs the sub-command; what it printed is in shown and, from the parser, in parserOutput.
  int run(const std::string& path) {
    std::ostringstream out;
    ::testing::internal::CaptureStdout();
    int status = -1;
    failure.clear();
    try {
      status = vesk_inspect::inspectXml({path, streamPath}, out);
    } catch (const std::runtime_error& error) {
      failure = error.what();
    }
    parserOutput = ::testing::internal::GetCapturedStdout();
    shown = out.str();
    return status;
  }

  TemporaryFolder folder;
  std::string streamPath;
  std::string shown;
  std::string parserOutput;
  std::string failure;
};

TEST_F(InspectXml, PrintsTheTreeAsItIsWritten) {
  EXPECT_EQ(run(write("<A x=\"1\"><B>2 &lt; 3</B><C/></A>")), 0);
  EXPECT_EQ(shown, "<A x=\"1\">\n  <B>2 &lt; 3</B>\n  <C></C>\n</A>\n");
  EXPECT_EQ(parserOutput, "");
}

TEST_F(InspectXml, AnEmptyFileIsAnEmptyTree) {
  EXPECT_EQ(run(write("")), 0);
  EXPECT_EQ(shown, "");
}

TEST_F(InspectXml, LeavesTheWordToTheParserWhenTheFileDoesNotParse) {
  EXPECT_EQ(run(write("<A></B>")), 1);
  EXPECT_EQ(shown, "");
  EXPECT_EQ(parserOutput,
            "Closing tag [B] does not match opening tag [A]\n"
            "XML Parse error.\n"
            "Current tag stack: __XMLRoot__ A \n"
            "Current XML partial read: \n"
            "[__XMLRoot__] { }\n"
            "  [A][] { }\n"
            "\n"
            "ERROR ecnountered while reading XML file\n");
}

TEST_F(InspectXml, NamesAFileThatCannotBeOpened) {
  const std::string path = folder.path("none.xml");
  run(path);
  EXPECT_EQ(failure, "cannot open " + path);
}

TEST_F(InspectXml, NamesADirectory) {
  run(folder.path());
  EXPECT_EQ(failure, folder.path() + " is a directory");
}

TEST_F(InspectXml, SavesTheTreeAsAnObjectStream) {
  streamPath = folder.path("tree.stream");
  EXPECT_EQ(run(write("<A><B>5</B></A>\n")), 0);
  std::ostringstream listing;
  EXPECT_TRUE(vesk_inspect::inspectStream({streamPath, 20}, listing));
  EXPECT_THAT(listing.str(), HasSubstr("QUVENXMLHandler {\n  root = QUVENXMLTag {\n"));
  EXPECT_THAT(listing.str(), HasSubstr("ivName = \"B\"\n"));
  EXPECT_THAT(listing.str(), HasSubstr("ivValue = \"5\"\n"));
}

TEST_F(InspectXml, SavesNothingOfAFileThatDoesNotParse) {
  streamPath = folder.path("tree.stream");
  EXPECT_EQ(run(write("<A><B>5</A>\n")), 1);
  EXPECT_FALSE(std::filesystem::exists(streamPath));
}

TEST_F(InspectXml, ReportsAStreamThatCannotBeWritten) {
  const std::string xml = write("<A>5</A>\n");
  streamPath = "/dev/full";
  EXPECT_EQ(run(xml), -1);
  EXPECT_EQ(failure, "cannot write /dev/full: No space left on device");
  streamPath = folder.path("no/such/folder");
  EXPECT_EQ(run(xml), -1);
  EXPECT_EQ(failure, "cannot write " + streamPath + ": No such file or directory");
  streamPath = xml;
  EXPECT_EQ(run(xml), -1);
  EXPECT_EQ(failure, "the stream would replace " + xml);
  EXPECT_EQ(folder.read("in.xml"), "<A>5</A>\n");
}

}  // namespace
