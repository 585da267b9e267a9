#ifndef VESK_REPORT_CHARTS_H
#define VESK_REPORT_CHARTS_H

#include <string>
#include <vector>

#include "page/svg_picture.h"
#include "report/energy_curve.h"
#include "report/level_rows.h"
#include "report/size_bins.h"

namespace vesk {

/// A picture with its title, and its description for screen readers.
struct ReportChart {
  vesk_page::SvgPicture picture;
  std::string title;
  std::string description;
};

/// Requires: at least one bin, as for the next.
ReportChart drawSizes(const SizesAndDensities& groups);
/// The darker a field, the more groups have this size and density.
ReportChart drawDensities(const SizesAndDensities& groups);
/// Requires: at least two points, as for the next.
ReportChart drawEnergies(const EnergyCurve& curve);
/// Shares of the energy, and of the seeds if there are any, that the first subscribers have.
ReportChart drawShares(const EnergyCurve& curve);
/// Requires: at least two levels.
ReportChart drawLevels(const std::vector<LevelRow>& levels);

}  // namespace vesk

#endif  // VESK_REPORT_CHARTS_H
