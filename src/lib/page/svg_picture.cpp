#include "page/svg_picture.h"

#include <array>
#include <cstdio>
#include <ostream>

#include "page/html_text.h"

namespace vesk_page {

namespace {

constexpr double characterWidth = 6.6;  // of a label, roughly

std::string coordinate(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.2f", value);
  return text.data();
}

std::string attribute(const char* name, double value) {
  return std::string(" ") + name + "=\"" + coordinate(value) + "\"";
}

std::string attribute(const char* name, std::string_view value) {
  return std::string(" ") + name + "=\"" + htmlText(value) + "\"";
}

/// The end of the start tag; with a hint also a title element and the end tag.
std::string closed(const char* element, std::string_view hint) {
  if (hint.empty()) return "/>\n";
  return "><title>" + htmlText(hint) + "</title></" + element + ">\n";
}

const char* nameOf(SvgPicture::Anchor anchor) {
  return anchor == SvgPicture::Anchor::Start ? "start" : anchor == SvgPicture::Anchor::Middle ? "middle" : "end";
}

}  // namespace

void SvgPicture::addLine(const std::vector<PicturePoint>& points, std::string_view classes) {
  if (points.size() < 2) return;
  std::string places;
  for (const PicturePoint& point : points) {
    if (!places.empty()) places += ' ';
    places += coordinate(point.x) + "," + coordinate(point.y);
  }
  body += "<polyline" + attribute("class", classes) + attribute("points", places) + "/>\n";
}

void SvgPicture::addRectangle(const PictureRectangle& shape, std::string_view classes, std::string_view hint) {
  body += "<rect" + attribute("class", classes) + attribute("x", shape.left) + attribute("y", shape.top) +
          attribute("width", shape.width) + attribute("height", shape.height) + closed("rect", hint);
}

void SvgPicture::addCircle(PicturePoint centre, double radius, std::string_view classes, std::string_view hint) {
  body += "<circle" + attribute("class", classes) + attribute("cx", centre.x) + attribute("cy", centre.y) +
          attribute("r", radius) + closed("circle", hint);
}

void SvgPicture::addText(PicturePoint base, Anchor anchor, std::string_view text, std::string_view classes,
                         std::string_view hint) {
  body += "<text" + attribute("class", classes) + attribute("x", base.x) + attribute("y", base.y) +
          attribute("text-anchor", nameOf(anchor)) + ">";
  if (!hint.empty()) body += "<title>" + htmlText(hint) + "</title>";
  body += htmlText(text) + "</text>\n";
}

void SvgPicture::addTextUpwards(PicturePoint base, std::string_view text) {
  body += "<text class=\"label\" text-anchor=\"middle\" transform=\"translate(" + coordinate(base.x) + " " +
          coordinate(base.y) + ") rotate(-90)\">" + htmlText(text) + "</text>\n";
}

void SvgPicture::addLegend(PicturePoint leftMiddle, const std::vector<LegendEntry>& entries) {
  constexpr double sampleWidth = 22;
  double left = leftMiddle.x;
  for (const LegendEntry& entry : entries) {
    if (entry.isLine) {
      addLine({{left, leftMiddle.y}, {left + sampleWidth, leftMiddle.y}}, entry.classes);
    } else {
      addRectangle({left + 5, leftMiddle.y - 6, 12, 12}, entry.classes);
    }
    addText({left + sampleWidth + 5, leftMiddle.y + 4}, Anchor::Start, entry.meaning);
    left += sampleWidth + 22 + characterWidth * static_cast<double>(entry.meaning.size());
  }
}

void SvgPicture::write(std::ostream& out, const std::string& id, std::string_view title,
                       std::string_view description) const {
  const std::string name = htmlText(id);
  out << "<svg role=\"img\" aria-labelledby=\"" << name << "-title " << name << "-text\" viewBox=\"0 0 "
      << coordinate(pictureWidth) << ' ' << coordinate(pictureHeight) << "\">\n<title id=\"" << name << "-title\">"
      << htmlText(title) << "</title>\n<desc id=\"" << name << "-text\">" << htmlText(description) << "</desc>\n"
      << body << "</svg>\n";
}

void PlotArea::drawMarksAcross(SvgPicture& picture) const {
  for (const ChartMark& mark : xRange.getMarks()) {
    const double x = xOf(mark.value);
    picture.addLine({{x, place.top}, {x, place.bottom()}}, "grid");
    picture.addText({x, place.bottom() + 16}, SvgPicture::Anchor::Middle, mark.text);
  }
}

void PlotArea::drawMarksUp(SvgPicture& picture) const {
  for (const ChartMark& mark : yRange.getMarks()) {
    const double y = yOf(mark.value);
    picture.addLine({{place.left, y}, {place.right(), y}}, "grid");
    picture.addText({place.left - 6, y + 4}, SvgPicture::Anchor::End, mark.text);
  }
}

void PlotArea::drawTitles(SvgPicture& picture, std::string_view across, std::string_view up) const {
  picture.addText({place.left + place.width / 2, place.bottom() + 34}, SvgPicture::Anchor::Middle, across);
  picture.addTextUpwards({14, place.top + place.height / 2}, up);
}

void PlotArea::drawFrame(SvgPicture& picture) const {
  picture.addLine({{place.left, place.top}, {place.left, place.bottom()}, {place.right(), place.bottom()}}, "axis");
}

}  // namespace vesk_page
