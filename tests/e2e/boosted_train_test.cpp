// Training and scoring of the boosted model from outside.

#include <gmock/gmock.h>

#include <algorithm>

#include "boosted_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class BoostedLoss : public BoostedTrain, public ::testing::WithParamInterface<const char*> {
 protected:
  const std::string loss = GetParam();
  Target target() const {
    if (loss == "Squared") return Target::Number;
    return loss.starts_with("Poisson") ? Target::Count : Target::Class;
  }

  /// The losses of each kept stage, out of the predictions of each stage and channel.
  void expectLosses(bool isWeighted) {
    const CsvColumns stages = csv("m_stages.csv");
    const CsvColumns rows = csv("p.csv");
    const long numKept = countKept(stages);
    EXPECT_EQ(rows.count("UnnormalizedPredicted_y_stage_" + std::to_string(numKept)), 1U);
    EXPECT_EQ(rows.count("UnnormalizedPredicted_y_stage_" + std::to_string(numKept + 1)), 0U);
    const char* names[] = {"loss_train", "loss_folds", "loss_heldout", "loss_test"};
    for (long stage = 1; stage <= static_cast<long>(stages.at("stage").size()); ++stage) {
      const auto row = static_cast<std::size_t>(stage - 1);
      if (stage > numKept) {
        for (const char* name : names) EXPECT_EQ(stages.at(name)[row], "") << stage;
        continue;
      }
      double sums[4] = {};
      double weights[4] = {};
      for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
        if (rows.at("y")[i].empty()) continue;
        const int channel = std::stoi(rows.at("channel")[i]);
        const double weight = isWeighted ? number(rows, "w", i) : 1;
        const auto add = [&](int kind, int predictor) {
          const std::string name =
              "UnnormalizedPredicted_y_stage_" + std::to_string(stage) + "_" + std::to_string(predictor);
          sums[kind] += weight * lossOf(loss, number(rows, "y", i), number(rows, name, i));
          weights[kind] += weight;
        };
        if (channel >= 2) add(0, 1);
        if (channel >= 3) add(1, channel);
        if (channel == 2) add(2, 2);
        if (channel == 1) add(3, 1);
      }
      for (int kind = 0; kind < 4; ++kind) {
        const double expected = sums[kind] / weights[kind];
        EXPECT_NEAR(number(stages, names[kind], row), expected, 1e-9 * std::max(1.0, expected))
            << names[kind] << " of stage " << stage;
      }
    }
  }
};

TEST_P(BoostedLoss, TheLossesAreThoseOfThePredictions) {
  writeTable(target());
  for (const char* choice : {"Score", "FoldLoss"}) {
    SCOPED_TRACE(choice);
    expectTrained({"LossFunction=" + loss, "CaseWeight=w", std::string("StageChoice=") + choice});
    expectScored({"--channels", "--stages", "--keep", "y,w"});
    expectLosses(true);
    const CsvColumns stages = csv("m_stages.csv");
    const auto last = static_cast<std::size_t>(countKept(stages) - 1);
    EXPECT_LT(number(stages, "loss_test", last), number(stages, "loss_test", 0) + 0.05);
    if (std::string(choice) == "Score") continue;
    for (std::size_t s = 0; s < last; ++s) {
      EXPECT_LT(number(stages, "loss_folds", last), number(stages, "loss_folds", s));
    }
  }
}

TEST_P(BoostedLoss, PredictionsAreOnTheScaleOfTheTarget) {
  writeTable(target(), 600);
  expectTrained({"LossFunction=" + loss});
  expectScored({"--stages"});
  const CsvColumns rows = csv("p.csv");
  EXPECT_EQ(rows.count("Probability_y"), loss.starts_with("Logistic") ? 1U : 0U);
  const std::string last = "UnnormalizedPredicted_y_stage_" + std::to_string(countKept(csv("m_stages.csv")));
  EXPECT_EQ(rows.at(last), rows.at("UnnormalizedPredicted_y"));
  for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
    const double f = number(rows, "UnnormalizedPredicted_y", i);
    EXPECT_EQ(number(rows, "Predicted_y", i), onTargetScale(loss, f));
    if (loss.starts_with("Logistic")) {
      EXPECT_NEAR(number(rows, "Probability_y", i), 1 / (1 + std::exp(-2 * f)), 1e-15);
    }
  }
}

