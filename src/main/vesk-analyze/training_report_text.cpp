// The report of a training for people.

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <map>
#include <ostream>
#include <sstream>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "loss_words.h"
#include "training_report.h"

namespace vesk_analyze {

namespace {

constexpr int nameWidth = 28;
constexpr int numberWidth = 14;
constexpr int plotWidth = 40;

/// Six digits are enough for people.
std::string shortText(double value) {
  if (std::isnan(value)) return "-";
  std::ostringstream text;
  text << std::setprecision(6) << value;
  return text.str();
}

void writeHeading(std::ostream& out, const std::string& text) {
  out << '\n' << text << '\n' << std::string(text.size(), '-') << '\n';
}

/// What the report says of the values of a column.
struct ColumnSummary {
  double missing = 0;
  double valid = 0;
  double sum = 0;
  double smallest = std::numeric_limits<double>::quiet_NaN();
  double largest = std::numeric_limits<double>::quiet_NaN();
  long categories = 0;
  double rare = 0;  ///< records of the default category

  double mean() const { return valid > 0 ? sum / valid : 0; }
};

ColumnSummary summarize(const QUVENField& field) {
  ColumnSummary summary;
  if (field.isNumeric()) {
    const QUVENNumFieldDist& distribution = *static_cast<const QUVENNumField&>(field).getDistribution();
    summary.missing = distribution.getMissingCount();
    for (long b = 1; b <= distribution.getNumBins(); ++b) {
      const QUVENNumFieldBin& bin = distribution.getBin(b);
      if (bin.getCount() == 0) continue;
      summary.valid += bin.getCount();
      summary.sum += bin.getCount() * bin.getMean();
      summary.smallest = std::fmin(summary.smallest, bin.getMinValue());
      summary.largest = std::fmax(summary.largest, bin.getMaxValue());
    }
    return summary;
  }
  const QUVENCatFieldDist& distribution = *static_cast<const QUVENCatField&>(field).getDistribution();
  summary.missing = distribution.getMissingCount();
  summary.valid = distribution.getValidCount();
  summary.categories = distribution.getNumCats();
  summary.rare = distribution.getDefaultCount();
  return summary;
}

class TextReport {
 public:
  TextReport(const TrainingReport& trainingReport, std::ostream& text) : report(trainingReport), out(text) {
    for (const QUVENField* field : report.fields.described()) {
      summaries[field->getName().str()] = summarize(*field);
    }
  }

  void write() {
    out << "Model " << report.parameters.model << " of " << report.fields.target->getName().str() << '\n'
        << "Table " << report.dataset << '\n';
    writeWarnings();
    writeRecords();
    writeColumns();
    writeLosses();
    if (report.hasStages()) {
      writeStages();
      writeImportance();
      writeFirstStage(report.stages.front());
      return;
    }
    for (const DescribedStage& stage : report.stages) {
      for (const DescribedTransform& transform : stage.transforms) {
        if (transform.field.empty()) {
          writeLinear(transform.segments.front(), stage);
        } else {
          writeTransform(transform, "Transform of " + transform.field);
        }
      }
    }
  }

 private:
  void writeRecords() {
    const QUVENFoldDealing dealing = report.parameters.getDealing();
    writeHeading(out, "Records");
    for (std::int32_t c = 1; c <= dealing.getNumChannels(); ++c) {
      const char* role = c == QUVENFoldDealing::TestChannel      ? "test"
                         : c == QUVENFoldDealing::HeldOutChannel ? "held out"
                                                                 : "fold";
      out << "channel " << std::setw(2) << c << "  " << std::left << std::setw(10) << role << std::right
          << std::setw(numberWidth) << shortText(report.losses.getRecords(c)) << '\n';
    }
  }

  std::string roleOf(const QUVENField* field) const {
    if (field == report.fields.target) return "target";
    if (field == report.fields.caseWeight) return "case weight";
    if (field == report.fields.inverseVarianceWeight) return "inverse variance";
    return "input";
  }

  void writeColumns() {
    writeHeading(out, "Columns");
    out << std::left << std::setw(nameWidth) << "name" << std::setw(18) << "role" << std::right
        << std::setw(numberWidth) << "missing"
        << "  values\n";
    for (const QUVENField* field : report.fields.described()) {
      const ColumnSummary& column = summaries.at(field->getName().str());
      out << std::left << std::setw(nameWidth) << field->getName().str() << std::setw(18) << roleOf(field) << std::right
          << std::setw(numberWidth) << shortText(column.missing) << "  ";
      if (!field->isNumeric()) {
        out << column.categories << " categories, " << shortText(column.rare) << " records of rare ones\n";
      } else if (column.valid > 0) {
        out << shortText(column.smallest) << " to " << shortText(column.largest) << ", mean "
            << shortText(column.mean()) << '\n';
      } else {
        out << "none\n";
      }
    }
    for (const QUVENField* field : report.fields.supplementary) {
      out << std::left << std::setw(nameWidth) << field->getName().str() << "supplementary\n" << std::right;
    }
  }

