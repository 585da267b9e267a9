#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "inspect_dataset.h"
#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::ThrowsMessage;

class InspectTableTest : public testing::InspectTest {
 protected:
  InspectTableTest() {
    writeText("mins Numeric Explanatory\nplan Categorical Explanatory\nchurn Numeric Target\n", "file.info");
    writeText("column,code,label\nplan,1,1\nplan,491694229043088,\"yes,\nor so\"\nchurn,0,FALSE\nchurn,1,TRUE\n",
              "file.labels");
  }

  /// What is printed, with the folder left out, and "sound" or "not sound" at the end.
  std::string inspect(DatasetOptions options = {}) const {
    options.path = path();
    std::ostringstream out;
    const bool sound = inspectDataset(options, out);
    std::string text = out.str() + (sound ? "sound" : "not sound");
    for (std::size_t place; (place = text.find(path())) != text.npos;) text.replace(place, path().size(), "FILE");
    return text;
  }

  static constexpr double yes = 491694229043088.0;
  static constexpr double missing = -99999.0;
};

TEST_F(InspectTableTest, PrintsColumnsAndLabels) {
  writeNumbers({1.5, yes, 1, missing, missing, 0, -2, 1, missing});
  EXPECT_EQ(inspect(),
            "file      FILE\n"
            "form      table with named columns (FILE.info)\n"
            "bytes     72\n"
            "records   3\n"
            "columns   3\n"
            "\n"
            "  column         type      purpose  missing  smallest  largest  labels\n"
            "    mins      numeric  explanatory        1        -2      1.5\n"
            "    plan  categorical  explanatory        1                          2\n"
            "   churn      numeric       target        1                          2\n"
            "\n"
            "  record       mins        plan      churn\n"
            "       1        1.5  yes, or so       TRUE\n"
            "       2  (missing)   (missing)      FALSE\n"
            "       3         -2           1  (missing)\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectTableTest, DoesNotWantKeysThatRise) {
  writeNumbers({2, yes, 1, 1, 1, 0});
  EXPECT_THAT(inspect({.rows = 1}), EndsWith("       1     2  yes, or so   TRUE\n\nchecks: sound\nsound"));
}

TEST_F(InspectTableTest, FindsCategoriesWithoutALabel) {
  writeNumbers({1, 2, 1, 1, yes, 0.5});
  const std::string text = inspect();
  EXPECT_THAT(text, HasSubstr("       1     1           2   TRUE\n"));
  EXPECT_THAT(text, EndsWith("checks: 2 defects\n  record 1 (byte 0): column plan has no label for 2\n"
                             "  record 2 (byte 24): column churn has no label for 0.5\nnot sound"));
}

TEST_F(InspectTableTest, FindsNumbersThatAreNotFinite) {
  writeNumbers({HUGE_VAL, 1, 1, std::nan(""), 1, 1});
  EXPECT_THAT(inspect(), EndsWith("checks: 2 defects\n  record 1 (byte 0): column mins has no finite number\n"
                                  "  record 2 (byte 24): column mins has no finite number\nnot sound"));
}

TEST_F(InspectTableTest, FindsARecordThatIsCut) {
  writeNumbers({1, 1, 1, 1}, "abc");
  EXPECT_THAT(inspect(), EndsWith("record 2 (byte 24): the size 35 is not a multiple of 24, 11 bytes are left over\n"
                                  "not sound"));
}

TEST_F(InspectTableTest, FindsLabelsOfAColumnThatIsNotThere) {
  writeText("column,code,label\nplan,1,a\ncity,1,b\n", "file.labels");
  writeNumbers({1, 1, 1});
  EXPECT_THAT(inspect(), EndsWith("checks: 1 defect\n  labels of a column city that is not there\nnot sound"));
}

TEST_F(InspectTableTest, CutsLongLabelsBetweenCharacters) {
  writeText("column,code,label\nplan,1,123456789012345678901234\nplan,2,12345678901234567890123\xC3\xA4\n",
            "file.labels");
  writeNumbers({1, 1, 1, 1, 2, 1});
  EXPECT_THAT(inspect(), HasSubstr(" 123456789012345678901234 "));
  EXPECT_THAT(inspect(), HasSubstr(" 12345678901234567890123... "));
}

TEST_F(InspectTableTest, ShowsTwelveColumns) {
  std::string info;
  for (int c = 1; c <= 14; ++c) info += "C" + std::to_string(c) + " Numeric Explanatory\n";
  writeText(info, "file.info");
  writeText("column,code,label\n", "file.labels");
  writeNumbers(std::vector<double>(14, 3.0));
  EXPECT_THAT(inspect(), HasSubstr("C11  C12  and 2 more\n"));
}

TEST_F(InspectTableTest, IsADenseDatasetWithoutLabels) {
  std::filesystem::remove(path("file.labels"));
  writeNumbers({1, 1, 1});
  EXPECT_THAT(inspect(), HasSubstr("form      dense (FILE.info)\n"));
  EXPECT_THAT(inspect({.columns = 3}), HasSubstr("form      dense (as given)\n"));
}

TEST_F(InspectTableTest, NamesTheLineOfLabelsThatAreWrong) {
  writeNumbers({1, 1, 1});
  writeText("column,code,label\nplan,x,a\n", "file.labels");
  EXPECT_THAT([this] { inspect(); },
              ThrowsMessage<std::runtime_error>(path("file.labels") + ", line 2: 'x' is no code of a category"));
}

}  // namespace
}  // namespace vesk_inspect
