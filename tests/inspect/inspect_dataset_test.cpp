#include "inspect_dataset.h"

#include <sstream>

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using testing::joined;
using ::testing::Not;
using testing::pairSumRow;
using testing::tableRow;

class InspectDatasetTest : public testing::InspectTest {
 protected:
  /// What is printed, with the folder left out, and "sound" or "not sound" at the end.
  std::string inspect(DatasetOptions options = {}) const {
    options.path = path();
    std::ostringstream out;
    const bool sound = inspectDataset(options, out);
    std::string text = out.str() + (sound ? "sound" : "not sound");
    for (std::size_t place; (place = text.find(path())) != text.npos;) text.replace(place, path().size(), "FILE");
    return text;
  }
  void describeSparse() const {
    writeText("Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n", "file.info");
  }
};

TEST_F(InspectDatasetTest, PrintsATable) {
  describeSparse();
  writeNumbers(joined({tableRow(972501234567, 2, {5, 6.25}), tableRow(972501234568, 2, {7})}));
  EXPECT_EQ(inspect({.rows = 5}),
            "file      FILE\n"
            "form      sparse (FILE.info)\n"
            "bytes     168\n"
            "kind      table or sums\n"
            "triples   7\n"
            "callers   2\n"
            "entries   3, longest row 2\n"
            "width     2\n"
            "\n"
            "  record  byte        caller  position  value\n"
            "       1     0  972501234567         0      2  header\n"
            "       2    24  972501234567         1      5   entry\n"
            "       3    48  972501234567         2   6.25   entry\n"
            "       4    72  972501234567         3      0  footer\n"
            "       5    96  972501234568         0      2  header\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectDatasetTest, PrintsAPairSum) {
  describeSparse();
  writeNumbers(pairSumRow(1, 1, {{30, 4}}));
  EXPECT_EQ(inspect(),
            "file      FILE\n"
            "form      sparse (FILE.info)\n"
            "bytes     72\n"
            "kind      pair sum\n"
            "triples   3\n"
            "callers   1\n"
            "entries   1, longest row 1\n"
            "width     1\n"
            "\n"
            "  record  byte  caller  callee  weight\n"
            "       1     0       1       0       1  header\n"
            "       2    24       1      30       4   entry\n"
            "       3    48       1       0    7788  footer\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectDatasetTest, PrintsAnEmptyDataset) {
  describeSparse();
  writeNumbers({});
  EXPECT_EQ(inspect(),
            "file      FILE\n"
            "form      sparse (FILE.info)\n"
            "bytes     0\n"
            "kind      table or sums\n"
            "triples   0\n"
            "callers   0\n"
            "entries   0, longest row 0\n"
            "width     none\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectDatasetTest, PrintsADenseDataset) {
  writeText("Col0 Numeric Explanatory\nCol1 Numeric Explanatory\nCol2 Numeric Explanatory\n", "file.info");
  writeNumbers({1, 5, 6, 4, 7, 0});
  EXPECT_EQ(inspect(),
            "file      FILE\n"
            "form      dense (FILE.info)\n"
            "bytes     48\n"
            "rows      2\n"
            "callers   2\n"
            "width     2\n"
            "\n"
            "  record  byte  caller  Col1  Col2\n"
            "       1     0       1     5     6\n"
            "       2    24       4     7     0\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectDatasetTest, AWideDenseRowIsCutInThePrintOnly) {
  std::vector<double> numbers(30, 1.0);
  numbers[15] = 2.0;  // the second row's key
  writeNumbers(numbers);
  const std::string text = inspect({.columns = 15});
  EXPECT_THAT(text, HasSubstr("Col11  and 3 more\n"));
  EXPECT_THAT(text, HasSubstr("width     14\n"));
  EXPECT_THAT(text, EndsWith("checks: sound\nsound"));
}

TEST_F(InspectDatasetTest, DefectsAreShownWithRecordAndByte) {
  describeSparse();
  writeNumbers({1, 0, 1, 1, 3, 5, 1, 2, 6});
  EXPECT_THAT(inspect(), EndsWith("checks: 2 defects\n"
                                  "  record 2 (byte 24): position 3 where 1 was expected\n"
                                  "  record 3 (byte 48): the footer has the value 6 in place of 0\n"
                                  "not sound"));
}

TEST_F(InspectDatasetTest, TheNumberOfShownDefectsIsLimited) {
  describeSparse();
  writeNumbers({1, 0, 1, 1, 3, 5, 1, 2, 6});
  EXPECT_THAT(inspect({.shownDefects = 1}), EndsWith("checks: 2 defects\n"
                                                     "  record 2 (byte 24): position 3 where 1 was expected\n"
                                                     "  and 1 more\n"
                                                     "not sound"));
}

TEST_F(InspectDatasetTest, ASizeThatIsNoMultipleOfATripleIsADefect) {
  describeSparse();
  writeNumbers(joined({tableRow(1, 1, {5}), {2.0}}), "abc");
  EXPECT_THAT(inspect(), HasSubstr("bytes     83\n"));
  EXPECT_THAT(inspect(), EndsWith("checks: 1 defect\n"
                                  "  record 4 (byte 72): the size 83 is not a multiple of 24, 11 bytes are left over\n"
                                  "not sound"));
}

TEST_F(InspectDatasetTest, ADenseDatasetThatIsCutOrOutOfOrderIsNotSound) {
  writeNumbers({5, 1, 5, 1, 4, 1, 9});
  EXPECT_THAT(inspect({.form = DatasetForm::Dense, .columns = 2}),
              EndsWith("checks: 3 defects\n"
                       "  record 2 (byte 16): key 5 does not rise above key 5\n"
                       "  record 3 (byte 32): key 4 does not rise above key 5\n"
                       "  record 4 (byte 48): the size 56 is not a multiple of 16, 8 bytes are left over\n"
                       "not sound"));
}

TEST_F(InspectDatasetTest, APayloadFileIsReadWithoutDescription) {
  writeNumbers(tableRow(1, 1, {60}));
  const std::string text = inspect({.form = DatasetForm::Sparse});
  EXPECT_THAT(text, HasSubstr("form      sparse (as given)\n"));
  EXPECT_THAT(text, EndsWith("checks: sound\nsound"));
}

TEST_F(InspectDatasetTest, NoRowsAreNoTable) {
  writeNumbers(tableRow(1, 1, {60}));
  EXPECT_THAT(inspect({.rows = 0}), Not(HasSubstr("caller ")));
}

}  // namespace
}  // namespace vesk_inspect
