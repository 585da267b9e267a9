#include "control/quven_csv_reader.h"

#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Row = std::vector<std::string>;

struct Text {
  std::vector<Row> rows;
  std::vector<std::uint64_t> lines;
  std::string mistake;
  std::uint64_t mistakenLine = 0;
};

Text read(const std::string& bytes, char delimiter = ',') {
  std::istringstream stream(bytes);
  QUVENCsvReader reader(stream, delimiter);
  Text text;
  while (reader.next()) {
    text.rows.emplace_back(reader.getCells().begin(), reader.getCells().end());
    text.lines.push_back(reader.getLine());
  }
  EXPECT_THAT(reader.getCells(), IsEmpty());
  text.mistake = reader.getMistake();
  if (!text.mistake.empty()) text.mistakenLine = reader.getLine();
  EXPECT_FALSE(reader.next());
  return text;
}

std::vector<Row> rowsOf(const std::string& bytes, char delimiter = ',') {
  const Text text = read(bytes, delimiter);
  EXPECT_EQ(text.mistake, "") << bytes;
  return text.rows;
}

void expectMistake(const std::string& bytes, std::uint64_t line, const std::string& mistake) {
  const Text text = read(bytes);
  EXPECT_EQ(text.mistake, mistake) << bytes;
  EXPECT_EQ(text.mistakenLine, line) << bytes;
}

TEST(QUVENCsvReader, CutsRowsIntoCells) {
  EXPECT_THAT(rowsOf("a,b\nc,d\n"), ElementsAre(Row{"a", "b"}, Row{"c", "d"}));
  EXPECT_THAT(rowsOf(",\n,,\n"), ElementsAre(Row{"", ""}, Row{"", "", ""}));
  EXPECT_THAT(rowsOf("a;b,c\n", ';'), ElementsAre(Row{"a", "b,c"}));
  EXPECT_THAT(rowsOf(""), IsEmpty());
}

TEST(QUVENCsvReader, TakesEveryLineEnd) {
  EXPECT_THAT(rowsOf("a,b\r\nc,d\r\n"), ElementsAre(Row{"a", "b"}, Row{"c", "d"}));
  EXPECT_THAT(rowsOf("a,b\nc,d"), ElementsAre(Row{"a", "b"}, Row{"c", "d"}));
  EXPECT_THAT(rowsOf("a,b\r"), ElementsAre(Row{"a", "b"}));
  EXPECT_THAT(rowsOf("a,"), ElementsAre(Row{"a", ""}));
}

TEST(QUVENCsvReader, PassesOverAByteOrderMark) {
  EXPECT_THAT(rowsOf("\xEF\xBB\xBF\"a\",b\n"), ElementsAre(Row{"a", "b"}));
  EXPECT_THAT(rowsOf("\xEF\xBB\xBF"), IsEmpty());
}

TEST(QUVENCsvReader, TakesQuotedCellsAsTheyAre) {
  EXPECT_THAT(rowsOf("\"a,b\",\"say \"\"so\"\"\",\"\"\n"), ElementsAre(Row{"a,b", "say \"so\"", ""}));
  EXPECT_THAT(rowsOf("\"two\r\nlines\",\" blank \"\nc,d"), ElementsAre(Row{"two\r\nlines", " blank "}, Row{"c", "d"}));
  EXPECT_THAT(rowsOf("5\" pipe,b\"\n"), ElementsAre(Row{"5\" pipe", "b\""}));
}

TEST(QUVENCsvReader, LeavesOutBlanksAroundCells) {
  EXPECT_THAT(rowsOf(" a b\t, \"c \" ,\t\n"), ElementsAre(Row{"a b", "c ", ""}));
  EXPECT_THAT(rowsOf("a\t\tb \n", '\t'), ElementsAre(Row{"a", "", "b"}));
}

TEST(QUVENCsvReader, PassesOverEmptyLinesAtTheEndOnly) {
  EXPECT_THAT(rowsOf("a,b\n\n\r\n\n"), ElementsAre(Row{"a", "b"}));
  EXPECT_THAT(rowsOf("\n\n"), IsEmpty());
  const Text text = read("a,b\n\n\nc,d\n");
  EXPECT_THAT(text.rows, ElementsAre(Row{"a", "b"}, Row{""}, Row{"c", "d"}));
  EXPECT_THAT(text.lines, ElementsAre(1U, 2U, 4U));
}

TEST(QUVENCsvReader, KnowsTheLineOfARow) { EXPECT_THAT(read("a\n\"b\n\nc\"\nd\n").lines, ElementsAre(1U, 2U, 5U)); }

TEST(QUVENCsvReader, TellsWhatIsWrong) {
  expectMistake("a\n\"b\nc", 2, "a quote that is not closed");
  expectMistake("a\n\"b\"c\n", 2, "text after a closing quote");
  expectMistake("a\rb\n", 1, "a carriage return without a line feed");
  expectMistake("a\n\"b\"\rc\n", 2, "a carriage return without a line feed");
  expectMistake(std::string("a\nb\nc\0", 7), 3, "a byte of value 0: this is no text");
}

TEST(QUVENCsvReader, RefusesARowThatIsTooLong) {
  const std::string cell(QUVENCsvReader::MaxRowBytes - 1, 'x');
  EXPECT_EQ(rowsOf("\n" + cell + ",y\n").size(), 2U);
  expectMistake("a\n" + cell + ",yz\n", 2, "a row of more than 16777216 bytes");
  expectMistake("a\n\"" + cell + "yz", 2, "a row of more than 16777216 bytes");
}

// The block of the reader has 65536 bytes.
TEST(QUVENCsvReader, ReadsAcrossItsBlocks) {
  for (std::size_t length = 65530; length <= 65540; ++length) {
    const std::string cell(length, 'x');
    EXPECT_THAT(rowsOf(cell + "\r\n\"y\"\"z\"\r\n"), ElementsAre(Row{cell}, Row{"y\"z"})) << length;
    EXPECT_THAT(rowsOf(cell + "\r"), ElementsAre(Row{cell})) << length;
    expectMistake(cell + "\rx", 1, "a carriage return without a line feed");
  }
}

TEST(QUVENCsvReader, LeavesAFailingStreamToItsCaller) {
  class FailingBuffer : public std::streambuf {
    int_type underflow() override { throw std::runtime_error("no more"); }
  } buffer;
  std::istream stream(&buffer);
  QUVENCsvReader reader(stream);
  EXPECT_FALSE(reader.next());
  EXPECT_EQ(reader.getMistake(), "");
  EXPECT_TRUE(stream.bad());
}

TEST(QUVENCsvReader, ReadsWhatTheCellsAreWrittenAs) {
  const Row texts = {"a", "", " a", "a\t", "a,b", "\"", "\"\"", "a\nb", "a\r", "b c", "5\" x"};
  std::string line;
  for (const std::string& text : texts) line += (line.empty() ? "" : ",") + quvenCsvCell(text);
  EXPECT_THAT(rowsOf(line + "\n"), ElementsAre(texts));
  EXPECT_EQ(quvenCsvCell("b c"), "b c");
  EXPECT_EQ(quvenCsvCell("say \"so\""), "\"say \"\"so\"\"\"");
}

}  // namespace
