#ifndef QUVEN_RECORD_PASS_H
#define QUVEN_RECORD_PASS_H

#include <vector>

#include "passes/quven_output_cache.h"
#include "passes/quven_pass_settings.h"
#include "passes/quven_scan_protocol.h"
#include "passes/quven_scan_world.h"
#include "passes/quven_slices.h"

/// The protocols of a run: for each scan that of its nearest class.
class QUVENScanProtocols {
 public:
  /// Those of models and multi-scans are there already. The protocol is borrowed.
  QUVENScanProtocols();
  /// A protocol of a derived class is added after that of its base.
  void add(const QUVENScanProtocol& protocol) { protocols.push_back(&protocol); }
  /// Errors: a scan of no known class is a fatal report.
  const QUVENScanProtocol& of(const QUVENDataScan& scan, const QUVENEnvHandle& env) const;

 private:
  std::vector<const QUVENScanProtocol*> protocols;
};

/// One pass in one world: which scans and fields take part, and what each record goes through.
///
/// For a record: result fields are cleared; those in the cache, value producers and finished models set them, each
/// once; then the scans that scan see the record; then the distributions that gather see the values of their fields.
/// Requires: the world is not changed while the pass lasts.
class QUVENRecordPass {
 public:
  QUVENRecordPass(QUVENScanWorld& scanWorld, const QUVENScanProtocols& protocols, const QUVENPassSettings& passSettings,
                  const QUVENEnvHandle& env);

  /// Whether a field is shown its values in the next pass.
  static bool gathers(const QUVENField& field, const QUVENPassSettings& settings) {
    const std::int32_t passesDone = field.getDistributionPasses();
    return passesDone >= 0 && passesDone < settings.distributionPasses;
  }

  /// Sets outputs from a cache, and keeps new ones there. Requires: the cache has begun the pass, and the records are
  /// those of this rank.
  void useOutputCache(QUVENOutputCache& cache) { cachedOutputs = {cache, world.collectFinalOutputs()}; }
  /// The hook before the records: everything that is gathered is empty after it.
  void begin(const QUVENEnvHandle& env);
  long getNumParticipants() const { return static_cast<long>(participants.size()); }
  /// The reading mode that a scan that takes part asks for, 1-based. Rank 0 asks its live scans.
  QUVENScanType getScanType(long participant, bool hasLines, const QUVENEnvHandle& env) const;
  /// The largest fraction of the records that a scan asks for.
  double getSamplingRate(const QUVENEnvHandle& env) const;
  /// Tells the mode that a scan has asked for, on every rank, before the first record.
  void setScanType(long participant, QUVENScanType type);
  /// Tells the modes of a pass in another world with the same participants.
  void copyScanTypes(const QUVENRecordPass& other, const QUVENEnvHandle& env);
  /// The reading mode of the pass, after all have been told; NoPass when neither a scan nor a distribution needs a
  /// record.
  /// Errors: scans that ask for different modes are a fatal report.
  QUVENScanType chooseScanType(const QUVENEnvHandle& env);
  /// The step of the scans that work without records in this pass.
  void updateWithoutRecords(const QUVENEnvHandle& env);
  // In a run with slices the live scans on rank 0 do the step without records; the copies only see records.
  void endWithoutRecords(const QUVENEnvHandle& env);
  void dropScansWithoutRecords();

  /// Gives the record that the data point holds its channel and its result fields.
  /// Errors: a channel outside 0..numChannels is a fatal report.
  void score(std::int64_t recordNumber, const QUVENEnvHandle& env) {
    if (settings.dealChannel) deal(recordNumber, env);
    if (hasResults) setResults(recordNumber, env);
  }
  /// Sets the result fields of the present record anew, after its values have been changed.
  void scoreAgain(const QUVENEnvHandle& env) {
    clearResults();
    computeResults(env);
  }
  /// One record, which the data point holds; nothing happens to a record that takes no part.
  void take(std::int64_t recordNumber, const QUVENEnvHandle& env) {
    if (settings.takesRecord && !settings.takesRecord(recordNumber)) return;
    QUVENDataPoint& point = world.getPoint();
    score(recordNumber, env);
    for (QUVENDataScan* scan : readers) scan->update(point, env);
    cachedOutputs.store(recordNumber);
    for (QUVENField* field : gathering) field->updateDistribution(point.getRecordId(), env);
  }

  /// Lets the one reader of the pass work over the records that it keeps in memory. False when the records are to be
  /// read.
  bool takeKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle& env) const;

  /// The hook after the records.
  void end(const QUVENEnvHandle& env);
  /// Replaces what is in the blob by the results of the fields and scans that take part.
  void writeResults(QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env) const;
  /// The results of a slice. If records change nothing but results in each scan that takes part, those of the scans
  /// stay in the world of the pass.
  QUVENSliceResults takeResults(const QUVENEnvHandle& env) const;
  /// Ends the pass with the merged results: distributions first, then scans.
  void finish(std::int32_t lastPass, const QUVENEnvHandle& env);

 private:
  struct Scorer {
    const QUVENScanProtocol* protocol;
    QUVENDataScan* scan;
  };
  struct Participant {
    const QUVENScanProtocol* protocol;
    QUVENDataScan* scan;
    QUVENScanType type;
  };

  void addFields();
  void deal(std::int64_t recordNumber, const QUVENEnvHandle& env);
  void setResults(std::int64_t recordNumber, const QUVENEnvHandle& env);
  void clearResults();
  void computeResults(const QUVENEnvHandle& env);

  QUVENScanWorld& world;
  const QUVENPassSettings& settings;
  std::vector<QUVENField*> results;    // computed fields, cleared before each record
  std::vector<QUVENField*> produced;   // those with a value producer
  std::vector<QUVENField*> gathering;  // point fields, then fields of the name map
  QUVENCachedOutputs cachedOutputs;
  std::vector<Scorer> scorers;
  std::vector<Participant> participants;
  std::vector<QUVENDataScan*> readers;  // the participants that see the records
  bool hasResults = false;
};

#endif  // QUVEN_RECORD_PASS_H
