// Runs the program and computes the contents of its files again from the predictions that score writes.

#include <gmock/gmock.h>

#include <filesystem>
#include <limits>

#include "boosted_case.h"

namespace vesk_e2e {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class Evaluate : public BoostedTrain {
 protected:
  struct Record {
    double x;  ///< NaN when it is missing
    double y;
    double raw;     ///< the prediction of the model
    double scaled;  ///< on the scale of the target
    int channel;
  };

  void evaluate(const Strings& settings, int ranks = 1, const Strings& more = {}) {
    Strings arguments = {"evaluate", "-", "m.model", "t.bin", "--set", "OutputFileName=e"};
    for (const std::string& setting : settings) arguments.insert(arguments.end(), {"--set", setting});
    arguments.insert(arguments.end(), more.begin(), more.end());
    analyse(arguments, ranks);
  }
  void expectEvaluated(const Strings& settings, int ranks = 1) {
    evaluate(settings, ranks);
    ASSERT_EQ(result.status, 0) << result.out << result.err;
  }
  /// The records with a target and their predictions from score; those of one channel, or all.
  std::vector<Record> scoredRecords(const std::string& loss, int channel = 0) {
    expectScored({"--channels", "--keep", "x,y"});
    const CsvColumns rows = csv("p.csv");
    std::vector<Record> records;
    for (std::size_t i = 0; i < rows.at("y").size(); ++i) {
      if (rows.at("y")[i].empty()) continue;
      Record record{};
      record.x = rows.at("x")[i].empty() ? std::nan("") : number(rows, "x", i);
      record.y = number(rows, "y", i);
      record.raw = number(rows, "UnnormalizedPredicted_y", i);
      record.scaled = record.raw;
      if (loss.starts_with("Poisson")) record.scaled = std::exp(record.raw);
      if (loss.starts_with("Logistic")) record.scaled = number(rows, "Probability_y", i);
      record.channel = std::stoi(rows.at("channel")[i]);
      if (channel == 0 || channel == record.channel) records.push_back(record);
    }
    return records;
  }
  std::map<std::string, double> quality() const {
    const CsvColumns rows = csv("e_quality.csv");
    std::map<std::string, double> numbers;
    for (std::size_t i = 0; i < rows.at("name").size(); ++i) numbers[rows.at("name")[i]] = number(rows, "value", i);
    return numbers;
  }
  static Strings outputs() {
    return {"e_lift.csv", "e_quality.csv", "e_residuals.csv", "e_sensitivity.csv", "e_report.html"};
  }
  std::map<std::string, std::string> contents() const {
    std::map<std::string, std::string> all;
    for (const std::string& file : outputs()) all[file] = content(file);
    return all;
  }
  static void expectNear(double found, double expected) {
    EXPECT_NEAR(found, expected, 1e-9 * (1 + std::fabs(expected)));
  }
};

/// The area under the ROC curve, pair by pair.
double areaOf(const std::vector<std::pair<double, double>>& predictionsAndTargets) {
  double pairs = 0;
  double right = 0;
  for (const auto& [p, y] : predictionsAndTargets) {
    if (y <= 0) continue;
    for (const auto& [q, z] : predictionsAndTargets) {
      if (z > 0) continue;
      ++pairs;
      right += p > q ? 1 : p == q ? 0.5 : 0;
    }
  }
  return right / pairs;
}

class EvaluateLoss : public Evaluate, public ::testing::WithParamInterface<const char*> {
 protected:
  const std::string loss = GetParam();
  void trainTable() {
    Target target = Target::Number;
    if (loss.starts_with("Poisson")) target = Target::Count;
    if (loss.starts_with("Logistic") || loss == "SupportVector") target = Target::Class;
    writeTable(target);
    expectTrained({"LossFunction=" + loss, "Supplementary=w"});
  }
};

TEST_P(EvaluateLoss, TheQualityFollowsFromThePredictions) {
  trainTable();
  for (const auto& [records, channel] : {std::pair{"All", 0}, {"Test", 1}, {"HeldOut", 2}}) {
    SCOPED_TRACE(records);
    expectEvaluated({"Sensitivity=No", std::string("Records=") + records});
    const std::vector<Record> rows = scoredRecords(loss, channel);
    const auto n = static_cast<double>(rows.size());
    double mean = 0;
    for (const Record& row : rows) mean += row.y / n;
    double squares = 0;
    double spread = 0;
    double losses = 0;
    std::vector<std::pair<double, double>> ranked;
    for (const Record& row : rows) {
      squares += (row.y - row.scaled) * (row.y - row.scaled);
      spread += (row.y - mean) * (row.y - mean);
      losses += lossOf(loss, row.y, row.raw);
      ranked.emplace_back(row.scaled, row.y);
    }
    const std::map<std::string, double> found = quality();
    EXPECT_EQ(found.at("records"), n);
    expectNear(found.at("R_squared_plain"), 1 - squares / spread);
    expectNear(found.at("mean_loss"), losses / n);
    const bool isLogistic = loss.starts_with("Logistic");
    ASSERT_EQ(found.count("auc"), isLogistic || loss == "SupportVector" ? 1U : 0U);
    ASSERT_EQ(found.count("log_loss"), isLogistic ? 1U : 0U);
    if (found.count("auc") > 0) {
      EXPECT_NEAR(found.at("auc"), areaOf(ranked), 1e-14);
    }
    if (isLogistic) {
      double surprise = 0;
      for (const Record& row : rows) surprise -= std::log(row.y > 0 ? row.scaled : 1 - row.scaled) / n;
      EXPECT_NEAR(found.at("log_loss"), surprise, 1e-9);
    }
  }
}

TEST_P(EvaluateLoss, TheLiftCurveCountsTheRecordsAboveItsBoundaries) {
  trainTable();
  expectEvaluated({"Sensitivity=No"});
  const std::vector<Record> rows = scoredRecords(loss);
  const CsvColumns lift = csv("e_lift.csv");
  ASSERT_EQ(lift.at("bin").size(), 120U);
  double mean = 0;
  for (const Record& row : rows) mean += row.y / static_cast<double>(rows.size());
  double cumRecords = 0;
  double cumActual = 0;
  double above = std::numeric_limits<double>::infinity();
  double squares = 0;
  double area = 0;
  double lowest = 0;
  for (std::size_t b = 0; b < 120; ++b) {
    const double boundary = lowest = number(lift, "boundary", b);
    EXPECT_LE(boundary, above);
    double count = 0;
    double predicted = 0;
    double actual = 0;
    for (const Record& row : rows) {
      if (row.scaled < boundary || row.scaled >= above) continue;
      ++count;
      predicted += row.scaled;
      actual += row.y;
      squares += (row.y - row.scaled) * (row.y - row.scaled);
    }
    above = boundary;
    EXPECT_EQ(number(lift, "records", b), count);
    expectNear(number(lift, "sum_predicted", b), predicted);
    expectNear(number(lift, "sum_error", b), actual - predicted);
    area += (cumActual + actual / 2) * count;
    cumRecords += count;
    cumActual += actual;
    EXPECT_EQ(number(lift, "cum_records", b), cumRecords);
    expectNear(number(lift, "cum_actual", b), cumActual);
    if (cumRecords > 0) {
      EXPECT_NEAR(number(lift, "lift", b), cumActual / cumRecords / mean, 1e-9);
    }
  }
  // Up to 0.5 % of the records are below the lowest boundary.
  double below = 0;
  for (const Record& row : rows) below += row.scaled < lowest ? 1 : 0;
  EXPECT_EQ(cumRecords + below, static_cast<double>(rows.size()));
  EXPECT_LE(below, 0.006 * static_cast<double>(rows.size()));
  const std::map<std::string, double> found = quality();
  expectNear(found.at("rmse"), std::sqrt(squares / cumRecords));
  EXPECT_NEAR(found.at("area_above_random"), area - cumActual * cumRecords / 2, 1e-9 * cumRecords * cumRecords);
}

TEST_P(EvaluateLoss, TheResidualsAreThoseOfTheGroups) {
  trainTable();
  expectEvaluated({"Sensitivity=No"});
  const std::vector<Record> rows = scoredRecords(loss);
  const CsvColumns groups = csv("e_residuals.csv");
  const auto edge = [&](const std::string& name, std::size_t row, double open) {
    return groups.at(name)[row].empty() ? open : number(groups, name, row);
  };
  constexpr double infinity = std::numeric_limits<double>::infinity();
  double inTwentieths = 0;
  double ofX = 0;
  for (std::size_t g = 0; g < groups.at("field").size(); ++g) {
    const std::string& field = groups.at("field")[g];
    if (!field.empty() && field != "x") continue;
    double n = 0;
    double actual = 0;
    double predicted = 0;
    double squares = 0;
    for (const Record& row : rows) {
      const double value = field.empty() ? row.scaled : row.x;
      const bool isIn = groups.at("kind")[g] == "missing"
                            ? std::isnan(value)
                            : edge("from", g, -infinity) < value && value <= edge("to", g, infinity);
      if (!isIn) continue;
      ++n;
      actual += row.y;
      predicted += row.scaled;
      squares += (row.y - row.scaled) * (row.y - row.scaled);
    }
    (field.empty() ? inTwentieths : ofX) += n;
    SCOPED_TRACE(field + " " + groups.at("segment")[g]);
    EXPECT_EQ(number(groups, "records", g), n);
    if (n < 2) continue;
    const double error = (actual - predicted) / n;
    expectNear(number(groups, "mean_actual", g), actual / n);
    expectNear(number(groups, "mean_predicted", g), predicted / n);
    expectNear(number(groups, "mean_residual", g), error);
    EXPECT_NEAR(number(groups, "std_dev", g), std::sqrt(std::max(0.0, squares - n * error * error) / (n - 1)), 1e-7);
  }
  EXPECT_EQ(inTwentieths, static_cast<double>(rows.size()));
  EXPECT_EQ(ofX, static_cast<double>(rows.size()));
}

TEST_P(EvaluateLoss, AllFilesAreTheSameOnAnyNumberOfRanks) {
  trainTable();
  expectEvaluated({"MaxSensitivityRecords=300"});
  const std::map<std::string, std::string> alone = contents();
  for (const int ranks : {2, 3, 4}) {
    for (const std::string& file : outputs()) std::filesystem::remove(path(file));
    expectEvaluated({"MaxSensitivityRecords=300"}, ranks);
    for (const auto& [file, text] : contents()) EXPECT_EQ(text, alone.at(file)) << file << " " << ranks;
  }
}

INSTANTIATE_TEST_SUITE_P(All, EvaluateLoss,
                         ::testing::Values("Squared", "Logistic", "Poisson", "SupportVector", "LogisticLink",
                                           "PoissonLink"),
                         [](const auto& test) { return std::string(test.param); });

// Sensitivity

TEST_F(Evaluate, TheSensitivitiesAreSharesAndZeroForInputsThatTheModelDoesNotRead) {
  std::vector<double> values;
  for (int i = 0; i < 800; ++i) {
    const double x = draw();
    const double z = draw();
    values.insert(values.end(), {x, z, 7.0, 3 * x + z + 0.01 * draw()});
  }
  table("t.bin",
        {{"x", "Numeric", "Explanatory"},
         {"z", "Numeric", "Explanatory"},
         {"constant", "Numeric", "Explanatory"},
         {"y", "Numeric", "Target"}},
        values);
  for (const char* kind : {"LinearRegression", "TransformRegression"}) {
    SCOPED_TRACE(kind);
    expectTrained({std::string("Model=") + kind});
    expectEvaluated({});
    const CsvColumns rows = csv("e_sensitivity.csv");
    EXPECT_THAT(rows.at("field"), ElementsAre("x", "z", "constant"));
    EXPECT_THAT(rows.at("points"), ElementsAre("800", "800", "800"));
    // The mean square difference of two draws is 2 / 3, for x and for z; the coefficients are 3 and 1.
    EXPECT_NEAR(number(rows, "sensitivity", 0), 0.9, 0.03);
    EXPECT_NEAR(number(rows, "sensitivity", 0) + number(rows, "sensitivity", 1), 1, 1e-14);
    EXPECT_EQ(rows.at("sensitivity")[2], "0");
  }
}

TEST_F(Evaluate, OfManyRecordsEverySecondOrThirdIsTaken) {
  writeTable(Target::Number);  // 1500 records
  expectTrained({});
  const auto points = [&](const Strings& settings) {
    expectEvaluated(settings);
    return csv("e_sensitivity.csv").at("points").at(0);
  };
  EXPECT_EQ(points({"MaxSensitivityRecords=1500"}), "1500");
  EXPECT_EQ(points({"MaxSensitivityRecords=1499"}), "750");
  EXPECT_EQ(points({"MaxSensitivityRecords=400"}), "375");
  EXPECT_EQ(points({"MaxSensitivityRecords=1"}), "1");
  expectScored({"--channels"});
  const Strings channels = csv("p.csv").at("channel");
  EXPECT_EQ(points({"Records=Test"}), std::to_string(std::count(channels.begin(), channels.end(), "1")));
}

// The chosen records are not evenly spread, so the step is not the quotient of two counts.
TEST_F(Evaluate, OfTheTestRecordsTheSmallestStepIsTaken) {
  writeTable(Target::Number);
  expectTrained({});
  expectScored({"--channels"});
  const Strings channels = csv("p.csv").at("channel");
  const auto count = [&](std::size_t step) {
    int found = 0;
    for (std::size_t i = 0; i < channels.size(); i += step) found += channels[i] == "1" ? 1 : 0;
    return found;
  };
  bool isSmaller = false;
  for (const int most : {5, 8, 14, 32, 59}) {
    std::size_t step = 1;
    while (count(step) > most) ++step;
    isSmaller = isSmaller || static_cast<int>(step) * most < count(1);
    expectEvaluated({"Records=Test", "MaxSensitivityRecords=" + std::to_string(most)});
    EXPECT_EQ(csv("e_sensitivity.csv").at("points").at(0), std::to_string(count(step))) << most;
  }
  EXPECT_TRUE(isSmaller);
}

TEST_F(Evaluate, TheStepOfTheSensitivityFindsChosenRecords) {
  // Of the test records of 350 records, two are at multiples of 15, and none at multiples of 16.
  writeTable(Target::Number, 350);
  expectTrained({});
  // The positions of the chosen records are irregular: most steps find some of them, but not all steps do.
  for (const char* records : {"Test", "HeldOut"}) {
    for (const int most : {1, 3, 5}) {
      SCOPED_TRACE(std::string(records) + " " + std::to_string(most));
      expectEvaluated({std::string("Records=") + records, "MaxSensitivityRecords=" + std::to_string(most)});
      const double points = number(csv("e_sensitivity.csv"), "points", 0);
      EXPECT_GE(points, 1);
      EXPECT_LE(points, most);
    }
  }
}

TEST_F(Evaluate, WithoutSensitivityItsFileHasOnlyItsHeading) {
  writeTable(Target::Number);
  expectTrained({});
  expectEvaluated({"Sensitivity=No"});
  EXPECT_EQ(content("e_sensitivity.csv"), "field,sensitivity,points\n");
}

TEST_F(Evaluate, AModelThatReadsNoFieldGivesAnErrorLineForTheSensitivity) {
  std::vector<double> values;
  for (int i = 0; i < 300; ++i) values.insert(values.end(), {static_cast<double>(i % 7), i % 2 == 0 ? 1.0 : 3.0});
  table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
  expectTrained({"Model=LinearRegression"});
  expectEvaluated({});
  EXPECT_THAT(result.out, HasSubstr("Error in QUVENModelSensitivity::endDataScanPrimitive: "
                                    "  cannot normalize: sum over all sensitivites is <= 0."
                                    " numSenstFields=1, sumSensitivities=0"));
  EXPECT_THAT(result.out, Not(HasSubstr("Terminating VESK")));
  EXPECT_EQ(quality().at("records"), 300);
  EXPECT_EQ(content("e_sensitivity.csv"), "field,sensitivity,points\nx,0,300\n");
}

// Other models and tables

TEST_F(Evaluate, ModelsWithoutStagesAreEvaluatedToo) {
  writeTable(Target::Number);
  expectTrained({"Model=LinearRegression"});
  expectEvaluated({});
  EXPECT_EQ(csv("e_residuals.csv").at("field").size(), 20U);
  expectTrained({"Model=FeatureTransform", "SplitField=x"});
  expectEvaluated({});
  const Strings fields = csv("e_residuals.csv").at("field");
  EXPECT_GT(std::count(fields.begin(), fields.end(), "x"), 1);
}

TEST_F(Evaluate, ThePageWarnsOfPredictionsThatAreNotOnTheScaleOfTheTarget) {
  const std::string warning = "calibration have no meaning here";
  const auto pageOf = [&](const std::string& loss, double lowerClass) {
    std::vector<double> values;
    for (int i = 0; i < 400; ++i) {
      const double x = draw();
      values.insert(values.end(), {x, x + draw() > 0 ? 1 : lowerClass});
    }
    table("t.bin", {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}}, values);
    expectTrained({"LossFunction=" + loss});
    expectEvaluated({"Sensitivity=No"});
    return content("e_report.html");
  };
  for (const char* loss : {"Logistic", "LogisticLink"}) {
    EXPECT_THAT(pageOf(loss, -1), Not(HasSubstr(warning))) << loss;  // the class -1 counts as 0
    EXPECT_THAT(pageOf(loss, 0), Not(HasSubstr(warning))) << loss;
  }
  EXPECT_THAT(pageOf("SupportVector", -1), Not(HasSubstr(warning)));
  EXPECT_THAT(pageOf("SupportVector", 0), HasSubstr(warning));
  EXPECT_THAT(pageOf("Squared", -1), Not(HasSubstr(warning)));
}

