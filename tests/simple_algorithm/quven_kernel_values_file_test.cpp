#include "simple_algorithm/quven_kernel_values_file.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "support/captured_run.h"
#include "support/temporary_folder.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using Numbers = std::vector<std::uint64_t>;

class QUVENKernelValuesFile : public ::testing::Test {
 protected:
  QUVENKernelValuesFile() { environment.activate(); }
  ~QUVENKernelValuesFile() override { EXPECT_EQ(environment.getBytesInUse(), 0); }

  /// The pairs of a file, flat.
  Numbers pairsOf(const std::string& text) { return pairsOfFile(folder.write("values", text)); }
  Numbers pairsOfFile(const std::string& path) {
    QUVENXaRay<std::uint64_t> pairs;
    run = capturedRun([&] { quvenReadKernelValuesFile(path, pairs, QUVEN_ENV); });
    Numbers numbers(pairs.begin(), pairs.end());
    pairs.deleteMemory(QUVEN_ENV);
    return numbers;
  }
  /// The pair of a file of one line.
  Numbers pairOf(const std::string& line) {
    const Numbers pair = pairsOf(line + "\n");
    EXPECT_THAT(run.out, EndsWith("Read 1 kernel values from file\n"));
    return pair;
  }
  bool warnsOfForm(int line) const {
    const std::string warning = "Warning;|5005;|" + std::to_string(line) +
                                ";|QUVENCGAData::readKernelValuesFile: the first line of " + folder.path("values") +
                                " that is not two numbers and a value;|WarningEnd\n";
    return run.out.find(warning) != std::string::npos;
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  CapturedRun run;
};

TEST_F(QUVENKernelValuesFile, ALineIsAPair) {
  EXPECT_EQ(pairsOf("1,2,0.5\n3,4,x\n5,6,\n"), (Numbers{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(run.out, "Read 3 kernel values from file\n");
  EXPECT_EQ(pairsOf("1,2,0.5\n3,4,0.5"), (Numbers{1, 2, 3, 4}));  // no line end behind the last one
  EXPECT_EQ(run.out, "Read 2 kernel values from file\n");
  EXPECT_EQ(pairsOf(""), Numbers{});
  EXPECT_EQ(run.out, "Read 0 kernel values from file\n");
}

TEST_F(QUVENKernelValuesFile, PairsComeBehindThoseThatAreThere) {
  QUVENXaRay<std::uint64_t> pairs;
  pairs.append(8, QUVEN_ENV);
  pairs.append(9, QUVEN_ENV);
  folder.write("values", "1,2,0\n");
  run = capturedRun([&] { quvenReadKernelValuesFile(folder.path("values"), pairs, QUVEN_ENV); });
  EXPECT_EQ(Numbers(pairs.begin(), pairs.end()), (Numbers{8, 9, 1, 2}));
  EXPECT_EQ(run.out, "Read 1 kernel values from file\n");
  pairs.deleteMemory(QUVEN_ENV);
}

/// What the workers write: columns of 15 with a tab behind the comma.
TEST_F(QUVENKernelValuesFile, ColumnsWithBlanksAndTabsAreRead) {
  EXPECT_EQ(pairOf("              1,\t             22,\t       0.000123"), (Numbers{1, 22}));
  EXPECT_EQ(run.out, "Read 1 kernel values from file\n");
  EXPECT_EQ(pairOf("1 ,\t2\t,0"), (Numbers{1, 2}));
  EXPECT_EQ(run.out, "Read 1 kernel values from file\n");
}

TEST_F(QUVENKernelValuesFile, LinesWithCarriageReturnsAreRead) {
  EXPECT_EQ(pairsOf("1,2,0.5\r\n3,4,0.5\r\n"), (Numbers{1, 2, 3, 4}));
  EXPECT_EQ(run.out, "Read 2 kernel values from file\n");
}

TEST_F(QUVENKernelValuesFile, AnEmptyLineIsAPairOfZeros) {
  EXPECT_EQ(pairsOf("1,2,0\n\n3,4,0\n"), (Numbers{1, 2, 0, 0, 3, 4}));
  EXPECT_TRUE(warnsOfForm(2));
  EXPECT_THAT(run.out, EndsWith("Read 3 kernel values from file\n"));
  EXPECT_EQ(pairsOf("1,2,0\n\n"), (Numbers{1, 2, 0, 0}));
  EXPECT_TRUE(warnsOfForm(2));
  EXPECT_EQ(pairsOf("\r\n"), (Numbers{0, 0}));
  EXPECT_TRUE(warnsOfForm(1));
}

TEST_F(QUVENKernelValuesFile, OnlyTheFirstLineOfAnotherFormIsNamed) {
  EXPECT_EQ(pairsOf("1,2,0\nA,B,C\n3,4,0\nx\n"), (Numbers{1, 2, 0, 0, 3, 4, 0, 0}));
  EXPECT_TRUE(warnsOfForm(2));
  EXPECT_FALSE(warnsOfForm(4));
  EXPECT_THAT(run.out, EndsWith("Read 4 kernel values from file\n"));
}

TEST_F(QUVENKernelValuesFile, LinesOfAnotherFormAreReadAsFarAsTheyGo) {
  const struct {
    const char* line;
    Numbers pair;
  } cases[] = {{"5", {5, 0}},       {"5,6", {5, 6}},       {"5;6;7", {5, 0}},  {",6,7", {0, 0}},
               {"5,,7", {5, 0}},    {"x,6,7", {0, 6}},     {"5x,6,7", {5, 6}}, {"5,6y,7", {5, 6}},
               {"5 1,6,7", {5, 6}}, {"5.5,6.5,7", {5, 6}}, {" ,6,7", {0, 6}},  {"caller,contact,value", {0, 0}},
               {"0x,6,7", {0, 6}},  {"08,6,7", {0, 6}},    {"5,6\t7", {5, 6}}, {"#1,2,3", {0, 2}}};
  for (const auto& [line, pair] : cases) {
    EXPECT_EQ(pairOf(line), pair) << line;
    EXPECT_TRUE(warnsOfForm(1)) << line << '\n' << run.out;
  }
}

TEST_F(QUVENKernelValuesFile, NumbersHaveTheirBaseByTheirPrefix) {
  EXPECT_EQ(pairOf("0x1F,017,0"), (Numbers{31, 15}));
  EXPECT_EQ(pairOf("0XfF,00,0"), (Numbers{255, 0}));
  EXPECT_THAT(run.out, Not(HasSubstr("Warning")));
}

TEST_F(QUVENKernelValuesFile, NumbersHave64Bits) {
  EXPECT_EQ(pairOf("4294967296,9007199254740993,0"), (Numbers{4294967296U, 9007199254740993U}));
  EXPECT_EQ(pairOf("9223372036854775808,18446744073709551615,0"),
            (Numbers{9223372036854775808U, 18446744073709551615U}));
  EXPECT_EQ(pairOf("0x8000000000000000,0xffffffffffffffff,0"), (Numbers{9223372036854775808U, 18446744073709551615U}));
  EXPECT_THAT(run.out, Not(HasSubstr("Warning")));
  EXPECT_EQ(pairOf("18446744073709551616,1,0"), (Numbers{18446744073709551615U, 1}));  // the largest there is
}

/// A word of 29 characters is a number; what is longer is cut, and nothing behind it is read.
TEST_F(QUVENKernelValuesFile, AnItemHas29Characters) {
  const std::string zeros28(28, '0');
  EXPECT_EQ(pairOf(zeros28 + "7," + zeros28 + "6,0"), (Numbers{7, 6}));
  EXPECT_THAT(run.out, Not(HasSubstr("Warning")));
  EXPECT_EQ(pairOf(zeros28 + "17," + "5,0"), (Numbers{1, 0}));
  EXPECT_TRUE(warnsOfForm(1));
  EXPECT_EQ(pairOf("5," + zeros28 + "17,0"), (Numbers{5, 1}));
  EXPECT_TRUE(warnsOfForm(1));
  EXPECT_EQ(pairOf("5,6," + std::string(300, '1')), (Numbers{5, 6}));
  EXPECT_THAT(run.out, Not(HasSubstr("Warning")));
}

TEST_F(QUVENKernelValuesFile, ZeroBesideTheLargestNumberOf32BitsIsWarnedOf) {
  const auto warning = [](int line) {
    const std::string number = std::to_string(line);
    return "Warning;|5001;|" + number + ";|Warning: Ignoring empty line or invalid numeric value in line number " +
           number + ";|WarningEnd\n";
  };
  EXPECT_EQ(pairsOf("1,2,0\n0,4294967295,0\n0xffffffff,0,0\n"), (Numbers{1, 2, 0, 4294967295U, 4294967295U, 0}));
  EXPECT_EQ(run.out, warning(2) + warning(3) + "Read 3 kernel values from file\n");
  for (const char* line :
       {"0,4294967294,0", "1,4294967295,0", "0,0,0", "4294967295,4294967295,0", "0,18446744073709551615,0"}) {
    pairOf(line);
    EXPECT_EQ(run.out, "Read 1 kernel values from file\n") << line;
  }
}

TEST_F(QUVENKernelValuesFile, AFileThatCannotBeReadEndsTheRun) {
  const auto reportOf = [](const std::string& name) {
    return "Error;|2304;|" + name +
           ";|QUVENCGAData::readKernelValuesFile: the kernel values file cannot be read;|ErrorEnd\n"
           "Error;|2304;|QUVENCGAData::readKernelValuesFile: Unable to kernel values file;|ErrorEnd\nTerminating "
           "VESK\n";
  };
  EXPECT_EQ(pairsOfFile(folder.path("missing")), Numbers{});
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, ::testing::StartsWith(reportOf(folder.path("missing"))));
  pairsOfFile("");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, ::testing::StartsWith(reportOf("")));
  std::filesystem::create_directory(folder.path("directory"));
  pairsOfFile(folder.path("directory"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, ::testing::StartsWith(reportOf(folder.path("directory"))));
}

}  // namespace
