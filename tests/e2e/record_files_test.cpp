#include <unistd.h>

#include <algorithm>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using Strings = std::vector<std::string>;

/// Record directories with more, other or fewer things in them than files of records.
class LoaderRecordFilesRun : public LoaderCase {
 protected:
  LoaderRecordFilesRun() { parameters("fields 1-1 3-3; Key 1; Output CSV; op Add 2 2"); }

  static std::string unreadable(const std::string& name) {
    return "Processing in/" + name + "\n" + logLine(0, ">>> VESK loader: staring update_map, file = in/" + name) +
           warningLine(1000, "update_map: cannot open file in/" + name + ", ignoring");
  }

  /// A complete run in which only the files of the list are sound, with two lines each.
  void expectRunOver(const Strings& sound, int recordCount) {
    std::string scans;
    std::string statisticsText;
    for (const std::string& name : namesAsListed()) {
      const bool isSound = std::find(sound.begin(), sound.end(), name) != sound.end();
      scans += isSound ? scanned(name, 2, 3) : unreadable(name);
      if (isSound) statisticsText += statistics(name, 2);
    }
    expectCompleteRun(scans, recordCount, statisticsText);
  }
};

TEST_F(LoaderRecordFilesRun, AllFilesOfTheDirectoryAreReadInTheOrderOfTheSystem) {
  records("b", {"1 1", "2 2"});
  records("a", {"1 2", "3 3"});
  records(".hidden", {"1 4", "4 4"});
  run();
  expectRunOver({"a", "b", ".hidden"}, 4);
  EXPECT_EQ(content("out"), "1, 7\n2, 2\n3, 3\n4, 4\n");
}

TEST_F(LoaderRecordFilesRun, ADirectoryAmongTheFilesIsIgnoredWithAWarning) {
  records("a", {"1 1", "2 2"});
  std::filesystem::create_directory(path("in/sub"));
  writeFile("in/sub/b", "1 5\n");
  records("z", {"1 2", "2 3"});
  run();
  expectRunOver({"a", "z"}, 2);
  EXPECT_EQ(content("out"), "1, 3\n2, 5\n");
}

TEST_F(LoaderRecordFilesRun, AFileThatCannotBeOpenedIsIgnoredWithAWarning) {
  records("a", {"1 1", "2 2"});
  std::filesystem::create_symlink("nowhere", path("in/gone"));
  records("z", {"1 2", "2 3"});
  run();
  expectRunOver({"a", "z"}, 2);
}

TEST_F(LoaderRecordFilesRun, AFileWithoutPermissionIsIgnoredWithAWarning) {
  if (::getuid() == 0) GTEST_SKIP() << "the superuser may read every file";
  records("a", {"1 1", "2 2"});
  std::filesystem::permissions(path("in/a"), std::filesystem::perms::none);
  run();
  expectRunOver({}, 0);
}

TEST_F(LoaderRecordFilesRun, AFileThatFailsToReadEndsTheRun) {
  std::filesystem::create_symlink("/proc/self/mem", path("in/broken"));  // opens, and fails at its first read
  run();
  expectRun(99, head() + opened() + listed({"broken"}) + scanBegins("broken") +
                    logLine(2, "Vesk Loader, update_map: reading failure in line 2") +
                    fatal(1351, "2;|update map: Unexpected error occured: last line read = 2") + illEnd());
}

TEST_F(LoaderRecordFilesRun, ADirectoryWithoutUsableFileIsNoError) {
  std::filesystem::create_directory(path("in/sub"));
  run();
  expectRunOver({}, 0);
  EXPECT_EQ(content("out"), "");
}

TEST_F(LoaderRecordFilesRun, AnEmptyDirectoryEndsTheRun) {
  processFile = "process";
  run();
  expectRun(99, head() + opened() + processFileMissing() + listed({}) +
                    fatal(1200, "update_process_file: Cannot open directory in") + illEnd());
  EXPECT_EQ(files(), Strings{});
}

TEST_F(LoaderRecordFilesRun, ADirectoryThatCannotBeReadGivesARunWithoutFiles) {
  for (const auto& [directory, number] : {std::pair("missing", "2"), std::pair("fmt", "20"), std::pair("in/x/", "2")}) {
    SCOPED_TRACE(directory);
    input = {directory};
    run();
    expectRun(0, head() + opened() + listed({}) + "Error: Invalid file handle. Error is " + number + "\n" + written(0) +
                     completed());
    EXPECT_EQ(files(), Strings{"out"});
    EXPECT_EQ(content("out"), "");
  }
}

TEST_F(LoaderRecordFilesRun, ASingleFileMustHaveExactlyThatName) {
  records("calls.txt", {"1 1"});
  for (const std::string name : {"calls", "CALLS.TXT", "calls.tx?", "*", ".", ".."}) {
    SCOPED_TRACE(name);
    input = {"datafile", "in/" + name};
    run();
    expectRun(99,
              head() + opened() + listed({}) + fatal(1200, "update_process_file: Cannot open directory in") + illEnd());
  }
}

TEST_F(LoaderRecordFilesRun, ASingleFileMayBeADirectoryWhichIsIgnored) {
  std::filesystem::create_directory(path("in/sub"));
  input = {"datafile", "in/sub"};
  run();
  expectRun(0, head() + opened() + listed({"sub"}) + unreadable("sub") + written(0) + completed());
}

TEST_F(LoaderRecordFilesRun, AnEndedScanLeavesTheProcessFileOfTheLastRun) {
  processFile = "process";
  writeNumbers("process", {7, 0, 70, -2, -1});
  writeFile("in/a", std::string(10000, '1') + "\n");
  run();
  EXPECT_EQ(result.status, 99);
  EXPECT_EQ(files(), Strings{"process"});
  EXPECT_EQ(numbers("process"), (std::vector<double>{7, 0, 70, -2, -1}));
}

}  // namespace
}  // namespace vesk_e2e
