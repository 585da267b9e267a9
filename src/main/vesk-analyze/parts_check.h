#ifndef VESK_ANALYZE_PARTS_CHECK_H
#define VESK_ANALYZE_PARTS_CHECK_H

#include <string>
#include <vector>

#include "kernel/quven_data_point.h"

namespace vesk_analyze {

/// The parts "name.0", "name.1", ... of a dataset up to the first that does not exist, in their order.
std::vector<std::string> partsOf(const std::string& dataset);

/// Checks by the names of the files that a dataset is one file, or parts without a gap. A number that no loader run
/// gives to a part, of largestPartitionCount or above, is none of a part. Errors: the terminating report 2305 with the
/// name of the missing part, or with the name of a part that is beside the single file: the files are of two loader
/// runs.
void checkParts(const std::string& dataset, const QUVENEnvHandle& env);

/// Checks by the callers that the parts of a dataset are those of one loader run, and all of them; does nothing for a
/// dataset that is one file or has no line number column.
///
/// A loader run writes each caller to the part that partition_of_key gives for the number of parts, so the callers tell
/// that number. The output of a loader run is never refused. A few callers do not tell the number, and parts that were
/// cut by another rule are taken as they are.
///
/// Requires: checkParts, and fields of the point in the order of the columns.
/// Errors: the terminating report 2305 with the name of a part: a caller is in two parts; the last parts are missing;
/// the part is of a run with more parts than the others.
/// Warnings: 5014 with the name of an empty part, if chance leaves one in less than one dataset of a billion; ends a
/// strict run. It may be sound: callers whose numbers follow a rule can leave a part empty.
/// Cost: reads each part once; a part whose callers are not ascending, which no loader run writes, makes it read all
/// parts again and needs 16 bytes for each caller.
void checkCallersOfParts(const std::string& dataset, const QUVENDataPoint& point, const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PARTS_CHECK_H
