#ifndef VESK_ANALYZE_CAPTURED_SHARES_H
#define VESK_ANALYZE_CAPTURED_SHARES_H

#include <vector>

#include "evaluation_report.h"

namespace vesk_analyze {

/// The share of the target's sum in the records with the largest predictions, as a function of their share of all
/// records.
///
/// Within a bin the share is interpolated linearly, as if the actual values were spread evenly over its records. The
/// last piece of the line goes to (1, 1), because the records below the lowest boundary have no bin.
class CapturedShares {
 public:
  struct Point {
    double records = 0;   ///< share of the records
    double captured = 0;  ///< share of the sum
  };

  /// rows: those of a lift curve of the report.
  CapturedShares(const EvaluationReport& report, const std::vector<LiftRow>& rows);

  /// False when the mean of the target is not above 0, a sum is not finite, or the curve has fewer than two bins.
  bool isUsable() const { return !points.empty(); }
  /// From (0, 0) to (1, 1).
  const std::vector<Point>& getPoints() const { return points; }
  /// Requires: isUsable(), 0 <= records <= 1.
  double capturedAt(double records) const;

 private:
  std::vector<Point> points;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_CAPTURED_SHARES_H
