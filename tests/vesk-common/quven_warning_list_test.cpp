#include "vesk-common/quven_warning_list.h"

#include <gtest/gtest.h>

#include "support/captured_run.h"
#include "vesk-common/quven_reports.h"

namespace {

TEST(QUVENWarningList, CountsAllWarningsAndKeepsTheFirstTexts) {
  QUVENWarningList& list = QUVENWarningList::get();
  list.clear();
  capturedRun([] {
    report_warning(5003, "7", "a line");
    report_warning(5006, "no parameter");
    report_log(1, "a log line");
  });
  EXPECT_EQ(list.getCount(), 2);
  EXPECT_EQ(list.getTexts(), (std::vector<std::string>{"5003;|7;|a line", "5006;|no parameter"}));
  capturedRun([] {
    for (int i = 0; i < 200; ++i) report_warning(5004, "again");
  });
  EXPECT_EQ(list.getCount(), 202);
  EXPECT_EQ(list.getTexts().size(), QUVENWarningList::MostTexts);
  list.clear();
  EXPECT_EQ(list.getCount(), 0);
  EXPECT_TRUE(list.getTexts().empty());
}

}  // namespace
