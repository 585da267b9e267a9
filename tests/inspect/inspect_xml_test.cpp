#include "inspect_xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>

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
      status = vesk_inspect::inspectXml(path, out);
    } catch (const std::runtime_error& error) {
      failure = error.what();
    }
    parserOutput = ::testing::internal::GetCapturedStdout();
    shown = out.str();
    return status;
  }

  TemporaryFolder folder;
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

}  // namespace
