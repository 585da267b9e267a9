#ifndef VESK_PAGE_SVG_PICTURE_H
#define VESK_PAGE_SVG_PICTURE_H

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "page/chart_range.h"

namespace vesk_page {

/// A point in a picture, in the picture's units: x to the right, y down.
struct PicturePoint {
  double x = 0;
  double y = 0;
};

struct PictureRectangle {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;

  double right() const { return left + width; }
  double bottom() const { return top + height; }
};

/// An inline SVG element. Later shapes cover earlier ones.
///
/// Units: about one pixel; the page scales the picture to the width of its column. The page's style sheet gives each
/// class its colour. This class escapes all texts.
/// Requires: finite coordinates.
class SvgPicture {
 public:
  enum class Anchor { Start, Middle, End };

  SvgPicture(double width, double height) : pictureWidth(width), pictureHeight(height) {}

  double getWidth() const { return pictureWidth; }
  double getHeight() const { return pictureHeight; }

  /// A line through the points; nothing for fewer than two points.
  void addLine(const std::vector<PicturePoint>& points, std::string_view classes);
  /// hint: the tooltip of the shape; may be empty.
  void addRectangle(const PictureRectangle& shape, std::string_view classes, std::string_view hint = {});
  void addCircle(PicturePoint centre, double radius, std::string_view classes, std::string_view hint = {});
  void addText(PicturePoint base, Anchor anchor, std::string_view text, std::string_view classes = "label",
               std::string_view hint = {});
  /// A text that reads upwards.
  void addTextUpwards(PicturePoint base, std::string_view text);
  /// A sample of each class with its meaning to the right, in one row.
  struct LegendEntry {
    std::string classes;
    std::string meaning;
    bool isLine = true;
  };
  void addLegend(PicturePoint leftMiddle, const std::vector<LegendEntry>& entries);

  /// id: unique in the page. Title and description are for screen readers.
  void write(std::ostream& out, const std::string& id, std::string_view title, std::string_view description) const;

 private:
  double pictureWidth;
  double pictureHeight;
  std::string body;
};

/// The rectangle of a picture in which values are drawn, between two axes.
class PlotArea {
 public:
  PlotArea(const PictureRectangle& area, ChartRange across, ChartRange up) : place(area), xRange(across), yRange(up) {}

  double xOf(double value) const { return place.left + place.width * xRange.placeOf(value); }
  double yOf(double value) const { return place.bottom() - place.height * yRange.placeOf(value); }
  PicturePoint pointOf(double x, double y) const { return {xOf(x), yOf(y)}; }
  const PictureRectangle& getPlace() const { return place; }

  /// Grid lines and the texts of the marks of the horizontal axis.
  void drawMarksAcross(SvgPicture& picture) const;
  /// Grid lines and the texts of the marks of the vertical axis.
  void drawMarksUp(SvgPicture& picture) const;
  void drawTitles(SvgPicture& picture, std::string_view across, std::string_view up) const;
  void drawFrame(SvgPicture& picture) const;

 private:
  PictureRectangle place;
  ChartRange xRange;
  ChartRange yRange;
};

}  // namespace vesk_page

#endif  // VESK_PAGE_SVG_PICTURE_H