TEST_F(Evaluate, WarnsOfATargetThatTheLossDoesNotAllow) {
  writeTable(Target::Class);
  expectTrained({"LossFunction=LogisticLink"});
  writeTable(Target::Count);
  const std::string text = "the target has other values than two of which one is 0 or -1, which this loss is for";
  expectEvaluated({"Sensitivity=No"});
  EXPECT_THAT(result.out, HasSubstr(warningLine(2202, "y;|vesk-analyze: " + text)));
  EXPECT_THAT(content("e_report.html"), HasSubstr("y: " + text));
  evaluate({"Sensitivity=No"}, 2, {"--strict"});
  EXPECT_EQ(result.status, 99);
}

TEST_F(Evaluate, ATableOfOneRecordHasOneRecordInTheFiles) {
  writeTable(Target::Number);
  expectTrained({});
  table("t.bin",
        {{"x", "Numeric", "Explanatory"},
         {"z", "Numeric", "Explanatory"},
         {"group", "Categorical", "Explanatory"},
         {"y", "Numeric", "Target"},
         {"w", "Numeric", "Explanatory"}},
        {0.5, 1, 2, 1.25, 1});
  for (const int ranks : {1, 2}) {
    expectEvaluated({}, ranks);
    EXPECT_EQ(quality().at("records"), 1);
    EXPECT_TRUE(std::isnan(quality().at("R_squared_plain")));
    EXPECT_EQ(quality().at("model_quality"), 1);  // the error of the first record is not counted
    EXPECT_EQ(csv("e_lift.csv").at("cum_records").at(0), "1");
  }
}

