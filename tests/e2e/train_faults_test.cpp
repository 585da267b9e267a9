// What is said of tables, parameters and models that cannot be used.

#include <gmock/gmock.h>

#include <cmath>
#include <filesystem>

#include "train_case.h"

namespace vesk_e2e {
namespace {

using ::testing::HasSubstr;

class TrainFaults : public TrainCase {
 protected:
  TrainFaults() {
    for (int i = 0; i < 200; ++i) add(i % 10, draw(), i % 4, draw());
  }
  void add(double x, double w, double group, double y) { values.insert(values.end(), {x, w, group, y}); }
  void write(const std::string& targetPurpose = "Target") const {
    table("t.bin",
          {{"x", "Numeric", "Explanatory"},
           {"w", "Numeric", "Explanatory"},
           {"group", "Categorical", "Explanatory"},
           {"y", "Numeric", targetPurpose}},
          values);
  }
  void setColumn(int column, double value) {
    for (std::size_t i = static_cast<std::size_t>(column); i < values.size(); i += 4) values[i] = value;
  }

  /// One report, status 99, and nothing written.
  void expectRefused(int code, const std::string& subject, const std::string& text) const {
    EXPECT_EQ(result.status, 99) << text;
    EXPECT_THAT(result.out, HasSubstr(errorLine(code, subject + ";|vesk-analyze: " + text)));
    EXPECT_FALSE(exists("m.model"));
    EXPECT_FALSE(exists("m_report.txt"));
    EXPECT_FALSE(exists("m_stages.csv"));
    EXPECT_FALSE(exists("m_segments.csv"));
  }
  void expectTrainRefused(const Strings& settings, int code, const std::string& subject, const std::string& text) {
    for (const int ranks : {1, 2}) {
      Strings all = {"Model=LinearRegression"};
      all.insert(all.end(), settings.begin(), settings.end());
      train("t.bin", "m", all, ranks);
      expectRefused(code, subject, text);
    }
  }

