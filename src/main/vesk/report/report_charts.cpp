#include "report/report_charts.h"

#include <algorithm>
#include <cmath>

#include "page/html_text.h"

namespace vesk {

namespace {

using vesk_page::ChartRange;
using vesk_page::ChartScale;
using vesk_page::countNumber;
using vesk_page::percentText;
using vesk_page::PicturePoint;
using vesk_page::PictureRectangle;
using vesk_page::PlotArea;
using vesk_page::shortNumber;
using vesk_page::SvgPicture;

// A picture is as wide as a narrow screen, so that its texts are not scaled down there.
constexpr double pictureWidth = 360;
constexpr double pictureHeight = 260;
constexpr PictureRectangle plot = {66, 34, pictureWidth - 82, pictureHeight - 82};

std::string countText(std::uint64_t count) { return countNumber(static_cast<double>(count)); }

std::string withNoun(std::uint64_t count, const std::string& noun) {
  return countText(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string textOf(const SizeBin& bin) {
  return bin.from == bin.to ? countText(bin.from) : countText(bin.from) + "–" + countText(bin.to);
}

std::string membersOf(const SizeBin& bin) {
  return bin.from == bin.to ? withNoun(bin.from, "member") : textOf(bin) + " members";
}

/// The place of the i-th of n bins of one width on the horizontal axis.
PictureRectangle columnOf(std::size_t i, std::size_t n) {
  const double width = plot.width / static_cast<double>(n);
  return {plot.left + width * static_cast<double>(i), plot.top, width, plot.height};
}

/// Texts under the bins, as many as fit.
void drawSizeMarks(SvgPicture& picture, const std::vector<SizeBin>& bins) {
  constexpr double characterWidth = 7.5;
  std::size_t longest = 0;
  for (const SizeBin& bin : bins) longest = std::max(longest, countText(bin.from).size());
  const bool areSingle = std::ranges::all_of(bins, [](const SizeBin& bin) { return bin.from == bin.to; });
  const double textWidth = characterWidth * (static_cast<double>(longest) + 1);
  const auto every = static_cast<std::size_t>(std::ceil(textWidth * static_cast<double>(bins.size()) / plot.width));
  const auto draw = [&](double x, std::uint64_t size) {
    if (!areSingle) picture.addLine({{x, plot.bottom()}, {x, plot.bottom() + 4}}, "axis");
    picture.addText({x, plot.bottom() + 17}, SvgPicture::Anchor::Middle, countText(size));
  };
  double last = 0;
  for (std::size_t i = 0; i < bins.size(); i += std::max<std::size_t>(every, 1)) {
    const PictureRectangle column = columnOf(i, bins.size());
    // The mark of a range of sizes is at the left edge of its bar.
    last = areSingle ? column.left + column.width / 2 : column.left;
    draw(last, bins[i].from);
  }
  if (!areSingle && plot.right() - last >= textWidth) draw(plot.right(), bins.back().to);
}

PlotArea areaUp(ChartRange up) {
  ChartRange across;
  across.include(0);
  across.include(1);
  return {plot, across, up};
}

ChartRange wholeRange(double low, double high) {
  ChartRange range;
  range.include(low);
  range.include(high);
  return range;
}

void drawAxes(SvgPicture& picture, const PlotArea& area, const std::string& across, const std::string& up) {
  area.drawMarksAcross(picture);
  area.drawMarksUp(picture);
  area.drawFrame(picture);
  area.drawTitles(picture, across, up);
}

}  // namespace

ReportChart drawSizes(const SizesAndDensities& groups) {
  SvgPicture picture(pictureWidth, pictureHeight);
  const SizeBin& most = *std::ranges::max_element(groups.bins, {}, &SizeBin::groups);
  constexpr std::uint64_t leastTop = 5;  // so that all marks are whole numbers
  const PlotArea area = areaUp(wholeRange(0, static_cast<double>(std::max(most.groups, leastTop))));
  area.drawMarksUp(picture);
  for (std::size_t i = 0; i < groups.bins.size(); ++i) {
    const SizeBin& bin = groups.bins[i];
    if (bin.groups == 0) continue;
    const PictureRectangle column = columnOf(i, groups.bins.size());
    const double gap = std::min(2.0, column.width / 8);
    const double top = area.yOf(static_cast<double>(bin.groups));
    picture.addRectangle({column.left + gap, top, column.width - 2 * gap, plot.bottom() - top}, "fill first",
                         membersOf(bin) + ": " + withNoun(bin.groups, "group"));
  }
  area.drawFrame(picture);
  drawSizeMarks(picture, groups.bins);
  area.drawTitles(picture, "members of a group", "groups");
  return {
      picture, "Sizes of the groups",
      "Groups by their number of members. Most groups, " + countText(most.groups) + ", have " + membersOf(most) + "."};
}

ReportChart drawDensities(const SizesAndDensities& groups) {
  constexpr int numShades = 5;
  SvgPicture picture(pictureWidth, pictureHeight);
  const PlotArea area = areaUp(wholeRange(0, groups.densityTop));
  area.drawMarksUp(picture);
  std::uint64_t most = 1;
  for (const SizeBin& bin : groups.bins) most = std::max(most, std::ranges::max(bin.ofDensity));
  const double stepHeight = groups.densityTop / static_cast<double>(SizesAndDensities::numDensitySteps);
  std::vector<PicturePoint> medians;
  for (std::size_t i = 0; i < groups.bins.size(); ++i) {
    const SizeBin& bin = groups.bins[i];
    const PictureRectangle column = columnOf(i, groups.bins.size());
    for (std::size_t step = 0; step < bin.ofDensity.size(); ++step) {
      const std::uint64_t count = bin.ofDensity[step];
      if (count == 0) continue;
      const double low = stepHeight * static_cast<double>(step);
      const double top = area.yOf(low + stepHeight);
      // The shades divide the logarithm of the counts.
      const double part = most == 1 ? 0 : std::log(static_cast<double>(count)) / std::log(static_cast<double>(most));
      const int shade = 1 + static_cast<int>(part * (numShades - 1) + 0.5);
      picture.addRectangle({column.left + 0.5, top + 0.5, std::max(1.0, column.width - 1), area.yOf(low) - top - 1},
                           "shade shade" + std::to_string(shade),
                           membersOf(bin) + ", density " + shortNumber(low) + " to " + shortNumber(low + stepHeight) +
                               ": " + withNoun(count, "group"));
    }
    if (bin.groups > 0) medians.push_back({column.left + column.width / 2, area.yOf(bin.medianDensity)});
  }
  picture.addLine(medians, "line second");
  for (const PicturePoint& point : medians) picture.addCircle(point, 2.5, "fill second");
  area.drawFrame(picture);
  drawSizeMarks(picture, groups.bins);
  area.drawTitles(picture, "members of a group", "density");
  picture.addLegend(
      {plot.left, 16},
      {{"shade shade1", "few groups", false}, {"shade shade5", "many", false}, {"line second", "median"}});
  const auto withGroups = [](const SizeBin& bin) { return bin.groups > 0; };
  const auto smallest = std::ranges::find_if(groups.bins, withGroups);
  const auto largest = std::find_if(groups.bins.rbegin(), groups.bins.rend(), withGroups);
  return {picture, "Density by size",
          "Density of the groups by their number of members. The median is " + shortNumber(smallest->medianDensity) +
              " for groups of " + membersOf(*smallest) + " and " + shortNumber(largest->medianDensity) +
              " for groups of " + membersOf(*largest) + "."};
}

ReportChart drawEnergies(const EnergyCurve& curve) {
  SvgPicture picture(pictureWidth, pictureHeight);
  ChartRange ranks(ChartScale::Logarithmic);
  ChartRange energies(ChartScale::Logarithmic);
  for (const EnergyPoint& point : curve.points) {
    ranks.include(static_cast<double>(point.rank));
    energies.include(point.energy);
  }
  const PlotArea area(plot, ranks, energies);
  drawAxes(picture, area, "rank by energy", "energy");
  std::vector<PicturePoint> line;
  for (const EnergyPoint& point : curve.points) {
    line.push_back(area.pointOf(static_cast<double>(point.rank), point.energy));
  }
  picture.addLine(line, "line first");
  return {picture, "Energy by rank",
          "Energy of the subscribers against their rank, both on logarithmic axes, from " +
              shortNumber(curve.points.front().energy) + " at rank 1 to " + shortNumber(curve.points.back().energy) +
              " at rank " + countText(curve.points.back().rank) + "."};
}

ReportChart drawShares(const EnergyCurve& curve) {
  SvgPicture picture(pictureWidth, pictureHeight);
  ChartRange ranks(ChartScale::Logarithmic);
  for (const EnergyPoint& point : curve.points) ranks.include(static_cast<double>(point.rank));
  const PlotArea area(plot, ranks, wholeRange(0, 100));
  drawAxes(picture, area, "first subscribers by energy", "share (%)");
  std::vector<PicturePoint> energyLine;
  std::vector<PicturePoint> seedLine;
  for (const EnergyPoint& point : curve.points) {
    const auto rank = static_cast<double>(point.rank);
    energyLine.push_back(area.pointOf(rank, 100 * point.share));
    if (curve.seeds == 0) continue;
    const double share = static_cast<double>(point.seeds) / static_cast<double>(curve.seeds);
    seedLine.push_back(area.pointOf(rank, 100 * share));
  }
  picture.addLine(seedLine, "line second");
  picture.addLine(energyLine, "line first");
  std::vector<SvgPicture::LegendEntry> legend = {{"line first", "of the energy"}};
  if (curve.seeds > 0) legend.push_back({"line second", "of the seeds"});
  picture.addLegend({plot.left, 16}, legend);
  const EnergyPoint& middle = curve.decades[curve.decades.size() / 2];
  std::string description = "The first " + withNoun(middle.rank, "subscriber") + " by energy " +
                            (middle.rank == 1 ? "has " : "have ") + percentText(middle.share) + " of the energy";
  if (curve.seeds > 0)
    description += " and are " + countText(middle.seeds) + " of the " + withNoun(curve.seeds, "seed");
  return {picture, "What the first subscribers hold", description + "."};
}

ReportChart drawLevels(const std::vector<LevelRow>& levels) {
  std::vector<LevelRow> ordered = levels;
  std::ranges::sort(ordered, {}, &LevelRow::level);
  SvgPicture picture(pictureWidth, pictureHeight);
  ChartRange across = wholeRange(ordered.front().level, ordered.back().level);
  across.widen();
  ChartRange up = wholeRange(0, 1);
  for (const LevelRow& row : ordered) {
    up.include(row.modularity);
    up.include(row.coverage);
  }
  const PlotArea area(plot, across, up);
  drawAxes(picture, area, "sparsity level", "modularity, coverage");
  std::vector<PicturePoint> modularity;
  std::vector<PicturePoint> coverage;
  std::string description = "Modularity and coverage at each level.";
  for (const LevelRow& row : ordered) {
    if (row.isChosen) {
      const double x = area.xOf(row.level);
      picture.addLine({{x, plot.top}, {x, plot.bottom()}}, "line chosen");
      description +=
          " The run went on with level " + shortNumber(row.level) + ", modularity " + shortNumber(row.modularity) + ".";
    }
    modularity.push_back(area.pointOf(row.level, row.modularity));
    coverage.push_back(area.pointOf(row.level, row.coverage));
  }
  picture.addLine(coverage, "line second");
  picture.addLine(modularity, "line first");
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    const std::string level = "level " + shortNumber(ordered[i].level) + (ordered[i].isChosen ? ", chosen" : "");
    picture.addCircle(coverage[i], 3.5, "fill second", level + ": coverage " + shortNumber(ordered[i].coverage));
    picture.addCircle(modularity[i], ordered[i].isChosen ? 6 : 3.5, "fill first",
                      level + ": modularity " + shortNumber(ordered[i].modularity));
  }
  std::vector<SvgPicture::LegendEntry> legend = {{"line first", "modularity"}, {"line second", "coverage"}};
  if (std::ranges::any_of(ordered, &LevelRow::isChosen)) legend.push_back({"line chosen", "chosen"});
  picture.addLegend({plot.left, 16}, legend);
  return {picture, "Levels", description};
}

}  // namespace vesk
