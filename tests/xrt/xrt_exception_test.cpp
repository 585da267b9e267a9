#include "xrt/xrt_exception.h"

#include "support/captured_run.h"
#include "support/failing_allocation.h"

TEST(XRTMemoryException, IsABadAllocThatRecordsTheAccount) {
  try {
    throw XRTMemoryException("Cannot allocate array memory", 80, 16);
  } catch (const std::bad_alloc& caught) {
    EXPECT_STREQ(caught.what(), "Cannot allocate array memory (80 bytes asked, 16 bytes in use)");
    const auto& exception = dynamic_cast<const XRTMemoryException&>(caught);
    EXPECT_EQ(exception.getBytesAsked(), 80);
    EXPECT_EQ(exception.getBytesInUse(), 16);
  }
}

TEST(XRTMemoryException, ReportsAShortageThatLeavesNoRoomForItsText) {
  std::string text;
  const CapturedRun run = capturedRun([&] {
    try {
      const FailingAllocation failure(0);
      throw XRTMemoryException("Cannot allocate object memory, and the text is too long to fit in place", 8, 0);
    } catch (const XRTMemoryException& exception) {
      text = exception.what();
    }
  });
  EXPECT_EQ(run.out, "*** XRT_SEVERE_OUT_OF_MEMORY ***\n");
  EXPECT_EQ(text, "*** XRT_SEVERE_OUT_OF_MEMORY ***");
}
