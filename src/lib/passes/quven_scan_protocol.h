#ifndef QUVEN_SCAN_PROTOCOL_H
#define QUVEN_SCAN_PROTOCOL_H

#include <cstdint>

#include "passes/quven_scan_world.h"

/// How the driver begins, ends and scores the scans of one class and those below it.
///
/// A protocol has no state: what it knows of a scan it asks the scan, so every rank can ask its copy.
class QUVENScanProtocol {
 public:
  virtual ~QUVENScanProtocol() = default;

  /// The class that the protocol is for.
  virtual const QUVENTypeName& getScanClass() const = 0;
  /// Starts a scan that is to be started. Rank 0 calls it before each pass, with isNew for a scan that it has not seen.
  virtual void begin(QUVENDataScan& scan, bool isNew, const QUVENEnvHandle& env) const = 0;
  /// Whether every field that the scan reads is one of these. A field that is not is never looked into.
  virtual bool readsOnly(const QUVENDataScan&, const QUVENFieldSet&) const { return true; }
  /// Whether the scan takes part in the coming or current pass.
  virtual bool isScanning(const QUVENDataScan& scan) const = 0;
  /// How a pass over the dataset is read for a scan that asks for a mode. hasLines: there is a line number column.
  virtual QUVENScanType readingModeOf(QUVENScanType wanted, bool) const { return wanted; }
  /// Ends a pass of a scan that takes part in it. Rank 0 calls it, with the results of all ranks merged.
  virtual void end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const = 0;
  /// Whether the scan gives every record a result, which other scans may read.
  virtual bool canScore(const QUVENDataScan& scan) const = 0;
  /// Sets the result fields of a record, those of one channel or, with channel 0, of all. Requires: canScore.
  virtual void score(QUVENDataScan& scan, std::int32_t channel, QUVENDataPoint& point,
                     const QUVENEnvHandle& env) const = 0;
};

/// Models: they begin when a mode has been chosen, get lastPass, and score when they have finished.
class QUVENModelProtocol : public QUVENScanProtocol {
 public:
  const QUVENTypeName& getScanClass() const override;
  /// Errors: a model without a mode is "Invalid model state".
  void begin(QUVENDataScan& scan, bool isNew, const QUVENEnvHandle& env) const override;
  bool readsOnly(const QUVENDataScan& scan, const QUVENFieldSet& fields) const override;
  bool isScanning(const QUVENDataScan& scan) const override;
  void end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const override;
  bool canScore(const QUVENDataScan& scan) const override;
  void score(QUVENDataScan& scan, std::int32_t channel, QUVENDataPoint& point,
             const QUVENEnvHandle& env) const override;
};

/// Multi-scans: they are begun once in a run, and score nothing.
class QUVENMultiScanProtocol : public QUVENScanProtocol {
 public:
  const QUVENTypeName& getScanClass() const override;
  void begin(QUVENDataScan& scan, bool isNew, const QUVENEnvHandle& env) const override;
  bool isScanning(const QUVENDataScan& scan) const override;
  void end(QUVENDataScan& scan, std::int32_t lastPass, const QUVENEnvHandle& env) const override;
  bool canScore(const QUVENDataScan&) const override { return false; }
  /// Errors: "Program control should never reach this point".
  void score(QUVENDataScan& scan, std::int32_t channel, QUVENDataPoint& point,
             const QUVENEnvHandle& env) const override;
};

#endif  // QUVEN_SCAN_PROTOCOL_H