  std::vector<double> values;
};

TEST_F(TrainFaults, Columns) {
  write();
  expectTrainRefused({"Target=nope"}, 2202, "nope", "Target is no column of the dataset");
  expectTrainRefused({"CaseWeight=nope"}, 2202, "nope", "CaseWeight is no column of the dataset");
  expectTrainRefused({"InverseVarianceWeight=nope"}, 2202, "nope", "InverseVarianceWeight is no column of the dataset");
  expectTrainRefused({"Supplementary=x, nope"}, 2202, "nope", "Supplementary is no column of the dataset");
  expectTrainRefused({"Model=FeatureTransform", "SplitField=nope"}, 2202, "nope",
                     "SplitField is no column of the dataset");
  expectTrainRefused({"Model=FeatureTransform"}, 2202, "SplitField",
                     "SplitField is missing; FeatureTransform needs it");
  expectTrainRefused({"Model=FeatureTransform", "SplitField=y"}, 2202, "y", "the column is Target and SplitField");
  expectTrainRefused({"Target=x", "CaseWeight=x"}, 2202, "x", "the column is Target and CaseWeight");
  expectTrainRefused({"CaseWeight=group"}, 2202, "group", "CaseWeight must be a numeric column");
  expectTrainRefused({"Target=group"}, 2202, "group", "Target must be a numeric column");
  expectTrainRefused({"Supplementary=x,w,group"}, 2302, "t.bin", "the dataset has no column that could be an input");
  expectTrainRefused({"Supplementary=x,w"}, 2302, "t.bin",
                     "LinearRegression needs a numeric input, the dataset has none");
  write("Explanatory");
  expectTrainRefused({}, 2202, "Target",
                     "neither the parameter nor a column of purpose target says what is to be predicted");
}

TEST_F(TrainFaults, Values) {
  const std::vector<double> sound = values;
  setColumn(3, 7);
  write();
  expectTrainRefused({}, 2202, "y", "the target has the same value everywhere");
  setColumn(3, missing);
  write();
  expectTrainRefused({}, 2202, "y", "the target is missing in every record");
  values = sound;
  setColumn(0, 5);
  setColumn(1, missing);
  write();
  expectTrainRefused({}, 2302, "t.bin", "every input is constant, missing or of rare categories only");
  values = sound;
  write();
  expectTrainRefused({"CaseWeight=w"}, 2202, "w", "the weight is negative");
  expectTrainRefused({"InverseVarianceWeight=w"}, 2202, "w", "the weight is negative");
  setColumn(1, 0);
  write();
  expectTrainRefused({"CaseWeight=w"}, 2202, "w", "the weight is nowhere above 0");
  for (std::size_t i = 0; i < values.size(); i += 4) {  // weights where there is no target
    values[i + 1] = i < 40 ? 1 : 0;
    if (i < 40) values[i + 3] = missing;
  }
  write();
  expectTrainRefused({"CaseWeight=w"}, 2202, "w", "the weight is nowhere above 0 where there is a target");
  // Squares that overflow: nothing was learned, and the losses were finite numbers.
  values = sound;
  values[3] = -1e101;
  write();
  expectTrainRefused({}, 2202, "y", "the target has a value beyond 1e+100, so that sums of squares overflow");
  expectTrainRefused({"Model=FeatureTransform", "SplitField=x"}, 2202, "y",
                     "the target has a value beyond 1e+100, so that sums of squares overflow");
  values = sound;
  setColumn(1, 1);
  values[1] = 1e51;
  write();
  expectTrainRefused({"CaseWeight=w"}, 2202, "w",
                     "the weight has a value beyond 1e+50, so that sums of squares overflow");
  expectTrainRefused({"InverseVarianceWeight=w"}, 2202, "w",
                     "the weight has a value beyond 1e+50, so that sums of squares overflow");
  values.resize(6 * 4);
  write();
  expectTrainRefused({}, 2302, "t.bin", "the dataset has 6 records, too few for 7 channels");
  values.clear();
  write();
  expectTrainRefused({}, 2302, "t.bin", "the dataset has 0 records, too few for 7 channels");
}

TEST_F(TrainFaults, Datasets) {
  // The number of records was divided by the length of a record, 0.
  write();
  writeFile("t.bin.info", "\n");
  expectTrainRefused({}, 2302, "t.bin", "the description of the dataset has no columns");

  train("none.bin", "m", {"Model=LinearRegression"});
  EXPECT_EQ(result.status, 99);
  table("t.bin",
        {{"Col1", "Numeric", "LineNumber"}, {"Col2", "Numeric", "Explanatory"}, {"Col3", "Numeric", "Explanatory"}},
        std::vector<double>(300, 1));
  expectTrainRefused({"Target=Col3"}, 2302, "t.bin",
                     "the sparse output of a loader run is no table; make one with vesk table");
  write();
  writeFile("t.bin", content("t.bin") + "1234");
  expectTrainRefused({}, 2302, "t.bin", "the dataset ends inside a record");
}

TEST_F(TrainFaults, Outputs) {
  write();
  const std::string before = content("t.bin");
  const Strings linear = {"train", "-", "t.bin", "--set", "Model=LinearRegression", "--set"};
  const auto trainTo = [&](const std::string& setting) {
    Strings arguments = linear;
    arguments.push_back(setting);
    analyse(arguments);
    EXPECT_EQ(result.status, 99);
  };
  trainTo("ModelFileName=t.bin");
  EXPECT_THAT(result.out,
              HasSubstr("Error;|2302;|t.bin;|vesk-analyze: the output would take the place of what is read"));
  trainTo("ModelFileName=no/where.model");
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|no/where.model;|vesk-analyze: Unable to write output file"));
  EXPECT_EQ(content("t.bin"), before);
  train("t.bin", "m", {"Model=LinearRegression"});
  ASSERT_EQ(result.status, 0) << result.out;
  for (const char* output : {"t.bin", "m.model", "t.bin.info"}) {
    analyse({"score", "m.model", "t.bin", output});
    EXPECT_EQ(result.status, 99) << output;
  }
  // A full disk.
  trainTo("ModelFileName=/dev/full");
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|/dev/full;|vesk-analyze: Unable to write output file"));
  analyse({"score", "m.model", "t.bin", "/dev/full"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr("Error;|2302;|/dev/full;|"));
}

TEST_F(TrainFaults, OfScoring) {
  write();
  train("t.bin", "m", {"Model=FeatureTransform", "SplitField=group"});
  ASSERT_EQ(result.status, 0) << result.out;
  std::filesystem::rename(path("m.model"), path("a.model"));
  const auto expectScoreRefused = [&](const std::string& dataset, const std::string& subject, const std::string& text) {
    for (const int ranks : {1, 2}) {
      analyse({"score", "a.model", dataset, "p.csv"}, ranks);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(errorLine(2302, subject + ";|vesk-analyze: " + text)));
      EXPECT_FALSE(exists("p.csv"));
    }
  };
  table("s.bin", {{"x", "Numeric", "Explanatory"}, {"w", "Numeric", "Explanatory"}}, {1, 2});
  expectScoreRefused("s.bin", "group", "the dataset does not have this column of the training");
  table("s.bin",
        {{"x", "Numeric", "Explanatory"}, {"w", "Numeric", "Explanatory"}, {"group", "Numeric", "Explanatory"}},
        {1, 2, 3});
  expectScoreRefused("s.bin", "group", "the column is numeric, in the training it was categorical");
  table("s.bin",
        {{"x", "Numeric", "Explanatory"},
         {"w", "Numeric", "Explanatory"},
         {"group", "Categorical", "Explanatory"},
         {"Predicted_y", "Numeric", "Explanatory"}},
        {1, 2, 3, 4});
  expectScoreRefused("s.bin", "Predicted_y", "a column of the dataset has the name of a prediction");
  analyse({"score", "a.model", "t.bin", "p.csv", "--keep", "x,nope"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr(errorLine(2302, "nope;|vesk-analyze: --keep names no column of the dataset")));
}

/// Rank 1 leaves the rows that rank 0 wrote, and rank 0 those of the others, unless they remove them.
TEST_F(TrainFaults, ARankThatFailsLeavesNoRows) {
  write();
  train("t.bin", "m", {"Model=LinearRegression"});
  ASSERT_EQ(result.status, 0) << result.out;
  for (const std::size_t record : {3U, 100U, 197U}) {
    std::vector<double> damaged = values;
    damaged[4 * record] = std::nan("");
    table("s.bin",
          {{"x", "Numeric", "Explanatory"},
           {"w", "Numeric", "Explanatory"},
           {"group", "Categorical", "Explanatory"},
           {"y", "Numeric", "Explanatory"}},
          damaged);
    for (const int ranks : {1, 2, 3}) {
      analyse({"score", "m.model", "s.bin", "p.csv"}, ranks);
      EXPECT_EQ(result.status, 99);
      EXPECT_FALSE(exists("p.csv"));
      for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
        EXPECT_EQ(entry.path().filename().string().find("p.csv"), std::string::npos)
            << entry.path() << " of " << ranks << " ranks, record " << record;
      }
    }
  }
}

/// Each rank reported labels that cannot be read.
TEST_F(TrainFaults, LabelsAreRefusedOnce) {
  write();
  train("t.bin", "m", {"Model=LinearRegression"});
  ASSERT_EQ(result.status, 0) << result.out;
  writeFile("t.bin.labels", "nonsense\n");
  for (const int ranks : {1, 3}) {
    analyse({"score", "m.model", "t.bin", "p.csv"}, ranks);
    EXPECT_EQ(result.status, 99);
    const std::size_t first = result.out.find("Error;|2302;|t.bin.labels;|");
    ASSERT_NE(first, std::string::npos) << result.out;
    EXPECT_EQ(result.out.find("Error;|2302;", first + 1), std::string::npos) << result.out;
  }
}

/// Two columns of one name in the predictions: readers by name took one of them.
TEST_F(TrainFaults, KeptColumnsHaveNamesOfTheirOwn) {
  write();
  train("t.bin", "m", {"Model=LinearRegression"});
  ASSERT_EQ(result.status, 0) << result.out;
  table("s.bin",
        {{"x", "Numeric", "Explanatory"},
         {"w", "Numeric", "Explanatory"},
         {"group", "Categorical", "Explanatory"},
         {"Warning_y", "Numeric", "Explanatory"},
         {"channel", "Numeric", "Explanatory"}},
        {1, 2, 3, 4, 5});
  const auto expectTwice = [&](const Strings& options, const std::string& name) {
    for (const int ranks : {1, 2}) {
      Strings all = {"score", "m.model", "s.bin", "p.csv"};
      all.insert(all.end(), options.begin(), options.end());
      analyse(all, ranks);
      EXPECT_EQ(result.status, 99);
      EXPECT_THAT(result.out, HasSubstr(errorLine(
                                  2302, name + ";|vesk-analyze: --keep gives the output two columns of this name")));
      EXPECT_FALSE(exists("p.csv"));
    }
  };
  expectTwice({"--keep", "x,w,x"}, "x");
  expectTwice({"--keep", "Warning_y"}, "Warning_y");
  expectTwice({"--keep", "channel", "--channels"}, "channel");
  analyse({"score", "m.model", "s.bin", "p.csv", "--keep", "channel,x"});
  EXPECT_EQ(result.status, 0) << result.out;
}

/// A model that is cut anywhere, or is something else, gets one line.
TEST_F(TrainFaults, OfModelFiles) {
  write();
  train("t.bin", "m", {"Model=FeatureTransform", "SplitField=group"});
  ASSERT_EQ(result.status, 0) << result.out;
  const std::string whole = content("m.model");
  const std::string refused = errorLine(2302, "bad.model;|the file is cut, or is no model file");
  const auto expectRefusedModel = [&](const std::string& bytes, const std::string& what) {
    writeFile("bad.model", bytes);
    analyse({"score", "bad.model", "t.bin", "p.csv"});
    EXPECT_EQ(result.status, 99) << what;
    EXPECT_EQ(result.out.substr(0, refused.size()), refused) << what;
    EXPECT_FALSE(exists("p.csv"));
  };
  for (std::size_t size = 0; size < whole.size(); size += 1 + whole.size() / 37) {
    expectRefusedModel(whole.substr(0, size), "cut at " + std::to_string(size));
  }
  expectRefusedModel(whole.substr(0, whole.size() - 1), "without its last byte");
  expectRefusedModel(whole + "x", "with a byte behind its end");
  expectRefusedModel(whole + whole, "twice");
  expectRefusedModel(content("t.bin"), "a table");
  expectRefusedModel("<AnalysisParams/>", "a parameter file");
  expectRefusedModel(whole.substr(whole.find("QUVENFeatureTransform") - 2), "without the fields");
  analyse({"score", "none.model", "t.bin", "p.csv"});
  EXPECT_EQ(result.status, 99);
  EXPECT_THAT(result.out, HasSubstr(errorLine(2302, "none.model;|Unable to read model file")));
}

TEST_F(TrainFaults, FewRecords) {
  values.resize(8 * 4);
  write();
  train("t.bin", "m", {"Model=LinearRegression"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr(warningLine(5016,
                                                "t.bin;|vesk-analyze: too few records with a target for the model: "
                                                "each fold needs one, the others together five")));
  std::filesystem::remove(path("m.model"));
  analyse({"train", "-", "t.bin", "--strict", "--set", "Model=LinearRegression", "--set", "ModelFileName=m.model"});
  EXPECT_EQ(result.status, 99);
  EXPECT_FALSE(exists("m.model"));
}

TEST_F(TrainFaults, Doubts) {
  const std::vector<double> sound = values;
  values[0] = 1e200;
  write();
  train("t.bin", "m", {"Model=LinearRegression"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr(warningLine(
                              2202, "x;|vesk-analyze: an input has a value beyond 1e+100; it may count for nothing")));
  values = sound;
  write();
  train("t.bin", "m", {"Model=LinearRegression", "SplitField=x"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr(warningLine(2202, "SplitField;|vesk-analyze: LinearRegression has no use for it")));
  writeFile("p.xml",
            "<AnalysisParams><Model>LinearRegression</Model><ModelFileName>u.model</ModelFileName><Nope>1</Nope>"
            "</AnalysisParams>");
  analyse({"train", "p.xml", "t.bin"});
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, HasSubstr(warningLine(2202, "Nope;|vesk-analyze: unknown parameter is ignored")));
  std::filesystem::remove(path("u.model"));
  analyse({"train", "p.xml", "t.bin", "--strict"});
  EXPECT_EQ(result.status, 99);
  EXPECT_FALSE(exists("u.model"));
}

}  // namespace
}  // namespace vesk_e2e
