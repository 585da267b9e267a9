#include "text_table.h"

#include <sstream>

namespace vesk_inspect {
namespace {

TEST(TextTable, AlignsEveryColumnToItsWidestCell) {
  TextTable table({"record", "key", ""});
  table.addRow({"1", "972501234567", "header"});
  table.addRow({"2", "5"});
  std::ostringstream out;
  table.print(out);
  EXPECT_EQ(out.str(),
            "  record           key\n"
            "       1  972501234567  header\n"
            "       2             5\n");
}

TEST(TextTable, IsEmptyUntilARowIsAdded) {
  TextTable table({"a"});
  EXPECT_TRUE(table.isEmpty());
  table.addRow({"1"});
  EXPECT_FALSE(table.isEmpty());
}

}  // namespace
}  // namespace vesk_inspect
