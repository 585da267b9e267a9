// Writes the page of an evaluation: HTML that is also well-formed XML.

#include <algorithm>
#include <cmath>
#include <ostream>

#include "evaluation_charts.h"
#include "evaluation_report.h"
#include "page/html_table.h"
#include "page/html_text.h"
#include "page/page_style.h"

namespace vesk_analyze {

using vesk_page::countNumber;
using vesk_page::HtmlTable;
using vesk_page::htmlText;
using vesk_page::percentText;
using vesk_page::shortNumber;

namespace {

constexpr std::size_t mostBars = 30;  // of a chart

struct QualityMeaning {
  const char* name;
  const char* text;
};

constexpr QualityMeaning qualityMeanings[] = {
    {"records", "Records with a target and a finite prediction. All other numbers are computed from these records."},
    {"area_above_random",
     "Area between the lift curve and the diagonal, in records times target. Compare it only between models that are "
     "evaluated on the same records."},
    {"area_ratio",
     "That area divided by the area of the optimum: 1 if the predictions order the records as the target does, 0 if "
     "their order is no better than chance."},
    {"rmse",
     "Square root of the mean squared error of the records in the bins of the lift curve, in units of the target."},
    {"R_squared_plain",
     "Share of the target's variance that the predictions explain: 1 is exact, 0 is no better than the mean, below 0 "
     "is worse. Read this one rather than R_squared."},
    {"R_squared",
     "The same, computed from the lift curve: it depends on the slices of the records and is often too small."},
    {"accuracy_quality",
     "1 minus the absolute correlation of the mean errors of neighbouring bins of the lift curve. Low values mean that "
     "the errors have a trend: the predictions are too high in some range and too low in another."},
    {"model_quality",
     "Nearly the same as R_squared_plain: computed with the mean of each slice of the records, and 0 if the model is "
     "worse than the mean."},
    {"mean_loss", "Mean of the loss function that the training minimised; lower is better."},
    {"auc",
     "Probability that of two records, one of each class, the record of the upper class has the larger prediction: "
     "0.5 is no better than chance, 1 is a perfect order."},
    {"log_loss",
     "Mean negative logarithm of the probability that the model gave to the observed class; lower is better."},
};

const char* meaningOf(const std::string& name) {
  const auto* found = std::find_if(std::begin(qualityMeanings), std::end(qualityMeanings),
                                   [&](const QualityMeaning& meaning) { return name == meaning.name; });
  return found == std::end(qualityMeanings) ? "" : found->text;
}

std::string meaningOfChosen(const std::string& chosen) {
  if (chosen == "Test") return "Test: records from which no coefficient was learned";
  if (chosen == "HeldOut") return "HeldOut: records that trained the final model, but not the models of the folds";
  if (chosen == "All") return "All: the numbers are too good if the model was trained on this table";
  return chosen;
}

class Page {
 public:
  Page(const EvaluationReport& evaluation, std::ostream& text) : report(evaluation), out(text) {}

  void write() {
    const std::string title = htmlText("Evaluation of " + report.modelFile);
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>"
        << title << "</title>\n<style>" << vesk_page::pageStyle << "</style>\n</head>\n<body>\n<main>\n<h1>" << title
        << "</h1>\n";
    writeSubject();
    writeWarnings();
    writeLiftCurve();
    writeQualityNumbers();
    writeCalibration();
    writeSensitivities();
    writeFields();
    writeStages();
    out << "</main>\n</body>\n</html>\n";
  }

 private:
  void writeParagraph(const std::string& text, const char* classes = nullptr) {
    out << "<p";
    if (classes != nullptr) out << " class=\"" << classes << '"';
    out << '>' << htmlText(text) << "</p>\n";
  }

  void writeHeading(const char* text) { out << "<h2>" << htmlText(text) << "</h2>\n"; }

  void writeChart(const EvaluationChart& chart) {
    out << "<figure>\n";
    chart.picture.write(out, "chart-" + std::to_string(++numCharts), chart.title, chart.description);
    out << "</figure>\n";
  }

