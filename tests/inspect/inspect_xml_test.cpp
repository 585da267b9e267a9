#include "inspect_xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using ::testing::HasSubstr;

class InspectXml : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "inspect_xml_XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string write(const std::string& text) {
    const std::string path = folder / "in.xml";
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

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

  std::filesystem::path folder;
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
  const std::string path = folder / "none.xml";
  run(path);
  EXPECT_EQ(failure, "cannot open " + path);
}

TEST_F(InspectXml, NamesADirectory) {
  run(folder);
  EXPECT_EQ(failure, folder.string() + " is a directory");
}

}  // namespace
