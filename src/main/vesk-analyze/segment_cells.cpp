#include "segment_cells.h"

#include <cmath>

#include "control/quven_csv_reader.h"
#include "exact_text.h"

namespace vesk_analyze {

namespace {

std::string endText(double end) { return std::isinf(end) ? std::string() : exactText(end); }

std::string joined(const std::vector<std::string>& texts, const char* between) {
  std::string all;
  for (const std::string& text : texts) all += (&text == &texts.front() ? "" : between) + text;
  return all;
}

}  // namespace

std::string segmentCells(const DescribedSegment& segment) {
  return std::string(nameOf(segment.kind)) + ',' + endText(segment.from) + ',' + endText(segment.to) + ',' +
         quvenCsvCell(joined(segment.categories, "|"));
}

}  // namespace vesk_analyze
