#include "control/quven_dataset_info.h"

#include <gmock/gmock.h>

#include <sstream>

#include "support/captured_run.h"

namespace {

using dataset_info::Column;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

class DatasetInfo : public ::testing::Test {
 protected:
  std::vector<Column> columnsOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<Column> columns = {{"old", 1, 1}};
    EXPECT_TRUE(dataset_info::read(stream, columns, QUVEN_ENV));
    return columns;
  }

  /// The last line of the report, with the columns as they were.
  void expectFailure(const std::string& text, const std::string& report) {
    std::istringstream stream(text);
    std::vector<Column> columns = {{"old", 1, 1}};
    const CapturedRun run = capturedRun([&] { static_cast<void>(dataset_info::read(stream, columns, QUVEN_ENV)); });
    EXPECT_TRUE(run.threwLibraryException) << text;
    EXPECT_THAT(run.out, EndsWith("\n    " + report + "\n"));
    EXPECT_THAT(columns, ElementsAre(Column{"old", 1, 1}));
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(DatasetInfo, ReadsTheSparseForm) {
  EXPECT_THAT(columnsOf("Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n"),
              ElementsAre(Column{"Col1", 1, 3}, Column{"Col2", 1, 1}, Column{"Col3", 1, 1}));
}

TEST_F(DatasetInfo, ReadsAllWords) {
  EXPECT_THAT(columnsOf("a Categorical Target\nb Numeric Target"), ElementsAre(Column{"a", 2, 2}, Column{"b", 1, 2}));
}

TEST_F(DatasetInfo, CutsWordsAtAnyWhiteSpace) {
  EXPECT_THAT(columnsOf("\n \t a\t\tNumeric   Explanatory \r\n\r\n\n"), ElementsAre(Column{"a", 1, 1}));
  EXPECT_THAT(columnsOf(""), IsEmpty());
}

TEST_F(DatasetInfo, RefusesOtherWords) {
  const std::string type = "Unknown attribute type \n";
  const std::string purpose = "Unknown attribute purpose \n";
  expectFailure("a\n", type);
  expectFailure("a numeric Target\n", type);
  expectFailure("a NumericX Target\n", type);
  expectFailure("a Target Numeric\n", type);
  expectFailure("a Numeric\n", purpose);
  expectFailure("a Numeric explanatory\n", purpose);
  expectFailure("a Numeric Line\n", purpose);
  expectFailure("a Numeric Target\nb Numeric\n", purpose);
  expectFailure("a Numeric Target Target\n", "A line of the input info file has more than three words");
}

TEST_F(DatasetInfo, RefusesLinesOfMoreThanAThousandCharacters) {
  const std::string words = " Numeric Target";
  const std::string name(1000 - words.size(), 'n');
  EXPECT_THAT(columnsOf(name + words + "\n"), ElementsAre(Column{name, 1, 2}));
  expectFailure("n" + name + words, "A line of the input info file is longer than 1000 characters");
}

TEST_F(DatasetInfo, TellsAStreamThatFails) {
  class FailingBuffer : public std::streambuf {
    int_type underflow() override { throw std::runtime_error("no more"); }
  } buffer;
  std::istream stream(&buffer);
  std::vector<Column> columns = {{"old", 1, 1}};
  EXPECT_FALSE(dataset_info::read(stream, columns, QUVEN_ENV));
  EXPECT_THAT(columns, ElementsAre(Column{"old", 1, 1}));
}

TEST_F(DatasetInfo, GivesAMistakeWithoutAReport) {
  std::vector<Column> columns = {{"old", 1, 1}};
  for (const auto& [text, mistake] :
       {std::pair{"a Other Target\n", "Unknown attribute type"}, std::pair{"a Numeric\n", "Unknown attribute purpose"},
        std::pair{"a b c d\n", "A line of the input info file has more than three words"}}) {
    std::istringstream stream(text);
    EXPECT_EQ(dataset_info::readFrom(stream, columns), mistake);
    EXPECT_THAT(columns, ElementsAre(Column{"old", 1, 1}));
  }
  std::istringstream stream("a Numeric Target\n");
  EXPECT_EQ(dataset_info::readFrom(stream, columns), "");
  EXPECT_THAT(columns, ElementsAre(Column{"a", 1, 2}));
}

}  // namespace
