#ifndef QUVEN_PASS_DRIVER_H
#define QUVEN_PASS_DRIVER_H

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "control/quven_binaryindataset.h"
#include "passes/quven_pass_counters.h"
#include "passes/quven_record_pass.h"
#include "passes/quven_slices.h"
#include "passes/quven_worker_transport.h"

/// Shows the progress of a pass.
class QUVENPassObserver {
 public:
  virtual ~QUVENPassObserver() = default;
  /// Passes are numbered from 1; expectedRecords is an estimate for this rank.
  virtual void beginPass(int number, std::int64_t expectedRecords) = 0;
  /// Called now and then with the records of the pass so far.
  virtual void update(std::int64_t records) = 0;
  virtual void endPass() = 0;
};

/// The pass loop: shows the records of a dataset to a list of scans, on 1..N ranks, until no scan wants another pass.
///
/// The driver knows the scan protocol; it knows no analysis, no parameter and no file but the dataset. Rank 0 has the
/// live objects, and takes every decision on merged results. One pass: the state of rank 0 goes to all; the hook before
/// the records on every rank; the records; the hook after them; the results come back, merged in the order of the ranks
/// or, in a run with slices, in a fixed tree; rank 0 ends the distributions of fields, then the scans.
/// While a field of the data that was added by addField still gathers, the scans are not begun: a model finds its
/// distributions ready. An output that was added gathers when its model has finished.
///
/// Requires:   the constructor runs before any scan or field of the environment is made, because it sets the number of
///             channels. The dataset and the transport are borrowed.
/// Collective: construction, shareFields, runPasses and writeRows are calls of every rank; what is added is added on
///             rank 0.
/// Lifetime:   release(env) before it ends.
class QUVENPassDriver {
 public:
  QUVENPassDriver(const QUVENPassSettings& passSettings, const QUVENWorkerTransport& workerTransport,
                  const QUVENEnvHandle& env);

  /// The live world on rank 0.
  QUVENScanWorld& getWorld() { return world; }
  QUVENDataPoint& getPoint() const { return world.getPoint(); }
  /// On rank 0 the live names, to which models add their outputs.
  QUVENFieldNameMap& getNames() const { return world.getNames(); }
  const QUVENScanProtocols& getProtocols() const { return protocols; }
  void addProtocol(const QUVENScanProtocol& protocol) { protocols.add(protocol); }

  /// Makes the fields of the data point known by their names and, above rank 0, reads them from rank 0 first: the
  /// dataset of these ranks is opened with them.
  void shareFields(const QUVENEnvHandle& env);
  void setDataset(QUVENBinaryInputDataset& inputDataset) { dataset = &inputDataset; }

  /// Asks for the distribution of a field, which is sampled from now on: there are passes until it has all that the
  /// settings say.
  void addField(QUVENField& field, const QUVENEnvHandle& env);
  /// Adds a top scan and returns it. Scans are shown records, ended and scored in the order of the list, so a model is
  /// in it before the models that read its output, and is dropped after them.
  template <std::derived_from<QUVENDataScan> T>
  T& addScan(QUVENOwnPtr<T>&& scan, const QUVENEnvHandle& env) {
    T& added = *scan;
    world.getScans().append(QUVENOwnPtr<QUVENDataScan>(std::move(scan)), QUVEN_ENV);
    return added;
  }
  /// The top scans of rank 0. Their owner may add, drop and reorder them between passes. Every place has a scan.
  QUVENScanWorld::Scans& getScans() { return world.getScans(); }

  void setObserver(QUVENPassObserver* passObserver) { observer = passObserver; }
  /// Called on rank 0 after each pass, with its number, before the next one is prepared. A pass that writes rows has no
  /// number.
  void setBetweenPasses(std::function<void(int pass)> action) { betweenPasses = std::move(action); }
  /// Called on every rank after a copy of the live world was read, to attach what no stream carries: the value
  /// producers of computed fields.
  void setAfterRead(std::function<void(QUVENScanWorld& copy)> action) { afterRead = std::move(action); }

  /// Chooses the records of the following passes; null for all. Every rank must set the same rule.
  void setTakesRecord(std::function<bool(std::int64_t recordNumber)> takes) { settings.takesRecord = std::move(takes); }

  /// Runs passes until every scan and every field that was added has finished.
  /// Errors: a place of the list without a scan is a fatal report.
  void runPasses(const QUVENEnvHandle& env);

  /// Puts the row of a record into an empty text, without the line end. Above rank 0 an output field exists from the
  /// first state of rank 0 on: it is looked up in getNames() in the call.
  using WriteRow = std::function<void(QUVENDataPoint& point, std::int64_t recordNumber, std::string& row)>;
  /// A pass that writes: one row per record, in the order of the dataset, into one file, which appears under its name
  /// when it is complete. Finished models have scored the record; nothing is gathered.
  /// Errors: a file that cannot be written is the terminating report 2302 with its name.
  void writeRows(const std::string& path, const std::string& header, const WriteRow& writeRow,
                 const QUVENEnvHandle& env);

  /// Sets the result fields of the record anew, after its values have been changed. Requires: a call out of a WriteRow.
  void scoreAgain(const QUVENEnvHandle& env) { writingPass->scoreAgain(env); }

  const std::vector<QUVENPassCounters>& getPasses() const { return passes; }
  void release(const QUVENEnvHandle& env);

 private:
  /// The word that rank 0 broadcasts before each pass.
  enum Word : std::int32_t { Ended = 0, AnotherPass = 1 };

  bool prepare(const QUVENEnvHandle& env);
  bool fieldsGather(bool countOutputs) const;
  void runPass(const QUVENEnvHandle& env);
  void runSharedPass(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env);
  void runSlicedPass(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env);
  void shareState(QUVENMemoryBlobIO& blob, QUVENPassCounters& counters, const QUVENEnvHandle& env);
  void readCopy(QUVENScanWorld& copy, QUVENMemoryBlobIO& blob, const QUVENEnvHandle& env);
  QUVENScanType agreeOnScanType(QUVENRecordPass& pass, const QUVENEnvHandle& env) const;
  bool takeKeptRecords(const QUVENRecordPass& pass, QUVENPassCounters& counters, const QUVENEnvHandle& env);
  template <class Take>
  void scanRecords(QUVENDataPoint& point, QUVENPassCounters& counters, Take take, const QUVENEnvHandle& env);
  void collectResults(const QUVENRecordPass& pass, QUVENMemoryBlobIO& blob, QUVENPassCounters& counters,
                      const QUVENEnvHandle& env);
  void endPass(QUVENRecordPass& pass, QUVENPassCounters& counters, const QUVENEnvHandle& env);

  QUVENPassSettings settings;
  const QUVENWorkerTransport& transport;
  QUVENScanProtocols protocols;
  QUVENScanWorld world;  // live on rank 0, a copy above it
  QUVENBinaryInputDataset* dataset = nullptr;
  QUVENPassObserver* observer = nullptr;
  std::function<void(int)> betweenPasses;
  std::function<void(QUVENScanWorld&)> afterRead;
  std::vector<QUVENStringWithHash> fieldNames;  // of the fields that were added
  std::set<std::int32_t> begunScans;            // serial numbers
  QUVENOutputCache outputCache;
  std::vector<QUVENPassCounters> passes;   // those that write rows too
  QUVENRecordPass* writingPass = nullptr;  // while rows are written
  std::int32_t passNumber = 0;             // of the last pass that trains
};

#endif  // QUVEN_PASS_DRIVER_H
