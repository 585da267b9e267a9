#include "run_memory.h"

#include <gtest/gtest.h>

#include <limits>

#include "run.h"
#include "support/mpi_run.h"
#include "support/temporary_folder.h"

namespace vesk_analyze {
namespace {

constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

TEST(MemorySize, IsANumberWithOrWithoutALetter) {
  EXPECT_EQ(readMemorySize("0"), 0);
  EXPECT_EQ(readMemorySize("123456789012345"), 123456789012345);
  EXPECT_EQ(readMemorySize("9223372036854775807"), noLimit);
  EXPECT_EQ(readMemorySize("1K"), 1024);
  EXPECT_EQ(readMemorySize("500M"), 524288000);
  EXPECT_EQ(readMemorySize("500m"), 524288000);
  EXPECT_EQ(readMemorySize("8G"), 8589934592);
  EXPECT_EQ(readMemorySize("1.5G"), 1610612736);
  EXPECT_EQ(readMemorySize("0.0001k"), 0);
  EXPECT_EQ(readMemorySize("2T"), 2199023255552);
  EXPECT_EQ(readMemorySize("8388607T"), 9223370937343148032);
}

TEST(MemorySize, IsNoOtherText) {
  for (const char* text : {"",         "G",      "-1",  "-1G",  "+1G",  "1.5",  "1 G", "1GB",
                           "1P",       "x",      "1e3", "1e3M", "nanG", "infM", ".5G", "9223372036854775808",
                           "8388608T", "1.2.3G", " 1",  "0x10"}) {
    EXPECT_EQ(readMemorySize(text), std::nullopt) << text;
  }
}

/// Files as the system has them below /proc and /sys.
class ControlGroup : public ::testing::Test {
 protected:
  void write(const std::string& path, const std::string& content) const { folder.write("root" + path, content); }
  std::string root() const { return folder.path("root"); }

  TemporaryFolder folder;
};

TEST_F(ControlGroup, HasTheSmallestLimitOfItsPath) {
  EXPECT_EQ(controlGroupMemory(root()), noLimit);
  write("/proc/self/cgroup", "0::/jobs/one\n");
  EXPECT_EQ(controlGroupMemory(root()), noLimit);
  write("/sys/fs/cgroup/jobs/one/memory.max", "max\n");
  EXPECT_EQ(controlGroupMemory(root()), noLimit);
  write("/sys/fs/cgroup/jobs/memory.max", "3000000000\n");
  EXPECT_EQ(controlGroupMemory(root()), 3000000000);
  write("/sys/fs/cgroup/jobs/one/memory.max", "2000000000\n");
  EXPECT_EQ(controlGroupMemory(root()), 2000000000);
  write("/sys/fs/cgroup/memory.max", "1000000000\n");
  EXPECT_EQ(controlGroupMemory(root()), 1000000000);
}

TEST_F(ControlGroup, OfVersion1IsThatOfTheMemory) {
  write("/proc/self/cgroup", "12:cpu,cpuacct:/a\nno line of a group\n4:hugetlb,memory:/b\n1:name=systemd:/c\n");
  write("/sys/fs/cgroup/memory/a/memory.limit_in_bytes", "1000\n");
  write("/sys/fs/cgroup/memory/b/memory.limit_in_bytes", "2000000\n");
  write("/sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");
  EXPECT_EQ(controlGroupMemory(root()), 2000000);
}

/// The group of the host is named, but only its own folder can be seen.
TEST_F(ControlGroup, OfAContainerIsThatOfItsHierarchy) {
  write("/proc/self/cgroup", "0::/host/container\n");
  write("/sys/fs/cgroup/memory.max", "5000\n");
  EXPECT_EQ(controlGroupMemory(root()), 5000);
}

TEST(RunMemory, IsTheGivenSizeOrAShareOfTheMachine) {
  AnalyzeOptions options;
  options.memoryBytes = 0;
  EXPECT_EQ(memoryOfRank(options), 0);
  options.memoryBytes = 12345;
  EXPECT_EQ(memoryOfRank(options), 12345);
  startMpi();
  options.memoryBytes = -1;
  EXPECT_EQ(memoryOfRank(options), machineMemory() / 2 / QUVENWorkerTransport().getCountOnMachine());
  EXPECT_GT(machineMemory(), 1 << 20);
  EXPECT_LT(machineMemory(), noLimit);
}

}  // namespace
}  // namespace vesk_analyze
