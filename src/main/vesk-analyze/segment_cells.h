#ifndef VESK_ANALYZE_SEGMENT_CELLS_H
#define VESK_ANALYZE_SEGMENT_CELLS_H

#include <string>

#include "model_description.h"

namespace vesk_analyze {

/// The cells kind, from, to and categories of a segment, as every CSV file of segments has them: an infinite end is
/// empty, and the labels of the categories have | between them.
std::string segmentCells(const DescribedSegment& segment);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SEGMENT_CELLS_H
