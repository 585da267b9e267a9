#include "simple_algorithm/quven_seed_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/captured_run.h"
#include "support/temporary_folder.h"
#include "util/quven_own_ptr.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// Parameter files and seed files, and what is read from them.
class QUVENSeedFile : public ::testing::Test {
 protected:
  QUVENSeedFile() { environment.activate(); }
  ~QUVENSeedFile() override { EXPECT_EQ(environment.getBytesInUse(), 0); }

  /// The name found in a parameter file of this text, or "(none)".
  std::string nameIn(const std::string& text) {
    std::string name;
    bool found = false;
    const std::string path = folder.write("params.xml", text);
    run = capturedRun([&] { found = FindSeedFileNameInParamFile(path, name); });
    return found ? name : "(none)";
  }

  /// The seeds of a seed file of this text.
  std::vector<std::uint64_t> seedsOf(const std::string& text) { return seedsOfPath(folder.write("seeds", text)); }
  std::vector<std::uint64_t> seedsOfPath(const std::string& seedPath) {
    const std::string parameters = folder.write("params.xml", "<Seed> " + seedPath + " </Seed>\n");
    energies.clear();
    std::vector<QUVENSeed> seeds;
    run = capturedRun([&] { quvenReadSeedFile(parameters, form, seeds, QUVEN_ENV); });
    std::vector<std::uint64_t> result;
    for (const QUVENSeed& seed : seeds) {
      result.push_back(seed.number);
      energies.push_back(seed.energy);
    }
    return result;
  }
  static std::string warningOf(int line) {
    const std::string number = std::to_string(line);
    return "Warning;|5003;|" + number + ";|Warning: ignoring empty line or invalid numeric value - " + number +
           " ;|WarningEnd\n";
  }

  TemporaryFolder folder;
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  CapturedRun run;
  QUVENSeedForm form;
  std::vector<double> energies;  ///< of the seeds that were read last
};

TEST_F(QUVENSeedFile, ASecondNumberIsTheEnergyOfASeed) {
  form.hasWeights = true;
  EXPECT_EQ(seedsOf("7\n3 0.25\n7\t2\n4,1e3\n5 ; 6\n8;\n 9 , 0x\n"), (std::vector<std::uint64_t>{7, 3, 7, 4, 5, 8}));
  EXPECT_EQ(energies, (std::vector<double>{1, 0.25, 2, 1000, 6, 1}));
  EXPECT_EQ(run.out, "find seed file: [" + folder.path("seeds") + "]\n" + warningOf(7));
  EXPECT_EQ(seedsOf("0x1F 2\n010 3\n123456789012 4\r\n"), (std::vector<std::uint64_t>{31, 8, 123456789012}));
  EXPECT_EQ(energies, (std::vector<double>{2, 3, 4}));
}

