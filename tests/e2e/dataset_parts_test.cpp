// Datasets in parts as loader runs and mistakes after them leave them.

#include <gmock/gmock.h>

#include "loader_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class DatasetParts : public LoaderCase {
 protected:
  DatasetParts() {
    writeFile("seeds", "1\n20\n");
    writeFile("diffusion.xml",
              "<AnalysisParams>\n<Seed>seeds</Seed>\n<OutputFileName>energy.csv</OutputFileName>\n"
              "</AnalysisParams>\n");
    outputFile = "pairs";
  }

  /// A loader run over the callers first, first + step, ... up to last, with three callees each.
  void load(int partitions, int first = 1, int last = 300, int step = 1) {
    std::vector<std::string> lines;
    for (int caller = first; caller <= last; caller += step) {
      for (int i = 1; i <= 3; ++i) {
        const std::string key = std::to_string(caller);
        lines.push_back(std::string(6 - key.size(), ' ') + key + " " + std::to_string(100 + caller * i % 400));
      }
    }
    records("a", lines);
    parameters("fields 1-6 8-10; Key 1; Output Sparse; op PairSum 2; NumberOfPartitions " + std::to_string(partitions));
    processFile = "process" + std::to_string(partitions);
    run();
    ASSERT_EQ(result.status, 0) << result.out;
  }

  void diffusion(int workers, const std::vector<std::string>& options = {}) {
    std::filesystem::remove(path("energy.csv"));
    std::vector<std::string> arguments{
        "-n",        std::to_string(workers), std::string(VESK_BIN_DIR) + "/vesk-analyze",
        "diffusion", "diffusion.xml",         "pairs"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    result = runOther(VESK_MPIRUN, arguments);
  }
  void expectAccepted() {
    for (const int workers : {1, 2}) {
      diffusion(workers);
      EXPECT_EQ(result.status, 0) << result.out;
    }
  }
  /// A run warns of the empty part, and a strict run ends there.
  void expectDoubted(const std::string& part) {
    const std::string warning = "Warning;|5014;|" + part + ";|vesk-analyze: the part is empty, although ";
    for (const int workers : {1, 2}) {
      diffusion(workers);
      EXPECT_EQ(result.status, 0) << result.out;
      EXPECT_THAT(result.out, HasSubstr(warning));
      diffusion(workers, {"--strict"});
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(warning));
      EXPECT_THAT(result.out, HasSubstr("Error;|4608;|5014;|--strict: "));
      EXPECT_FALSE(exists("energy.csv"));
    }
  }
  void expectRefused(const std::string& part, const std::string& text) {
    for (const int workers : {1, 2}) {
      diffusion(workers);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr("Error;|2305;|" + part + ";|vesk-analyze: " + text + ";|ErrorEnd\n"));
      EXPECT_FALSE(exists("energy.csv"));
    }
  }
};

TEST_F(DatasetParts, OfEveryCompleteRunAreAccepted) {
  for (const int partitions : {1, 2, 3, 10, 100}) {
    SCOPED_TRACE(partitions);
    load(partitions);
    expectAccepted();
    for (const std::string& name : files()) {
      if (name.starts_with("pairs")) std::filesystem::remove(path(name));
    }
  }
}

// A run of few callers leaves parts without any.
TEST_F(DatasetParts, OfARunWithFewCallersMayBeEmpty) {
  load(7, 3, 5);
  int empty = 0;
  for (int part = 0; part < 7; ++part) empty += content("pairs." + std::to_string(part)).empty() ? 1 : 0;
  EXPECT_GE(empty, 4);
  expectAccepted();
}

// The part of a caller depends on its number modulo 7919 only. The numbers of the callers are no random sample, so many
// callers can leave a part empty.
TEST_F(DatasetParts, OfManyCallersThatAllBelongToOnePartAreAccepted) {
  load(2, 4, 4 + 53 * 144, 144);
  EXPECT_EQ(std::filesystem::file_size(path("pairs.1")), 0U);
  expectDoubted("pairs.1");
}

TEST_F(DatasetParts, OfManyCallersWithEqualRemaindersAreAccepted) {
  load(3, 7919, 100 * 7919, 7919);
  expectAccepted();
  EXPECT_THAT(result.out, Not(HasSubstr("5014")));
}

