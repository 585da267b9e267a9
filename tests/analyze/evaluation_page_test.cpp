#include <gmock/gmock.h>

#include <cmath>
#include <sstream>

#include "page/html_text.h"
#include "sample_evaluation.h"
#include "support/markup_check.h"

namespace vesk_analyze {

using vesk_page::countNumber;
using vesk_page::htmlText;
using vesk_page::MarkupCheck;
using vesk_page::shortNumber;
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

/// The page of a report. Checks that it is well formed and that its pictures have finite coordinates.
std::string pageOf(const EvaluationReport& report) {
  std::ostringstream out;
  writePage(report, out);
  const std::string page = out.str();
  const MarkupCheck check(page);
  EXPECT_EQ(check.getMistake(), "");
  for (const char* name : {"x", "y", "width", "height", "cx", "cy", "r", "points", "viewBox", "transform"}) {
    for (const std::string& value : check.valuesOf(name)) {
      EXPECT_EQ(value.find("nan"), std::string::npos) << name << ' ' << value;
      EXPECT_EQ(value.find("inf"), std::string::npos) << name << ' ' << value;
    }
  }
  for (const char* name : {"width", "height"}) {
    for (const std::string& value : check.valuesOf(name)) EXPECT_GE(std::stod(value), 0) << name;
  }
  for (const char* name : {"x", "y", "cx", "cy"}) {  // of pictures 480 wide
    for (const std::string& value : check.valuesOf(name)) {
      EXPECT_GE(std::stod(value), 0) << name;
      EXPECT_LE(std::stod(value), name[name[0] == 'c' ? 1 : 0] == 'x' ? 480 : 5000) << name;
    }
  }
  // Each picture has a title and a description.
  const std::vector<std::string> names = check.valuesOf("aria-labelledby");
  EXPECT_EQ(static_cast<long>(names.size()), check.count("svg"));
  EXPECT_EQ(check.count("desc"), check.count("svg"));
  return page;
}

long numPictures(const std::string& page) { return MarkupCheck(page).count("svg"); }

TEST(MarkupCheck, RejectsWhatIsNotWellFormed) {
  const auto mistakeOf = [](const std::string& body) { return MarkupCheck("<!DOCTYPE html>" + body).getMistake(); };
  EXPECT_EQ(mistakeOf("<a b=\"1\"><c/>&lt; d</a>\n"), "");
  for (const char* body : {"", "<a>", "</a>", "<a></b>", "<a><b></a></b>", "<a b=1></a>", "<a b></a>", "<a b=\"></a>",
                           "<a b=\"1\" b=\"2\"/>", "<a>&nbsp;</a>", "<a>&</a>", "<a b=\"<\"/>", "<a/><b/>", "<a/>x",
                           "<a>\x01</a>", "<a b=\"1\"c=\"2\"/>", "<a><b id=\"1\"/><b id=\"1\"/></a>", "<a>< b</a>"}) {
    EXPECT_NE(mistakeOf(body), "") << body;
  }
  EXPECT_NE(MarkupCheck("<a/>").getMistake(), "");
}

TEST(EvaluationPage, HasAPictureOfEachPartAndNeedsNothingElse) {
  const std::string page = pageOf(sampleEvaluation());
  EXPECT_EQ(numPictures(page), 5);  // lift, calibration, sensitivity, two fields
  const MarkupCheck check(page);
  for (const char* element : {"script", "img", "link", "iframe", "object", "base", "form"}) {
    EXPECT_EQ(check.count(element), 0) << element;
  }
  for (const char* attribute : {"href", "src", "onload", "style"}) {
    EXPECT_TRUE(check.valuesOf(attribute).empty()) << attribute;
  }
  for (const char* text : {"url(", "@import", "://"}) EXPECT_THAT(page, Not(HasSubstr(text)));
}

TEST(EvaluationPage, ShowsWhatWasEvaluated) {
  EvaluationReport report = sampleEvaluation();
  report.warnings = {"plan: 2 categories are new"};
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("<h1>Evaluation of calls.model</h1>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Model</th><td>TransformRegression, loss function LogisticLink</td>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Records used</th><td>400</td>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Left out, without target</th><td>7</td>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Left out, prediction not finite</th><td>3</td>"));
  EXPECT_THAT(page, HasSubstr("<th scope=\"row\">Below the last bin of the lift curve</th><td>40</td>"));
  EXPECT_THAT(page, HasSubstr("<td>Test: records from which no coefficient was learned</td>"));
  EXPECT_THAT(page, HasSubstr("<li>plan: 2 categories are new</li>"));
}

