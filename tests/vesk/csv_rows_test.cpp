#include "csv/csv_rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace vesk {
namespace {

using ::testing::ElementsAre;
using Strings = std::vector<std::string>;

/// Gives the text in pieces of `pieceBytes`.
CsvRows::Read pieces(const std::string& text, std::size_t pieceBytes) {
  return [text, pieceBytes, at = std::size_t{0}](char* data, std::size_t size) mutable {
    const std::size_t count = std::min({size, pieceBytes, text.size() - at});
    std::memcpy(data, text.data() + at, count);
    at += count;
    return count;
  };
}

std::string wordOf(RowFault fault) {
  switch (fault) {
    case RowFault::None:
      return "";
    case RowFault::UnclosedQuote:
      return "unclosed";
    case RowFault::TextAfterQuote:
      return "after";
    case RowFault::TooLong:
      return "long";
  }
  return "?";
}

/// Each row as "LINE@BYTE:CELL|CELL" or "LINE@BYTE!FAULT[TEXT]".
Strings rowsOf(const std::string& text, char delimiter = ',', std::size_t pieceBytes = 1 << 20) {
  CsvRows rows(pieces(text, pieceBytes));
  rows.setDelimiter(delimiter);
  Strings result;
  while (rows.next()) {
    std::string row = std::to_string(rows.getLine()) + "@" + std::to_string(rows.getByte());
    if (rows.getFault() != RowFault::None) {
      row += "!" + wordOf(rows.getFault()) + "[" + std::string(rows.getLineText()) + "]";
    } else {
      for (std::size_t i = 0; i < rows.getCells().size(); ++i)
        row.append(i == 0 ? ":" : "|").append(rows.getCells()[i]);
    }
    result.push_back(row);
  }
  return result;
}

TEST(CsvRows, ReadsCells) {
  EXPECT_THAT(rowsOf("a,b\n1,2\n"), ElementsAre("1@0:a|b", "2@4:1|2"));
  EXPECT_THAT(rowsOf("a, b \r\n 1,\t2\r\n,"), ElementsAre("1@0:a|b", "2@7:1|2", "3@14:|"));
  EXPECT_THAT(rowsOf("a\t b\t\n", '\t'), ElementsAre("1@0:a|b|"));
  EXPECT_THAT(rowsOf(""), ElementsAre());
}

TEST(CsvRows, ReadsQuotes) {
  EXPECT_THAT(rowsOf("\"a,b\",\"c\"\"d\",\"\"\n"), ElementsAre("1@0:a,b|c\"d|"));
  EXPECT_THAT(rowsOf("\"two\nlines\" , x\r\ny,\"z\"\r\n"), ElementsAre("1@0:two\nlines|x", "3@17:y|z"));
  EXPECT_THAT(rowsOf("say \"hi\",\" x \"\n"), ElementsAre("1@0:say \"hi\"| x "));
  EXPECT_THAT(rowsOf("\"a\"\"\"\"b\""), ElementsAre("1@0:a\"\"b"));
}

TEST(CsvRows, CountsEmptyLinesAndPassesOverTheMark) {
  CsvRows rows(pieces("\xEF\xBB\xBF\n \r\na,b\n\n\nc,d\n\n", 1));
  ASSERT_TRUE(rows.next());
  EXPECT_EQ(rows.getLine(), 3U);
  EXPECT_EQ(rows.getByte(), 7U);
  EXPECT_THAT(rows.getCells(), ElementsAre("a", "b"));
  ASSERT_TRUE(rows.next());
  EXPECT_EQ(rows.getLine(), 6U);
  EXPECT_FALSE(rows.next());
  EXPECT_EQ(rows.getEmptyLines(), 5U);
}

TEST(CsvRows, LosesOneLineByABadQuote) {
  EXPECT_THAT(rowsOf("a,\"b\nc,d\ne,f\n"), ElementsAre("1@0!unclosed[a,\"b]", "2@5:c|d", "3@9:e|f"));
  EXPECT_THAT(rowsOf("a,\"b\"x\nc,d\n"), ElementsAre("1@0!after[a,\"b\"x]", "2@7:c|d"));
  // The quote of line 1 is closed by the first one of line 2.
  EXPECT_THAT(rowsOf("a,\"b\nc,\"d\"\n"), ElementsAre("1@0!after[a,\"b]", "2@5:c|d"));
  EXPECT_THAT(rowsOf("a,\""), ElementsAre("1@0!unclosed[a,\"]"));
}

// Two quotes that are not closed, at the ends of two lines, would make one sound row of all lines between them.
TEST(CsvRows, FindsRowsInsideAQuote) {
  EXPECT_THAT(rowsOf("1,2,\"x\n3,4,y\n5,6,\"\n7,8,z\n"),
              ElementsAre("1@0!unclosed[1,2,\"x]", "2@7:3|4|y", "3@13!unclosed[5,6,\"]", "4@19:7|8|z"));
  EXPECT_THAT(rowsOf("1,2,\"x\n3,4,\"\n"), ElementsAre("1@0!unclosed[1,2,\"x]", "2@7!unclosed[3,4,\"]"));
  EXPECT_THAT(rowsOf("1,2,\"x, y, z\nwell, then\n\"\n"), ElementsAre("1@0:1|2|x, y, z\nwell, then\n"));
}

TEST(CsvRows, LimitsQuotesAndRows) {
  const std::string full(CsvRows::MaxQuotedBytes - 2, 'x');
  EXPECT_EQ(rowsOf("\"" + full + "\",b\n").at(0).size(), full.size() + 6);
  const std::string over = full + "xxx";
  EXPECT_THAT(rowsOf("a,\"\n" + over + "\",\"b\nc,d\n").front(), "1@0!unclosed[a,\"]");
  const std::string longLine(3 * CsvRows::MaxRowBytes, 'y');
  const Strings rows = rowsOf("a,b\n" + longLine + "\nc,d\n");
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1], "2@4!long[" + longLine.substr(0, 200) + "]");
  EXPECT_EQ(rows[2], "3@" + std::to_string(longLine.size() + 5) + ":c|d");
  EXPECT_EQ(rowsOf(std::string(CsvRows::MaxRowBytes, 'z')).at(0).substr(0, 5), "1@0:z");
}

