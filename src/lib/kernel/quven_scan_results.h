#ifndef QUVEN_SCAN_RESULTS_H
#define QUVEN_SCAN_RESULTS_H

#include <vector>

#include "kernel/quven_data_scan.h"

// The way of partial results from the workers to the live scans. A stream of results is flat: the keyword and the
// object of each scan that has a result, in the order of the tree of scans.

/// The keyword that stands before every result, by convention.
const QUVENKeyword& quvenScanResultKeyword();

/// Writes the result of a scan, if it has one, and then those of the scans that it owns.
/// Requires: a writer of mode ScanResults.
void quvenWriteScanResults(const QUVENDataScan& scan, QUVENObjWriter& writer, const QUVENKeyword& keyword,
                           const QUVENEnvHandle& env);

/// The scans whose results quvenWriteScanResults would write for a copy, in that order.
/// Lifetime: they belong to the copy.
std::vector<QUVENDataScan*> quvenCollectScanResults(QUVENDataScan& scan, const QUVENEnvHandle& env);
/// Writes the results of scans that were collected.
void quvenWriteScanResults(const std::vector<QUVENDataScan*>& scans, QUVENObjWriter& writer,
                           const QUVENKeyword& keyword, const QUVENEnvHandle& env);
/// Merges results into those of another copy, from its scans or from a stream, and into the live scans.
/// Errors: those of the functions below.
void quvenMergeDataScanResults(const std::vector<QUVENDataScan*>& scans, const std::vector<QUVENDataScan*>& others,
                               const QUVENEnvHandle& env);
void quvenMergeDataScanResults(const std::vector<QUVENDataScan*>& scans, QUVENObjReader& reader,
                               const QUVENKeyword& keyword, const QUVENEnvHandle& env);
void quvenMergeIntoLiveScans(const std::vector<QUVENDataScan*>& scans, const QUVENEnvHandle& env);

/// Merges the results of two streams pair by pair, those of B into those of A, and writes them to a third.
///
/// The end of A ends it; what B has beyond that is not looked at.
/// Errors: results that do not belong together, or that their class cannot merge, are assertion failures.
void quvenMergeDataScanResults(QUVENObjReader& readerA, QUVENObjReader& readerB, QUVENObjWriter& writer,
                               const QUVENKeyword& keyword, const QUVENEnvHandle& env);

/// Merges the results of a stream into the live scans, which are found by their serial numbers.
/// Errors: a result without a live scan, an object that is no result, or a result that the live scan cannot merge is an
/// assertion failure.
void quvenReadDataScanResults(QUVENObjReader& reader, const QUVENKeyword& keyword, const QUVENEnvHandle& env);

#endif  // QUVEN_SCAN_RESULTS_H
