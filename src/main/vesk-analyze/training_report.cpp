// The tables of a training: stages and segments as CSV.

#include "training_report.h"

#include <cmath>
#include <ostream>

#include "control/quven_csv_reader.h"
#include "exact_text.h"

namespace vesk_analyze {

namespace {

std::string endText(double end) { return std::isinf(end) ? std::string() : exactText(end); }

std::string joined(const std::vector<std::string>& texts, const char* between) {
  std::string all;
  for (const std::string& text : texts) all += (&text == &texts.front() ? "" : between) + text;
  return all;
}

std::string termsText(const std::vector<ModelTerm>& terms) {
  std::string all;
  for (const ModelTerm& term : terms) {
    if (!all.empty()) all += ' ';
    all += term.field + ":" + exactText(term.coefficient);
  }
  return all;
}

void writeSegment(const std::string& place, const DescribedSegment& segment, std::ostream& out) {
  out << place << ',' << nameOf(segment.kind) << ',' << endText(segment.from) << ',' << endText(segment.to) << ','
      << quvenCsvCell(joined(segment.categories, "|")) << ',' << exactText(segment.points) << ','
      << exactText(segment.intercept) << ',' << exactText(segment.stdDev) << ','
      << quvenCsvCell(termsText(segment.terms)) << '\n';
}

}  // namespace

void writeStages(const TrainingReport& report, std::ostream& out) {
  const std::int32_t numChannels = report.parameters.getDealing().getNumChannels();
  out << "stage,kept,passes,rank,no_signal,points,fit,variance";
  for (std::int32_t c = 1; c <= numChannels; ++c) out << ",alpha_" << c;
  out << ",loss_train,loss_folds,loss_heldout,loss_test\n";
  long number = 0;
  for (const DescribedStage& stage : report.stages) {
    out << ++number << ",1," << report.passes << ',' << stage.rank << ',' << (stage.hasNoSignal ? 1 : 0) << ','
        << exactText(stage.score.ivPts) << ',' << exactText(stage.score.ivFit) << ',' << exactText(stage.score.ivVar)
        << std::string(static_cast<std::size_t>(numChannels), ',');
    for (const auto kind :
         {QUVENModelLosses::Train, QUVENModelLosses::Folds, QUVENModelLosses::HeldOut, QUVENModelLosses::Test}) {
      out << ',' << exactText(report.losses.getLoss(kind, 1));
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
        const std::string place = std::to_string(s + 1) + "," + std::to_string(t + 1) + "," +
                                  quvenCsvCell(transforms[t].field) + "," + std::to_string(i + 1);
        writeSegment(place, transforms[t].segments[i], out);
      }
    }
  }
}

}  // namespace vesk_analyze