TEST(CsvRows, ReadsTheSameInPiecesOfAnySize) {
  const std::string text = "\xEF\xBB\xBFh,\"i\"\"j\"\r\n\r\n1,\"x\ny\"\r\n2,\"z\n3,4,5\n\"6\"7\n8,9";
  const Strings whole = rowsOf(text);
  EXPECT_EQ(whole.size(), 6U);
  for (std::size_t size = 1; size < text.size(); ++size) EXPECT_EQ(rowsOf(text, ',', size), whole) << size;
}

TEST(CsvRows, PeeksAtTheFirstLine) {
  CsvRows rows(pieces("\n\na;b\nc;d\n", 2));
  EXPECT_EQ(rows.peekLine(), "a;b");
  rows.setDelimiter(';');
  ASSERT_TRUE(rows.next());
  EXPECT_THAT(rows.getCells(), ElementsAre("a", "b"));
  EXPECT_TRUE(CsvRows(pieces(std::string("\xFF\xFE") + "a", 1)).isUtf16());
  EXPECT_FALSE(CsvRows(pieces("ab", 1)).isUtf16());
}

// A block ends inside of every kind of row.
TEST(CsvRows, ReadsMoreThanABlock) {
  std::string text;
  const int count = 60000;
  for (int i = 0; i < count; ++i) {
    text += std::to_string(i) + (i % 3 == 0   ? ",\"a\"\"b\"\r\n"
                                 : i % 3 == 1 ? ",\"c\nd\"\n"
                                              : ",plain text of a row\n");
  }
  CsvRows rows(pieces(text, 1 << 20));
  for (int i = 0; i < count; ++i) {
    ASSERT_TRUE(rows.next());
    ASSERT_EQ(rows.getCells().size(), 2U);
    ASSERT_EQ(rows.getCells()[0], std::to_string(i));
    ASSERT_EQ(rows.getCells()[1], i % 3 == 0 ? "a\"b" : i % 3 == 1 ? "c\nd" : "plain text of a row");
  }
  EXPECT_FALSE(rows.next());
}

}  // namespace
}  // namespace vesk
