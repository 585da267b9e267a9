#include "process_check.h"

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

class ProcessCheckTest : public testing::InspectTest {
 protected:
  /// "sound, N keys" or "record R, byte B: text".
  std::string check(const ProcessShape& shape, const std::vector<double>& numbers, const std::string& tail = "") const {
    writeNumbers(numbers, tail);
    ProcessCheck file(path(), shape);
    std::uint64_t keys = 0;
    for (ProcessRecord record; file.next(record, 100);) ++keys;
    const auto& defect = file.getDefect();
    if (!defect) {
      EXPECT_EQ(file.offsetBytes(), numbers.size() * sizeof(double));
      return "sound, " + std::to_string(keys) + " keys";
    }
    EXPECT_EQ(defect->record, keys + 1);
    return "record " + std::to_string(defect->record) + ", byte " + std::to_string(defect->offsetBytes) + ": " +
           defect->text;
  }
};

const ProcessShape bare{};
const ProcessShape dated{.dates = true};
const ProcessShape pairs{.pairSum = true};
const ProcessShape twoPayloads{.dates = true, .payloads = 2};

TEST_F(ProcessCheckTest, SoundFilesOfEachShapeAreRead) {
  EXPECT_EQ(check(bare, {}), "sound, 0 keys");
  EXPECT_EQ(check(bare, {1, 5, 6, -2, -1, 2, 5, -2, -1}), "sound, 2 keys");
  EXPECT_EQ(check(dated, {1, 5, 20200101, 6, 20200102, -2, -1}), "sound, 1 keys");
  EXPECT_EQ(check(pairs, {1, 5, 3, 6, 1, -2, -1}), "sound, 1 keys");
  EXPECT_EQ(check(twoPayloads, {1, 5, 20200101, -2, 60, -2, 7, -2, -1}), "sound, 1 keys");
}

TEST_F(ProcessCheckTest, EntriesAreGivenWithWhatStandsBesideThem) {
  writeNumbers({1, 5, 20200101, 6, 20200102, -2, 60, 61, -2, 7, 8, -2, -1});
  ProcessCheck file(path(), twoPayloads);
  ProcessRecord record;
  ASSERT_TRUE(file.next(record, 100));
  EXPECT_EQ(record.key, 1.0);
  EXPECT_EQ(record.entries, 2U);
  ASSERT_EQ(record.firstEntries.size(), 2U);
  EXPECT_EQ(record.firstEntries[1].value, 6.0);
  EXPECT_EQ(record.firstEntries[1].date, 20200102.0);
  EXPECT_EQ(record.firstEntries[1].payloads, (std::vector<double>{61, 8}));
  EXPECT_FALSE(file.next(record, 100));
}

TEST_F(ProcessCheckTest, OnlyTheFirstEntriesAreKept) {
  writeNumbers({1, 5, 20200101, 6, 20200102, -2, 60, 61, -2, 7, 8, -2, -1});
  ProcessCheck file(path(), twoPayloads);
  ProcessRecord record;
  ASSERT_TRUE(file.next(record, 1));
  EXPECT_EQ(record.entries, 2U);
  ASSERT_EQ(record.firstEntries.size(), 1U);
  EXPECT_EQ(record.firstEntries[0].payloads, (std::vector<double>{60, 7}));
}

TEST_F(ProcessCheckTest, AKeyThatIsNegativeOrDoesNotRiseIsADefect) {
  EXPECT_EQ(check(bare, {-3, 5, -2, -1}), "record 1, byte 0: key -3 is negative or not a number");
  EXPECT_EQ(check(bare, {2, 5, -2, -1, 2, 5, -2, -1}), "record 2, byte 32: key 2 does not rise above key 2");
  EXPECT_EQ(check(bare, {2, 5, -2, -1, 1, 5, -2, -1}), "record 2, byte 32: key 1 does not rise above key 2");
}