TEST(EvaluationPage, HasTheNumbersOfTheTables) {
  const EvaluationReport report = sampleEvaluation();
  const std::string page = pageOf(report);
  const auto cell = [](const std::string& text) { return "<td class=\"number\">" + text + "</td>"; };
  for (const QualityNumber& number : report.quality) {
    EXPECT_THAT(page, HasSubstr("<tr><td>" + number.name + "</td>" + cell(shortNumber(number.value)) + "<td>"));
  }
  for (const std::vector<ResidualRow>* rows : {&report.twentieths, &report.segments}) {
    for (const ResidualRow& row : *rows) {
      EXPECT_THAT(page, HasSubstr(cell(countNumber(row.records)) + cell(shortNumber(row.meanActual)) +
                                  cell(shortNumber(row.meanPredicted)) + cell(shortNumber(row.meanResidual)) +
                                  cell(shortNumber(row.stdDev)) + "</tr>"));
    }
  }
  // Lift of the first bin, 60 of 100 in a quarter of the records; 75.38 % = 0.6 + 0.4 * 100 / 260.
  EXPECT_THAT(page, HasSubstr(cell("10 %") + cell("2.4") + cell("24 %") + cell("40 %")));
  EXPECT_THAT(page, HasSubstr(cell("50 %") + cell("1.5077") + cell("75.38 %") + cell("100 %")));
  EXPECT_THAT(page, HasSubstr(">81.25 %</text>"));
  EXPECT_THAT(page, HasSubstr(cell("1") + cell("2") + cell("1") + cell("none") + "<td>minutes, plan</td>"));
  EXPECT_THAT(page, HasSubstr(cell("1.3712") + cell("1.25") +
                              "<td>none; the output transform has taken the place of the stage</td>"));
}

TEST(EvaluationPage, DrawsTheLiftCurveFromItsBins) {
  // The plot area goes from x = 58 to 462 and from y = 346 for 0 % up to y = 36 for 100 %.
  EXPECT_THAT(pageOf(sampleEvaluation()),
              HasSubstr("<polyline class=\"line predicted\" points=\"58.00,346.00 159.00,160.00 421.60,36.00 "
                        "462.00,36.00\"/>"));
}

TEST(EvaluationPage, DrawsStepsOfANumericFieldToScale) {
  // minutes: the plot area goes from x = 72 to 386 for 0 to 100, the boundary 12.5 is at 111.25.
  const std::string page = pageOf(sampleEvaluation());
  EXPECT_THAT(page, HasSubstr("<rect class=\"fill actual\" x=\"73.00\""));
  EXPECT_THAT(page, HasSubstr("<polyline class=\"boundary\" points=\"111.25,36.00 111.25,246.00\"/>"));
  EXPECT_THAT(page, Not(HasSubstr("not to scale")));
}

TEST(EvaluationPage, GivesSegmentsTheSameWidthWhereOneWouldBeTooNarrow) {
  EvaluationReport report = sampleEvaluation();
  report.curves[0].largest = 1e6;
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("<polyline class=\"boundary\" points=\"229.00,36.00 229.00,246.00\"/>"));
  EXPECT_THAT(page, HasSubstr("not to scale"));
  EXPECT_THAT(page, HasSubstr(">12.5</text>"));
}

// Long texts once overlapped.
TEST(EvaluationPage, LeavesOutBoundariesWithoutRoom) {
  EvaluationReport report = sampleEvaluation();
  report.segments.clear();
  for (int i = 0; i < 10; ++i) {  // 39 units wide each
    report.segments.push_back(residualRow("minutes", intervalSegment(0.012344 + i, 1.012344 + i), 10, 0.1, 0.2));
  }
  report.curves[0].largest = 1e6;
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("text-anchor=\"middle\">1.0123</text>"));
  EXPECT_THAT(page, Not(HasSubstr("text-anchor=\"middle\">2.0123</text>")));
  EXPECT_THAT(page, HasSubstr("text-anchor=\"middle\">3.0123</text>"));
}

TEST(EvaluationPage, EscapesEveryText) {
  const std::string script = "<script>alert(1)</script>";
  const std::string image = "\"><img>";
  const std::string control =
      "a\x01"
      "b\n\xFF'&";
  for (const std::string& text : {script, image, control}) {
    EvaluationReport report = sampleEvaluation();
    for (std::string* place : {&report.modelFile, &report.modelKind, &report.dataset, &report.trainedOn, &report.target,
                               &report.loss, &report.chosenRecords, &report.sensitivityRemark}) {
      *place = text;
    }
    report.quality[0].name = text;
    report.warnings = {text};
    report.sensitivities[0].field = text;
    report.stages[0].transforms[1].field = text;
    for (FieldCurve& curve : report.curves) curve.transform.field = text + (curve.transform.isNumeric ? "" : "2");
    for (ResidualRow& row : report.segments) {
      row.field = text + (row.field == "minutes" ? "" : "2");
      if (!row.segment.categories.empty()) row.segment.categories = {text, "x"};
    }
    const std::string page = pageOf(report);
    EXPECT_EQ(numPictures(page), 5);
    const MarkupCheck check(page);
    EXPECT_EQ(check.count("script"), 0);
    EXPECT_EQ(check.count("img"), 0);
    EXPECT_THAT(page, HasSubstr(htmlText(text)));
  }
}

