#ifndef VESK_ANALYZE_SVG_PICTURE_H
#define VESK_ANALYZE_SVG_PICTURE_H

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "chart_range.h"

namespace vesk_analyze {

/// A place in a picture, in its own units: x to the right, y down.
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

/// An inline SVG element, drawn from back to front.
///
/// Units: about a pixel; the page scales the picture to its column. Colours are those of the classes in the page's
/// style. Texts are escaped here.
/// Requires: finite coordinates.
class SvgPicture {
 public:
  enum class Anchor { Start, Middle, End };

  SvgPicture(double width, double height) : pictureWidth(width), pictureHeight(height) {}

  double getWidth() const { return pictureWidth; }
  double getHeight() const { return pictureHeight; }

  /// A line through the points; none for fewer than two points.
  void addLine(const std::vector<PicturePoint>& points, std::string_view classes);
  /// hint: shown over the shape; none when it is empty.
  void addRectangle(const PictureRectangle& shape, std::string_view classes, std::string_view hint = {});
  void addCircle(PicturePoint centre, double radius, std::string_view classes, std::string_view hint = {});
  void addText(PicturePoint base, Anchor anchor, std::string_view text, std::string_view classes = "label",
               std::string_view hint = {});
  /// A text that reads upwards.
  void addTextUpwards(PicturePoint base, std::string_view text);
  /// A sample of each class beside its meaning, in one row from the left.
  struct LegendEntry {
    std::string classes;
    std::string meaning;
    bool isLine = true;
  };
  void addLegend(PicturePoint leftMiddle, const std::vector<LegendEntry>& entries);

  /// id: unique in the page; the title and the description tell the picture to those who cannot see it.
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

  /// Grid lines and the texts of the marks on the axis across.
  void drawMarksAcross(SvgPicture& picture) const;
  /// Grid lines and the texts of the marks on the axis up.
  void drawMarksUp(SvgPicture& picture) const;
  void drawTitles(SvgPicture& picture, std::string_view across, std::string_view up) const;
  void drawFrame(SvgPicture& picture) const;

 private:
  PictureRectangle place;
  ChartRange xRange;
  ChartRange yRange;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SVG_PICTURE_H
