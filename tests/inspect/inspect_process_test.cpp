#include "inspect_process.h"

#include <sstream>

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class InspectProcessTest : public testing::InspectTest {
 protected:
  std::string inspect(ProcessOptions options) const {
    options.path = path();
    std::ostringstream out;
    const bool sound = inspectProcess(options, out);
    std::string text = out.str() + (sound ? "sound" : "not sound");
    return text.replace(text.find(path()), path().size(), "FILE");
  }
};

TEST_F(InspectProcessTest, PrintsEntriesWithDatesAndPayloads) {
  writeNumbers({1, 5, 20200101, 6, 20200102, -2, 60, 61.5, -2, -1, 1000, 7, 20200103, -2, 8, -2, -1});
  EXPECT_EQ(inspect({.shape = {.dates = true, .payloads = 1}}),
            "file      FILE\n"
            "bytes     136\n"
            "keys      2\n"
            "entries   3, longest list 2\n"
            "\n"
            "  record  byte   key  entry  value      date  payload 1\n"
            "       1     0     1      1      5  20200101         60\n"
            "       1     0     1      2      6  20200102       61.5\n"
            "       2    80  1000      1      7  20200103          8\n"
            "\n"
            "checks: sound\n"
            "sound");
}

TEST_F(InspectProcessTest, PrintsTheWeightsOfAPairSum) {
  writeNumbers({1, 5, 2, 6, 3, -2, -1});
  EXPECT_THAT(inspect({.shape = {.pairSum = true}}), HasSubstr("  record  byte  key  entry  callee  weight\n"
                                                               "       1     0    1      1       5       2\n"
                                                               "       1     0    1      2       6       3\n"));
}

TEST_F(InspectProcessTest, PrintsAsManyEntriesAsAsked) {
  writeNumbers({1, 5, 6, -2, -1, 2, 7, 8, -2, -1});
  const std::string text = inspect({.rows = 3});
  EXPECT_THAT(text, HasSubstr("       2    40    2      1      7\n"));
  EXPECT_THAT(text, Not(HasSubstr("      2      8\n")));
  EXPECT_THAT(text, HasSubstr("entries   4, longest list 2\n"));
}

TEST_F(InspectProcessTest, PrintsTheRecordsBeforeTheFirstDefect) {
  writeNumbers({1, 5, -2, -1, 2, 6});
  EXPECT_EQ(inspect({}),
            "file      FILE\n"
            "bytes     48 read up to the defect\n"
            "keys      1\n"
            "entries   1, longest list 1\n"
            "\n"
            "  record  byte  key  entry  value\n"
            "       1     0    1      1      5\n"
            "\n"
            "checks: 1 defect\n"
            "  record 2 (byte 48): the file ends in the entries of key 2\n"
            "not sound");
}

TEST_F(InspectProcessTest, AnEmptyFileIsAnEmptyTable) {
  writeNumbers({});
  EXPECT_EQ(inspect({}),
            "file      FILE\nbytes     0\nkeys      0\nentries   0, longest list 0\n\nchecks: sound\nsound");
}

}  // namespace
}  // namespace vesk_inspect
