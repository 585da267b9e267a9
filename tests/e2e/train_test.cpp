// Training and scoring from outside: what a model predicts, its reports, and the same files on any number of ranks.

#include <gmock/gmock.h>

#include "train_case.h"

namespace vesk_e2e {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class Train : public TrainCase {
 protected:
  /// y = 3 + 2 x - z / 2 + 1.5 of the groups 2 and 4, with noise; some x are missing, some targets too.
  void writeTable(const std::string& name, int records, double noise = 0.3) {
    std::vector<double> values;
    for (int i = 0; i < records; ++i) {
      const double x = 2 * draw();
      const double z = 3 * draw();
      const int group = 1 + i * 7 % 5;
      const double y = 3 + 2 * x - z / 2 + (group == 2 || group == 4 ? 1.5 : 0) + noise * draw();
      values.insert(values.end(), {i % 23 == 0 ? missing : x, z, i % 997 == 5 ? missing : static_cast<double>(group),
                                   i % 31 == 0 ? missing : y, static_cast<double>(i), 1 + std::fabs(draw())});
    }
    table(name, columns, values);
  }

  const std::vector<Column> columns = {{"x", "Numeric", "Explanatory"},         {"z", "Numeric", "Explanatory"},
                                       {"group", "Categorical", "Explanatory"}, {"y", "Numeric", "Target"},
                                       {"id", "Numeric", "Explanatory"},        {"w", "Numeric", "Explanatory"}};
};

/// The four losses by the predictions of each channel.
struct Losses {
  double train = 0, folds = 0, heldOut = 0, test = 0;

  static Losses of(const std::map<std::string, std::vector<std::string>>& rows, bool isWeighted) {
    double sums[4] = {};
    double weights[4] = {};
    const auto number = [&](const std::string& column, std::size_t i) { return std::stod(rows.at(column)[i]); };
    for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
      if (rows.at("y")[i].empty()) continue;
      const int channel = std::stoi(rows.at("channel")[i]);
      const double weight = isWeighted ? number("w", i) : 1;
      const auto add = [&](int kind, int ofChannel) {
        const double error = number("y", i) - number("UnnormalizedPredicted_y_" + std::to_string(ofChannel), i);
        sums[kind] += weight * error * error;
        weights[kind] += weight;
      };
      if (channel >= 2) add(0, 1);
      if (channel >= 3) add(1, channel);
      if (channel == 2) add(2, 2);
      if (channel == 1) add(3, 1);
    }
    return {sums[0] / weights[0], sums[1] / weights[1], sums[2] / weights[2], sums[3] / weights[3]};
  }
};