TEST_P(BoostedLoss, AllFilesAreTheSameOnAnyNumberOfRanks) {
  writeTable(target(), 700);
  const char* files[] = {"m.model", "m_stages.csv", "m_segments.csv", "m_fields.csv", "m_report.txt", "p.csv"};
  std::vector<std::string> first;
  for (const int ranks : {1, 2, 3}) {
    expectTrained({"LossFunction=" + loss, "StageChoice=FoldLoss"}, ranks);
    analyse({"score", "m.model", "t.bin", "p.csv", "--stages", "--reasons", "2"}, ranks);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
    for (std::size_t i = 0; i < std::size(files); ++i) {
      if (ranks == 1) {
        first.push_back(content(files[i]));
      } else {
        EXPECT_TRUE(content(files[i]) == first[i]) << files[i] << " on " << ranks;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, BoostedLoss,
                         ::testing::Values("Squared", "Logistic", "Poisson", "SupportVector", "LogisticLink",
                                           "PoissonLink"),
                         [](const auto& test) { return std::string(test.param); });

TEST_F(BoostedTrain, IsTheDefaultAndBeatsALinearModel) {
  writeTable(Target::Number, 4000);
  train("t.bin", "linear", {"Model=LinearRegression", "Supplementary=w"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  expectTrained({"Supplementary=w"});
  const CsvColumns stages = csv("m_stages.csv");
  const auto last = static_cast<std::size_t>(countKept(stages) - 1);
  EXPECT_LT(number(stages, "loss_test", last), 0.5 * number(csv("linear_stages.csv"), "loss_test", 0));
  EXPECT_EQ(stages.at("passes")[0], "2");
  for (std::size_t s = 1; s < stages.at("passes").size(); ++s) EXPECT_EQ(stages.at("passes")[s], "5") << s;
  EXPECT_EQ(stages.count("alpha_7"), 1U);
  EXPECT_EQ(stages.count("output_alpha_7"), 1U);
  EXPECT_EQ(stages.at("alpha_1")[0], "1");
  EXPECT_EQ(stages.at("output_alpha_1")[0], "");
  EXPECT_NE(stages.at("output_alpha_1")[1], "");
  const std::string report = content("m_report.txt");
  for (const char* part :
       {"Model TransformRegression of y\n", "\nStages\n------\n", "Training stopped because ",
        "\nImportance of the inputs\n", "Transform of x in stage 1\n", "Transform of group in stage 1\n", "missing"}) {
    EXPECT_THAT(report, HasSubstr(part));
  }
  EXPECT_THAT(report, Not(HasSubstr("Warnings")));
}

/// Stage 1 out of the segment file.
class FirstStage {
 public:
  using Columns = std::map<std::string, std::vector<std::string>>;

  explicit FirstStage(const Columns& segmentFile) : segments(segmentFile) {}

  double intercept() const { return std::stod(segments.at("intercept").front()); }
  /// The terms of a record by the fields of their transforms.
  std::map<std::string, double> terms(const Columns& rows, std::size_t record) const {
    std::map<std::string, double> all;
    for (std::size_t s = 1; s < segments.at("stage").size() && segments.at("stage")[s] == "1"; ++s) {
      const std::string& field = segments.at("field")[s];
      const std::string& value = rows.at(field)[record];
      if (!holds(s, value)) continue;
      const bool isNumber = !value.empty() && field != "group";
      const double own = isNumber ? coefficient(s, field) * std::stod(value) : 0;
      all[field] = coefficient(0, field) * (std::stod(segments.at("intercept")[s]) + own);
    }
    return all;
  }

 private:
  double coefficient(std::size_t row, const std::string& name) const {
    std::istringstream texts(segments.at("terms")[row]);
    for (std::string text; texts >> text;) {
      if (text.starts_with(name + ":")) return std::stod(text.substr(name.size() + 1));
    }
    return 0;
  }
  bool holds(std::size_t row, const std::string& value) const {
    const std::string& kind = segments.at("kind")[row];
    if (kind == "missing" || value.empty()) return kind == "missing" && value.empty();
    if (kind == "categories") {
      return ("|" + segments.at("categories")[row] + "|").find("|" + value + "|") != std::string::npos;
    }
    const std::string& from = segments.at("from")[row];
    const std::string& to = segments.at("to")[row];
    return (from.empty() || std::stod(value) > std::stod(from)) && (to.empty() || std::stod(value) <= std::stod(to));
  }

  const Columns& segments;
};

TEST_F(BoostedTrain, TheSegmentsTellThePredictionsOfStage1) {
  writeTable(Target::Number);
  expectTrained({"Supplementary=w"});
  expectScored({"--stages", "--keep", "x,z,group"});
  const CsvColumns segments = csv("m_segments.csv");
  const CsvColumns rows = csv("p.csv");
  ASSERT_EQ(segments.at("transform")[0], "0");  // the regression
  ASSERT_EQ(segments.at("stage")[0], "1");
  const FirstStage stage(segments);
  for (std::size_t i = 0; i < 200; ++i) {
    double expected = stage.intercept();
    for (const auto& [field, term] : stage.terms(rows, i)) expected += term;
    EXPECT_NEAR(number(rows, "UnnormalizedPredicted_y_stage_1", i), expected, 1e-9) << i;
  }
  const std::string last = std::to_string(countKept(csv("m_stages.csv")));
  EXPECT_EQ(segments.at("stage").back(), last);
  const bool isOutput = content("m_report.txt").find("The output transform of stage " + last) != std::string::npos;
  EXPECT_EQ(segments.at("transform").back() == "output", isOutput);
}

TEST_F(BoostedTrain, TheImportanceIsTheShareOfTheVarianceOfTheTerms) {
  writeTable(Target::Number, 3000);
  expectTrained({"Supplementary=w", "StopAfterPasses=3"});  // one stage
  expectScored({"--channels", "--keep", "x,z,group"});
  const CsvColumns fields = csv("m_fields.csv");
  EXPECT_EQ(fields.at("field"), (Strings{"x", "z", "group", "earlier stages"}));
  EXPECT_EQ(fields.at("stages_used"), (Strings{"1", "1", "1", "0"}));
  EXPECT_EQ(fields.at("categories"), (Strings{"", "", "5", ""}));
  EXPECT_EQ(fields.at("missing"), (Strings{"334", "0", "0", ""}));
  const CsvColumns segments = csv("m_segments.csv");
  const CsvColumns rows = csv("p.csv");
  std::map<std::string, std::vector<double>> values;
  for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
    if (rows.at("channel")[i] == "1") continue;
    for (const auto& [field, term] : FirstStage(segments).terms(rows, i)) values[field].push_back(term);
  }
  std::map<std::string, double> variances;
  double total = 0;
  for (const auto& [field, terms] : values) {
    double mean = 0;
    for (const double term : terms) mean += term / static_cast<double>(terms.size());
    double squares = 0;
    for (const double term : terms) squares += (term - mean) * (term - mean);
    total += variances[field] = squares / static_cast<double>(terms.size());
  }
  for (std::size_t i = 0; i < 3; ++i) {
    const double share = variances.at(fields.at("field")[i]) / total;
    EXPECT_GT(share, 0.05);
    EXPECT_NEAR(number(fields, "importance", i), share, 1e-9);
  }
  EXPECT_EQ(fields.at("importance")[3], "0");
}

TEST_F(BoostedTrain, StopsAfterThePassesOfTheParameter) {
  writeTable(Target::Number);
  const std::pair<const char*, std::size_t> stagesOfPasses[] = {{"1", 1}, {"4", 1}, {"5", 2}, {"9", 2}, {"10", 3}};
  for (const auto& [passes, numStages] : stagesOfPasses) {
    expectTrained({std::string("StopAfterPasses=") + passes});
    EXPECT_EQ(csv("m_stages.csv").at("stage").size(), numStages) << passes;
    EXPECT_THAT(content("m_report.txt"), HasSubstr("the passes of StopAfterPasses were done"));
  }
}

TEST_F(BoostedTrain, WarnsOfATargetThatTheLossIsNotFor) {
  const auto expectWarning = [&](const std::string& loss, const std::string& text) {
    SCOPED_TRACE(loss);
    expectTrained({"LossFunction=" + loss});
    const std::string line = "Warning;|2202;|y;|vesk-analyze: " + text;
    if (text.empty()) {
      EXPECT_THAT(result.out, Not(HasSubstr("Warning;|2202")));
      return;
    }
    ASSERT_THAT(result.out, HasSubstr(line));
    EXPECT_EQ(result.out.find(line), result.out.rfind(line));
    EXPECT_THAT(content("m_report.txt"), HasSubstr("\nWarnings\n--------\ny: " + text));
    analyse({"train", "-", "t.bin", "--strict", "--set", "ModelFileName=s.model", "--set", "LossFunction=" + loss});
    EXPECT_EQ(result.status, 99);
  };
  writeTable(Target::Class, 500);
  for (const char* loss : {"Logistic", "LogisticLink", "SupportVector", "Poisson", "Squared"}) expectWarning(loss, "");
  writeTable(Target::Number, 500);
  const std::string twoClasses = "the target has other values than two of which one is 0 or -1";
  for (const char* loss : {"Logistic", "LogisticLink", "SupportVector"}) expectWarning(loss, twoClasses);
  for (const char* loss : {"Poisson", "PoissonLink"}) expectWarning(loss, "the target has the value -");
  std::vector<double> values;
  for (int i = 0; i < 500; ++i) values.insert(values.end(), {draw(), std::floor(3 + 2 * draw())});
  table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
  expectWarning("Poisson", "the mean of the target is 2.");
  expectWarning("PoissonLink", "");
}

TEST_F(BoostedTrain, ALossFunctionThatIsNoneIsSquaredWithOneWarning) {
  writeTable(Target::Number, 500);
  expectTrained({"LossFunction=Squared"});
  EXPECT_THAT(result.out, Not(HasSubstr("Warning")));
  const std::string model = content("m.model");
  for (const char* name : {"squared", "Cubic"}) {
    expectTrained({std::string("LossFunction=") + name});
    const std::string line = std::string("Warning;|2202;|LossFunction;|vesk-analyze: ") + name +
                             " is no loss function; the loss is squared;|WarningEnd";
    ASSERT_THAT(result.out, HasSubstr(line));
    EXPECT_EQ(result.out.find(line), result.out.rfind(line));
    EXPECT_TRUE(content("m.model") == model);
  }
  expectTrained({"LossFunction=Poisson", "Model=LinearRegression"});
  EXPECT_THAT(result.out, HasSubstr("LinearRegression has no use for it; the loss is squared"));
}

/// Nothing to learn ends in a model that predicts finite numbers.
TEST_F(BoostedTrain, TablesWithoutSignalEndInOrder) {
  struct Table {
    const char* name;
    std::function<double(int)> x, y;
    int records;
    const char* warning;
  };
  const auto noise = [this](int) { return draw(); };
  const Table tables[] = {{"constant target", noise, [](int) { return 4.0; }, 300, "the target has the same value"},
                          {"constant input", [](int) { return 2.0; }, noise, 300, "every input is constant"},
                          {"missing input", [](int) { return missing; }, noise, 300, "every input is constant"},
                          {"noise", noise, noise, 300, ""},
                          {"few records", noise, noise, 20, ""},
                          {"all counts 0", noise, [](int) { return 0.0; }, 300, "the target has the same value"}};
  for (const Table& each : tables) {
    SCOPED_TRACE(each.name);
    std::vector<double> values;
    for (int i = 0; i < each.records; ++i) values.insert(values.end(), {each.x(i), each.y(i)});
    table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
    for (const char* loss : {"Squared", "Logistic", "Poisson", "SupportVector"}) {
      SCOPED_TRACE(loss);
      expectTrained({std::string("LossFunction=") + loss});
      EXPECT_THAT(result.out, HasSubstr(each.warning));
      expectScored({});
      const CsvColumns rows = csv("p.csv");
      for (const std::string& cell : rows.at("Predicted_y")) EXPECT_TRUE(std::isfinite(std::stod(cell))) << cell;
    }
  }
}

/// exp(F) overflows for large counts: what is no number is not an empty cell, which means that there is none.
TEST_F(BoostedTrain, ANumberThatIsNoneIsAWordInTheStages) {
  long numWords = 0;
  for (const double mean : {50.0, 5000.0}) {
    SCOPED_TRACE(mean);
    std::vector<double> values;
    for (int i = 0; i < 2000; ++i) {
      const double x = draw();
      values.insert(values.end(), {x, std::floor(mean * std::exp(0.4 * x))});
    }
    table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
    expectTrained({"LossFunction=Poisson"});
    EXPECT_THAT(result.out, HasSubstr("a Poisson loss without a link is for means up to 1"));
    const CsvColumns stages = csv("m_stages.csv");
    for (std::size_t row = 1; row < stages.at("stage").size(); ++row) {
      for (const char* name : {"points", "fit", "variance", "alpha_1", "output_alpha_1"}) {
        EXPECT_NE(stages.at(name)[row], "") << name;
        numWords += stages.at(name)[row] == "nan" ? 1 : 0;
      }
    }
    EXPECT_THAT(result.out, Not(HasSubstr("train: ,")));
  }
  EXPECT_GT(numWords, 0);
}

/// exp(400) squared overflows in all sums of stage 2.
TEST_F(BoostedTrain, SumsThatOverflowAreTheSameOnAnyNumberOfRanks) {
  std::vector<double> values;
  for (int i = 0; i < 25; ++i) values.insert(values.end(), {3, 400});
  table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
  std::string model;
  for (const int ranks : {1, 2, 3}) {
    expectTrained({"LossFunction=Poisson"}, ranks);
    EXPECT_THAT(result.out, HasSubstr("5017"));
    EXPECT_THAT(result.out, HasSubstr("predictions overflow, the model is of no use; see the losses of its stages"));
    if (ranks == 1) model = content("m.model");
    EXPECT_TRUE(content("m.model") == model) << ranks;
  }
}

TEST_F(BoostedTrain, AMemoryLimitMeansMorePassesOrOneError) {
  std::vector<Column> columns = {{"y", "Numeric", "Target"}};
  for (int c = 1; c <= 30; ++c) columns.push_back({"x" + std::to_string(c), "Numeric", "Explanatory"});
  std::vector<double> values;
  for (int i = 0; i < 1000; ++i) {
    const double x = draw();
    values.insert(values.end(), {std::sin(3 * x) + 0.1 * draw(), x});
    for (int c = 2; c <= 30; ++c) values.push_back(draw());
  }
  table("t.bin", columns, values);
  train("t.bin", "m", {"MemoryLimit=1"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2202;|MemoryLimit;|"));
  EXPECT_FALSE(exists("m.model"));
  expectTrained({"MemoryLimit=2", "StopAfterPasses=3"});
  EXPECT_GT(number(csv("m_stages.csv"), "passes", 0), 2);
  expectTrained({"MemoryLimit=500", "StopAfterPasses=4"});
  EXPECT_EQ(number(csv("m_stages.csv"), "passes", 0), 2);
}

}  // namespace
}  // namespace vesk_e2e
