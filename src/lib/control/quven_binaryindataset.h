#ifndef QUVEN_BINARYINDATASET_H
#define QUVEN_BINARYINDATASET_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "control/quven_dataset_buffer.h"
#include "control/quven_inputdataset.h"

/// The loader's binary files, read back: records of doubles, one for each column of the description beside them.
///
/// A pass is open, setScanType, and readNext to the end; a further one is setScanType and rewind. The rank, the number
/// of workers and the mode say which records a worker sees.
/// Shapes:     records run from 0; columns from 0 in here, their fields from 1 in the data point.
/// Units:      -99999.0 in a column is a missing value. A number of a categorical column becomes its text.
/// Errors:     fatal reports. The end of the data is none, and a record that the end of the file cuts is not delivered.
/// Collective: ComplementOfSlice, Everything and EverythingSparse open the file by all workers together, which have to
///             read to the end side by side.
/// Cost:       one read of QUVENDatasetBuffer::BlockBytes a block; no allocation and no look-up of a name a record.
class QUVENBinaryInputDataset : public QUVENObjectOf<QUVENBinaryInputDataset, QUVENInputDataset> {
 public:
  /// Milliseconds since some moment: the seed of the random skip.
  using MillisecondClock = std::uint32_t (*)();

  QUVENBinaryInputDataset();
  QUVENBinaryInputDataset(QUVENBinaryInputDataset&&) = delete;
  QUVENBinaryInputDataset& operator=(QUVENBinaryInputDataset&&) = delete;
  ~QUVENBinaryInputDataset() override = default;