TEST_F(Evaluate, AConstantTargetHasNoQualityUnlessThePredictionIsRight) {
  writeTable(Target::Number);
  expectTrained({});
  std::vector<double> values;
  for (int i = 0; i < 50; ++i) values.insert(values.end(), {draw(), draw(), 2, 5, 1});
  table("t.bin",
        {{"x", "Numeric", "Explanatory"},
         {"z", "Numeric", "Explanatory"},
         {"group", "Categorical", "Explanatory"},
         {"y", "Numeric", "Target"},
         {"w", "Numeric", "Explanatory"}},
        values);
  expectEvaluated({});
  EXPECT_EQ(quality().at("model_quality"), 0);
  EXPECT_EQ(quality().at("area_ratio"), 0);
  EXPECT_TRUE(std::isnan(quality().at("R_squared_plain")));
}

// A logistic model predicts the probability of the class 1, so it does not matter whether the other class is -1 or 0.
TEST_F(Evaluate, AClassOfMinusOneCountsAsZero) {
  std::vector<double> values;
  for (int i = 0; i < 600; ++i) {
    const double x = draw();
    values.insert(values.end(), {x, x + 0.5 * draw() > 0.2 ? 1.0 : 0.0});
  }
  const std::vector<Column> columns = {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}};
  table("t.bin", columns, values);
  for (const char* loss : {"Logistic", "LogisticLink"}) {
    SCOPED_TRACE(loss);
    table("t.bin", columns, values);
    expectTrained({std::string("LossFunction=") + loss});
    expectEvaluated({});
    const std::map<std::string, std::string> ofZero = contents();
    std::vector<double> renamed = values;
    for (std::size_t i = 1; i < renamed.size(); i += 2) renamed[i] = renamed[i] == 0 ? -1 : 1;
    table("t.bin", columns, renamed);
    expectEvaluated({});
    for (const auto& [file, text] : contents()) EXPECT_EQ(text, ofZero.at(file)) << file;
  }
}

