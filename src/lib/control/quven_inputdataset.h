#ifndef QUVEN_INPUTDATASET_H
#define QUVEN_INPUTDATASET_H

#include <cstdint>
#include <string>

#include "kernel/quven_data_point.h"

/// A source of records for the scans: it fills the one data point that they look at, a record at a time.
class QUVENInputDataset : public QUVENObjectOf<QUVENInputDataset, QUVENObject> {
 public:
  /// What readNext returns behind the last record.
  static constexpr std::int32_t EndOfData = -1;

  /// Opens the files of a name as one of several workers and returns 1. The master fills the data point with a field
  /// for each column; the other workers bring a data point that has them.
  virtual std::int32_t open(const std::string& name, QUVENDataPoint* point, std::int32_t rank, std::int32_t count,
                            const QUVENEnvHandle& env) = 0;
  /// 1 for a dataset of binary records.
  virtual std::int32_t isBinary(const QUVENEnvHandle& env) const = 0;
  /// Goes back to the first record of the pass and returns 1.
  virtual std::int32_t rewind(const QUVENEnvHandle& env) = 0;
  /// Fills the data point with the next record and returns its number as 32 bits, or EndOfData. The number of record
  /// 4,294,967,295 is EndOfData as well: a pass over more records than that uses readRecord.
  virtual std::int32_t readNext(QUVENDataPoint& point, const QUVENEnvHandle& env) = 0;
  /// A data point without fields.
  virtual QUVENOwnPtr<QUVENDataPoint> makeDataPoint(const QUVENEnvHandle& env) const = 0;
  /// Whether the name stands for parts: name.0, name.1, ... Called before open.
  virtual void setMultiFile(bool parts) = 0;
  /// Fills the data point with the next record; false at the end of the data.
  virtual bool readRecord(QUVENDataPoint& point, const QUVENEnvHandle& env) = 0;
  /// The number of the record that was delivered last, or of its line where whole lines are delivered.
  virtual std::int64_t getRecordNumber() const = 0;
};

#endif  // QUVEN_INPUTDATASET_H
