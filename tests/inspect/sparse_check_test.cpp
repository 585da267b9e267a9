#include "sparse_check.h"

#include <sstream>

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::joined;
using testing::pairSumRow;
using testing::tableRow;

/// The defects of the triples, one text each as "record: what".
std::vector<std::string> defectsOf(SparseKind kind, const std::vector<double>& numbers) {
  DefectList defects(100);
  SparseCheck check(kind, defects);
  for (std::size_t i = 0; i + 2 < numbers.size(); i += 3) check.take({numbers[i], numbers[i + 1], numbers[i + 2]});
  check.finish();
  std::ostringstream out;
  defects.print(out);
  std::istringstream lines(out.str());
  std::vector<std::string> texts;
  std::string line;
  for (std::getline(lines, line); std::getline(lines, line);) {
    const std::size_t byte = line.find(" (byte ");
    const std::size_t colon = line.find("): ");
    const std::string record = line.substr(9, byte - 9);
    EXPECT_EQ(line.substr(byte + 7, colon - byte - 7), std::to_string((std::stoul(record) - 1) * 24)) << line;
    texts.push_back(record + ": " + line.substr(colon + 3));
  }
  return texts;
}

std::vector<std::string> tableDefects(const std::vector<double>& numbers) {
  return defectsOf(SparseKind::Table, numbers);
}
std::vector<std::string> pairDefects(const std::vector<double>& numbers) {
  return defectsOf(SparseKind::PairSum, numbers);
}

// Rows shorter than the width are ordinary, and so is a value of any kind.
TEST(SparseCheck, ATableOfShortAndFullRowsIsSound) {
  EXPECT_THAT(tableDefects(joined({tableRow(1, 3, {7, 8, 9}), tableRow(2, 3, {0}), tableRow(5, 3, {-2.5, 7788})})),
              IsEmpty());
}

// The first sum stays behind: a width of 3 goes with two entries.
TEST(SparseCheck, SumsOneShorterThanTheWidthAreSound) {
  EXPECT_THAT(tableDefects(joined({tableRow(1, 3, {4, 5}), tableRow(2, 3, {})})), IsEmpty());
  EXPECT_THAT(tableDefects(tableRow(1, 1, {})), IsEmpty());
}

TEST(SparseCheck, APairSumIsSound) {
  EXPECT_THAT(pairDefects(joined({pairSumRow(1, 2, {{-3, 1}, {0, 2}}), pairSumRow(9, 2, {{1, 1}})})), IsEmpty());
}

TEST(SparseCheck, NoTripleAtAllIsSound) { EXPECT_THAT(tableDefects({}), IsEmpty()); }

TEST(SparseCheck, CountsRowsAndEntries) {
  DefectList defects(1);
  SparseCheck check(SparseKind::Table, defects);
  const auto numbers = joined({tableRow(1, 3, {7, 8, 9}), tableRow(2, 3, {1})});
  std::vector<TripleRole> roles;
  for (std::size_t i = 0; i < numbers.size(); i += 3) {
    roles.push_back(check.take({numbers[i], numbers[i + 1], numbers[i + 2]}));
  }
  check.finish();
  EXPECT_EQ(check.getTriples(), 8U);
  EXPECT_EQ(check.getRows(), 2U);
  EXPECT_EQ(check.getEntries(), 4U);
  EXPECT_EQ(check.getLongestRow(), 3U);
  EXPECT_EQ(check.getWidth(), 3.0);
  using enum TripleRole;
  EXPECT_THAT(roles, ElementsAre(Header, Entry, Entry, Entry, Footer, Header, Entry, Footer));
}

TEST(SparseCheck, AMissingHeaderIsReported) {
  EXPECT_THAT(tableDefects({2, 1, 5, 2, 2, 6}),
              ElementsAre("1: the row of key 2 has no header", "2: the file ends within the row of key 2"));
  EXPECT_THAT(tableDefects(joined({tableRow(1, 2, {4, 5}), {2, 2, 9, 2, 3, 0}})),
              ElementsAre("5: the row of key 2 has no header"));
  EXPECT_THAT(pairDefects(joined({pairSumRow(1, 1, {{4, 5}}), {2, 3, 9, 2, 0, 7788}})),
              ElementsAre("4: the row of key 2 has no header"));
}

TEST(SparseCheck, AMissingFooterIsReported) {
  EXPECT_THAT(tableDefects(joined({{1, 0, 1, 1, 1, 5}, tableRow(2, 1, {6})})),
              ElementsAre("3: the row of key 1 has no footer before this row"));
  EXPECT_THAT(pairDefects(joined({{1, 0, 1, 1, 4, 5}, pairSumRow(2, 1, {{6, 1}})})),
              ElementsAre("3: the row of key 1 has no footer before this row"));
  EXPECT_THAT(tableDefects({1, 0, 1, 1, 1, 5}), ElementsAre("2: the file ends within the row of key 1"));
  EXPECT_THAT(pairDefects({1, 0, 1, 1, 4, 5}), ElementsAre("2: the file ends within the row of key 1"));
}

TEST(SparseCheck, AKeyThatChangesWithinARowIsReported) {
  EXPECT_THAT(tableDefects({1, 0, 2, 1, 1, 5, 7, 2, 6, 7, 3, 0}), ElementsAre("3: key 7 within the row of key 1"));
  EXPECT_THAT(pairDefects({1, 0, 1, 1, 5, 1, 7, 0, 7788}), ElementsAre("3: key 7 within the row of key 1"));
}

