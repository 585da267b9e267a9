#include "records/record_lines.h"

#include <gtest/gtest.h>

#include "command.h"
#include "support/temporary_folder.h"

namespace vesk {
namespace {

struct ReadLine {
  std::string text;
  std::uint64_t number;
  std::uint64_t byte;
  std::string traits;

  friend bool operator==(const ReadLine&, const ReadLine&) = default;
  friend std::ostream& operator<<(std::ostream& out, const ReadLine& line) {
    return out << line.number << '@' << line.byte << '[' << line.text << ']' << line.traits;
  }
};

class RecordLinesTest : public ::testing::TestWithParam<std::size_t> {
 protected:
  std::vector<ReadLine> read(const std::string& content) {
    RecordLines lines(vesk_files::InputBytes(folder.write("records", content)), "records", GetParam());
    std::vector<ReadLine> result;
    RecordLine record;
    while (lines.next(record)) {
      const std::string traits = std::string(record.hasEnd ? "" : " no end") + (record.hasReturn ? " return" : "") +
                                 (record.isTooLong ? " long" : "") + (record.isBinary ? " binary" : "");
      result.push_back({{record.line.text, record.line.length}, record.number, record.byte, traits});
    }
    hasMark = lines.hasMark();
    return result;
  }

  TemporaryFolder folder;
  bool hasMark = false;
};

INSTANTIATE_TEST_SUITE_P(BlockSizes, RecordLinesTest, ::testing::Values(1, 2, 7, 9999, 10000, 10001, 262144));

TEST_P(RecordLinesTest, LinesHaveTheirNumbersAndBytes) {
  EXPECT_EQ(read(""), std::vector<ReadLine>());
  EXPECT_EQ(read("\n"), (std::vector<ReadLine>{{"", 1, 0, ""}}));
  EXPECT_EQ(read("ab\n\ncde"), (std::vector<ReadLine>{{"ab", 1, 0, ""}, {"", 2, 3, ""}, {"cde", 3, 4, " no end"}}));
  EXPECT_EQ(read("ab\r\n\r\nc\r"),
            (std::vector<ReadLine>{{"ab", 1, 0, " return"}, {"", 2, 4, " return"}, {"c\r", 3, 6, " no end"}}));
  EXPECT_FALSE(hasMark);
}

TEST_P(RecordLinesTest, PassesOverAMark) {
  EXPECT_EQ(read("\xEF\xBB\xBF"
                 "a\n"),
            (std::vector<ReadLine>{{"a", 1, 3, ""}}));
  EXPECT_TRUE(hasMark);
  EXPECT_EQ(read("\xEF\xBB"), (std::vector<ReadLine>{{"\xEF\xBB", 1, 0, " no end"}}));
}

TEST_P(RecordLinesTest, LongLinesAreKeptByTheirStart) {
  const std::string start(256, 'x');
  EXPECT_EQ(read(std::string(9999, 'x') + "\na\n"),
            (std::vector<ReadLine>{{std::string(9999, 'x'), 1, 0, ""}, {"a", 2, 10000, ""}}));
  EXPECT_EQ(read(std::string(10000, 'x') + "\na\n"),
            (std::vector<ReadLine>{{start, 1, 0, " long"}, {"a", 2, 10001, ""}}));
  EXPECT_EQ(read(std::string(30000, 'x') + "\na\n"),
            (std::vector<ReadLine>{{start, 1, 0, " long"}, {"a", 2, 30001, ""}}));
  EXPECT_EQ(read("a\n" + std::string(20000, 'x')),
            (std::vector<ReadLine>{{"a", 1, 0, ""}, {start, 2, 2, " no end long"}}));
}

TEST_P(RecordLinesTest, NamesBinaryLines) {
  EXPECT_EQ(read(std::string("a\0b\nc\n", 6)),
            (std::vector<ReadLine>{{std::string("a\0b", 3), 1, 0, " binary"}, {"c", 2, 4, ""}}));
}

TEST_P(RecordLinesTest, RefusesUtf16) {
  for (const char* mark : {"\xFF\xFE", "\xFE\xFF"}) {
    try {
      read(std::string(mark) + "1");
      FAIL();
    } catch (const CommandFailure& failure) {
      EXPECT_EQ(failure.getStatus(), Status::Data);
      EXPECT_STREQ(failure.what(), "records: UTF-16 text; convert it to UTF-8 first");
    }
  }
}

}  // namespace
}  // namespace vesk
