#ifndef QUVEN_SCAN_WORLD_H
#define QUVEN_SCAN_WORLD_H

#include <unordered_set>

#include "kernel/quven_data_point.h"
#include "kernel/quven_field_name_map.h"
#include "util/quven_blob_io.h"

/// Fields by their addresses.
using QUVENFieldSet = std::unordered_set<const QUVENField*>;

/// What the passes of a run work on: the data point with its fields, the names of all fields, the top scans.
///
/// Rank 0 has the live world. A copy of it is read from its state stream before every pass; a scan or field of a copy
/// keeps its object as long as the original exists, whatever its position.
/// Lifetime: release(env) before it ends.
class QUVENScanWorld {
 public:
  using Scans = QUVENXaRay<QUVENOwnPtr<QUVENDataScan>, 0>;

  explicit QUVENScanWorld(const QUVENEnvHandle& env);

  QUVENDataPoint& getPoint() const { return *point; }
  QUVENFieldNameMap& getNames() const { return *names; }
  Scans& getScans() { return scans; }

  /// Makes the fields of the point known by their names. Requires: no other field has one of their names.
  void registerFields(const QUVENEnvHandle& env);

  /// Replaces what is in the blob by the state of the world: data point, name map, scans.
  void write(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  /// Reads the state of another world from the beginning of the blob, and returns how many fields have a value producer
  /// there, which no stream carries. From then on only read() adds or removes fields of this world.
  long read(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env);
  long countValueProducers() const;
  /// The fields of the point and those that the name map owns.
  QUVENFieldSet collectFields() const;
  /// The outputs that the scans say are final, in the order of the scans.
  std::vector<QUVENField*> collectFinalOutputs() const;
  // The data point alone, for a dataset that is opened before the first pass.
  void writePoint(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  void readPoint(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env);

  void release(const QUVENEnvHandle& env);

 private:
  QUVENOwnPtr<QUVENDataPoint> point;
  QUVENOwnPtr<QUVENFieldNameMap> names;
  Scans scans;
};

#endif  // QUVEN_SCAN_WORLD_H
