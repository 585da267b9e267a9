#include "evaluation_charts.h"

#include <algorithm>
#include <cmath>

#include "page/html_text.h"

namespace vesk_analyze {

using vesk_page::ChartRange;
using vesk_page::cleanText;
using vesk_page::countNumber;
using vesk_page::percentText;
using vesk_page::PicturePoint;
using vesk_page::PictureRectangle;
using vesk_page::PlotArea;
using vesk_page::shortenedText;
using vesk_page::shortNumber;
using vesk_page::SvgPicture;

namespace {

constexpr double pictureWidth = 480;
constexpr std::size_t labelCharacters = 22;

bool canDrawRow(const ResidualRow& row) {
  return row.records > 0 && std::isfinite(row.meanActual) && std::isfinite(row.meanPredicted);
}

std::string hintOf(const std::string& name, const ResidualRow& row) {
  return name + ": mean actual " + shortNumber(row.meanActual) + ", mean predicted " + shortNumber(row.meanPredicted) +
         ", " + countNumber(row.records) + (row.records == 1 ? " record" : " records");
}

}  // namespace

bool canDraw(const std::vector<ResidualRow>& rows) { return std::any_of(rows.begin(), rows.end(), canDrawRow); }

std::string segmentLabel(const DescribedSegment& segment) {
  std::string labels;
  for (const std::string& category : segment.categories) {
    if (!labels.empty()) labels += ", ";
    labels += category == "*" ? "all other" : category.empty() ? "(empty)" : category;
  }
  switch (segment.kind) {
    case DescribedSegment::Kind::Interval:
      if (std::isinf(segment.from) && std::isinf(segment.to)) return "all values";
      if (std::isinf(segment.from)) return "up to " + shortNumber(segment.to);
      if (std::isinf(segment.to)) return "above " + shortNumber(segment.from);
      return shortNumber(segment.from) + " to " + shortNumber(segment.to);
    case DescribedSegment::Kind::Categories:
      return labels;
    case DescribedSegment::Kind::Missing:
      return labels.empty() ? "missing" : "missing, " + labels;
    case DescribedSegment::Kind::All:
      break;
  }
  return "all";
}

EvaluationChart drawLiftChart(const CapturedShares& model, const CapturedShares& optimum) {
  SvgPicture picture(pictureWidth, 400);
  ChartRange records;
  ChartRange captured;
  for (const double end : {0.0, 100.0}) {
    records.include(end);
    captured.include(end);
  }
  for (const CapturedShares* curve : {&model, &optimum}) {
    for (const CapturedShares::Point& point : curve->getPoints()) captured.include(100 * point.captured);
  }
  const PlotArea area({58, 36, pictureWidth - 76, 310}, records, captured);
  area.drawMarksAcross(picture);
  area.drawMarksUp(picture);
  area.drawFrame(picture);
  area.drawTitles(picture, "records, largest predictions first (%)", "share of the target's sum (%)");
  const auto lineOf = [&](const CapturedShares& curve) {
    std::vector<PicturePoint> line;
    for (const CapturedShares::Point& point : curve.getPoints()) {
      line.push_back(area.pointOf(100 * point.records, 100 * point.captured));
    }
    return line;
  };
  picture.addLine({area.pointOf(0, 0), area.pointOf(100, 100)}, "line chance");
  picture.addLine(lineOf(optimum), "line actual");
  picture.addLine(lineOf(model), "line predicted");
  picture.addLegend(
      {area.getPlace().left, 16},
      {{"line predicted", "model"}, {"line actual", "optimum, ordered by the target"}, {"line chance", "chance"}});
  return {picture, "Lift curve",
          "The first 10 % of the records have " + percentText(model.capturedAt(0.1)) +
              " of the target's sum, the first 50 % have " + percentText(model.capturedAt(0.5)) +
              ". A curve above the diagonal orders the records better than chance."};
}

EvaluationChart drawCalibrationChart(const EvaluationReport& report) {
  SvgPicture picture(pictureWidth, 400);
  ChartRange values;
  for (const ResidualRow& row : report.twentieths) {
    if (!canDrawRow(row)) continue;
    values.include(row.meanActual);
    values.include(row.meanPredicted);
  }
  const PlotArea area({72, 36, pictureWidth - 90, 310}, values, values);
  area.drawMarksAcross(picture);
  area.drawMarksUp(picture);
  area.drawFrame(picture);
  area.drawTitles(picture, "mean predicted value", "mean actual value");
  const std::string twentieth = "twentieth ";
  picture.addLine({area.pointOf(values.getLow(), values.getLow()), area.pointOf(values.getHigh(), values.getHigh())},
                  "line chance");
  std::size_t number = 0;
  for (const ResidualRow& row : report.twentieths) {
    ++number;
    if (!canDrawRow(row)) continue;
    picture.addCircle(area.pointOf(row.meanPredicted, row.meanActual), 5, "fill predicted",
                      hintOf(twentieth + std::to_string(number), row));
  }
  picture.addLegend({area.getPlace().left, 16},
                    {{"fill predicted", "a twentieth of the records", false}, {"line chance", "exact predictions"}});
  return {picture, "Calibration",
          "Mean actual value against mean predicted value, from " + shortNumber(values.getLow()) + " to " +
              shortNumber(values.getHigh()) + ". Points above the diagonal are predicted too low."};
}

EvaluationChart drawSensitivityChart(const std::vector<SensitivityRow>& rows) {
  constexpr double rowHeight = 22;
  constexpr double left = 178;
  constexpr double valueWidth = 60;
  SvgPicture picture(pictureWidth, 10 + rowHeight * static_cast<double>(rows.size()));
  ChartRange range;
  range.include(0);
  for (const SensitivityRow& row : rows) range.include(row.sensitivity);
  double top = 5;
  for (const SensitivityRow& row : rows) {
    const std::string name = cleanText(row.field);
    const std::string share = percentText(row.sensitivity);
    const double width = std::isfinite(row.sensitivity) && range.getHigh() > 0
                             ? (pictureWidth - left - valueWidth) * range.placeOf(row.sensitivity)
                             : 0;
    picture.addText({left - 8, top + 15}, SvgPicture::Anchor::End, shortenedText(name, labelCharacters), "label", name);
    picture.addRectangle({left, top + 3, width, rowHeight - 6}, "fill predicted", name + ": " + share);
    picture.addText({left + width + 6, top + 15}, SvgPicture::Anchor::Start, share);
    top += rowHeight;
  }
  return {picture, "Sensitivity to the inputs",
          "The largest is " + percentText(rows.front().sensitivity) + " of " + rows.front().field + "."};
}

namespace {

/// Two bars per row, one row per segment.
EvaluationChart drawBars(const std::vector<ResidualRow>& rows) {
  constexpr double rowHeight = 36;
  constexpr double left = 178;
  constexpr double top = 36;
  ChartRange values;
  values.include(0);
  double numDrawn = 0;
  for (const ResidualRow& row : rows) {
    if (!canDrawRow(row)) continue;
    values.include(row.meanActual);
    values.include(row.meanPredicted);
    ++numDrawn;
  }
  SvgPicture picture(pictureWidth, top + rowHeight * numDrawn + 28);
  const PlotArea area({left, top, pictureWidth - left - 24, rowHeight * numDrawn}, values, {});
  area.drawMarksAcross(picture);
  const double zero = area.xOf(0);
  double place = top;
  for (const ResidualRow& row : rows) {
    if (!canDrawRow(row)) continue;
    const std::string name = cleanText(segmentLabel(row.segment));
    const std::string hint = hintOf(name, row);
    picture.addText({left - 8, place + 22}, SvgPicture::Anchor::End, shortenedText(name, labelCharacters), "label",
                    name);
    double barTop = place + 5;
    for (const auto& [value, classes] :
         {std::pair(row.meanActual, "fill actual"), std::pair(row.meanPredicted, "fill predicted")}) {
      const double end = area.xOf(value);
      picture.addRectangle({std::min(zero, end), barTop, std::fabs(end - zero), 12}, classes, hint);
      barTop += 13;
    }
    place += rowHeight;
  }
  picture.addLine({{zero, top}, {zero, place}}, "axis");
  picture.addLegend({left, 16}, {{"fill actual", "mean actual", false}, {"fill predicted", "mean predicted", false}});
  return {picture, {}, {}};
}

/// The positions of the segments of a numeric field on the horizontal axis.
class SegmentPlaces {
 public:
  SegmentPlaces(const FieldCurve& curve, const std::vector<ResidualRow>& rows, const PictureRectangle& place)
      : area(place) {
    for (const ResidualRow& row : rows) {
      if (row.segment.kind != DescribedSegment::Kind::Missing) intervals.push_back(&row);
    }
    values.include(curve.smallest);
    values.include(curve.largest);
    for (const ResidualRow* row : intervals) {
      values.include(row->segment.from);
      values.include(row->segment.to);
    }
    toScale = std::all_of(intervals.begin(), intervals.end(), [&](const ResidualRow* row) {
      return !canDrawRow(*row) || scaledEnd(row->segment.to, 1) - scaledEnd(row->segment.from, 0) >= narrowest;
    });
  }

