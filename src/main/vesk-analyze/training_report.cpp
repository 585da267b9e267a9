// The tables of a training: stages and segments as CSV.

#include "training_report.h"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "control/quven_csv_reader.h"
#include "exact_text.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "segment_cells.h"

namespace vesk_analyze {

namespace {

std::string termsText(const std::vector<ModelTerm>& terms) {
  std::string all;
  for (const ModelTerm& term : terms) {
    if (!all.empty()) all += ' ';
    all += term.field + ":" + exactText(term.coefficient);
  }
  return all;
}

void writeSegment(const std::string& place, const DescribedSegment& segment, std::ostream& out) {
  out << place << ',' << segmentCells(segment) << ',' << exactText(segment.points) << ','
      << exactText(segment.intercept) << ',' << exactText(segment.stdDev) << ','
      << quvenCsvCell(termsText(segment.terms)) << '\n';
}

void writeAlphaHeadings(const char* name, std::int32_t numChannels, std::ostream& out) {
  for (std::int32_t c = 1; c <= numChannels; ++c) out << ',' << name << c;
}

/// One cell a channel; empty without step sizes.
void writeAlphas(const std::vector<double>& alphas, std::int32_t numChannels, std::ostream& out) {
  if (alphas.empty()) out << std::string(static_cast<std::size_t>(numChannels), ',');
  for (const double alpha : alphas) out << ',' << numberText(alpha);
}

/// The score of a boosted model's stage overflows with its predictions; any other score that is NaN has no record.
void writeScore(const QUVENScoreTriple& score, bool ofStage, std::ostream& out) {
  for (const double number : {score.ivPts, score.ivFit, score.ivVar}) {
    out << ',' << (ofStage ? numberText(number) : exactText(number));
  }
}

}  // namespace

std::string lossText(const QUVENModelLosses& losses, QUVENModelLosses::Kind kind, long stage) {
  const double loss = losses.getLoss(kind, stage);
  return losses.hasWeight(kind) ? numberText(loss) : exactText(loss);
}

void writeStages(const TrainingReport& report, std::ostream& out) {
  const std::int32_t numChannels = report.parameters.getDealing().getNumChannels();
  out << "stage,kept,passes,rank,no_signal,points,fit,variance";
  writeAlphaHeadings("alpha_", numChannels, out);
  if (report.hasStages()) writeAlphaHeadings("output_alpha_", numChannels, out);
  out << ",loss_train,loss_folds,loss_heldout,loss_test\n";
  long number = 0;
  for (const DescribedStage& stage : report.stages) {
    out << ++number << ',' << (stage.isKept ? 1 : 0) << ',' << stage.passes << ',' << stage.rank << ','
        << (stage.hasNoSignal ? 1 : 0);
    writeScore(stage.score, report.hasStages(), out);
    writeAlphas(stage.alphas, numChannels, out);
    if (report.hasStages()) writeAlphas(stage.outputAlphas, numChannels, out);
    for (const auto kind :
         {QUVENModelLosses::Train, QUVENModelLosses::Folds, QUVENModelLosses::HeldOut, QUVENModelLosses::Test}) {
      out << ',' << (stage.isKept ? lossText(report.losses, kind, number) : "");
    }
    out << '\n';
  }
}

void writeSegments(const TrainingReport& report, std::ostream& out) {
  out << "stage,transform,field,segment,kind,from,to,categories,points,intercept,stddev,terms\n";
  for (std::size_t s = 0; s < report.stages.size(); ++s) {
    const std::vector<DescribedTransform>& transforms = report.stages[s].transforms;
    for (std::size_t t = 0; t < transforms.size(); ++t) {
      for (std::size_t i = 0; i < transforms[t].segments.size(); ++i) {
        const std::string place = std::to_string(s + 1) + "," + transforms[t].place + "," +
                                  quvenCsvCell(transforms[t].field) + "," + std::to_string(i + 1);
        writeSegment(place, transforms[t].segments[i], out);
      }
    }
  }
}

void writeFields(const TrainingReport& report, std::ostream& out) {
  out << "field,importance,stages_used,missing,categories\n";
  for (const InputImportance& row : report.importances) {
    out << quvenCsvCell(row.input.empty() ? "earlier stages" : row.input) << ',' << exactText(row.share) << ','
        << row.stagesUsed << ',';
    const QUVENField* field = report.fields.findInput(row.input);
    if (field == nullptr) {
      out << ",\n";
    } else if (field->isNumeric()) {
      out << exactText(static_cast<const QUVENNumField*>(field)->getDistribution()->getMissingCount()) << ",\n";
    } else {
      const QUVENCatFieldDist& distribution = *static_cast<const QUVENCatField*>(field)->getDistribution();
      out << exactText(distribution.getMissingCount()) << ',' << distribution.getNumCats() << '\n';
    }
  }
}

}  // namespace vesk_analyze