TEST_F(Evaluate, PredictionsThatOverflowAreLeftOutWithAWarning) {
  std::vector<double> values;
  for (int i = 0; i < 400; ++i) {
    const double x = draw();
    values.insert(values.end(), {x, 3 * x + 0.1 * draw()});
  }
  const std::vector<Column> columns = {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}};
  table("t.bin", columns, values);
  expectTrained({"Model=LinearRegression"});
  for (int i = 0; i < 3; ++i) values[static_cast<std::size_t>(2 * i)] = i == 0 ? -1e308 : 1e308;
  table("t.bin", columns, values);
  expectScored({});
  const Strings predicted = csv("p.csv").at("Predicted_y");
  ASSERT_EQ(std::count(predicted.begin(), predicted.end(), "inf"), 2);
  ASSERT_EQ(std::count(predicted.begin(), predicted.end(), "-inf"), 1);
  for (const int ranks : {1, 2}) {
    expectEvaluated({}, ranks);
    EXPECT_EQ(quality().at("records"), 397);
    EXPECT_GT(quality().at("R_squared_plain"), 0.99);
    EXPECT_EQ(csv("e_sensitivity.csv").at("points").at(0), "397");
    EXPECT_THAT(result.out, HasSubstr(warningLine(5017,
                                                  "t.bin;|vesk-analyze: 3 records have predictions that are not finite "
                                                  "numbers; they are left out")));
  }
  evaluate({}, 1, {"--strict"});
  EXPECT_EQ(result.status, 99);
}