  void writeWarnings() {
    if (!report.hasStages() || report.warnings.empty()) return;
    writeHeading(out, "Warnings");
    for (const TrainingWarning& warning : report.warnings) out << warning.subject << ": " << warning.text << '\n';
  }

  /// Those of the last stage that is kept.
  void writeLosses() {
    static constexpr std::pair<QUVENModelLosses::Kind, const char*> kinds[] = {
        {QUVENModelLosses::Train, "training records, final model"},
        {QUVENModelLosses::Folds, "each fold, by the model that has not seen it"},
        {QUVENModelLosses::HeldOut, "held-out records, by a model that has not seen them"},
        {QUVENModelLosses::Test, "test records, final model"}};
    writeHeading(out, lossTitle(report.lossId));
    for (const auto& [kind, text] : kinds) {
      const double loss = report.losses.getLoss(kind, report.losses.getNumStages());
      out << std::left << std::setw(56) << text << std::right << std::setw(numberWidth) << shortText(loss);
      if (!std::isnan(loss) && isSquared(report.lossId)) out << "  (root " << shortText(std::sqrt(loss)) << ')';
      out << '\n';
    }
  }

  void writeStages() {
    writeHeading(out, "Stages");
    out << "stage kept passes inputs         alpha  output alpha         score" << std::setw(numberWidth) << "train"
        << std::setw(numberWidth) << "folds" << std::setw(numberWidth) << "held out" << std::setw(numberWidth) << "test"
        << '\n';
    const auto cell = [&](double value) { out << std::setw(numberWidth) << shortText(value); };
    const auto ofFinalChannel = [](const std::vector<double>& alphas) {
      return alphas.empty() ? std::numeric_limits<double>::quiet_NaN() : alphas.front();
    };
    long number = 0;
    for (const DescribedStage& stage : report.stages) {
      ++number;
      out << std::setw(5) << number << std::setw(5)
          << (!stage.isKept    ? "no"
              : stage.isOutput ? "out"
                               : "yes")
          << std::setw(7) << stage.passes << std::setw(7) << stage.rank;
      cell(ofFinalChannel(stage.alphas));
      cell(ofFinalChannel(stage.outputAlphas));
      cell(stage.score.ivPts > 0 ? stage.score.ivFit / stage.score.ivPts : std::numeric_limits<double>::quiet_NaN());
      for (const auto kind :
           {QUVENModelLosses::Train, QUVENModelLosses::Folds, QUVENModelLosses::HeldOut, QUVENModelLosses::Test}) {
        cell(stage.isKept ? report.losses.getLoss(kind, number) : std::numeric_limits<double>::quiet_NaN());
      }
      out << (stage.hasNoSignal ? "  no signal\n" : "\n");
    }
    out << "The score is that of the output transform, a negative log-likelihood for each record; less is better.\n"
           "Kept \"out\": the output transform has taken the place of the stage.\n"
        << report.outcome << '\n';
  }

  void writeImportance() {
    writeHeading(out, "Importance of the inputs");
    for (const InputImportance& row : report.importances) {
      const double bar = std::isnan(row.share) ? 0 : row.share * plotWidth;
      const std::string name = row.input.empty() ? "(outputs of earlier stages)" : row.input;
      if (isLong(name)) out << name << '\n';
      out << std::left << std::setw(nameWidth) << (isLong(name) ? std::string() : name) << std::right << std::setw(8)
          << std::fixed << std::setprecision(2) << 100 * row.share << " %  " << std::defaultfloat
          << std::string(static_cast<std::size_t>(std::lround(bar)), '#') << '\n';
    }
  }

  /// What each input does in the first stage, in which no output of an earlier stage has a part.
  void writeFirstStage(const DescribedStage& stage) {
    const DescribedSegment& regression = stage.transforms.front().segments.front();
    if (stage.transforms.size() == 1) {
      writeLinear(regression, stage);
      return;
    }
    for (std::size_t t = 1; t < stage.transforms.size(); ++t) {
      const DescribedTransform& transform = stage.transforms[t];
      const auto term = std::find_if(regression.terms.begin(), regression.terms.end(),
                                     [&](const ModelTerm& of) { return of.field == transform.field; });
      writeTransform(transform, "Transform of " + transform.field + " in stage 1");
      if (term != regression.terms.end()) {
        out << "Its factor in the stage is " << shortText(term->coefficient) << ".\n";
      }
    }
  }