TEST_F(ProcessCheckTest, AFileThatEndsWithinARecordIsADefectWhereverItIsCut) {
  const std::vector<double> whole{1, 5, 20200101, -2, 60, -2, 7, -2, -1};
  const std::vector<std::string> expected{"in the entries of key 1", "before the date of entry 1",
                                          "in the entries of key 1", "before the end of the record of key 1",
                                          "in payload column 1",     "before the end of the record of key 1",
                                          "in payload column 2",     "before the end of the record of key 1"};
  for (std::size_t length = 1; length < whole.size(); ++length) {
    const std::vector<double> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_EQ(check(twoPayloads, cut),
              "record 1, byte " + std::to_string(8 * length) + ": the file ends " + expected[length - 1]);
  }
}

TEST_F(ProcessCheckTest, AFileThatEndsWithinANumberIsADefect) {
  EXPECT_EQ(check(bare, {1, 5, -2, -1}, "abc"), "record 2, byte 32: the file ends in the key, 3 bytes are left over");
  EXPECT_EQ(check(bare, {1, 5}, "abcdefg"),
            "record 1, byte 16: the file ends in the entries of key 1, 7 bytes are left over");
}

TEST_F(ProcessCheckTest, ARecordWithoutEntriesIsADefect) {
  EXPECT_EQ(check(bare, {1, -2, -1}), "record 1, byte 8: key 1 has no entries");
}

TEST_F(ProcessCheckTest, CalleesOfAPairSumMustRise) {
  EXPECT_EQ(check(pairs, {1, 5, 3, 5, 1, -2, -1}), "record 1, byte 24: callee 5 does not rise above callee 5");
  EXPECT_EQ(check(bare, {1, 5, 5, 4, -2, -1}), "sound, 1 keys");
}

TEST_F(ProcessCheckTest, APayloadColumnMustBeAsLongAsTheEntryList) {
  EXPECT_EQ(check(twoPayloads, {1, 5, 20200101, -2, 60, 61, -2, 7, -2, -1}),
            "record 1, byte 48: payload column 1 has the length 2, the record 1 entries");
  EXPECT_EQ(check(twoPayloads, {1, 5, 20200101, 6, 20200101, -2, 60, 61, -2, 7, -2, -1}),
            "record 1, byte 80: payload column 2 has the length 1, the record 2 entries");
}

TEST_F(ProcessCheckTest, TheNumberOfPayloadColumnsMustBeTheOneConfigured) {
  EXPECT_EQ(check(twoPayloads, {1, 5, 20200101, -2, 60, -2, -1}),
            "record 1, byte 48: the record ends after 1 of 2 payload columns");
  EXPECT_EQ(check(dated, {1, 5, 20200101, -2, 60, -2, -1}),
            "record 1, byte 32: 60 where the record ends, after 0 payload columns");
}

// The same file cannot be read with other settings: the numbers shift.
TEST_F(ProcessCheckTest, AFileWithoutDatesIsNotReadWithDates) {
  EXPECT_EQ(check(dated, {1, 5, -2, -1}), "record 1, byte 16: the date of entry 1 is the separator -2");
  EXPECT_EQ(check(dated, {1, 5, 6, 7, -2, -1}), "record 1, byte 32: the date of entry 2 is the separator -2");
  EXPECT_EQ(check(pairs, {1, 5, 6, 7, -1, -2}), "record 1, byte 32: the weight of entry 2 is the separator -1");
}

TEST_F(ProcessCheckTest, NothingIsReadBehindADefect) {
  writeNumbers({1, -2, -1, 2, 5, -2, -1});
  ProcessCheck file(path(), bare);
  ProcessRecord record;
  EXPECT_FALSE(file.next(record, 1));
  EXPECT_FALSE(file.next(record, 1));
  EXPECT_EQ(file.getDefect()->record, 1U);
}

}  // namespace
}  // namespace vesk_inspect
