#ifndef QUVEN_SIMPLE_ALGORITHM_DATA_H
#define QUVEN_SIMPLE_ALGORITHM_DATA_H

// The contract of an analysis that runs as a sequence of passes over a dataset, on one worker or on many.

#include <cstdint>
#include <iosfwd>

#include "kernel/quven_data_scan.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

class QUVENKeptRows;
class QUVENXMLTag;

/// The state and the work of an analysis.
///
/// One pass: initIteration on every worker; update for each record of the worker's share, or updateWithoutDataScan once
/// for a pass without data; finishIteration on every worker; merge of the workers' results; endDataScan on the master,
/// whose object then goes to all workers. Errors: an operation that an analysis does not have is "Program control
/// should never reach this point".
class QUVENSimpleAlgorithmAbstractData : public QUVENObjectOf<QUVENSimpleAlgorithmAbstractData, QUVENObject> {
 public:
  /// A subscriber's number in a row.
  using SampleNumber = std::uint64_t;

  virtual void reservedOperation(const QUVENEnvHandle& env);
  /// Once, before the first pass, on the master.
  virtual int beginDataScan(std::int32_t numExplanatoryFields, const QUVENEnvHandle& env);
  /// One record. Shapes: both vectors are 1-based, in the order of the model's fields.
  virtual void update(const QUVENXaRay<double>& dataVec, const QUVENXaRay<double>& targetVec, SampleNumber sampleNumber,
                      const QUVENEnvHandle& env);
  /// Once after each pass, on the master: 1 when the analysis has ended.
  virtual int endDataScan(const QUVENEnvHandle& env);
  virtual int updateWithoutDataScan(const QUVENEnvHandle& env);
  /// In place of the records of a pass: works over kept rows, which it lets read the file in the first pass. Returns
  /// the number of records that the pass would have been shown, or -1 when they are to be shown. -1 here.
  virtual std::int64_t updateFromKeptRows(QUVENKeptRows& rows, const QUVENEnvHandle& env);
  virtual int initIteration(const QUVENEnvHandle& env);
  virtual int finishIteration(const QUVENEnvHandle& env);
  /// Whether there is nothing left to do.
  virtual bool isFinished() const;
  /// Folds in the result of another worker.
  virtual void merge(QUVENSimpleAlgorithmAbstractData* other, const QUVENEnvHandle& env);
  virtual void print(std::ostream& out) const;
  virtual bool resultsAvailable() const;
  /// Adds the parameters and counters of the run.
  virtual void writeResultsToTag(QUVENXMLTag& tag, const QUVENEnvHandle& env) const;
  /// How the next pass reads the data.
  virtual QUVENScanType getScanKind(const QUVENEnvHandle& env) const;
  /// The share of the data that the next pass needs.
  virtual double getScanFraction(const QUVENEnvHandle& env) const;
  virtual int needsMerge() const;

 protected:
  QUVENSimpleAlgorithmAbstractData() = default;

 private:
  QUVEN_MEMBER(ivDummy, std::int32_t) = 0;
};

#endif  // QUVEN_SIMPLE_ALGORITHM_DATA_H
