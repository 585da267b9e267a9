#ifndef VESK_ANALYZE_EVALUATION_CHARTS_H
#define VESK_ANALYZE_EVALUATION_CHARTS_H

#include <string>
#include <vector>

#include "captured_shares.h"
#include "evaluation_report.h"
#include "svg_picture.h"

namespace vesk_analyze {

/// A picture with the words for it.
struct EvaluationChart {
  SvgPicture picture;
  std::string title;
  std::string description;
  std::string remark = {};  ///< a sentence under the picture; may be empty
};

/// A segment in words: "0.5 to 3", "up to 3", the labels of its categories, "missing".
std::string segmentLabel(const DescribedSegment& segment);

/// The captured share of the target's sum against the share of records.
/// Requires: a usable curve; the optimum is left
/// out when it is not usable.
EvaluationChart drawLiftChart(const CapturedShares& model, const CapturedShares& optimum);

/// True when some row has records with finite means: the charts below need such a row.
bool canDraw(const std::vector<ResidualRow>& rows);

/// Mean actual against mean predicted value of each twentieth.
EvaluationChart drawCalibrationChart(const EvaluationReport& report);

/// One bar per row.
/// Requires: rows that are not empty.
EvaluationChart drawSensitivityChart(const std::vector<SensitivityRow>& rows);

/// The mean actual and predicted values of a field's segments: steps over a numeric field, bars for the others.
///
/// A numeric field has a scale of its values, unless a segment with records would be too narrow to be seen: then all
/// segments have the same width. Missing values are at the right end.
EvaluationChart drawFieldChart(const FieldCurve& curve, const std::vector<ResidualRow>& rows,
                               const std::string& target);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_EVALUATION_CHARTS_H
