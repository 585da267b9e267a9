// The columns of score beside the predictions.

#include <gmock/gmock.h>

#include <algorithm>

#include "train_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

class Score : public TrainCase {
 protected:
  /// y = 3 + 2 x - z / 2 and a column that says nothing; every seventh x is missing.
  void writeTable(int records) {
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = 2 * draw();
      const double z = 6 * draw();
      values.insert(values.end(), {i % 7 == 3 ? missing : x, z, draw(), 3 + 2 * x - z / 2 + 0.01 * draw()});
    }
    table("t.bin",
          {{"x", "Numeric", "Explanatory"},
           {"z", "Numeric", "Explanatory"},
           {"noise", "Numeric", "Explanatory"},
           {"y", "Numeric", "Target"}},
          values);
  }
  void trainLinear() {
    writeTable(2000);
    train("t.bin", "m", {"Model=LinearRegression"});
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
};

/// A missing value counts as 0 in a linear model, so a move is a coefficient times the value.
TEST_F(Score, ReasonsAreTheInputsThatMoveThePredictionMost) {
  trainLinear();
  analyse({"score", "m.model", "t.bin", "p.csv", "--reasons", "3", "--keep", "x,z,noise"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  std::vector<std::pair<std::string, double>> terms;
  std::istringstream texts(csv("m_segments.csv").at("terms").front());
  for (std::string text; texts >> text;) {
    terms.emplace_back(text.substr(0, text.find(':')), std::stod(text.substr(text.find(':') + 1)));
  }
  ASSERT_GE(terms.size(), 2U);
  const CsvColumns rows = csv("p.csv");
  int ofAll = 0;
  for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
    std::vector<std::pair<std::string, double>> moves;
    for (const auto& [name, coefficient] : terms) {
      const std::string& value = rows.at(name)[i];
      if (!value.empty()) moves.emplace_back(name, coefficient * std::stod(value));
    }
    std::sort(moves.begin(), moves.end(),
              [](const auto& a, const auto& b) { return std::fabs(a.second) > std::fabs(b.second); });
    ofAll += moves.size() == terms.size() ? 1 : 0;
    for (std::size_t r = 0; r < 3; ++r) {
      const std::string& reason = rows.at("reason_" + std::to_string(r + 1))[i];
      const std::string& move = rows.at("move_" + std::to_string(r + 1))[i];
      ASSERT_EQ(reason, r < moves.size() ? moves[r].first : "") << i;
      if (r < moves.size()) {
        EXPECT_NEAR(std::stod(move), moves[r].second, 1e-9);
      } else {
        EXPECT_EQ(move, "");
      }
    }
  }
  EXPECT_GT(ofAll, 1000);
  EXPECT_LT(ofAll, 2000);
}

TEST_F(Score, FewerReasonsAreTheFirstOfThem) {
  trainLinear();
  analyse({"score", "m.model", "t.bin", "all.csv", "--reasons", "3"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  analyse({"score", "m.model", "t.bin", "first.csv", "--reasons", "1"}, 2);
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const CsvColumns all = csv("all.csv");
  const CsvColumns first = csv("first.csv");
  EXPECT_EQ(first.count("reason_2"), 0U);
  for (const auto& [name, cells] : first) EXPECT_EQ(all.at(name), cells) << name;
}

TEST_F(Score, TheOtherColumnsAreTheSameWithReasonsAndChannels) {
  trainLinear();
  analyse({"score", "m.model", "t.bin", "plain.csv", "--keep", "y"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  analyse({"score", "m.model", "t.bin", "all.csv", "--channels", "--stages", "--reasons", "2", "--keep", "y"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const CsvColumns plain = csv("plain.csv");
  const CsvColumns all = csv("all.csv");
  EXPECT_EQ(plain.size(), 6U);
  for (const auto& [name, cells] : plain) EXPECT_EQ(all.at(name), cells) << name;
  // A model without stages has one.
  EXPECT_EQ(all.at("UnnormalizedPredicted_y_stage_1"), all.at("UnnormalizedPredicted_y"));
  EXPECT_EQ(all.at("UnnormalizedPredicted_y_stage_1_7"), all.at("UnnormalizedPredicted_y_7"));
  EXPECT_EQ(all.count("UnnormalizedPredicted_y_stage_2"), 0U);
}

TEST_F(Score, RefusesANumberOfReasonsThatIsNone) {
  for (const char* number : {"0", "-1", "1001", "x"}) {
    analyse({"score", "m.model", "t.bin", "p.csv", "--reasons", number});
    EXPECT_EQ(result.status, 1) << number;
    EXPECT_THAT(result.err, HasSubstr("--reasons")) << number;
  }
}

}  // namespace
}  // namespace vesk_e2e