  void writeSubject() {
    const std::pair<const char*, std::string> rows[] = {
        {"Model", report.modelKind + (report.loss.empty() ? "" : ", loss function " + report.loss)},
        {"Trained on", report.trainedOn},
        {"Target", report.target},
        {"Mean of the target", shortNumber(report.meanActual)},
        {"Dataset", report.dataset},
        {"Records chosen", meaningOfChosen(report.chosenRecords)},
        {"Records used", countNumber(report.numRecords)},
        {"Left out, without target", countNumber(report.numWithoutTarget)},
        {"Left out, prediction not finite", countNumber(report.numNotFinite)},
        {"Below the last bin of the lift curve", countNumber(report.numBelowLastBin)},
    };
    out << "<div class=\"scroll\"><table>\n<tbody>\n";
    for (const auto& [name, value] : rows) {
      out << "<tr><th scope=\"row\">" << htmlText(name) << "</th><td>" << htmlText(value) << "</td></tr>\n";
    }
    out << "</tbody>\n</table></div>\n";
  }

  void writeWarnings() {
    if (report.warnings.empty()) return;
    out << "<div class=\"warnings\"><strong>Warnings</strong>\n<ul>\n";
    for (const std::string& warning : report.warnings) out << "<li>" << htmlText(warning) << "</li>\n";
    out << "</ul></div>\n";
  }

  void writeLiftCurve() {
    writeHeading("Lift curve");
    const CapturedShares model(report, report.lift);
    const CapturedShares optimum(report, report.optimum);
    if (!(report.numRecords > 0)) {
      writeParagraph("There is no lift curve, because there is no record.");
    } else if (report.lift.size() < 2) {
      writeParagraph("There is no lift curve, because the predictions have fewer than two bins.");
    } else if (!model.isUsable()) {
      writeParagraph("There is no lift curve, because the target has no finite mean above 0.");
    } else {
      writeParagraph(
          "The records are ordered by their predictions, the largest first. The lift of the first records is "
          "their mean target divided by the mean target of all records.");
      out << "<div class=\"pair\">\n";
      writeChart(drawLiftChart(model, optimum));
      out << "<div>\n";
      writeLiftTable(model, optimum);
      writeParagraph("Within a bin the shares are interpolated, as if the target were spread evenly over its records.",
                     "note");
      out << "</div>\n</div>\n";
    }
  }

  void writeLiftTable(const CapturedShares& model, const CapturedShares& optimum) {
    HtmlTable table(out, {{"first records"}, {"lift"}, {"share of the sum"}, {"optimum"}});
    for (const double share : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5}) {
      const double captured = model.capturedAt(share);
      table.addRow({percentText(share), shortNumber(captured / share), percentText(captured),
                    optimum.isUsable() ? percentText(optimum.capturedAt(share)) : "none"});
    }
    table.close();
  }

  void writeQualityNumbers() {
    writeHeading("Quality");
    if (report.quality.empty()) {
      writeParagraph("There are no quality numbers.");
      return;
    }
    HtmlTable table(out, {{"name", false}, {"value"}, {"meaning", false}});
    for (const QualityNumber& number : report.quality) {
      table.addRow({number.name, number.name == "records" ? countNumber(number.value) : shortNumber(number.value),
                    meaningOf(number.name)});
    }
    table.close();
  }

  void writeResidualTable(const char* name, const std::vector<ResidualRow>& rows) {
    HtmlTable table(out, {{name, false}, {"records"}, {"actual"}, {"predicted"}, {"residual"}, {"std dev"}});
    for (const ResidualRow& row : rows) {
      table.addRow({segmentLabel(row.segment), countNumber(row.records), shortNumber(row.meanActual),
                    shortNumber(row.meanPredicted), shortNumber(row.meanResidual), shortNumber(row.stdDev)});
    }
    table.close();
  }

  void writeCalibration() {
    writeHeading("Calibration");
    if (!canDraw(report.twentieths)) {
      writeParagraph("There is no calibration, because no twentieth of the predictions has records with finite means.");
      return;
    }
    writeParagraph(
        "The records are divided into twentieths by their predictions. Where a point is above the diagonal, the "
        "predictions are too low.");
    writeChart(drawCalibrationChart(report));
    writeResidualTable("prediction", report.twentieths);
    writeParagraph("Means of each twentieth. The residual is the actual value minus the predicted value.", "note");
  }

