#ifndef VESK_ANALYZE_RUN_DATASET_H
#define VESK_ANALYZE_RUN_DATASET_H

#include <cstdint>
#include <string>
#include <vector>

#include "control/quven_binaryindataset.h"
#include "passes/quven_worker_transport.h"

namespace vesk_analyze {

/// The dataset of a run on one rank: one file, or its parts when no file of the name exists.
///
/// Lifetime: release(env) before it ends.
class RunDataset {
 public:
  RunDataset(std::string datasetName, const QUVENEnvHandle& env);

  /// Opens the files with the fields of the point, which are made if it has none. Collective in the reading modes that
  /// are.
  /// Errors: the terminating reports of parts that do not belong together, and the reports of the dataset.
  void open(QUVENDataPoint& point, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env);
  /// Opens the files of a table on rank 0, as open does.
  /// Errors: a description without columns, and a file that ends inside a record, are terminating reports 2302.
  void openTable(QUVENDataPoint& point, const QUVENWorkerTransport& transport, const QUVENEnvHandle& env);
  /// The number of records in all files.
  /// Requires: openTable.
  std::int64_t getNumRecords();
  /// All files that a run reads for it: data, descriptions and the card.
  std::vector<std::string> files() const;
  /// For a table: these files and the labels.
  std::vector<std::string> tableFiles() const;
  const std::string& getName() const { return name; }
  QUVENBinaryInputDataset& get() { return *dataset; }
  void release(const QUVENEnvHandle& env) { dataset.reset(QUVEN_ENV); }

 private:
  std::string name;
  QUVENOwnPtr<QUVENBinaryInputDataset> dataset;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RUN_DATASET_H
