#ifndef QUVEN_DATA_SCAN_H
#define QUVEN_DATA_SCAN_H

// The scan protocol: objects that are shown the records of a dataset, on one worker or on many, over several passes.

#include <cstdint>
#include <vector>

#include "util/quven_object_of.h"
#include "util/quven_xaray.h"
#include "util/quven_xashtable.h"

class QUVENDataPoint;
class QUVENDataScan;
class QUVENField;

/// How the records of a dataset are read in a pass; a number of the reading mode of the dataset.
enum class QUVENScanType : std::int32_t {
  Slice = 0,  ///< this worker's share, cut by record number
  ComplementOfSlice = 1,
  Everything = 2,  ///< every record on every worker
  NoPass = 3,
  RandomSample = 4,
  Lines = 5,  ///< whole lines, dealt over the workers by their number
  EverythingSparse = 6,
  SampledLines = 7,
  SparseQuadruples = 8
};

/// What a scan says of a pass over records that it keeps in memory.
struct QUVENKeptRecords {
  std::int64_t records = 0;    ///< that the pass has been over
  std::int64_t bytesRead = 0;  ///< of the file, in the pass that fills the memory
  double secondsReading = 0;
};

/// The scans of an environment by their serial numbers.
///
/// There is one in each environment, made on first use. It is never saved or copied.
class QUVENDataScanGlobalVars : public QUVENObjectOf<QUVENDataScanGlobalVars, QUVENObject> {
 public:
  static QUVENDataScanGlobalVars& get(const QUVENEnvHandle& env);

  /// Gives a scan the next serial number, from 1 upward.
  std::int32_t registerScan(QUVENDataScan* scan, const QUVENEnvHandle& env);
  void unregisterScan(std::int32_t serialNumber, const QUVENEnvHandle& env);
  /// The live scan of a serial number, or null.
  QUVENDataScan* find(std::int32_t serialNumber) const;
  long getNumScans() const { return serials.getLiveCount(); }

  // All four: "Program control should never reach this point".
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;

 private:
  QUVEN_STATE(dummy, std::int32_t) = 0;
  QUVEN_STATE(serialNumCounter, std::int32_t) = 0;
  QUVEN_STATE(serials, QUVENObjectIndexXAshTable<std::int32_t>);
  QUVEN_STATE(scans, QUVENXaRay<QUVENDataScan*>);  // parallel to the keys of serials
};

/// An analysis, a field, a model: whatever is shown records and learns from them.
///
/// A scan has a serial number of its own in its environment. A copy that a worker reads from a stream remembers the
/// serial of the object that it was written from, and its result goes back under that number, negated.
/// Lifetime: from construction to destroyPrimitive it can be found by its serial number.
class QUVENDataScan : public QUVENObjectOf<QUVENDataScan, QUVENObject> {
 public:
  /// What a pass does with one record.
  using UpdateFunction = void (QUVENDataScan::*)(QUVENDataPoint& point, const QUVENEnvHandle& env);

  ~QUVENDataScan() override;
  QUVENDataScan(QUVENDataScan&&) = delete;
  QUVENDataScan& operator=(QUVENDataScan&&) = delete;

  /// The keyword that every image of a scan begins with.
  static const QUVENKeyword& serialNumberKeyword() { return QUVEN_KWD(ivMergeWithSerialNumber); }

  std::int32_t getSerialNumber() const { return ivSerialNumber; }
  std::int32_t getMergeWithSerialNumber() const { return ivMergeWithSerialNumber; }
  std::int32_t getGlobalNumChannels() const { return ivGlobalNumChannels; }

  /// Whether a child that is in a mode can run in the mode that is asked of it: modes 1 and 2 need one in a mode of no
  /// higher number, and every other mode goes with any.
  static bool allowsMode(std::int32_t requestedMode, std::int32_t modeOfChild) {
    return (requestedMode != 1 && requestedMode != 2) || (1 <= modeOfChild && modeOfChild <= requestedMode);
  }
  /// The channels of a mode: below 3 as many as its number, else those of the environment.
  static std::int32_t channelsOfMode(std::int32_t mode, const QUVENEnvHandle& env);

  /// Shows a record to the scan, which does not see it without a handler.
  void update(QUVENDataPoint& point, const QUVENEnvHandle& env) {
    if (updateFunction != nullptr) (this->*updateFunction)(point, env);
  }
  bool wantsRecords() const { return updateFunction != nullptr; }
  UpdateFunction getHandler() const { return updateFunction; }
  UpdateFunction getHandler2() const { return updateFunction2; }

  /// Copies the handlers and the number of channels, never the serial numbers.
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  /// Errors: a scan cannot be moved; a source other than null is "Program control should never reach this point".
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  /// Refreshes both handlers.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void destroyPrimitive(const QUVENEnvHandle& env) override;

