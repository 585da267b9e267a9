// The outputs of vesk-analyze groups and kernel where they cannot be written, go away, or the run is broken off.

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>

#include "groups_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// A run whose file of nodes is a pipe: it stands still in the middle of its results until somebody reads.
class GroupsOutputs : public GroupsCase {
 protected:
  GroupsOutputs() { dataset(cliques(3)); }
  ~GroupsOutputs() override {
    if (program > 0) {
      ::kill(program, SIGKILL);
      ::waitpid(program, nullptr, 0);
    }
    if (pipe >= 0) ::close(pipe);
  }

  static std::string unwritable(const std::string& name) {
    return "Error;|2302;|" + name + ";|vesk-analyze: Unable to write output file;|ErrorEnd\n";
  }

  /// Starts a run that has more to write than a pipe takes, and waits until the pipe is full. It writes to "log".
  void startAndFillPipe() {
    constexpr std::uint64_t numGroups = 3000;
    std::string values;
    Contacts calls;
    for (std::uint64_t c = 1; c <= numGroups; ++c) {
      values += std::to_string(10 * c) + "," + std::to_string(10 * c + 1) + ",0\n";
      calls[10 * c] = {10 * c + 1};
    }
    writeFile("values", values);
    tags["KernelValuesFileName"] = "values";
    dataset(calls);
    parameterFile();
    ASSERT_EQ(::mkfifo(path("found_1.nodes.csv").c_str(), 0600), 0);
    pipe = ::open(path("found_1.nodes.csv").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(pipe, 0);
    program = ::fork();
    ASSERT_GE(program, 0);
    if (program == 0) {
      const int log = ::open(path("log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      if (::dup2(log, 1) < 0 || ::dup2(log, 2) < 0 || ::chdir(path("").c_str()) != 0) ::_exit(126);
      const std::string name = std::string(VESK_BIN_DIR) + "/vesk-analyze";
      ::execl(name.c_str(), name.c_str(), "groups", "params.xml", "calls.bin", nullptr);
      ::_exit(127);
    }
    constexpr int fullPipe = 1 << 15;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    int unread = 0;
    while (unread < fullPipe) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      ASSERT_EQ(::ioctl(pipe, FIONREAD, &unread), 0);
    }
  }
  /// Reads the pipe to its end and gives the exit status of the run.
  int readAndWait() {
    ::fcntl(pipe, F_SETFL, 0);  // wait for more
    char bytes[1 << 14];
    for (ssize_t got = 1; got > 0;) {
      got = ::read(pipe, bytes, sizeof bytes);
      if (got > 0) nodesRead.append(bytes, static_cast<std::size_t>(got));
    }
    return wait();
  }
  int wait() {
    int status = 0;
    EXPECT_EQ(::waitpid(program, &status, 0), program);
    program = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  pid_t program = -1;
  int pipe = -1;
  std::string nodesRead;
};

TEST_F(GroupsOutputs, AFolderThatIsMissingIsFoundBeforeTheFirstPass) {
  tags["OutputFileName"] = "no/such/folder/found";
  expectFailure(unwritable("no/such/folder/found_1.clusters.csv"));
  EXPECT_FALSE(hasBegun());
  tags["OutputFileName"] = "found";
  kernelTags["OutputFileName"] = "no/such/folder/kept.txt";
  for (const char* kind : {"groups", "kernel"}) {
    expectFailure(unwritable("no/such/folder/kept_worker_0.txt"), kind);
    EXPECT_FALSE(hasBegun());
  }
}

TEST_F(GroupsOutputs, ADirectoryInThePlaceOfAnOutputIsFoundBeforeTheFirstPass) {
  for (const char* name : {"taken_1.clusters.csv", "taken_1.nodes.csv"}) {
    std::filesystem::create_directory(path(name));
    tags["OutputFileName"] = "taken";
    expectFailure(unwritable(name));
    EXPECT_FALSE(hasBegun());
    std::filesystem::remove(path(name));
  }
  tags["OutputFileName"] = "found";
  kernelTags["OutputFileName"] = "kept.txt";
  std::filesystem::create_directory(path("kept_worker_0.txt"));
  expectFailure(unwritable("kept_worker_0.txt"), "kernel");
  std::filesystem::remove(path("kept_worker_0.txt"));
  // That of the second worker.
  std::filesystem::create_directory(path("kept_worker_1.txt"));
  analyse("kernel", 2);
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr(unwritable("kept_worker_1.txt")));
  EXPECT_FALSE(hasBegun());
  analyse("kernel", 1);
  EXPECT_EQ(result.status, 0);
}

TEST_F(GroupsOutputs, TheFileOfTheRunIsTriedBeforeTheFirstPass) {
  analyse("groups", 2, {"--results", "no/such/folder/run.xml"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2302;|no/such/folder/run.xml;|vesk-analyze: Unable to write results file;|"));
  EXPECT_FALSE(hasBegun());
}

TEST_F(GroupsOutputs, DiffusionFindsItsFolderMissingBeforeTheFirstPassToo) {
  writeNumbers("calls.bin", {1, 0, 1, 1, 2, 3, 1, 0, 7788});
  writeFile("seeds", "1\n");
  writeFile("diffusion.xml",
            "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>no/such/energy.csv</OutputFileName>\n"
            "</AnalysisParams>\n");
  result = runOther("vesk-analyze", {"diffusion", "diffusion.xml", "calls.bin"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2302;|no/such/energy.csv;|QUVENSNAData::writeDataOutputFile: Unable to open "
                        "output file;|ErrorEnd\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("Entering beginDataScan")));
}

TEST_F(GroupsOutputs, AFullDiskIsFoundAtTheEnd) {
  for (const char* name : {"found_1.clusters.csv", "found_1.nodes.csv"}) {
    for (const int workers : {1, 2}) {
      removeResults();
      std::filesystem::create_symlink("/dev/full", path(name));
      analyse("groups", workers);
      std::filesystem::remove(path(name));
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(unwritable("/dev/full")));
      EXPECT_TRUE(hasBegun());
    }
  }
  kernelTags["OutputFileName"] = "kept.txt";
  for (const int workers : {1, 2}) {  // the last worker has the full disk
    const std::string name = "kept_worker_" + std::to_string(workers - 1) + ".txt";
    std::filesystem::remove(path(name));
    std::filesystem::create_symlink("/dev/full", path(name));
    analyse("kernel", workers);
    std::filesystem::remove(path(name));
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("output file " + name));
  }
}

TEST_F(GroupsOutputs, OldResultsAreReplacedAsAWhole) {
  writeFile("found_1.clusters.csv", std::string(5000, 'x'));
  writeFile("found_1.nodes.csv", "old");
  analyse("groups", 2);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(clusters().substr(0, clusterHeader().size()), clusterHeader());
  EXPECT_EQ(nodes().substr(0, nodeHeader().size()), nodeHeader());
  EXPECT_EQ(clusters().find('x', clusterHeader().size()), std::string::npos);
  // A run that fails leaves them.
  const std::string found = clusters() + nodes();
  tags["KernelValuesFileName"] = "missing";
  analyse("groups", 2);
  EXPECT_EQ(result.status, 99);
  EXPECT_EQ(clusters() + nodes(), found);
}

TEST_F(GroupsOutputs, ARunThatIsKilledLeavesNothingUnderTheFinalName) {
  ASSERT_NO_FATAL_FAILURE(startAndFillPipe());
  EXPECT_FALSE(exists("found_1.clusters.csv"));
  EXPECT_EQ(partialFiles().size(), 1U);
  ASSERT_EQ(::kill(program, SIGKILL), 0);
  EXPECT_EQ(wait(), 128 + SIGKILL);
  EXPECT_FALSE(exists("found_1.clusters.csv"));
}

TEST_F(GroupsOutputs, APipeTakesTheResultsAsAFileDoes) {
  ASSERT_NO_FATAL_FAILURE(startAndFillPipe());
  EXPECT_EQ(readAndWait(), 0) << content("log");
  EXPECT_EQ(std::count(nodesRead.begin(), nodesRead.end(), '\n'), 6001);
  EXPECT_EQ(nodesRead.substr(0, nodeHeader().size()), nodeHeader());
  const std::string groups = clusters();
  EXPECT_EQ(std::count(groups.begin(), groups.end(), '\n'), 3001);
  EXPECT_EQ(partialFiles(), Strings{});
}

TEST_F(GroupsOutputs, AResultThatDisappearsIsMissedAtTheEnd) {
  ASSERT_NO_FATAL_FAILURE(startAndFillPipe());
  std::filesystem::remove(path("found_1.nodes.csv"));  // the pipe is still open
  EXPECT_EQ(readAndWait(), 99);
  EXPECT_THAT(content("log"), HasSubstr(unwritable("found_1.nodes.csv")));
}

TEST_F(GroupsOutputs, AResultThatDisappearsBeforeItIsCompleteIsMissedAtTheEnd) {
  ASSERT_NO_FATAL_FAILURE(startAndFillPipe());
  ASSERT_EQ(partialFiles().size(), 1U);
  std::filesystem::remove(path(partialFiles()[0]));
  EXPECT_EQ(readAndWait(), 99);
  EXPECT_THAT(content("log"), HasSubstr(unwritable("found_1.clusters.csv")));
  EXPECT_FALSE(exists("found_1.clusters.csv"));
}

TEST_F(GroupsOutputs, AReaderThatGoesAwayEndsTheRun) {
  ASSERT_NO_FATAL_FAILURE(startAndFillPipe());
  ::close(pipe);
  pipe = -1;
  EXPECT_EQ(wait(), 99);
  EXPECT_THAT(content("log"), HasSubstr(unwritable("found_1.nodes.csv")));
}

}  // namespace
}  // namespace vesk_e2e
