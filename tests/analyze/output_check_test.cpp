#include "output_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "parameter_file.h"
#include "simple_algorithm/quven_simple_algorithm_model.h"
#include "support/captured_run.h"
#include "support/temporary_folder.h"

namespace vesk_analyze {
namespace {

namespace fs = std::filesystem;
using Files = std::vector<OutputFile>;

class OutputCheck : public ::testing::Test {
 protected:
  OutputCheck() { environment.activate(); }

  /// The error line of a check before the passes, or "".
  std::string before(const Files& files) {
    return reportOf([&] { checkOutputsBefore(files, "some words", QUVEN_ENV); });
  }
  std::string after(const Files& files, const std::string& failedFile = "") {
    return reportOf([&] { checkOutputsAfter(files, failedFile, QUVEN_ENV); });
  }
  template <class Check>
  std::string reportOf(Check&& check) {
    const CapturedRun run = capturedRun(check);
    EXPECT_EQ(run.threwLibraryException, !run.out.empty());
    return run.out.substr(0, run.out.find('\n'));
  }
  std::string refused(const std::string& name) const {
    return "Error;|2302;|" + folder.path(name) + ";|some words;|ErrorEnd";
  }
  std::string missing(const std::string& name) const {
    return "Error;|2302;|" + folder.path(name) + ";|vesk-analyze: Unable to write output file;|ErrorEnd";
  }
  OutputFile file(const std::string& name, bool isReplaced = true) const { return {folder.path(name), isReplaced}; }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

TEST_F(OutputCheck, AFileThatCanBeWrittenIsLeftAsItIs) {
  folder.write("old", "rows");
  for (const bool isReplaced : {true, false}) {
    EXPECT_EQ(before({file("old", isReplaced)}), "");
    EXPECT_EQ(folder.read("old"), "rows");
    EXPECT_EQ(before({file("new", isReplaced)}), "");
    EXPECT_FALSE(folder.has("new"));
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST_F(OutputCheck, AFolderThatIsMissingIsFound) {
  for (const bool isReplaced : {true, false}) {
    EXPECT_EQ(before({file("missing/new", isReplaced)}), refused("missing/new"));
  }
  EXPECT_FALSE(folder.has("missing"));
}

TEST_F(OutputCheck, ADirectoryIsNoFile) {
  fs::create_directory(folder.path("taken"));
  for (const bool isReplaced : {true, false}) EXPECT_EQ(before({file("taken", isReplaced)}), refused("taken"));
  fs::create_directory_symlink(folder.path("taken"), folder.path("link"));
  EXPECT_EQ(before({file("link")}), refused("link"));
}

TEST_F(OutputCheck, EveryFileIsTried) {
  EXPECT_EQ(before({}), "");
  EXPECT_EQ(before({file("a"), file("b"), file("missing/c"), file("absent/d")}), refused("missing/c"));
}

/// Whoever reads a pipe would take an attempt for the end of the result.
TEST_F(OutputCheck, APipeIsNotOpened) {
  ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(before({file("pipe")}), "");  // an attempt would wait for a reader
  EXPECT_EQ(before({{"/dev/full"}, {"/dev/null", false}}), "");
}

TEST_F(OutputCheck, AtTheEndEveryFileIsThere) {
  folder.write("a", "");
  EXPECT_EQ(after({}), "");
  EXPECT_EQ(after({file("a")}), "");
  EXPECT_EQ(after({file("a"), file("b")}), missing("b"));
}

TEST_F(OutputCheck, AFileThatFailedIsNamedFirst) {
  folder.write("a", "");
  EXPECT_EQ(after({file("b")}, folder.path("a")), missing("a"));
}

TEST_F(OutputCheck, FilesOfTheRunAreOutputsToo) {
  const std::string in = folder.write("in", "rows");
  const auto writableReport = [&](const RunFiles& files) {
    return reportOf([&] { files.checkWritable("some words", QUVEN_ENV); });
  };
  const auto namesReport = [&](const RunFiles& files) { return reportOf([&] { files.checkNames(QUVEN_ENV); }); };
  const RunFiles good{.outputs = {file("o")}, .results = folder.path("r"), .timings = folder.path("t"), .inputs = {in}};
  EXPECT_EQ(writableReport(good), "");
  EXPECT_EQ(namesReport(good), "");
  const std::string lost = folder.path("missing/t");
  EXPECT_EQ(writableReport({.results = lost}),
            "Error;|2302;|" + lost + ";|vesk-analyze: Unable to write results file;|ErrorEnd");
  EXPECT_EQ(writableReport({.timings = lost}),
            "Error;|2302;|" + lost + ";|vesk-analyze: Unable to write timings file;|ErrorEnd");
  EXPECT_EQ(namesReport({.timings = in, .inputs = {in}}),
            "Error;|2302;|" + in + ";|vesk-analyze: the output would take the place of what is read;|ErrorEnd");
  EXPECT_EQ(namesReport({.results = folder.path("t"), .timings = folder.path("t")}),
            "Error;|2302;|" + folder.path("t") + ";|vesk-analyze: two outputs have one name;|ErrorEnd");
}

/// What each analysis writes, by its parameters.
class AnalysisOutputs : public OutputCheck {
 protected:
  std::vector<std::string> of(const std::string& command, const std::string& tags, int workers) {
    const std::string path = folder.write("params.xml", "<AnalysisParams>\n" + tags + "</AnalysisParams>\n");
    std::vector<std::string> names;
    for (const AnalysisKind& kind : analysisKinds()) {
      if (kind.command != command) continue;
      ParameterFile file(kind, path, {}, QUVEN_ENV);
      capturedRun([&] { file.read(QUVEN_ENV); });
      for (const OutputFile& output : file.outputFiles(workers, QUVEN_ENV)) {
        names.push_back(output.path + (output.isReplaced ? "" : " in place"));
      }
      file.release(QUVEN_ENV);
    }
    return names;
  }
};

TEST_F(AnalysisOutputs, AreThoseOfTheParameters) {
  using Names = std::vector<std::string>;
  const std::string own = "<OutputFileName>x</OutputFileName>\n";
  const std::string kernel = "<KernelParams>\n<OutputFileName>d/k.txt</OutputFileName>\n</KernelParams>\n";
  const std::string values = "<KernelValuesFileName>v</KernelValuesFileName>\n";
  EXPECT_EQ(of("diffusion", own, 3), Names{"x"});
  EXPECT_EQ(of("groups", own, 3), (Names{"x_worker_0 in place", "x_worker_1 in place", "x_worker_2 in place",
                                         "x_1.clusters.csv", "x_1.nodes.csv"}));
  EXPECT_EQ(of("groups", own + kernel, 2),
            (Names{"d/k_worker_0.txt in place", "d/k_worker_1.txt in place", "x_1.clusters.csv", "x_1.nodes.csv"}));
  EXPECT_EQ(of("groups", own + kernel + values, 2), (Names{"x_1.clusters.csv", "x_1.nodes.csv"}));
  EXPECT_EQ(of("kernel", kernel, 2), (Names{"d/k_worker_0.txt in place", "d/k_worker_1.txt in place"}));
  EXPECT_EQ(of("kernel", own, 1), Names{"x_worker_0 in place"});
  EXPECT_EQ(of("kernel", own + "<KernelParams>\n<KernelType>Friends</KernelType>\n</KernelParams>\n", 1), Names{});
}

TEST(AnalysisKinds, StandInTheirOrder) {
  std::string commands;
  for (const AnalysisKind& kind : analysisKinds()) {
    commands += std::string(kind.command) + " " + std::to_string(kind.modelId) + "\n";
  }
  EXPECT_EQ(commands, "diffusion 24\ngroups 17\nkernel 8\ntrain 0\ncorrelations 0\nevaluate 0\n");
}

}  // namespace
}  // namespace vesk_analyze