TEST_F(QUVENSeedFile, AnEnergyIsFiniteAndAboveZero) {
  form.hasWeights = true;
  const std::string found = "find seed file: [" + folder.path("seeds") + "]\n";
  for (const std::string bad : {"0", "-1", "inf", "nan", "1e999", "x", "2 3", "2,", ",2", "+2"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(seedsOf("5\n7, " + bad + "\n"), std::vector<std::uint64_t>{5});
    EXPECT_EQ(run.out, found + warningOf(2));
  }
}

TEST_F(QUVENSeedFile, WithoutWeightsALineWithTwoNumbersIsIgnored) {
  EXPECT_EQ(seedsOf("7\n3 0.25\n4,2\n"), std::vector<std::uint64_t>{7});
  EXPECT_EQ(run.out, "find seed file: [" + folder.path("seeds") + "]\n" + warningOf(2) + warningOf(3));
}

TEST_F(QUVENSeedFile, SeedsAreAColumnOfACsvFile) {
  form.column = "Number";
  EXPECT_EQ(seedsOf("rank,Number,lift\n1,7,0.5\n2,\"010\",\n"), (std::vector<std::uint64_t>{7, 10}));
  EXPECT_EQ(energies, (std::vector<double>{1, 1}));
  EXPECT_EQ(seedsOf("\xEF\xBB\xBF"
                    "rank;Number\r\n1; 7 \r\n"),
            std::vector<std::uint64_t>{7});
  EXPECT_EQ(seedsOf("Number\n7\n7\n"), (std::vector<std::uint64_t>{7, 7}));
  form.hasWeights = true;
  form.weightColumn = "the energy";
  EXPECT_EQ(seedsOf("the energy\tNumber\n2.5\t7\n\t8\n"), (std::vector<std::uint64_t>{7, 8}));
  EXPECT_EQ(energies, (std::vector<double>{2.5, 1}));
  EXPECT_TRUE(seedsOf("Number,the energy\n").empty());
  EXPECT_THAT(run.out, HasSubstr("Warning;|5009;|"));
}

TEST_F(QUVENSeedFile, AMistakeInACsvFileIsNamedByItsLineAndColumn) {
  form = {true, "id", "w"};
  const auto expectRefused = [this](const std::string& text, const std::string& why) {
    SCOPED_TRACE(why);
    seedsOf(text);
    EXPECT_TRUE(run.threwLibraryException);
    const std::string name = folder.path("seeds");
    EXPECT_THAT(run.out, HasSubstr("Error;|2307;|" + name + ";|QUVENSNAData::readSeedFile: " + name + ", line " + why +
                                   ";|ErrorEnd"));
  };
  expectRefused("", "1: there is no header");
  expectRefused("Id,w\n", "1: there is no column id");
  expectRefused("id,W\n", "1: there is no column w");
  expectRefused("id,w,id\n", "1: there are two columns id");
  expectRefused("id,w\n7,1\n8\n", "3: 1 cells, not 2");
  expectRefused("id,w\n0x1F,1\n", "2: column id: [0x1F] is no subscriber number");
  expectRefused("id,w\n0,1\n", "2: column id: [0] is no subscriber number");
  expectRefused("id,w\n,1\n", "2: column id: [] is no subscriber number");
  expectRefused("id,w\n-7,1\n", "2: column id: [-7] is no subscriber number");
  expectRefused("id,w\n18446744073709551616,1\n", "2: column id: [18446744073709551616] is no subscriber number");
  for (const std::string bad : {"0", "-2", "inf", "nan", "1e999", "two"}) {
    expectRefused("id,w\n5,\n7," + bad + "\n", "3: column w: [" + bad + "] is no number above 0");
  }
  seedsOf("id,w\n7,\"1\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr(", line 2: "));
}

TEST_F(QUVENSeedFile, NameStandsBetweenTheTags) {
  EXPECT_EQ(nameIn("<A>\n<Seed> seeds.txt </Seed>\n</A>\n"), "seeds.txt");
  EXPECT_EQ(run.out, "find seed file: [seeds.txt]\n");
  EXPECT_EQ(nameIn("x<Seed>a</Seed><Seed>b</Seed>"), "a");
  EXPECT_EQ(nameIn("<Seed>a b</Seed>"), "a b");
  EXPECT_EQ(nameIn("<Seed></Seed>"), "");
  EXPECT_EQ(nameIn("</Seed><Seed>a</Seed>"), "a");
}

TEST_F(QUVENSeedFile, EntitiesOfTheNameAreDecoded) {
  EXPECT_EQ(nameIn("<Seed>a&amp;b&lt;c&gt;d&quot;e&#9;f&#32;g</Seed>"), "a&b<c>d\"e\tf g");
  EXPECT_EQ(nameIn("<Seed>a&#10;b&#13;c</Seed>"), "a\nb\rc");
  EXPECT_EQ(nameIn("<Seed>&amp;lt;</Seed>"), "&lt;");
  EXPECT_EQ(nameIn("<Seed>&#32;a&#32;</Seed>"), "a");
}

TEST_F(QUVENSeedFile, AParameterFileWithoutTheLineIsToldOf) {
  const std::string warning = "Warning: param file should contain a line of the form <Seed> fname </Seed>\n";
  EXPECT_EQ(nameIn("<Seed>\nname\n</Seed>\n"), "(none)");
  EXPECT_EQ(run.out, warning);
  EXPECT_EQ(nameIn(""), "(none)");
  EXPECT_EQ(run.out, warning);
  EXPECT_EQ(nameIn(std::string(10001, 'x') + "\n<Seed>a</Seed>\n"), "(none)");
  EXPECT_EQ(run.out, "FindSeedFileNameInParamFile: reading failure in line 1\n");
  EXPECT_EQ(nameIn(std::string(10000, 'x') + "\n<Seed>a</Seed>\n"), "a");
  std::string name;
  run = capturedRun([&] { EXPECT_FALSE(FindSeedFileNameInParamFile("/no/such/file", name)); });
  EXPECT_EQ(run.out, "FindSeedFileNameInParamFile:  cannot open file param file /no/such/file\n");
}

TEST_F(QUVENSeedFile, ReadsNumbersInTheOrderOfTheFile) {
  EXPECT_EQ(seedsOf("7\n3\n7\n"), (std::vector<std::uint64_t>{7, 3, 7}));
  EXPECT_EQ(run.out, "find seed file: [" + folder.path("seeds") + "]\n");
  EXPECT_EQ(seedsOf("7"), std::vector<std::uint64_t>{7});
  EXPECT_EQ(seedsOf(" 7 \r\n"), std::vector<std::uint64_t>{7});
  EXPECT_TRUE(seedsOf("").empty());
}

TEST_F(QUVENSeedFile, ShortLinesHaveTheBaseOfTheirPrefixAndLongOnesAreDecimal) {
  EXPECT_EQ(seedsOf("0x1F\n010\n0012345678\n"), (std::vector<std::uint64_t>{31, 8}));  // an 8 is no octal digit
  EXPECT_EQ(seedsOf("00000000010\n12345678901\n9223372036854775807\n"),
            (std::vector<std::uint64_t>{10, 12345678901, 9223372036854775807U}));
}

TEST_F(QUVENSeedFile, OtherLinesAreSkippedWithAWarning) {
  const std::string found = "find seed file: [" + folder.path("seeds") + "]\n";
  EXPECT_EQ(seedsOf("1\n\n0\nx\n12x\n-5\n2\n"), (std::vector<std::uint64_t>{1, 2}));
  EXPECT_EQ(run.out, found + warningOf(2) + warningOf(3) + warningOf(4) + warningOf(5) + warningOf(6));
  EXPECT_TRUE(seedsOf("9223372036854775808\n1234567890x\n" + std::string(80, '1') + "\n").empty());
  EXPECT_THAT(run.out, ::testing::StartsWith(found + warningOf(1) + warningOf(2) + warningOf(3)));
}

TEST_F(QUVENSeedFile, AtMostTwentyBadLinesAreNamedAndTheOthersCounted) {
  std::string text;
  for (int line = 1; line <= 20; ++line) text += "x\n";
  EXPECT_EQ(seedsOf(text + "7\n"), std::vector<std::uint64_t>{7});
  EXPECT_THAT(run.out, HasSubstr(warningOf(20)));
  EXPECT_THAT(run.out, Not(HasSubstr("5011")));
  EXPECT_EQ(seedsOf(text + "7\nx\ny\n"), std::vector<std::uint64_t>{7});
  EXPECT_THAT(run.out, ::testing::EndsWith(warningOf(20) + "Warning;|5011;|2;|QUVENSNAData::readSeedFile: 2 further "
                                                           "lines are ignored;|WarningEnd\n"));
}

TEST_F(QUVENSeedFile, AFileWithoutASeedIsWarnedOf) {
  const std::string warning = "Warning;|5009;|" + folder.path("seeds") +
                              ";|QUVENSNAData::readSeedFile: no line of the seed file is a subscriber number, so all "
                              "energies are 0;|WarningEnd\n";
  // UTF-16, a quoted number, a number with a sign, text.
  for (const std::string& text : {std::string(),
                                  std::string("\xFF\xFE"
                                              "1\0\n\0",
                                              6),
                                  std::string("\"49123\"\n"), std::string("+49123\n"), std::string("number\n")}) {
    EXPECT_TRUE(seedsOf(text).empty());
    EXPECT_FALSE(run.threwLibraryException);
    EXPECT_THAT(run.out, ::testing::EndsWith(warning));
  }
  environment.setStrict(true);
  seedsOf("");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out,
              HasSubstr(warning + "Error;|4608;|5009;|--strict: the warning above means that the result is not "
                                  "what was asked for;|ErrorEnd\n"));
}

TEST_F(QUVENSeedFile, ASeedThatIsNoDecimalIsWarnedOf) {
  EXPECT_EQ(seedsOf("010\n07\n0x1F\n00000000010\n"), (std::vector<std::uint64_t>{8, 7, 31, 10}));
  EXPECT_THAT(run.out, ::testing::EndsWith(
                           "Warning;|5010;|010;|QUVENSNAData::readSeedFile: the seed is read in base 8 because of its "
                           "leading zero: as 8, not as 10;|WarningEnd\n"
                           "Warning;|5010;|0x1F;|QUVENSNAData::readSeedFile: the seed is read in base 16 as 31;|"
                           "WarningEnd\n"));
  std::string text;
  for (int line = 1; line <= 23; ++line) text += "0100\n";
  EXPECT_EQ(seedsOf(text).size(), 23U);
  EXPECT_THAT(run.out, HasSubstr("Warning;|5011;|3;|QUVENSNAData::readSeedFile: 3 further lines are read in another "
                                 "base than 10;|"));
  environment.setStrict(true);
  seedsOf("0x1F\n");
  EXPECT_FALSE(run.threwLibraryException);
  seedsOf("010\n");
  EXPECT_TRUE(run.threwLibraryException);
}

// Base 8 has no digits 8 and 9. Such a line used to be ignored without a word about its zero.
TEST_F(QUVENSeedFile, ASeedThatIsLeftOutForItsLeadingZeroIsWarnedOf) {
  const std::string found = "find seed file: [" + folder.path("seeds") + "]\n";
  const std::string warning =
      "Warning;|5010;|0888;|QUVENSNAData::readSeedFile: the seed is left out: its leading zero means base 8, which has "
      "no digit 8 or 9; it may mean 888;|WarningEnd\n";
  EXPECT_EQ(seedsOf("0888\n7\n"), std::vector<std::uint64_t>{7});
  EXPECT_EQ(run.out, found + warningOf(1) + warning);
  EXPECT_EQ(seedsOf("7\n00\n0x\n08a\n0\n"), std::vector<std::uint64_t>{7});
  EXPECT_THAT(run.out, Not(HasSubstr("5010")));
  environment.setStrict(true);
  seedsOf("0888\n7\n");
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr(warningOf(1) + warning + "Error;|4608;|5010;|--strict: "));
}