TEST_F(Train, ALinearModelFindsItsCoefficients) {
  writeTable("t.bin", 4000, 0);
  train("t.bin", "m", {"Model=LinearRegression", "Supplementary=id,group"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const CsvColumns segments = csv("m_segments.csv");
  EXPECT_THAT(segments.at("kind"), ElementsAre("all"));
  EXPECT_THAT(segments.at("stage"), ElementsAre("1"));
  double x = 0;
  double z = 0;
  ASSERT_EQ(std::sscanf(segments.at("terms").front().c_str(), "x:%lf z:%lf", &x, &z), 2);
  EXPECT_NEAR(x, 2, 0.03);  // missing values count as 0
  EXPECT_NEAR(z, -0.5, 0.03);
  const CsvColumns stages = csv("m_stages.csv");
  EXPECT_THAT(stages.at("kept"), ElementsAre("1"));
  EXPECT_THAT(stages.at("passes"), ElementsAre("1"));
  EXPECT_THAT(stages.at("no_signal"), ElementsAre("0"));
  EXPECT_THAT(stages.at("alpha_7"), ElementsAre(""));
  EXPECT_EQ(stages.count("alpha_8"), 0U);
  EXPECT_THAT(content("m_report.txt"), HasSubstr("Model LinearRegression of y\nTable t.bin\n"));
}

TEST_F(Train, TheLossesAreThoseOfThePredictions) {
  writeTable("t.bin", 3000);
  for (const bool isWeighted : {false, true}) {
    for (const Strings& model : {Strings{"Model=LinearRegression"}, Strings{"Model=FeatureTransform", "SplitField=x"},
                                 Strings{"Model=FeatureTransform", "SplitField=group"},
                                 Strings{"Model=FeatureTransform", "SplitField=group", "UnseenValues=Root"}}) {
      Strings settings = model;
      settings.insert(settings.end(),
                      {"Supplementary=id", "NumFolds=4", "TestPercent=20", "HeldOutPercent=15", "FoldSeed=4294967295"});
      if (isWeighted) settings.emplace_back("CaseWeight=w");
      train("t.bin", "m", settings);
      ASSERT_EQ(result.status, 0) << result.out << result.err;
      analyse({"score", "m.model", "t.bin", "p.csv", "--channels", "--keep", "y,w"});
      ASSERT_EQ(result.status, 0) << result.out << result.err;
      const CsvColumns stages = csv("m_stages.csv");
      const Losses losses = Losses::of(csv("p.csv"), isWeighted);
      const auto expectLoss = [&](const char* name, double expected) {
        const double loss = std::stod(stages.at(name).front());
        EXPECT_NEAR(loss, expected, 1e-12 * expected) << name << ' ' << model.back();
        EXPECT_GT(loss, 0);
      };
      const bool isOfGroup = model.size() > 1 && model[1] == "SplitField=group";
      EXPECT_EQ(csv("p.csv").at("Warning_y")[5], isOfGroup ? "1" : "0");  // few records without a group
      expectLoss("loss_train", losses.train);
      expectLoss("loss_folds", losses.folds);
      expectLoss("loss_heldout", losses.heldOut);
      expectLoss("loss_test", losses.test);
    }
  }
}

/// A prediction can be made by hand out of the segments.
TEST_F(Train, TheSegmentsTellThePredictions) {
  writeTable("t.bin", 3000);
  train("t.bin", "m", {"Model=FeatureTransform", "SplitField=x", "Supplementary=id,w"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  analyse({"score", "m.model", "t.bin", "p.csv", "--keep", "x,z"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const CsvColumns segments = csv("m_segments.csv");
  const CsvColumns rows = csv("p.csv");
  int numMissing = 0;
  for (std::size_t i = 0; i < rows.at("record").size(); ++i) {
    const bool isMissing = rows.at("x")[i].empty();
    const double x = isMissing ? 0 : std::stod(rows.at("x")[i]);
    numMissing += isMissing ? 1 : 0;
    double prediction = std::nan("");
    for (std::size_t s = 0; s < segments.at("kind").size(); ++s) {
      const std::string& from = segments.at("from")[s];
      const std::string& to = segments.at("to")[s];
      const bool isIn = segments.at("kind")[s] == "missing"
                            ? isMissing
                            : !isMissing && (from.empty() || x > std::stod(from)) && (to.empty() || x <= std::stod(to));
      if (!isIn) continue;
      prediction = std::stod(segments.at("intercept")[s]);
      std::istringstream terms(segments.at("terms")[s]);
      for (std::string term; terms >> term;) {
        const double coefficient = std::stod(term.substr(2));
        prediction += coefficient * (term[0] == 'x' ? x : std::stod(rows.at("z")[i]));
      }
      EXPECT_EQ(rows.at("StdDev_y")[i], segments.at("stddev")[s]);
    }
    EXPECT_EQ(std::stod(rows.at("UnnormalizedPredicted_y")[i]), prediction) << i;
    EXPECT_EQ(rows.at("Predicted_y")[i], rows.at("UnnormalizedPredicted_y")[i]);
    EXPECT_EQ(rows.at("record")[i], std::to_string(i));
    EXPECT_EQ(rows.at("Warning_y")[i], "0");
  }
  EXPECT_EQ(numMissing, 131);
}

TEST_F(Train, AllFilesAreTheSameOnAnyNumberOfRanks) {
  writeTable("t.bin", 2500);
  for (const Strings& model : {Strings{"Model=LinearRegression"},
                               Strings{"Model=LinearRegression", "Target=z"},  // not that of the description
                               Strings{"Model=FeatureTransform", "SplitField=x", "MiningMode=8"},
                               Strings{"Model=FeatureTransform", "SplitField=group", "CaseWeight=w", "Shares=5"}}) {
    std::map<std::string, std::string> expected;
    for (const int ranks : {1, 2, 3, 4}) {
      Strings settings = model;
      settings.emplace_back("Supplementary=id");
      train("t.bin", "m", settings, ranks);
      ASSERT_EQ(result.status, 0) << result.out << result.err;
      analyse({"score", "m.model", "t.bin", "p.csv", "--channels", "--keep", "group,id"}, ranks);
      ASSERT_EQ(result.status, 0) << result.out << result.err;
      for (const char* name : {"m.model", "m_stages.csv", "m_segments.csv", "m_report.txt", "p.csv"}) {
        if (ranks == 1) expected[name] = content(name);
        EXPECT_EQ(content(name), expected[name]) << name << " on " << ranks;
      }
    }
  }
}

/// With one share each rank gathers its own part; only last digits may differ.
TEST_F(Train, OneShareIsTheSameButForLastDigits) {
  writeTable("t.bin", 2500);
  for (const int ranks : {1, 3}) {
    train("t.bin", "r" + std::to_string(ranks), {"Model=LinearRegression", "Supplementary=id", "Shares=1"}, ranks);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  const double alone = std::stod(csv("r1_stages.csv").at("loss_folds").front());
  EXPECT_NEAR(std::stod(csv("r3_stages.csv").at("loss_folds").front()), alone, 1e-12 * alone);
}

TEST_F(Train, ScoringNeedsTheInputsAlone) {
  writeTable("t.bin", 1000);
  train("t.bin", "m", {"Model=LinearRegression", "Supplementary=id", "CaseWeight=w"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const std::vector<Column> inputs = {
      {"other", "Categorical", "Explanatory"}, {"z", "Numeric", "Explanatory"}, {"x", "Numeric", "Explanatory"}};
  table("s.bin", inputs, {1, 0, 0, 2, 1, missing});
  analyse({"score", "m.model", "s.bin", "p.csv"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const CsvColumns rows = csv("p.csv");
  const double intercept = std::stod(csv("m_segments.csv").at("intercept").front());
  ASSERT_EQ(rows.at("record").size(), 2U);
  EXPECT_EQ(std::stod(rows.at("Predicted_y")[0]), intercept);
  EXPECT_NEAR(std::stod(rows.at("Predicted_y")[1]), intercept - 0.5, 0.1);
  table("empty.bin", inputs, {});
  analyse({"score", "m.model", "empty.bin", "e.csv"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(content("e.csv"), "record,UnnormalizedPredicted_y,Predicted_y,StdDev_y,Warning_y\n");
}

/// A category that training has not seen: its segment has no data and predicts 0, the root knows better.
TEST_F(Train, UnseenValuesAreToldAndScoredByTheRoot) {
  std::vector<double> values;
  for (int i = 0; i < 600; ++i) {
    values.insert(values.end(), {static_cast<double>(1 + i % 3), 124 + static_cast<double>(i % 3) + 0.1 * draw()});
  }
  const std::vector<Column> two = {{"group", "Categorical", "Explanatory"}, {"y", "Numeric", "Target"}};
  table("t.bin", two, values);
  table("s.bin", two, {1, 0, 77, 0, missing, 0});
  for (const bool isRoot : {false, true}) {
    train("t.bin", "m",
          {"Model=FeatureTransform", "SplitField=group", isRoot ? "UnseenValues=Root" : "UnseenValues=Segment"});
    ASSERT_EQ(result.status, 0) << result.out << result.err;
    for (const int ranks : {1, 2}) {
      analyse({"score", "m.model", "s.bin", "p.csv"}, ranks);
      EXPECT_EQ(result.status, 0) << result.out << result.err;
      EXPECT_THAT(result.out, HasSubstr("Warning;|5015;|p.csv;|vesk-analyze: 2 records have values without usable "
                                        "training data;|"));
      const CsvColumns rows = csv("p.csv");
      EXPECT_THAT(rows.at("Warning_y"), ElementsAre("0", "1", "1"));
      EXPECT_NEAR(std::stod(rows.at("Predicted_y")[0]), 124, 0.1);
      for (const int i : {1, 2}) EXPECT_NEAR(std::stod(rows.at("Predicted_y")[i]), isRoot ? 125 : 0, 0.2);
    }
    analyse({"score", "m.model", "s.bin", "p.csv", "--strict"});
    EXPECT_EQ(result.status, 99);
    analyse({"score", "m.model", "t.bin", "p.csv", "--strict"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr("Warning;|")));
  }
}

TEST_F(Train, TheExampleWorks) {
  writeTable("t.bin", 1000);
  analyse({"train", "--example"});
  ASSERT_EQ(result.status, 0);
  writeFile("train.xml", result.out);
  analyse({"train", "train.xml", "t.bin", "--results", "run.xml", "--timings", "--strict"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_TRUE(exists("churn.model"));
  EXPECT_TRUE(exists("churn_report.txt"));
  EXPECT_THAT(content("run.xml"), HasSubstr("<NumFolds>5</NumFolds>"));
  EXPECT_THAT(content("run.xml"), HasSubstr("<Analysis>train</Analysis>"));
  analyse({"score", "churn.model", "t.bin", "p.csv", "--results", "run.xml", "--timings=json", "run.json"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_THAT(content("run.xml"), HasSubstr("<Analysis>score</Analysis>"));
  EXPECT_THAT(content("run.json"), HasSubstr("\"command\": \"score\""));
  for (const std::string file : {"t.bin", "run.xml"}) {
    analyse({"score", "churn.model", "t.bin", "p.csv", "--results", "run.xml", "--timings=json", file});
    EXPECT_EQ(result.status, 99);
    EXPECT_THAT(result.out, HasSubstr("Error;|2302;|" + file + ";|vesk-analyze: "));
  }
}

TEST_F(Train, TheResultsFileDescribesALinearModel) {
  writeTable("t.bin", 1000);
  train("t.bin", "m", {"Model=LinearRegression", "Supplementary=id", "CaseWeight=w"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  analyse({"train", "-", "t.bin", "--set", "Model=LinearRegression", "--set", "ModelFileName=n.model", "--set",
           "Supplementary=id", "--set", "CaseWeight=w", "--results", "run.xml"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_THAT(content("run.xml"), HasSubstr("<Target>y</Target>"));
  EXPECT_THAT(content("run.xml"), HasSubstr("<CoefftInOrder>"));
  const std::string intercept = content("run.xml").substr(content("run.xml").find("<Intercept>") + 11);
  EXPECT_EQ(std::stod(intercept), std::stod(csv("m_segments.csv").at("intercept").front()));
}

/// A label with a line end was cut into two lines of the report.
TEST_F(Train, LabelsAreOnOneLineOfTheReport) {
  std::vector<double> values;
  for (int i = 0; i < 200; ++i) values.insert(values.end(), {static_cast<double>(i % 2), 3 * (i % 2) + draw()});
  table("lines.bin", {{"c", "Categorical", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
  writeFile("lines.bin.labels", "column,code,label\nc,0,\"one\ntwo\"\nc,1,three\n");
  train("lines.bin", "lines", {"Model=FeatureTransform", "SplitField=c"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(content("lines_report.txt"), HasSubstr(" one two  "));
  EXPECT_THAT(content("lines_segments.csv"), HasSubstr(",\"one\ntwo\","));
  // Only the labels of categories that are told apart go into the model.
  writeFile("lines.bin.labels", "column,code,label\nc,0,zero\nc,1,three\nc,5,nobody\n");
  train("lines.bin", "lines", {"Model=FeatureTransform", "SplitField=c"});
  ASSERT_EQ(result.status, 0) << result.out;
  const std::string model = runOther("vesk-inspect", {"stream", "lines.model"}).out;
  EXPECT_THAT(model, HasSubstr("\"three\""));
  EXPECT_THAT(model, Not(HasSubstr("nobody")));
}

/// The first of them was the target.
TEST_F(Train, OfTwoTargetColumnsTheLastCounts) {
  std::vector<double> values;
  for (int i = 0; i < 60; ++i) {
    const double x = draw();
    values.insert(values.end(), {x, 5 * x, x + draw()});
  }
  table("two.bin", {{"x", "Numeric", "Explanatory"}, {"z", "Numeric", "Target"}, {"y", "Numeric", "Target"}}, values);
  train("two.bin", "two", {"Model=LinearRegression"});
  ASSERT_EQ(result.status, 0) << result.out;
  EXPECT_EQ(content("two_report.txt").substr(0, 27), "Model LinearRegression of y");
}

TEST_F(Train, AModelFileIsAnObjectStream) {
  writeTable("t.bin", 1000);
  train("t.bin", "m", {"Model=FeatureTransform", "SplitField=x", "Supplementary=id"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  const ProgramRun inspected = runOther("vesk-inspect", {"stream", "m.model"});
  EXPECT_EQ(inspected.status, 0) << inspected.err;
  EXPECT_THAT(inspected.out, HasSubstr("QUVENFieldNameMap {"));
  EXPECT_THAT(inspected.out, HasSubstr("\nQUVENFeatureTransform {"));
  EXPECT_THAT(inspected.out, HasSubstr("\nQUVENTrainingFacts {"));
  EXPECT_THAT(inspected.out, HasSubstr("ivTargetName = \"y\""));
}

}  // namespace
}  // namespace vesk_e2e
