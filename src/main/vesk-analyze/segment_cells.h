#ifndef VESK_ANALYZE_SEGMENT_CELLS_H
#define VESK_ANALYZE_SEGMENT_CELLS_H

#include <string>

#include "model_description.h"

namespace vesk_analyze {

/// The cells kind, from, to and categories of a segment, the same in every CSV file of segments: the cell of an
/// infinite end is empty, and the labels of the categories are separated by |.
std::string segmentCells(const DescribedSegment& segment);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_SEGMENT_CELLS_H