TEST_F(QUVENSeedFile, AStrictRunEndsAtALeadingZeroBehindManyWarnings) {
  std::string text;
  for (int line = 1; line <= 20; ++line) text += "0x1F\n";
  environment.setStrict(true);
  seedsOf(text);
  EXPECT_FALSE(run.threwLibraryException);
  seedsOf(text + "010\n");
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(QUVENSeedFile, AByteOrderMarkIsPassedOver) {
  EXPECT_EQ(seedsOf("\xEF\xBB\xBF"
                    "7\n8\n"),
            (std::vector<std::uint64_t>{7, 8}));
  EXPECT_THAT(run.out, Not(HasSubstr("Warning")));
  EXPECT_EQ(seedsOf("7\n\xEF\xBB\xBF"
                    "8\n"),
            std::vector<std::uint64_t>{7});  // at the beginning alone
}

TEST_F(QUVENSeedFile, EnergiesHaveAFiniteSum) {
  const std::string file = folder.write("seeds", "1 1e308\n2 1e308\n");
  form.hasWeights = true;
  std::vector<QUVENSeed> seeds;
  run = capturedRun([&] { quvenReadSeeds(file, form, seeds, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out,
              ::testing::StartsWith("Error;|2307;|" + file +
                                    ";|QUVENSNAData::readSeedFile: the energies of the seeds sum to more than the "
                                    "largest number;|ErrorEnd\n"));
}

TEST_F(QUVENSeedFile, AFileThatCannotBeReadEndsTheRun) {
  seedsOfPath("/no/such/file");
  EXPECT_TRUE(run.threwLibraryException);
  const auto report = [](const std::string& name) {
    return "Error;|2307;|" + name + ";|QUVENSNAData::readSeedFile: the seed file cannot be read;|ErrorEnd\n" +
           "Error;|2307;|QUVENSNAData::readSeedFile: Unable to open seed file;|ErrorEnd\n";
  };
  EXPECT_THAT(run.out, HasSubstr(report("/no/such/file")));
  seedsOfPath(folder.path(""));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(run.out, HasSubstr(report(folder.path(""))));
  std::vector<QUVENSeed> seeds;
  run = capturedRun([&] { quvenReadSeedFile("/no/such/file", {}, seeds, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_THAT(
      run.out,
      HasSubstr("Error;|2307;|QUVENSNAData::readSeedFile: Unable to open seed file (visual version) ;|ErrorEnd"));
}

}  // namespace
