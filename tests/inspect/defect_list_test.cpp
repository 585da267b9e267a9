#include "defect_list.h"

#include <sstream>

namespace vesk_inspect {
namespace {

std::string textOf(const DefectList& defects) {
  std::ostringstream out;
  defects.print(out);
  return out.str();
}

TEST(DefectList, SaysThatThereIsNone) { EXPECT_EQ(textOf(DefectList(5)), "checks: sound\n"); }

TEST(DefectList, KeepsTheFirstOnesAndCountsTheOthers) {
  DefectList defects(2);
  defects.add(1, 0, "first");
  EXPECT_EQ(textOf(defects), "checks: 1 defect\n  record 1 (byte 0): first\n");
  defects.add(3, 48, "second");
  defects.add(4, 72, "third");
  defects.add(5, 96, "fourth");
  EXPECT_EQ(defects.getCount(), 4U);
  EXPECT_EQ(textOf(defects),
            "checks: 4 defects\n  record 1 (byte 0): first\n  record 3 (byte 48): second\n  and 2 more\n");
}

}  // namespace
}  // namespace vesk_inspect
