#include "control/quven_binaryindataset.h"

#include <mpi.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "control/quven_category_code.h"
#include "control/quven_dataset_info.h"
#include "control/quven_file_formats.h"
#include "control/quven_mpi_file.h"
#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "kernel/quven_sample_number.h"
#include "kernel/quven_worker.h"
#include "util/quven_numbers.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENBinaryInputDataset);

namespace {

constexpr std::int64_t progressRows = 5000000;
constexpr double skipEverythingRate = 10.0;

std::uint32_t timeGetTime() {
  using namespace std::chrono;
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

std::string nameOfPart(const std::string& name, std::size_t part) {
  return std::string(name).append(".").append(std::to_string(part));
}

/// The size of a file that can be opened, or -1.
std::int64_t sizeOfFile(const std::string& name) {
  std::error_code ignored;
  if (std::filesystem::is_directory(name, ignored)) return -1;  // MPI opens it, and gives it a size beyond all bounds
  QUVENMPIFile file;
  std::int64_t bytes = 0;
  if (!file.open(MPI_COMM_SELF, name, MPI_MODE_RDONLY) || !file.getSize(bytes)) return -1;
  return file.close() ? bytes : -1;
}

[[noreturn]] void dataFileFailed(const std::string& name, const QUVENEnvHandle& env) {
  constexpr std::string_view text = "Failed to open input data file !!";
  report_error(2305, name, text, QUVEN_ENV, false);
  quvenFatalReport(text, QUVEN_ENV);
}

[[noreturn]] void infoFileFailed(const std::string& name, const QUVENEnvHandle& env) {
  report_error(2306, name, "Failed to open input data file info !!", QUVEN_ENV, false);
  quvenFatalReport("Failed to open input info file !!", QUVEN_ENV);
}

}  // namespace

QUVENBinaryInputDataset::QUVENBinaryInputDataset() : clock(&timeGetTime) {}

// Opening

std::int32_t QUVENBinaryInputDataset::open(const std::string& name, QUVENDataPoint* point, std::int32_t rank,
                                           std::int32_t count, const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(quvenIsMpiRunning(), "MPI must run before a dataset is opened");
  QUVEN_ASSERT(count >= 1 && rank >= 0 && rank < count);
  constexpr std::string_view noPoint = "datapointPtr cannot be NULL \n";
  clear(rank, count);
  fileName = name;
  measureFiles(QUVEN_ENV);
  if (workerRank == 0) {
    takeColumnsFromInfo(QUVEN_ENV);
    if (point == nullptr) quvenFatalReport(noPoint, QUVEN_ENV);
    makeFields(*point, QUVEN_ENV);
  } else {
    if (point == nullptr) quvenFatalReport(noPoint, QUVEN_ENV);
    takeColumnsFromFields(*point);
  }
  numColumns = static_cast<std::int32_t>(columnNames.size());
  return 1;
}

void QUVENBinaryInputDataset::clear(std::int32_t rank, std::int32_t count) {
  workerRank = rank;
  workerCount = count;
  scanType = QUVENScanType::Slice;
  samplingRate = 1.0;
  sparseLines = lineHeaderSeen = atEnd = 0;
  setRange(0, -1);
  holdOutFirst = 0;
  holdOutLast = -1;
  lastLineNumber = 0;
  columnNames.clear();
  columnTypes.clear();
  columnPurposes.clear();
  numColumns = 0;
  lineNumberColumn = targetColumn = -1;
  partSizes.clear();
  totalBytes = 0;
  recordNumber = -1;
  boundPoint = nullptr;
  getBuffer().reset();
}

void QUVENBinaryInputDataset::measureFiles(const QUVENEnvHandle& env) {
  if (multiFile == 0) {
    totalBytes = sizeOfFile(fileName);
    if (totalBytes < 0) {
      totalBytes = 0;
      dataFileFailed(fileName, QUVEN_ENV);
    }
    return;
  }
  for (std::int64_t bytes = 0; (bytes = sizeOfFile(nameOfPart(fileName, partSizes.size()))) >= 0;) {
    partSizes.push_back(bytes);
    totalBytes += bytes;
  }
  if (totalBytes == 0) dataFileFailed(fileName, QUVEN_ENV);
}

void QUVENBinaryInputDataset::takeColumnsFromInfo(const QUVENEnvHandle& env) {
  const std::string infoName = infoFileName.empty() ? fileName + ".info" : infoFileName;
  std::ifstream file(infoName);
  std::vector<dataset_info::Column> columns;
  if (!file || !dataset_info::read(file, columns, QUVEN_ENV)) infoFileFailed(infoName, QUVEN_ENV);
  for (const dataset_info::Column& column : columns) {
    const std::int32_t index = static_cast<std::int32_t>(columnNames.size());
    if (column.purpose == dataset_info::Target) targetColumn = index;
    if (column.purpose == dataset_info::LineNumber) lineNumberColumn = index;
    columnNames.push_back(column.name);
    columnTypes.push_back(column.type);
    columnPurposes.push_back(column.purpose);
  }
}

void QUVENBinaryInputDataset::takeColumnsFromFields(const QUVENDataPoint& point) {
  for (long i = 1; i <= point.getNumFields(); ++i) {
    const QUVENField& field = point.getField(i);
    const std::int32_t index = static_cast<std::int32_t>(i - 1);
    columnNames.push_back(field.getName().str());
    columnTypes.push_back(field.isNumeric() ? dataset_info::Numeric : dataset_info::Categorical);
    columnPurposes.push_back(field.getPurpose());
    if (field.getPurpose() == static_cast<std::int32_t>(QUVENFieldPurpose::LineNumber)) lineNumberColumn = index;
    if (field.getPurpose() == static_cast<std::int32_t>(QUVENFieldPurpose::Target)) targetColumn = index;
  }
}

void QUVENBinaryInputDataset::makeFields(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  for (std::size_t c = 0; c < columnNames.size(); ++c) {
    QUVENOwnPtr<QUVENField> field(QUVEN_ENV);
    if (columnTypes[c] == dataset_info::Numeric) {
      field = quvenMake<QUVENNumField>(QUVEN_ENV);
      if (columnPurposes[c] == dataset_info::LineNumber) field->markAsLineNumber(QUVEN_ENV);
    } else if (columnTypes[c] == dataset_info::Categorical) {
      field = quvenMake<QUVENCatField>(QUVEN_ENV);
    } else {
      quvenFatalReport("Unknown Column Type \n", QUVEN_ENV);
    }
    // The other workers get the fields and not the description: they know the two columns by these purposes.
    QUVENFieldPurpose purpose = QUVENFieldPurpose::None;
    if (columnPurposes[c] == dataset_info::LineNumber) purpose = QUVENFieldPurpose::LineNumber;
    if (columnPurposes[c] == dataset_info::Target) purpose = QUVENFieldPurpose::Target;
    field->setPurpose(static_cast<std::int32_t>(purpose));
    field->setName(columnNames[c]);
    point.addField(std::move(field), QUVEN_ENV);
  }
}

QUVENOwnPtr<QUVENDataPoint> QUVENBinaryInputDataset::makeDataPoint(const QUVENEnvHandle& env) const {
  return quvenMake<QUVENDataPoint>(QUVEN_ENV);
}

// The records of a pass

void QUVENBinaryInputDataset::setWorker(std::int32_t rank, std::int32_t count, const QUVENEnvHandle&) {
  QUVEN_ASSERT(count >= 1 && rank >= 0 && rank < count);
  workerRank = rank;
  workerCount = count;
}

void QUVENBinaryInputDataset::setScanType(QUVENScanType type, const QUVENEnvHandle& env) {
  using enum QUVENScanType;
  scanType = type;
  if (type < Slice || type > SparseQuadruples) {
    quvenFatalReport("ivScanType should be 0, 1, 2 or 3", QUVEN_ENV);
  }
  if (type == NoPass) return;
  if ((type == Lines || type == SampledLines) && lineNumberColumn < 0) {
    quvenFatalReport("Sparse mode requires a line number column in the data. No such column detected.", QUVEN_ENV);
  }
  setRecordLength(type == SparseQuadruples ? std::int64_t{quadruple_format::columns} : numColumns, QUVEN_ENV);

  const std::int64_t numRecords = totalBytes / recordBytes;
  const std::int64_t share = numRecords / workerCount;
  const std::int64_t sliceFirst = workerRank * share;
  const bool isLastWorker = workerRank == workerCount - 1;
  const std::int64_t sliceLast = sliceFirst + share - 1 + (isLastWorker ? numRecords % workerCount : 0);

  const bool isSlice = type == Slice || type == SparseQuadruples;
  setRange(isSlice ? sliceFirst : 0, isSlice ? sliceLast : numRecords - 1);
  holdOutFirst = sliceFirst;
  holdOutLast = sliceLast;
  lastLineNumber = 0;
  sparseLines = lineHeaderSeen = atEnd = 0;
  boundPoint = nullptr;
  const bool isWorld = type == ComplementOfSlice || type == Everything || type == EverythingSparse;
  // Workers that open the file together start from the same state: an empty block.
  if (isWorld) getBuffer().reset();
  getBuffer().setOpenWorld(isWorld);
}

void QUVENBinaryInputDataset::setRecordLength(std::int64_t doubles, const QUVENEnvHandle& env) {
  recordBytes = doubles * std::int64_t{sizeof(double)};
  if (recordBytes == 0) quvenFatalReport("No column in input data file " + fileName, QUVEN_ENV);
  if (recordBytes > QUVENDatasetBuffer::BlockBytes) {
    quvenFatalReport("A record of more than 25000 columns in input data file " + fileName, QUVEN_ENV);
  }
  for (std::size_t k = 0; k < partSizes.size(); ++k) {
    if (partSizes[k] % recordBytes != 0) {
      quvenFatalReport("The last record is cut in input data file " + nameOfPart(fileName, k), QUVEN_ENV);
    }
  }
}

void QUVENBinaryInputDataset::setRange(std::int64_t first, std::int64_t last) {
  currentRecord = firstRecord = first;
  lastRecord = last;
}

void QUVENBinaryInputDataset::setSamplingRate(double rate, const QUVENEnvHandle&) {
  QUVEN_ASSERT_CAUSE(rate >= 0, "A rate below 0 never takes a record");
  samplingRate = rate;
}

std::int32_t QUVENBinaryInputDataset::rewind(const QUVENEnvHandle&) {
  currentRecord = firstRecord;
  boundPoint = nullptr;
  // A slice starts anywhere in a line, so the next pass has to look for the first header again.
  if (scanType == QUVENScanType::SparseQuadruples) lineHeaderSeen = atEnd = 0;
  return 1;
}

std::int32_t QUVENBinaryInputDataset::randomSkip() const {
  // The seed is the clock at each call on purpose: the skips of one millisecond are equal.
  std::srand(clock() % 1000);
  if (samplingRate >= skipEverythingRate) return -1;
  std::int32_t count = -1;
  double draw = 0;
  do {
    draw = (std::rand() % 1000) / 1000.0;
    ++count;
  } while (draw > samplingRate);
  return count;
}

// Reading

std::int32_t QUVENBinaryInputDataset::readNext(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  return readRecord(point, QUVEN_ENV) ? static_cast<std::int32_t>(recordNumber) : EndOfData;
}

bool QUVENBinaryInputDataset::readRecord(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  using enum QUVENScanType;
  if (scanType == RandomSample) {
    const std::int32_t skip = randomSkip();
    currentRecord = skip < 0 ? lastRecord + 1 : currentRecord + skip;
  }
  if (scanType == NoPass || atEnd == 1 || currentRecord > lastRecord) return false;
  if (&point != boundPoint) bindColumns(point);

  const double* record = nullptr;
  switch (scanType) {
    case Slice:
    case Everything:
    case RandomSample:
    case EverythingSparse:
      record = fetchRecord(currentRecord++, QUVEN_ENV);
      break;
    case ComplementOfSlice:
      record = fetchOutsideHoldOut(QUVEN_ENV);
      break;
    case Lines:
      record = fetchOfOwnLines(QUVEN_ENV);
      break;
    case SampledLines:
      record = fetchOfSampledLines(QUVEN_ENV);
      break;
    case SparseQuadruples:
      return readQuadruples(point, QUVEN_ENV);
    default:
      quvenFatalReport("Unknown sampling mode.", QUVEN_ENV);
  }
  if (record == nullptr) return false;
  if (notANumberAllowed || quvenAllFinite({record, boundColumns.size()})) {
    for (const BoundColumn& column : boundColumns) setField(column, *record++);
  } else {
    for (std::size_t c = 0; c < boundColumns.size(); ++c) setCheckedField(c, record[c], QUVEN_ENV);
  }
  return deliver(point, currentRecord - 1);
}

std::span<const double> QUVENBinaryInputDataset::readBlock(const QUVENEnvHandle& env) {
  QUVEN_ASSERT(scanType == QUVENScanType::Slice);
  if (currentRecord > lastRecord) return {};
  const double* first = fetchRecord(currentRecord, QUVEN_ENV);
  if (first == nullptr) return {};
  const std::int64_t inBlock = getBuffer().getBytesFrom(currentRecord * recordBytes) / recordBytes;
  const std::int64_t numRecords = std::min(inBlock, lastRecord - currentRecord + 1);
  currentRecord += numRecords;
  return {first, static_cast<std::size_t>(numRecords * numColumns)};
}

bool QUVENBinaryInputDataset::hasNumericColumnsOnly() const {
  return std::all_of(columnTypes.begin(), columnTypes.end(),
                     [](std::int32_t type) { return type == dataset_info::Numeric; });
}

void QUVENBinaryInputDataset::bindColumns(const QUVENDataPoint& point) {
  boundPoint = nullptr;
  boundColumns.clear();
  for (std::size_t c = 0; c < columnNames.size(); ++c) {
    QUVENField* field = point.findField(QUVENStringWithHash(columnNames[c]));
    QUVEN_ASSERT_CAUSE(field != nullptr, "A data point without a field for a column of the dataset");
    boundColumns.push_back({field, columnTypes[c] == dataset_info::Numeric});
  }
  boundPoint = &point;
}

inline void QUVENBinaryInputDataset::setField(const BoundColumn& column, double value) {
  if (value == dataset_format::missingValue) {
    column.field->setMissing();
  } else if (column.isNumeric) {
    column.field->setNumValue(value);
  } else if (!column.field->setCatValueOf(value)) {
    column.field->setCatValueOf(value, QUVENCategoryText(value).get());
  }
}

/// The same for any value that must be a number.
void QUVENBinaryInputDataset::setCheckedField(std::size_t column, double value, const QUVENEnvHandle& env) const {
  const BoundColumn& bound = boundColumns[column];
  if (bound.isNumeric && !notANumberAllowed) {
    if (std::isnan(value)) refuseNotANumber(column, QUVEN_ENV);
    value = quvenClampDouble(value);
  }
  setField(bound, value);
}

/// Requires: the value is of the record before currentRecord.
void QUVENBinaryInputDataset::refuseNotANumber(std::size_t column, const QUVENEnvHandle& env) const {
  const std::int64_t record = currentRecord - 1;
  std::int64_t endOfPart = 0;
  const std::string file = partSizes.empty() ? fileName : nameOfPart(fileName, partOf(record * recordBytes, endOfPart));
  const std::string text =
      "Record " + std::to_string(record) + " has no number in the numeric column " + columnNames[column];
  report_error(2305, file, text, QUVEN_ENV, false);
  quvenFatalReport(text + " of input data file " + file, QUVEN_ENV);
}

bool QUVENBinaryInputDataset::deliver(QUVENDataPoint& point, std::int64_t number) {
  recordNumber = number;
  point.setRecordId(static_cast<std::uint32_t>(number));
  point.setChannel(0);
  return true;
}

/// The doubles of a record in the block, until the next fetch; null behind the last whole record.
inline const double* QUVENBinaryInputDataset::fetchRecord(std::int64_t record, const QUVENEnvHandle& env) {
  if (record % progressRows == 0 && record > 0 && progressLines) std::printf(" Row num = %ld\n", long{record});
  const std::int64_t start = record * recordBytes;
  const std::int64_t end = start + recordBytes;
  if (end > totalBytes) return nullptr;
  QUVENDatasetBuffer& block = getBuffer();
  if (!block.holds(start, end)) refill(start, env);
  // The block is aligned for every type, and records start at multiples of a double in it.
  return reinterpret_cast<const double*>(block.at(start));
}

/// The part that holds a byte of the dataset, and where that part ends.
std::size_t QUVENBinaryInputDataset::partOf(std::int64_t byte, std::int64_t& endOfPart) const {
  std::size_t part = 0;
  endOfPart = partSizes[0];
  while (endOfPart <= byte) endOfPart += partSizes[++part];
  return part;
}

void QUVENBinaryInputDataset::refill(std::int64_t startByte, const QUVENEnvHandle& env) {
  QUVENDatasetSpan span{fileName, startByte, startByte, totalBytes};
  if (!partSizes.empty()) {
    std::int64_t runningTotal = 0;
    const std::size_t part = partOf(startByte, runningTotal);
    getBuffer().setCurrentPart(static_cast<std::int32_t>(part));
    span.fileName = nameOfPart(fileName, part);
    span.fileOffset = startByte - (runningTotal - partSizes[part]);
    span.endByte = runningTotal;
  }
  getBuffer().refill(span, QUVEN_ENV);
}

const double* QUVENBinaryInputDataset::fetchOutsideHoldOut(const QUVENEnvHandle& env) {
  // The records of the hold-out are fetched as well: all workers refill their blocks at the same records.
  const double* record = fetchRecord(currentRecord, QUVEN_ENV);
  while (record != nullptr && holdOutFirst <= currentRecord && currentRecord <= holdOutLast) {
    record = fetchRecord(++currentRecord, QUVEN_ENV);
  }
  ++currentRecord;
  return record;
}

const double* QUVENBinaryInputDataset::fetchOfOwnLines(const QUVENEnvHandle& env) {
  const std::uint64_t count = static_cast<std::uint64_t>(workerCount);
  const std::uint64_t rank = static_cast<std::uint64_t>(workerRank);
  while (const double* record = fetchRecord(currentRecord, env)) {
    ++currentRecord;
    if (quvenSampleNumber(record[lineNumberColumn]) % count == rank) return record;
  }
  return nullptr;
}

/// Records of the line at hand; then of the next one, after a skip of at least one line. The line that is found behind
/// the line at hand is dropped whatever the skip is, on purpose: so is the sample defined.
const double* QUVENBinaryInputDataset::fetchOfSampledLines(const QUVENEnvHandle& env) {
  const double* record = fetchRecord(currentRecord, QUVEN_ENV);
  if (record == nullptr) return nullptr;
  ++currentRecord;
  const std::uint64_t first = quvenSampleNumber(record[lineNumberColumn]);
  if (first == lastLineNumber) return record;
  lastLineNumber = first;
  std::int64_t skip = randomSkip();
  while ((record = fetchRecord(currentRecord, QUVEN_ENV)) != nullptr) {
    ++currentRecord;
    const std::uint64_t line = quvenSampleNumber(record[lineNumberColumn]);
    if (line == lastLineNumber) continue;
    lastLineNumber = line;
    if (--skip <= 0) return record;
  }
  return nullptr;
}

/// The header of the next line. The first of a slice is searched for, and only in the slice: what comes behind it
/// belongs to the next worker.
const double* QUVENBinaryInputDataset::fetchHeader(const QUVENEnvHandle& env) {
  while (currentRecord <= lastRecord) {
    const double* record = fetchRecord(currentRecord++, QUVEN_ENV);
    if (record == nullptr) return nullptr;
    if (record[2] == quadruple_format::headerPosition) lineHeaderSeen = 1;
    if (lineHeaderSeen == 1) return record;
  }
  return nullptr;
}

bool QUVENBinaryInputDataset::readQuadruples(QUVENDataPoint& point, const QUVENEnvHandle& env) {
  const double* record = fetchHeader(QUVEN_ENV);
  if (record == nullptr) return false;
  const std::int64_t line = static_cast<std::int64_t>(quvenSampleNumber(record[1]));
  const double numEntries = std::trunc(record[3]);
  point.clearActiveFields(QUVEN_ENV);
  for (double i = 0; i < numEntries; ++i) {
    record = fetchRecord(currentRecord, QUVEN_ENV);
    if (record == nullptr) return false;
    const double column = record[2];
    if (!(column >= 1 && column < numColumns + 1.0)) {
      quvenFatalReport("No such column in record " + std::to_string(currentRecord) + " of input data file " + fileName,
                       QUVEN_ENV);
    }
    ++currentRecord;
    const long index = static_cast<long>(column);
    setCheckedField(static_cast<std::size_t>(index - 1), record[3], QUVEN_ENV);
    point.addActiveField(index, QUVEN_ENV);
  }
  record = fetchRecord(currentRecord, QUVEN_ENV);
  if (record == nullptr) return false;
  ++currentRecord;
  if (targetColumn >= 0) setCheckedField(static_cast<std::size_t>(targetColumn), record[3], QUVEN_ENV);
  if (currentRecord > lastRecord) atEnd = 1;
  ++sparseLines;
  return deliver(point, line);
}

// What a dataset does not do

void QUVENBinaryInputDataset::copyFromPrimitive(const QUVENObject*, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENBinaryInputDataset::transferFromPrimitive(QUVENObject*, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENBinaryInputDataset::readPrimitive(QUVENObjReader&, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENBinaryInputDataset::writePrimitive(QUVENObjWriter&, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENBinaryInputDataset::destroyPrimitive(const QUVENEnvHandle& env) {
  Members::destroyPrimitive(QUVEN_ENV);
  ownBuffer.reset();
}
