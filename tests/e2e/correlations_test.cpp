// Runs the program and compares its correlations with those computed here.

#include <gmock/gmock.h>

#include <filesystem>

#include "boosted_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Correlations : public BoostedTrain {
 protected:
  void correlate(const Strings& settings, int ranks = 1) {
    Strings arguments = {"correlations", "-", "t.bin", "--set", "OutputFileName=c"};
    for (const std::string& setting : settings) arguments.insert(arguments.end(), {"--set", setting});
    analyse(arguments, ranks);
  }
  /// The correlations of the file, by the pair "a,b".
  std::map<std::string, double> found() const {
    std::istringstream lines(content("c_correlations.csv"));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "field,field,correlation");
    std::map<std::string, double> rows;
    while (std::getline(lines, line)) {
      const std::size_t comma = line.rfind(',');
      EXPECT_TRUE(rows.emplace(line.substr(0, comma), std::stod(line.substr(comma + 1))).second) << line;
    }
    return rows;
  }
};

/// Pearson's correlation, computed record by record.
double plainCorrelation(const std::vector<double>& a, const std::vector<double>& b) {
  const auto n = static_cast<double>(a.size());
  double meanA = 0;
  double meanB = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    meanA += a[i] / n;
    meanB += b[i] / n;
  }
  double ab = 0;
  double aa = 0;
  double bb = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    ab += (a[i] - meanA) * (b[i] - meanB);
    aa += (a[i] - meanA) * (a[i] - meanA);
    bb += (b[i] - meanB) * (b[i] - meanB);
  }
  return ab / std::sqrt(aa * bb);
}

// The transform of a column with two values is linear, so the correlations are those of the columns except for the
// sign: a transform always rises with the target.
TEST_F(Correlations, OfColumnsOfTwoValuesAreThoseOfTheColumns) {
  std::vector<double> values;
  std::vector<double> a;
  std::vector<double> b;
  std::vector<double> y;
  for (int i = 0; i < 600; ++i) {
    a.push_back(draw() > 0 ? 1 : 0);
    b.push_back(draw() > 0.7 || a.back() > 0.5 ? 4 : 2);
    y.push_back(2 * a.back() - b.back() + 0.5 * draw());
    values.insert(values.end(), {a.back(), b.back(), y.back()});
  }
  table("t.bin", {{"a", "Numeric", "Explanatory"}, {"b", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}},
        values);
  correlate({"TestPercent=0"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const std::map<std::string, double> rows = found();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_NEAR(rows.at("a,y"), std::fabs(plainCorrelation(a, y)), 1e-9);
  EXPECT_NEAR(rows.at("b,y"), std::fabs(plainCorrelation(b, y)), 1e-9);
  EXPECT_NEAR(std::fabs(rows.at("a,b")), std::fabs(plainCorrelation(a, b)), 1e-9);
}

TEST_F(Correlations, OfCurvesAndCategoriesAreHighAndOfAConstantZero) {
  std::vector<double> values;
  for (int i = 0; i < 900; ++i) {
    const double x = draw();
    const int group = i % 3;
    values.insert(values.end(), {x, static_cast<double>(group), 5.0, x * x + (group == 1 ? 0.3 : 0) + 0.05 * draw()});
  }
  table("t.bin",
        {{"x", "Numeric", "Explanatory"},
         {"group", "Categorical", "Explanatory"},
         {"constant", "Numeric", "Explanatory"},
         {"y", "Numeric", "Target"}},
        values);
  correlate({});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const std::map<std::string, double> rows = found();
  EXPECT_EQ(rows.size(), 6U);
  EXPECT_GT(rows.at("x,y"), 0.8);  // a straight line through a parabola has the correlation 0
  EXPECT_GT(rows.at("group,y"), 0.3);
  EXPECT_EQ(rows.at("constant,y"), 0);
  EXPECT_EQ(rows.at("x,constant"), 0);
}

TEST_F(Correlations, AreTheSameBytesOnAnyNumberOfRanks) {
  writeTable(Target::Number);
  correlate({"CaseWeight=w"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const std::string alone = content("c_correlations.csv");
  EXPECT_EQ(found().size(), 6U);  // x, z, group and y
  for (const int ranks : {2, 3, 4}) {
    std::filesystem::remove(path("c_correlations.csv"));
    correlate({"CaseWeight=w"}, ranks);
    EXPECT_EQ(content("c_correlations.csv"), alone) << ranks;
  }
}

TEST_F(Correlations, TakeAParameterFileOfTrain) {
  writeTable(Target::Number);
  writeFile("train.xml",
            "<AnalysisParams>\n<Supplementary>w</Supplementary>\n<UnseenValues>Root</UnseenValues>\n"
            "<ModelFileName>m.model</ModelFileName>\n<OutputFileName>c</OutputFileName>\n</AnalysisParams>\n");
  analyse({"correlations", "train.xml", "t.bin", "--strict"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, Not(HasSubstr("Warning;")));
  EXPECT_FALSE(exists("m.model"));
  EXPECT_EQ(found().size(), 6U);
}

TEST_F(Correlations, Faults) {
  writeTable(Target::Number);
  const auto expectRefused = [&](const Strings& settings, const std::string& text) {
    for (const int ranks : {1, 2}) {
      correlate(settings, ranks);
      EXPECT_EQ(result.status, 99) << text;
      EXPECT_THAT(result.out, HasSubstr(text));
      EXPECT_FALSE(exists("c_correlations.csv"));
    }
  };
  expectRefused({"Target=nope"}, "nope;|vesk-analyze: Target is no column of the dataset");
  expectRefused({"OutputFileName=none/c"}, "none/c_correlations.csv;|vesk-analyze: Unable to write output file");
  expectRefused({"OutputFileName="}, "vesk-analyze: OutputFileName is missing");
  writeNumbers("t.bin", {1, 1, 1, 1, 1});
  expectRefused({}, "t.bin;|vesk-analyze: the dataset has 1 records, too few for 7 channels");
  analyse({"correlations", "-", "t.bin", "--set", "ModelFileName=m"});
  EXPECT_EQ(result.status, 1);  // not a parameter of this command
}

}  // namespace
}  // namespace vesk_e2e