// A run has at most 100 partitions, so a larger number at the end of a name is not that of a part.
TEST_F(DatasetParts, BesideAFileWithADateInItsNameAreAccepted) {
  load(3);
  writeFile("pairs.20200101", "a copy");
  expectAccepted();
}

// The stale part used to be read with the others: most energies were wrong.
TEST_F(DatasetParts, OfAnEarlierRunWithMorePartitionsAreRefused) {
  load(4);
  load(3);
  diffusion(1);
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2305;|pairs.3;|vesk-analyze: caller "));
  EXPECT_THAT(result.out, HasSubstr(", too; the parts are of different runs;|ErrorEnd\n"));
  std::filesystem::remove(path("pairs.3"));
  std::filesystem::remove(path("pairs.3.info"));
  expectAccepted();
}

TEST_F(DatasetParts, OfAnEarlierRunOverOtherCallersAreRefused) {
  load(4, 1000, 1300);
  load(3);
  expectRefused("pairs.3", "a part is left from another run; the other parts are of a run with 3 partitions");
}

TEST_F(DatasetParts, WithoutTheLastOneAreRefused) {
  for (const int partitions : {2, 4, 10}) {
    SCOPED_TRACE(partitions);
    load(partitions);
    const std::string count = std::to_string(partitions);
    for (int part = partitions - 1; part > 0; --part) {
      const std::string name = "pairs." + std::to_string(part);
      std::filesystem::remove(path(name));
      std::filesystem::remove(path(name + ".info"));
      expectRefused(name,
                    "a part of the dataset is missing; the other parts are of a run with " + count + " partitions");
    }
  }
}

TEST_F(DatasetParts, WithAnEmptyOneAmongManyCallersAreDoubted) {
  for (const char* name : {"pairs.0", "pairs.1", "pairs.3"}) {
    load(4);
    writeFile(name, "");
    expectDoubted(name);
  }
}

TEST_F(DatasetParts, BesideASingleFileAreRefused) {
  load(4);
  load(1);
  expectRefused("pairs.0", "a part is beside the single file pairs; one of them is of another run");
  for (const char* name : {"pairs.0", "pairs.1", "pairs.2"}) std::filesystem::remove(path(name));
  expectRefused("pairs.3", "a part is beside the single file pairs; one of them is of another run");
  std::filesystem::remove(path("pairs.3"));
  writeFile("pairs.20140301", "a copy of a day is no part");
  expectAccepted();
}

// The report used to name the dataset. Two cuts that make up a record passed.
TEST_F(DatasetParts, ThatEndInsideARecordAreNamed) {
  load(3);
  const auto cut = [&](const std::string& name, std::uintmax_t bytes) {
    std::filesystem::resize_file(path(name), std::filesystem::file_size(path(name)) - bytes);
  };
  const auto expectNamed = [&] {
    for (const int workers : {1, 2}) {
      diffusion(workers);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out,
                  HasSubstr("Error;|2302;|pairs.1;|vesk-analyze: the dataset ends inside a record;|ErrorEnd\n"));
    }
  };
  cut("pairs.1", 8);
  expectNamed();
  cut("pairs.2", 16);
  expectNamed();
}

TEST_F(DatasetParts, WithOneOfThemTwiceAreRefused) {
  load(3);
  std::filesystem::copy_file(path("pairs.1"), path("pairs.2"), std::filesystem::copy_options::overwrite_existing);
  const std::string first = std::to_string(static_cast<int>(numbers("pairs.1")[0]));
  expectRefused("pairs.2", "caller " + first + " is in pairs.1, too; the parts are of different runs");
}

// Parts that something else than the loader has made.
TEST_F(DatasetParts, InAnyOtherOrderAreAcceptedUnlessACallerIsInTwo) {
  const auto row = [](double caller) { return std::vector<double>{caller, 0, 1, caller, 7, 1, caller, 0, 7788}; };
  const auto part = [&](int number, const std::vector<int>& callers) {
    std::vector<double> all;
    for (const int caller : callers) {
      for (const double value : row(caller)) all.push_back(value);
    }
    writeNumbers("pairs." + std::to_string(number), all);
    writeFile("pairs." + std::to_string(number) + ".info",
              "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  };
  part(0, {9, 8, 3});
  part(1, {20, 1, 5});
  expectAccepted();
  part(1, {20, 3, 5});
  expectRefused("pairs.1", "caller 3 is in pairs.0, too; the parts are of different runs");
}

}  // namespace
}  // namespace vesk_e2e