TEST_F(Evaluate, WithoutAFinitePredictionThereIsNoLiftCurve) {
  std::vector<double> values;
  for (int i = 0; i < 100; ++i) values.insert(values.end(), {static_cast<double>(i), 3.0 * i});
  const std::vector<Column> columns = {{"x", "Numeric", "Explanatory"}, {"y", "Numeric", "Target"}};
  table("t.bin", columns, values);
  expectTrained({"Model=LinearRegression"});
  for (std::size_t i = 0; i < values.size(); i += 2) values[i] = 1e308;
  table("t.bin", columns, values);
  for (const int ranks : {1, 2}) {
    expectEvaluated({}, ranks);
    EXPECT_THAT(result.out, HasSubstr("Warning;|3417;|Warning: no bins found in QUVENLiftCurve::finalizeStats;|"));
    EXPECT_THAT(result.out, HasSubstr("100 records have predictions that are not finite numbers"));
    EXPECT_EQ(quality().at("records"), 0);
    EXPECT_EQ(content("e_lift.csv"), "bin,boundary,records,cum_records,sum_predicted,sum_error,cum_actual,lift,z\n");
    EXPECT_EQ(content("e_sensitivity.csv"), "field,sensitivity,points\nx,0,0\n");
  }
}

TEST_F(Evaluate, RecordsBelowTheLowestBoundaryAreLoggedFromVerbosityTwo) {
  writeTable(Target::Number);
  expectTrained({});
  const std::string line = "WARNING: QUVENLiftCurve not initialized in function updateLiftCurveStats()";
  expectEvaluated({});
  EXPECT_THAT(result.out, Not(HasSubstr(line)));
  const double below = quality().at("records") - std::stod(csv("e_lift.csv").at("cum_records").back());
  ASSERT_GT(below, 0);
  expectEvaluated({"VerbosityLevel=2"});
  long lines = 0;
  for (std::size_t i = result.out.find(line); i != std::string::npos; i = result.out.find(line, i + 1)) ++lines;
  // The curve that is ordered by the target also has records below its lowest boundary.
  EXPECT_GT(lines, below);
  EXPECT_LE(lines, below + 0.006 * quality().at("records"));
}