  void writeSensitivities() {
    writeHeading("Sensitivity");
    if (!report.sensitivityRemark.empty()) writeParagraph(report.sensitivityRemark);
    if (!report.hasSensitivities || report.sensitivities.empty()) {
      writeParagraph("There are no sensitivities of the inputs.");
      return;
    }
    writeParagraph(
        "How much the predictions change when an input gets a random value from its distribution in the "
        "training: mean squared change, as a share of the sum over all inputs. Inputs with the same "
        "information share the sensitivity, or one of them has all of it.");
    const std::vector<SensitivityRow>& all = report.sensitivities;
    const auto numBars = static_cast<std::ptrdiff_t>(std::min(all.size(), mostBars));
    writeChart(drawSensitivityChart({all.begin(), all.begin() + numBars}));
    if (all.size() > mostBars) {
      writeParagraph("These are the largest " + std::to_string(mostBars) + " of " + std::to_string(all.size()) +
                         " inputs; the CSV file of the sensitivities has all.",
                     "note");
    }
  }

  void writeFields() {
    writeHeading("Fields of the first stage");
    if (report.curves.empty()) {
      writeParagraph("The first stage has no transform of a field.");
      return;
    }
    writeParagraph(
        "The mean actual and mean predicted values in the segments into which the first stage divides each field. "
        "Where they differ, the predictions are too high or too low for these values of the field.");
    out << "<div class=\"pair\">\n";
    for (const FieldCurve& curve : report.curves) writeField(curve);
    out << "</div>\n";
  }

  void writeField(const FieldCurve& curve) {
    std::vector<ResidualRow> rows;
    std::copy_if(report.segments.begin(), report.segments.end(), std::back_inserter(rows),
                 [&](const ResidualRow& row) { return row.field == curve.transform.field; });
    out << "<section class=\"field\">\n<h3>" << htmlText(curve.transform.field) << "</h3>\n";
    if (!canDraw(rows)) {
      writeParagraph("None of its segments has records with finite means.");
    } else {
      const EvaluationChart chart = drawFieldChart(curve, rows, report.target);
      writeChart(chart);
      if (!chart.remark.empty()) writeParagraph(chart.remark, "note");
      out << "<details><summary>Numbers of the segments</summary>\n";
      writeResidualTable("segment", rows);
      out << "</details>\n";
    }
    out << "</section>\n";
  }

  static std::string fieldsOf(const DescribedStage& stage) {
    std::string fields;
    for (const DescribedTransform& transform : stage.transforms) {
      if (transform.field.empty() || transform.place == "output") continue;
      if (!fields.empty()) fields += ", ";
      fields += transform.field;
    }
    return fields.empty() ? "none" : fields;
  }

  static std::string firstOf(const std::vector<double>& alphas) {
    return alphas.empty() ? "none" : shortNumber(alphas.front());
  }

  void writeStages() {
    writeHeading("Stages");
    if (report.stages.empty()) {
      writeParagraph("The model has no stage.");
      return;
    }
    HtmlTable table(out, {{"stage"}, {"rank"}, {"step size"}, {"output step size"}, {"transforms of", false}});
    std::size_t number = 0;
    for (const DescribedStage& stage : report.stages) {
      table.addRow(
          {std::to_string(++number), std::to_string(stage.rank), firstOf(stage.alphas), firstOf(stage.outputAlphas),
           fieldsOf(stage) + (stage.isOutput ? "; the output transform has taken the place of the stage" : "")});
    }
    table.close();
    writeParagraph("The rank is the number of inputs of the stage's regression. Rank 0 is a constant.", "note");
  }

  const EvaluationReport& report;
  std::ostream& out;
  int numCharts = 0;
};

}  // namespace

void writePage(const EvaluationReport& report, std::ostream& out) { Page(report, out).write(); }

}  // namespace vesk_analyze