TEST(EvaluationPage, ShortensLongLabelsAndShowsThemWholeAsHints) {
  EvaluationReport report = sampleEvaluation();
  report.segments[3].segment.categories = {"a label that has more than twenty-four characters"};
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("<title>a label that has more than twenty-four characters</title>a label that h…"));
}

TEST(EvaluationPage, HasSentencesForEmptyParts) {
  const std::string page = pageOf({});
  EXPECT_EQ(numPictures(page), 0);
  for (const char* sentence :
       {"There is no lift curve, because there is no record.", "There are no quality numbers.",
        "There is no calibration, because no twentieth of the predictions has records with finite means.",
        "There are no sensitivities of the inputs.", "The first stage has no transform of a field.",
        "The model has no stage."}) {
    EXPECT_THAT(page, HasSubstr(sentence));
  }
}

TEST(EvaluationPage, HasNoLiftCurveOfOneBinOrAMeanThatIsNotAbove0) {
  EvaluationReport report = sampleEvaluation();
  report.lift.resize(1);
  EXPECT_THAT(pageOf(report), HasSubstr("because the predictions have fewer than two bins."));
  for (const double mean : {0.0, -2.0, noNumber, infinity}) {
    report = sampleEvaluation();
    report.meanActual = mean;
    const std::string page = pageOf(report);
    EXPECT_THAT(page, HasSubstr("because the target has no finite mean above 0.")) << mean;
    EXPECT_EQ(numPictures(page), 4);
  }
  report = sampleEvaluation();
  report.optimum.clear();  // a constant target
  EXPECT_THAT(pageOf(report), HasSubstr("<td class=\"number\">24 %</td><td class=\"number\">none</td>"));
}

TEST(EvaluationPage, DrawsNoFieldsWithoutRecords) {
  EvaluationReport report = sampleEvaluation();
  for (ResidualRow& row : report.segments) row.records = 0;
  report.curves.push_back(fieldCurve("nothing", true, 0, 1));
  const std::string page = pageOf(report);
  EXPECT_EQ(numPictures(page), 3);
  EXPECT_THAT(page, HasSubstr("<h3>nothing</h3>\n<p>None of its segments has records with finite means.</p>"));
}

TEST(EvaluationPage, DrawsANumericFieldOfMissingValuesAsBars) {
  EvaluationReport report = sampleEvaluation();
  report.segments = {residualRow("minutes", missingSegment({"*"}), 400, 0.25, 0.2)};
  EXPECT_THAT(pageOf(report), HasSubstr("missing, all other</text>"));
}

TEST(EvaluationPage, IsWellFormedWithNumbersThatAreNotFiniteOrHuge) {
  constexpr double largest = std::numeric_limits<double>::max();
  for (const double value : {noNumber, infinity, -infinity, largest, -largest, 5e-324, 0.0, -3.0}) {
    EvaluationReport report = sampleEvaluation();
    for (QualityNumber& number : report.quality) number.value = value;
    for (SensitivityRow& row : report.sensitivities) row.sensitivity = value;
    for (FieldCurve& curve : report.curves) curve.smallest = curve.largest = value;
    report.twentieths[0].meanActual = value;
    report.segments[0].meanPredicted = value;
    report.segments[0].segment.to = value;
    report.segments[3].meanActual = value;
    report.lift[1].cumActual = value;
    report.stages[0].alphas = {value};
    pageOf(report);
    report.meanActual = value;
    report.numRecords = value;
    for (ResidualRow& row : report.twentieths) row.meanActual = row.meanPredicted = value;
    for (ResidualRow& row : report.segments) row.meanActual = row.meanPredicted = value;
    pageOf(report);
  }
}

TEST(EvaluationPage, ShowsOnlyTheLargestSensitivitiesOfManyInputs) {
  EvaluationReport report = sampleEvaluation();
  for (int i = 0; i < 40; ++i) report.sensitivities.push_back({"input" + std::to_string(i), 0, 400});
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("These are the largest 30 of 42 inputs"));
  EXPECT_THAT(page, HasSubstr(">input27</text>"));
  EXPECT_THAT(page, Not(HasSubstr(">input28</text>")));
}

TEST(EvaluationPage, ShowsWhyThereIsNoSensitivity) {
  EvaluationReport report = sampleEvaluation();
  report.hasSensitivities = false;
  report.sensitivityRemark = "The parameter Sensitivity is No.";
  const std::string page = pageOf(report);
  EXPECT_THAT(page, HasSubstr("<p>The parameter Sensitivity is No.</p>\n<p>There are no sensitivities of the inputs."));
  EXPECT_EQ(numPictures(page), 4);
}

}  // namespace
}  // namespace vesk_analyze