  /// Requires: MPI runs.
  /// Errors:   a file that does not open is an Error line (2305 the data, 2306 the description) and the fatal report
  ///           "Failed to open input data file !!" or "Failed to open input info file !!"; a null data point
  ///           "datapointPtr cannot be NULL \n"; the description those of dataset_info::read.
  std::int32_t open(const std::string& name, QUVENDataPoint* point, std::int32_t rank, std::int32_t count,
                    const QUVENEnvHandle& env) override;
  std::int32_t isBinary(const QUVENEnvHandle&) const override { return 1; }
  std::int32_t rewind(const QUVENEnvHandle& env) override;
  std::int32_t readNext(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// The data point gets channel 0 and, as its record id, the lower 32 bits of getRecordNumber.
  /// Errors: a numeric value that is not a number is an Error line (2305) and a fatal report with the file, the record
  ///         and the column, unless such values are allowed.
  bool readRecord(QUVENDataPoint& point, const QUVENEnvHandle& env) override;
  /// The next records of the mode Slice as the file has them, as many as are in memory in one piece; none at the end.
  /// Values are not checked, and no data point is set.
  /// Shapes: whole records, one after the other. They are valid until the next read.
  std::span<const double> readBlock(const QUVENEnvHandle& env);
  /// The number of the record in the dataset; of the line in SparseQuadruples.
  std::int64_t getRecordNumber() const override { return recordNumber; }
  QUVENOwnPtr<QUVENDataPoint> makeDataPoint(const QUVENEnvHandle& env) const override;
  void setMultiFile(bool parts) override { multiFile = parts ? 1 : 0; }
  /// The description, where it is not name.info. Called before open.
  void setInfoFile(const std::string& infoFile) { infoFileName = infoFile; }

  /// Whether numeric values are delivered as the file has them. Otherwise, and at first, NaN is refused and an infinite
  /// value is delivered as the largest number of its sign, which is what distributions and streams make of it.
  void setNotANumberAllowed(bool allowed) { notANumberAllowed = allowed; }

  /// Reads as this one of several workers from the next setScanType on. Requires 0 <= rank < count.
  void setWorker(std::int32_t rank, std::int32_t count, const QUVENEnvHandle& env);
  /// Chooses the reading mode of the coming pass and this worker's records in it.
  /// Errors: an unknown mode; a mode of lines without a line number column; records that the block cannot hold; a part
  ///         that ends inside a record.
  void setScanType(QUVENScanType type, const QUVENEnvHandle& env);
  /// The rate that the random skip looks at, from 0; 10.0 and above skips without a draw.
  void setSamplingRate(double rate, const QUVENEnvHandle& env);

  /// Reads through a block of the caller's, which outlives the reading; null for the dataset's own.
  void setBuffer(QUVENDatasetBuffer* callersBuffer) { buffer = callersBuffer; }
  /// Whether every 5000000th row is told on standard output.
  void setProgressLines(bool wanted) { progressLines = wanted; }
  void setMillisecondClock(MillisecondClock replacement) { clock = replacement; }

  std::int32_t getNumColumns() const { return numColumns; }
  const std::vector<std::string>& getColumnNames() const { return columnNames; }
  /// -1 without such a column.
  std::int32_t getLineNumberColumn() const { return lineNumberColumn; }
  std::int32_t getTargetColumn() const { return targetColumn; }
  bool hasNumericColumnsOnly() const;
  std::int64_t getTotalBytes() const { return totalBytes; }
  /// The lines that SparseQuadruples has delivered since setScanType.
  std::int32_t getSparseLines() const { return sparseLines; }

  // A dataset is not saved, copied or moved: "Function/Feature not yet implemented".
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void destroyPrimitive(const QUVENEnvHandle& env) override;

 private:
  struct BoundColumn {
    QUVENField* field;
    bool isNumeric;
  };

  void clear(std::int32_t rank, std::int32_t count);
  void measureFiles(const QUVENEnvHandle& env);
  void takeColumnsFromInfo(const QUVENEnvHandle& env);
  void takeColumnsFromFields(const QUVENDataPoint& point);
  void makeFields(QUVENDataPoint& point, const QUVENEnvHandle& env);
  void setRecordLength(std::int64_t doubles, const QUVENEnvHandle& env);
  void setRange(std::int64_t first, std::int64_t last);
  void bindColumns(const QUVENDataPoint& point);

  const double* fetchRecord(std::int64_t record, const QUVENEnvHandle& env);
  void refill(std::int64_t startByte, const QUVENEnvHandle& env);
  const double* fetchOutsideHoldOut(const QUVENEnvHandle& env);
  const double* fetchOfOwnLines(const QUVENEnvHandle& env);
  const double* fetchOfSampledLines(const QUVENEnvHandle& env);
  const double* fetchHeader(const QUVENEnvHandle& env);
  bool readQuadruples(QUVENDataPoint& point, const QUVENEnvHandle& env);
  static void setField(const BoundColumn& column, double value);
  void setCheckedField(std::size_t column, double value, const QUVENEnvHandle& env) const;
  [[noreturn]] void refuseNotANumber(std::size_t column, const QUVENEnvHandle& env) const;
  bool deliver(QUVENDataPoint& point, std::int64_t number);
  std::size_t partOf(std::int64_t byte, std::int64_t& endOfPart) const;
  std::int32_t randomSkip() const;
  QUVENDatasetBuffer& getBuffer() { return buffer == nullptr ? ownBuffer : *buffer; }

  std::string fileName;
  std::string infoFileName;  // empty for fileName.info
  std::int32_t numColumns = 0;
  std::vector<std::string> columnNames;
  std::vector<std::int32_t> columnTypes;
  std::vector<std::int32_t> columnPurposes;  // of the description on the master, of the fields elsewhere; never asked
  std::vector<std::int64_t> partSizes;       // empty for a single file
  std::int32_t workerRank = 0;
  std::int32_t workerCount = 1;
  std::int64_t currentRecord = 0;
  std::int64_t firstRecord = 0;
  std::int64_t lastRecord = -1;
  std::int64_t totalBytes = 0;
  std::int32_t lineNumberColumn = -1;
  QUVENDatasetBuffer* buffer = nullptr;
  double samplingRate = 1.0;
  QUVENScanType scanType = QUVENScanType::Slice;
  std::int64_t holdOutFirst = 0;
  std::int64_t holdOutLast = -1;
  std::uint64_t lastLineNumber = 0;
  std::int32_t multiFile = 0;
  std::int32_t sparseLines = 0;
  std::int32_t lineHeaderSeen = 0;
  std::int32_t atEnd = 0;
  std::int32_t targetColumn = -1;

  QUVENDatasetBuffer ownBuffer;
  std::int64_t recordBytes = 0;  // of the present mode
  std::int64_t recordNumber = -1;
  bool notANumberAllowed = false;
  const QUVENDataPoint* boundPoint = nullptr;
  std::vector<BoundColumn> boundColumns;  // those of boundPoint
  bool progressLines = true;
  MillisecondClock clock;
};

#endif  // QUVEN_BINARYINDATASET_H