  bool isToScale() const { return toScale && !values.isEmpty(); }
  const ChartRange& getValues() const { return values; }
  const std::vector<const ResidualRow*>& getIntervals() const { return intervals; }

  double leftOf(std::size_t i) const {
    return area.left + area.width * (isToScale() ? scaledEnd(intervals[i]->segment.from, 0) : shareBefore(i));
  }
  double rightOf(std::size_t i) const {
    return area.left + area.width * (isToScale() ? scaledEnd(intervals[i]->segment.to, 1) : shareBefore(i + 1));
  }

 private:
  static constexpr double narrowest = 0.015;  // share of the width

  double scaledEnd(double end, double ofInfinity) const {
    return std::isfinite(end) ? values.placeOf(end) : ofInfinity;
  }
  double shareBefore(std::size_t i) const { return static_cast<double>(i) / static_cast<double>(intervals.size()); }

  PictureRectangle area;
  std::vector<const ResidualRow*> intervals;
  ChartRange values;
  bool toScale = true;
};

/// The boundaries of segments of equal width; a text that would overlap the previous one is left out.
void drawBoundaries(SvgPicture& picture, const SegmentPlaces& places, double base) {
  constexpr double characterWidth = 7;
  double free = 0;  // where the last text ends
  for (std::size_t i = 0; i + 1 < places.getIntervals().size(); ++i) {
    const double x = places.rightOf(i);
    const std::string text = shortNumber(places.getIntervals()[i]->segment.to);
    const double halfWidth = characterWidth * static_cast<double>(text.size() + 1) / 2;
    if (x - halfWidth < free) continue;
    picture.addText({x, base}, SvgPicture::Anchor::Middle, text);
    free = x + halfWidth;
  }
}

void drawSteps(SvgPicture& picture, const PlotArea& area, const ResidualRow& row, double left, double right) {
  const std::string hint = hintOf(segmentLabel(row.segment), row);
  for (const auto& [value, classes] :
       {std::pair(row.meanActual, "fill actual"), std::pair(row.meanPredicted, "fill predicted")}) {
    picture.addRectangle({left + 1, area.yOf(value) - 2.5, std::max(right - left - 2, 1.0), 5}, classes, hint);
  }
}

EvaluationChart drawNumericField(const FieldCurve& curve, const std::vector<ResidualRow>& rows,
                                 const std::string& target) {
  constexpr double missingWidth = 76;
  SvgPicture picture(pictureWidth, 300);
  ChartRange means;
  const ResidualRow* missing = nullptr;
  for (const ResidualRow& row : rows) {
    if (!canDrawRow(row)) continue;
    means.include(row.meanActual);
    means.include(row.meanPredicted);
    if (row.segment.kind == DescribedSegment::Kind::Missing) missing = &row;
  }
  means.widen();
  const PictureRectangle place{72, 36, pictureWidth - 90 - (missing == nullptr ? 0 : missingWidth), 210};
  const SegmentPlaces places(curve, rows, place);
  const PlotArea area(place, places.getValues(), means);
  const PictureRectangle whole{place.left, place.top, pictureWidth - 90, place.height};
  PlotArea(whole, {}, means).drawMarksUp(picture);
  if (places.isToScale()) {
    area.drawMarksAcross(picture);
  } else {
    drawBoundaries(picture, places, place.bottom() + 16);
  }
  area.drawTitles(picture, shortenedText(cleanText(curve.transform.field), 40),
                  "mean of " + shortenedText(cleanText(target), labelCharacters));
  for (std::size_t i = 0; i < places.getIntervals().size(); ++i) {
    if (i > 0) picture.addLine({{places.leftOf(i), place.top}, {places.leftOf(i), place.bottom()}}, "boundary");
    const ResidualRow& row = *places.getIntervals()[i];
    if (canDrawRow(row)) drawSteps(picture, area, row, places.leftOf(i), places.rightOf(i));
  }
  if (missing != nullptr) {
    const double left = place.right() + 8;
    picture.addLine({{left - 4, place.top}, {left - 4, place.bottom()}}, "boundary");
    drawSteps(picture, area, *missing, left, left + missingWidth - 8);
    picture.addText({left + missingWidth / 2 - 4, place.bottom() + 16}, SvgPicture::Anchor::Middle, "missing", "label",
                    segmentLabel(missing->segment));
  }
  PlotArea(whole, {}, means).drawFrame(picture);
  picture.addLegend({place.left, 16},
                    {{"fill actual", "mean actual", false}, {"fill predicted", "mean predicted", false}});
  return {picture, {}, {}, places.isToScale() ? "" : "All segments have the same width: the values are not to scale."};
}

}  // namespace

EvaluationChart drawFieldChart(const FieldCurve& curve, const std::vector<ResidualRow>& rows,
                               const std::string& target) {
  const bool hasIntervals = std::any_of(rows.begin(), rows.end(), [](const ResidualRow& row) {
    return canDrawRow(row) && row.segment.kind != DescribedSegment::Kind::Missing;
  });
  EvaluationChart chart =
      curve.transform.isNumeric && hasIntervals ? drawNumericField(curve, rows, target) : drawBars(rows);
  chart.title = curve.transform.field;
  chart.description = "Mean actual and mean predicted " + target + " of " + std::to_string(rows.size()) +
                      (rows.size() == 1 ? " segment of " : " segments of ") + curve.transform.field + ".";
  return chart;
}

}  // namespace vesk_analyze