TEST(SparseCheck, AKeyThatDoesNotRiseIsReported) {
  EXPECT_THAT(tableDefects(joined({tableRow(5, 1, {1}), tableRow(5, 1, {1}), tableRow(4, 1, {1})})),
              ElementsAre("4: key 5 does not rise above key 5", "7: key 4 does not rise above key 5"));
  EXPECT_THAT(pairDefects(joined({pairSumRow(5, 1, {{1, 1}}), pairSumRow(4, 1, {{1, 1}})})),
              ElementsAre("4: key 4 does not rise above key 5"));
}

TEST(SparseCheck, APositionOutOfOrderIsReported) {
  EXPECT_THAT(tableDefects({1, 0, 3, 1, 1, 5, 1, 3, 6, 1, 4, 0}), ElementsAre("3: position 3 where 2 was expected"));
  EXPECT_THAT(tableDefects({1, 0, 2, 1, 1, 5, 1, 1, 6, 1, 3, 0}), ElementsAre("3: position 1 where 2 was expected"));
  EXPECT_THAT(tableDefects({1, 0, 2, 1, 1, 5, 1, 0, 6, 1, 3, 0}), ElementsAre("3: position 0 where 2 was expected"));
}

TEST(SparseCheck, ACalleeThatDoesNotRiseIsReported) {
  EXPECT_THAT(pairDefects(pairSumRow(1, 3, {{5, 1}, {5, 1}, {4, 1}})),
              ElementsAre("3: callee 5 does not rise above callee 5", "4: callee 4 does not rise above callee 5"));
}

TEST(SparseCheck, AnotherWidthIsReported) {
  auto numbers = joined({tableRow(1, 2, {4, 5}), tableRow(2, 2, {4})});
  numbers[4 * 3 + 2] = 3;  // the header of the second row
  EXPECT_THAT(tableDefects(numbers), ElementsAre("5: the width 3 is not that of the first row, 2"));
  EXPECT_THAT(pairDefects(joined({pairSumRow(1, 1, {{4, 5}}), pairSumRow(2, 2, {{4, 1}})})),
              ElementsAre("4: the width 2 is not that of the first row, 1"));
}

TEST(SparseCheck, AWidthThatIsNoWholeNumberIsReported) {
  EXPECT_THAT(
      tableDefects({1, 0, 1.5, 1, 1, 3, 1, 2.5, 0}),
      ElementsAre("1: the width 1.5 is not a whole number", "3: the width is 1.5 but the longest row has 1 entries"));
  EXPECT_THAT(pairDefects({1, 0, -1, 1, 0, 7788}),
              ElementsAre("1: the width -1 is not a whole number", "2: the row has 0 entries, more than the width -1",
                          "2: the width is -1 but the longest row has 0 entries"));
}

TEST(SparseCheck, AWidthThatNoRowReachesIsReported) {
  EXPECT_THAT(tableDefects(tableRow(1, 4, {7, 8})), ElementsAre("4: the width is 4 but the longest row has 2 entries"));
  EXPECT_THAT(pairDefects(pairSumRow(1, 2, {{7, 8}})),
              ElementsAre("3: the width is 2 but the longest row has 1 entries"));
}

TEST(SparseCheck, APairSumRowLongerThanTheWidthIsReported) {
  EXPECT_THAT(pairDefects(joined({pairSumRow(1, 1, {{7, 8}}), pairSumRow(2, 1, {{7, 8}, {9, 1}})})),
              ElementsAre("7: the row has 2 entries, more than the width 1",
                          "7: the width is 1 but the longest row has 2 entries"));
}

// One wrong position is one defect and does not end the row.
TEST(SparseCheck, AnEntryBehindTheWidthIsReported) {
  EXPECT_THAT(tableDefects({1, 0, 2, 1, 1, 5, 1, 9, 6, 1, 3, 0}), ElementsAre("3: position 9 where 2 was expected"));
}

TEST(SparseCheck, AFooterInTheWrongPlaceOrWithTheWrongValueIsReported) {
  EXPECT_THAT(tableDefects({1, 0, 1, 1, 1, 5, 1, 3, 0}),
              ElementsAre("3: the footer stands at position 3, not at width + 1 = 2"));
  EXPECT_THAT(tableDefects({1, 0, 1, 1, 1, 5, 1, 2, 6}), ElementsAre("3: the footer has the value 6 in place of 0"));
}

class SparseKindTest : public testing::InspectTest {
 protected:
  SparseKind kindOf(const std::vector<double>& numbers) const {
    writeNumbers(numbers);
    return findSparseKind(path());
  }
};

TEST_F(SparseKindTest, TheFirstFooterTells) {
  EXPECT_EQ(kindOf(tableRow(1, 2, {3, 4})), SparseKind::Table);
  EXPECT_EQ(kindOf(pairSumRow(1, 2, {{3, 4}, {5, 6}})), SparseKind::PairSum);
  EXPECT_EQ(kindOf(joined({{1, 0, 2, 1, 1, 9}, pairSumRow(2, 1, {{3, 4}})})), SparseKind::PairSum);
  EXPECT_EQ(kindOf({1, 0, 2, 1, 30, 0, 1, 0, 7788}), SparseKind::PairSum);
  EXPECT_EQ(kindOf({}), SparseKind::Table);
}

// The header of a table as wide as the footer's mark is no footer.
TEST_F(SparseKindTest, AHeaderOfTheMarksWidthIsNoFooter) {
  EXPECT_EQ(kindOf(joined({{1, 0, 7788}, {2, 0, 7788, 2, 7789, 0}})), SparseKind::Table);
}

}  // namespace
}  // namespace vesk_inspect
