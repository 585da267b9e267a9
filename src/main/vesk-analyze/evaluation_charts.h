#ifndef VESK_ANALYZE_EVALUATION_CHARTS_H
#define VESK_ANALYZE_EVALUATION_CHARTS_H

#include <string>
#include <vector>

#include "captured_shares.h"
#include "evaluation_report.h"
#include "page/svg_picture.h"

namespace vesk_analyze {

/// A picture with its title and texts.
struct EvaluationChart {
  vesk_page::SvgPicture picture;
  std::string title;
  std::string description;
  std::string remark = {};  ///< a sentence under the picture; may be empty
};

/// The text for a segment: "0.5 to 3", "up to 3", the labels of its categories, "missing".
std::string segmentLabel(const DescribedSegment& segment);

/// The captured share of the target's sum against the share of records.
/// Requires: model.isUsable(). The optimum is left out if it is not usable.
EvaluationChart drawLiftChart(const CapturedShares& model, const CapturedShares& optimum);

/// Whether some row has records with finite means. The charts below require such a row.
bool canDraw(const std::vector<ResidualRow>& rows);

/// Mean actual against mean predicted value of each twentieth.
EvaluationChart drawCalibrationChart(const EvaluationReport& report);

/// One bar per row.
/// Requires: the rows are not empty.
EvaluationChart drawSensitivityChart(const std::vector<SensitivityRow>& rows);

/// The mean actual and predicted values of a field's segments: steps for a numeric field, bars for a categorical one.
///
/// The axis of a numeric field is to scale, unless a segment with records would be too narrow to see; then all segments
/// have the same width. Missing values are at the right end.
EvaluationChart drawFieldChart(const FieldCurve& curve, const std::vector<ResidualRow>& rows,
                               const std::string& target);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_CHARTS_H