  /// The reading mode wanted for the coming pass.
  virtual QUVENScanType getScanType(const QUVENEnvHandle& env) const;
  /// The fraction of the records wanted, for a random sample.
  virtual double getSamplingRate(const QUVENEnvHandle& env) const;
  /// A question of the driver that a scan answers by its own rules.
  virtual bool getScanOption(const QUVENEnvHandle& env) const;
  /// Merges the partial result of another scan of the same class into this one. True when it was merged; false when the
  /// two cannot be merged, and then this scan is unchanged.
  [[nodiscard]] virtual bool merge(QUVENDataScan* other, const QUVENEnvHandle& env);
  /// Whether there is a partial result to return after this pass.
  virtual bool hasScanResult(const QUVENEnvHandle& env) const;
  /// Writes the results of the scans that this one owns, each by quvenWriteScanResults.
  virtual void writeChildScanResults(QUVENObjWriter& writer, const QUVENKeyword& keyword,
                                     const QUVENEnvHandle& env) const;
  /// The handler of the present state, null for no data.
  virtual UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const;
  virtual UpdateFunction getUpdateFunction2(const QUVENEnvHandle& env) const;

  // The hooks of a pass. The driver calls them on every rank; a scan passes them on to the scans that it owns.

  /// Before the first record of a pass, after the state of rank 0 has arrived. What the scan gathers must be empty
  /// after it, because the state may carry what rank 0 has gathered in an earlier pass.
  virtual void beginRecords(const QUVENEnvHandle& env);
  /// After the last record, before the result is written.
  virtual void endRecords(const QUVENEnvHandle& env);
  /// Instead of the records, in a pass for which getScanType is NoPass. Returns 1.
  virtual int updateWithoutDataScan(const QUVENEnvHandle& env);

  /// Instead of the records, if the scan keeps in memory those that this rank would be shown: works over them, says
  /// what was done, and returns true. False, without an effect, when the scan is to be shown the records of the file;
  /// the answer is the same on all ranks.
  virtual bool updateFromKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle& env);

  /// Whether a record changes only what beginRecords empties and merge adds up. A copy of such a scan serves several
  /// slices of the records, and its results reach another copy without a stream. False here.
  virtual bool changesOnlyItsResults() const { return false; }
  /// Appends the computed outputs that the scan sets for each record, and that are the same for a record in all passes
  /// from the present one on. When one of them is set before the scan sees a record, the scan need not compute it. None
  /// here.
  virtual void collectFinalOutputs(std::vector<QUVENField*>& /*fields*/) const {}

 protected:
  explicit QUVENDataScan(const QUVENEnvHandle& env);

  /// Fetches both handlers anew: after every change of state.
  void refreshHandlers(const QUVENEnvHandle& env);

 private:
  friend class QUVENScanImage;

  UpdateFunction updateFunction = nullptr;
  UpdateFunction updateFunction2 = nullptr;
  std::int32_t ivSerialNumber = 0;
  QUVEN_MEMBER_AS_IF("mergeWithSerialNumber", false, ivMergeWithSerialNumber, std::int32_t) = 0;  // written by hand
  std::int32_t ivGlobalNumChannels = 0;
};

/// A scan that runs in passes of its own: in a scan, or out of it.
class QUVENMultiScan : public QUVENObjectOf<QUVENMultiScan, QUVENDataScan> {
 public:
  /// Enters the scan if it is not in it, and returns whether it is in it. Refreshes the handlers.
  int beginDataScan(const QUVENEnvHandle& env);
  /// Ends a pass, and returns 1 when no further pass is needed. Out of a scan that is 1 without another effect.
  int endDataScan(const QUVENEnvHandle& env);
  bool isScanInProgress() const { return ivScanInProgress != 0; }

  void destroyPrimitive(const QUVENEnvHandle& env) override;

  // Both: "Program control should never reach this point" until a class overrides them.
  UpdateFunction getUpdateFunction(const QUVENEnvHandle& env) const override;
  UpdateFunction getUpdateFunction2(const QUVENEnvHandle& env) const override;
  /// 1 when data is wanted.
  virtual int beginDataScanPrimitive(const QUVENEnvHandle& env) = 0;
  /// 1 when the scan is done.
  virtual int endDataScanPrimitive(const QUVENEnvHandle& env) = 0;

 protected:
  using Members::QUVENObjectOf;

 private:
  QUVEN_MEMBER(ivScanInProgress, std::int32_t) = 0;
};

// Every source that sees a scan reads owned scans in the same way.
#include "kernel/quven_scan_stream.h"  // IWYU pragma: export

#endif  // QUVEN_DATA_SCAN_H
