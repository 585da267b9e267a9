#include "captured_shares.h"

#include <algorithm>
#include <cmath>

namespace vesk_analyze {

CapturedShares::CapturedShares(const EvaluationReport& report, const std::vector<LiftRow>& rows) {
  const double sum = report.meanActual * report.numRecords;
  if (rows.size() < 2 || !(sum > 0) || !std::isfinite(sum)) return;
  points.push_back({});
  for (const LiftRow& row : rows) {
    const Point point{row.cumRecords / report.numRecords, row.cumActual / sum};
    if (!std::isfinite(point.records) || !std::isfinite(point.captured)) {
      points.clear();
      return;
    }
    if (point.records > points.back().records) points.push_back(point);  // skips bins without records
  }
  if (points.back().records < 1) points.push_back({1, 1});
}

double CapturedShares::capturedAt(double records) const {
  const auto next =
      std::find_if(points.begin() + 1, points.end() - 1, [&](const Point& point) { return point.records >= records; });
  const Point& from = *(next - 1);
  const double step = (records - from.records) / (next->records - from.records);
  return from.captured + step * (next->captured - from.captured);
}

}  // namespace vesk_analyze