  void writeTerms(const DescribedSegment& segment) {
    for (const ModelTerm& term : segment.terms) {
      out << std::left << std::setw(nameWidth) << term.field << std::right << std::setw(numberWidth)
          << shortText(term.coefficient) << '\n';
    }
  }

  void writeLinear(const DescribedSegment& segment, const DescribedStage& stage) {
    writeHeading(out, "Linear model with " + std::to_string(stage.rank) + (stage.rank == 1 ? " input" : " inputs"));
    if (stage.hasNoSignal) out << "No input predicts the target better than its mean does.\n";
    out << std::left << std::setw(nameWidth) << "intercept" << std::right << std::setw(numberWidth)
        << shortText(segment.intercept) << '\n';
    writeTerms(segment);
    out << "standard deviation of a prediction's error: " << shortText(segment.stdDev) << '\n';
  }

  /// The prediction of a segment where its field has a value and all others have their means.
  double predictionOf(const DescribedTransform& transform, const DescribedSegment& segment, double x) const {
    double value = segment.intercept;
    for (const ModelTerm& term : segment.terms) {
      value += term.coefficient * (term.field == transform.field ? x : summaries.at(term.field).mean());
    }
    return value;
  }

  struct PlotRow {
    std::string label;
    double value;
  };

  static bool isLong(const std::string& label) { return label.size() > static_cast<std::size_t>(nameWidth); }

  static std::string joinedLabels(const std::vector<std::string>& labels) {
    std::string all;
    for (const std::string& label : labels) {
      if (!all.empty()) all += ", ";
      all += label == "*" ? std::string("all other") : label;
    }
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
    std::replace_if(all.begin(), all.end(), isControl, ' ');  // a row of the plot is one line
    return all;
  }

  void addRows(const DescribedTransform& transform, const DescribedSegment& segment, std::vector<PlotRow>& rows) const {
    switch (segment.kind) {
      case DescribedSegment::Kind::Interval: {
        const ColumnSummary& column = summaries.at(transform.field);
        const double from = std::isinf(segment.from) ? std::fmin(column.smallest, segment.to) : segment.from;
        const double to = std::isinf(segment.to) ? std::fmax(column.largest, segment.from) : segment.to;
        for (const double x : {from, from + (to - from) / 2, to}) {
          rows.push_back({shortText(x), predictionOf(transform, segment, x)});
        }
        break;
      }
      case DescribedSegment::Kind::Categories:
        rows.push_back({joinedLabels(segment.categories), predictionOf(transform, segment, 0)});
        break;
      case DescribedSegment::Kind::Missing: {
        const std::string others = joinedLabels(segment.categories);
        rows.push_back({others.empty() ? "missing" : "missing, " + others, predictionOf(transform, segment, 0)});
        break;
      }
      case DescribedSegment::Kind::All:
        rows.push_back({"all", predictionOf(transform, segment, 0)});
        break;
    }
  }

  void writeTransform(const DescribedTransform& transform, const std::string& heading) {
    writeHeading(out, heading);
    out << transform.initialSegments << " segments, merged to " << transform.segments.size()
        << "; all other columns at their means\n";
    std::vector<PlotRow> rows;
    for (const DescribedSegment& segment : transform.segments) {
      if (segment.points > 0) addRows(transform, segment, rows);
    }
    if (rows.empty()) return;
    const auto less = [](const PlotRow& a, const PlotRow& b) { return a.value < b.value; };
    const double low = std::min_element(rows.begin(), rows.end(), less)->value;
    const double high = std::max_element(rows.begin(), rows.end(), less)->value;
    for (const PlotRow& row : rows) {
      const double share = high > low ? (row.value - low) / (high - low) : 0;
      const auto place = static_cast<std::size_t>(std::lround(share * (plotWidth - 1)));
      if (isLong(row.label)) out << row.label << '\n';
      out << std::setw(nameWidth) << (isLong(row.label) ? std::string() : row.label) << ' ' << std::setw(numberWidth)
          << shortText(row.value) << "  |" << std::string(place, ' ') << "*\n";
    }
    for (const DescribedSegment& segment : transform.segments) {
      if (segment.points > 0) continue;
      out << "Segment " << (&segment - transform.segments.data() + 1) << " (" << nameOf(segment.kind)
          << ") has no training record: UnseenValues says what predicts there.\n";
    }
  }

  const TrainingReport& report;
  std::ostream& out;
  std::map<std::string, ColumnSummary> summaries;
};

}  // namespace

void writeReport(const TrainingReport& report, std::ostream& out) { TextReport(report, out).write(); }

}  // namespace vesk_analyze