// Faults

class EvaluateFaults : public Evaluate {
 protected:
  EvaluateFaults() {
    writeTable(Target::Number, 600);
    train("t.bin", "m", {"UnseenValues=Root", "Supplementary=w"});
  }
  void expectRefused(const Strings& settings, int code, const std::string& subject, const std::string& text) {
    for (const int ranks : {1, 2}) {
      evaluate(settings, ranks);
      EXPECT_EQ(result.status, 99) << text;
      EXPECT_THAT(result.out, HasSubstr(errorLine(code, (subject.empty() ? "" : subject + ";|") + text)));
      for (const std::string& file : outputs()) EXPECT_FALSE(exists(file)) << file;
    }
  }
  void changeDescription(const std::string& from, const std::string& to) {
    std::string info = content("t.bin.info");
    const std::size_t place = info.find(from);
    ASSERT_NE(place, std::string::npos);
    writeFile("t.bin.info", info.replace(place, from.size(), to));
  }
};

TEST_F(EvaluateFaults, Columns) {
  changeDescription("y Numeric", "other Numeric");
  expectRefused({}, 2302, "y", "vesk-analyze: the dataset does not have the target of the training");
  changeDescription("other Numeric", "y Categorical");
  expectRefused({}, 2302, "y", "vesk-analyze: the column is categorical, in the training it was numeric");
  changeDescription("y Categorical", "y Numeric");
  changeDescription("z Numeric", "zz Numeric");
  expectRefused({}, 2302, "z", "vesk-analyze: the dataset does not have this column of the training");
  changeDescription("zz Numeric", "z Categorical");
  expectRefused({}, 2302, "z", "vesk-analyze: the column is categorical, in the training it was numeric");
}

