#include "control/quven_table_labels.h"

#include <gmock/gmock.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

#include "support/captured_run.h"
#include "support/temporary_folder.h"

namespace {

using ::testing::HasSubstr;
using ::testing::IsNull;
using ::testing::Pointee;

class QUVENTableLabelsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EXPECT_TRUE(labels.add("state", 2, "KS"));
    EXPECT_TRUE(labels.add("state", 1, "OH, \"the\" state"));
    EXPECT_TRUE(labels.add("churn", 0, "no"));
    EXPECT_TRUE(labels.add("churn", 999999999999999U, "yes\nand no"));
  }

  static QUVENTableLabels readBack(const std::string& text) {
    QUVENTableLabels read;
    std::istringstream stream(text);
    EXPECT_EQ(read.readFrom(stream), "") << text;
    return read;
  }

  void expectMistake(const std::string& text, const std::string& mistake) {
    const QUVENTableLabels before = labels;
    std::istringstream stream(text);
    EXPECT_EQ(labels.readFrom(stream), mistake) << text;
    EXPECT_TRUE(labels == before);
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  TemporaryFolder folder;
  QUVENTableLabels labels;
};

constexpr const char* written =
    "column,code,label\n"
    "state,1,\"OH, \"\"the\"\" state\"\n"
    "state,2,KS\n"
    "churn,0,no\n"
    "churn,999999999999999,\"yes\nand no\"\n";

TEST_F(QUVENTableLabelsTest, AreFoundByColumnAndCode) {
  EXPECT_THAT(labels.find("state", 2), Pointee(std::string("KS")));
  EXPECT_THAT(labels.find("churn", 0), Pointee(std::string("no")));
  EXPECT_THAT(labels.find("churn", -0.0), Pointee(std::string("no")));
  EXPECT_THAT(labels.find("state", 0), IsNull());
  EXPECT_THAT(labels.find("city", 1), IsNull());
  for (const double code : {1.5, -1.0, -99999.0, 1e15, 1e300, HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    EXPECT_THAT(labels.find("state", code), IsNull()) << code;
  }
}

TEST_F(QUVENTableLabelsTest, AreFoundByTheTextOfTheCode) {
  EXPECT_THAT(labels.findByText("state", "2"), Pointee(std::string("KS")));
  EXPECT_THAT(labels.findByText("churn", "999999999999999"), Pointee(std::string("yes\nand no")));
  for (const char* text : {"", "02", "+2", "2.0", "-2", "KS", " 2", "1000000000000000", "99999999999999999999999"}) {
    EXPECT_THAT(labels.findByText("state", text), IsNull()) << text;
  }
}

TEST_F(QUVENTableLabelsTest, KeepTheFirstLabelOfACode) {
  EXPECT_TRUE(labels.add("state", 2, "KS"));
  EXPECT_FALSE(labels.add("state", 2, "OK"));
  EXPECT_THAT(labels.find("state", 2), Pointee(std::string("KS")));
}

TEST_F(QUVENTableLabelsTest, AreWrittenByColumnAndCode) {
  std::ostringstream out;
  labels.write(out);
  EXPECT_EQ(out.str(), written);
  EXPECT_TRUE(readBack(written) == labels);
  std::ostringstream empty;
  QUVENTableLabels().write(empty);
  EXPECT_EQ(empty.str(), "column,code,label\n");
  EXPECT_TRUE(readBack(empty.str()).isEmpty());
}

TEST_F(QUVENTableLabelsTest, TakeOtherFormsOfTheSameText) {
  EXPECT_TRUE(readBack("\xEF\xBB\xBF"
                       "column,code,label\r\n\"c\",01,a b\r\n") == readBack("column,code,label\nc,1,a b"));
}

TEST_F(QUVENTableLabelsTest, TellWhatIsWrongAndStayAsTheyAre) {
  const std::string headings = "column,code,label\n";
  expectMistake("", "line 1: the headings are not column,code,label");
  expectMistake("code,column,label\n", "line 1: the headings are not column,code,label");
  expectMistake(headings + "c,1\n", "line 2: not three cells");
  expectMistake(headings + "c,1,a,b\n", "line 2: not three cells");
  expectMistake(headings + "c,1,a\n\nc,2,b\n", "line 3: not three cells");
  expectMistake(headings + ",1,a\n", "line 2: no name of a column");
  expectMistake(headings + "c,,a\n", "line 2: '' is no code of a category");
  expectMistake(headings + "c,-1,a\n", "line 2: '-1' is no code of a category");
  expectMistake(headings + "c,1.0,a\n", "line 2: '1.0' is no code of a category");
  expectMistake(headings + "c,1000000000000000,a\n", "line 2: '1000000000000000' is no code of a category");
  expectMistake(headings + "c,1,a\nd,1,a\nc,1,a\n", "line 4: a second label of code 1 of column c");
  expectMistake(headings + "c,1,\"a\n", "line 2: a quote that is not closed");
}

TEST_F(QUVENTableLabelsTest, TellAStreamThatFails) {
  class FailingBuffer : public std::streambuf {
    int_type underflow() override { throw std::runtime_error("no more"); }
  } buffer;
  std::istream stream(&buffer);
  EXPECT_EQ(labels.readFrom(stream), "cannot be read");
}

TEST_F(QUVENTableLabelsTest, AreReadFromAFile) {
  const std::string path = folder.write(QUVENTableLabels::pathOf("table.bin"), written);
  EXPECT_EQ(path, folder.path("table.bin.labels"));
  QUVENTableLabels read;
  EXPECT_TRUE(read.read(path, QUVEN_ENV));
  EXPECT_TRUE(read == labels);
}

TEST_F(QUVENTableLabelsTest, AreNoneWithoutAFile) {
  EXPECT_FALSE(labels.read(folder.path("no.labels"), QUVEN_ENV));
  EXPECT_TRUE(labels.isEmpty());
}

TEST_F(QUVENTableLabelsTest, EndTheRunOnAFileThatIsWrong) {
  const QUVENTableLabels before = labels;
  const std::string path = folder.write("wrong.labels", "column,code,label\nc,x,a\n");
  const CapturedRun wrong = capturedRun([&] { static_cast<void>(labels.read(path, QUVEN_ENV)); });
  EXPECT_TRUE(wrong.threwLibraryException);
  EXPECT_THAT(wrong.out, HasSubstr("Error;|2302;|" + path + ";|line 2: 'x' is no code of a category"));
  const CapturedRun directory = capturedRun([&] { static_cast<void>(labels.read(folder.path(), QUVEN_ENV)); });
  EXPECT_TRUE(directory.threwLibraryException);
  EXPECT_THAT(directory.out, HasSubstr("Error;|2302;|" + folder.path() + ";|The labels cannot be opened"));
  EXPECT_TRUE(labels == before);
}

}  // namespace
