#include <gmock/gmock.h>

#include <sstream>

#include "sample_evaluation.h"

namespace vesk_analyze {
namespace {

using Writer = void (*)(const EvaluationReport&, std::ostream&);

std::string written(Writer write, const EvaluationReport& report) {
  std::ostringstream out;
  write(report, out);
  return out.str();
}

TEST(EvaluationTables, OfLiftHaveARowPerBinAndWordsForNumbersThatAreNotFinite) {
  EvaluationReport report = sampleEvaluation();
  report.lift.push_back({-0.1, 1, 361, 0.1, -0.1, 100, std::numeric_limits<double>::quiet_NaN(),
                         -std::numeric_limits<double>::infinity()});
  EXPECT_EQ(written(writeLift, report),
            "bin,boundary,records,cum_records,sum_predicted,sum_error,cum_actual,lift,z\n"
            "1,0.75,100,100,70,-10,60,2.3999999999999999,-2.5\n"
            "2,0.25,0,100,0,0,60,2.3999999999999999,nan\n"
            "3,0.125,260,360,40,0,100,1.1111111111111112,inf\n"
            "4,-0.10000000000000001,1,361,0.10000000000000001,-0.10000000000000001,100,nan,-inf\n");
}

TEST(EvaluationTables, OfQualityHaveAllDigits) {
  EvaluationReport report = sampleEvaluation();
  report.quality.push_back({"R_squared", -1.7976931348623157e+308});
  EXPECT_EQ(written(writeQuality, report),
            "name,value\n"
            "records,400\n"
            "rmse,0.37123456780000003\n"
            "R_squared_plain,0.2651\n"
            "auc,nan\n"
            "R_squared,-1.7976931348623157e+308\n");
}

TEST(EvaluationTables, OfResidualsHaveTheTwentiethsAndThenTheSegmentsFieldByField) {
  EvaluationReport report = sampleEvaluation();
  report.segments.push_back(residualRow("a \"b\"", categorySegment({"x", "*"}), 2, 0, 0, 0));
  EXPECT_EQ(written(writeResiduals, report),
            "field,segment,kind,from,to,categories,records,mean_actual,mean_predicted,mean_residual,std_dev\n"
            ",1,interval,,0.125,,200,0.0625,0.050000000000000003,0.012499999999999997,0.5\n"
            ",2,interval,0.125,,,200,0.4375,0.45000000000000001,-0.012500000000000011,0.5\n"
            "minutes,1,interval,,12.5,,199,0.10000000000000001,0.125,-0.024999999999999994,0.5\n"
            "minutes,2,interval,12.5,,,200,0.40000000000000002,0.39000000000000001,0.010000000000000009,0.5\n"
            "minutes,3,missing,,,,1,1,0.5,0.5,\n"
            "plan,1,categories,,,\"gold|silver, old\",400,0.25,0.26000000000000001,-0.010000000000000009,0.5\n"
            "plan,2,missing,,,*,0,,,,\n"
            "\"a \"\"b\"\"\",1,categories,,,x|*,2,0,0,0,0\n");
}

TEST(EvaluationTables, OfResidualsHaveNanForMeansOfRecordsThatAreNotNumbers) {
  EvaluationReport report;
  report.twentieths = {
      residualRow("", {}, 2, std::numeric_limits<double>::quiet_NaN(), 1, std::numeric_limits<double>::quiet_NaN())};
  EXPECT_EQ(written(writeResiduals, report),
            "field,segment,kind,from,to,categories,records,mean_actual,mean_predicted,mean_residual,std_dev\n"
            ",1,all,,,,2,nan,1,nan,nan\n");
}

TEST(EvaluationTables, OfSensitivitiesHaveARowPerInput) {
  EXPECT_EQ(written(writeSensitivity, sampleEvaluation()),
            "field,sensitivity,points\n"
            "minutes,0.8125,400\n"
            "plan,0.1875,400\n");
}

TEST(EvaluationTables, OfAnEmptyReportHaveOnlyTheirHeadings) {
  for (const Writer write : {writeLift, writeQuality, writeResiduals, writeSensitivity}) {
    const std::string text = written(write, {});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  }
}

}  // namespace
}  // namespace vesk_analyze