TEST_F(EvaluateFaults, Records) {
  writeNumbers("t.bin", {});
  expectRefused({}, 2302, "t.bin", "vesk-analyze: the dataset has no records");
  writeNumbers("t.bin", {1, 1, 1, missing, 1, 1, 1, 1, missing, 1});
  expectRefused({}, 2302, "t.bin", "vesk-analyze: the target is missing in every record");
  writeNumbers("t.bin", {1, 1, 1, 1, 1});  // the training would use no record of it for the test
  expectRefused({"Records=Test"}, 2302, "t.bin", "vesk-analyze: the dataset has no records of Records Test");
  writeNumbers("t.bin", {1, 1, 1, 1, 1, 1});
  evaluate({});
  EXPECT_EQ(result.status, 99);
}

TEST_F(EvaluateFaults, Parameters) {
  expectRefused({"Records=Some"}, 2202, "", "vesk-analyze: Records must be All, Test or HeldOut");
  expectRefused({"Sensitivity=maybe"}, 2202, "", "vesk-analyze: Sensitivity must be Yes or No");
  expectRefused({"MaxSensitivityRecords=0"}, 2202, "", "vesk-analyze: MaxSensitivityRecords must be at least 1");
  expectRefused({"Shares=65"}, 2202, "", "vesk-analyze: Shares must be from 0 to 64");
  expectRefused({"OutputFileName="}, 2202, "", "vesk-analyze: OutputFileName is missing");
}

TEST_F(EvaluateFaults, Files) {
  expectRefused({"OutputFileName=none/e"}, 2302, "none/e_lift.csv", "vesk-analyze: Unable to write output file");
  writeFile("m.model", "no model");
  expectRefused({}, 2302, "m.model", "the file is cut, or is no model file");
  std::filesystem::remove(path("m.model"));
  evaluate({});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|m.model"));
}

TEST_F(EvaluateFaults, AFileThatIsNotCompleteLeavesAllFilesOfTheEarlierRun) {
  for (const std::string& file : outputs()) writeFile(file, "old");
  std::filesystem::remove(path("e_report.html"));
  std::filesystem::create_symlink("/dev/full", path("e_report.html"));
  evaluate({"Sensitivity=No"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|e_report.html;|vesk-analyze: Unable to write output file"));
  for (const std::string& file : outputs()) {
    if (file == "e_report.html") continue;
    EXPECT_EQ(content(file), "old") << file;
  }
  for (const auto& entry : std::filesystem::directory_iterator(path("."))) {
    EXPECT_EQ(entry.path().string().find(".partial"), std::string::npos) << entry.path();
  }
}

TEST_F(EvaluateFaults, AnOutputThatWouldOverwriteAnInput) {
  std::filesystem::copy_file(path("m.model"), path("e_lift.csv"));
  analyse({"evaluate", "-", "e_lift.csv", "t.bin", "--set", "OutputFileName=e"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|e_lift.csv"));
  EXPECT_EQ(content("e_lift.csv"), content("m.model"));
}

}  // namespace
}  // namespace vesk_e2e
