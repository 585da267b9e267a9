#include "process_file.h"

#include <new>
#include <vector>

#include "block_file.h"
#include "control/quven_file_formats.h"
#include "loader_common.h"
#include "loader_dates.h"

namespace vesk_loader {

namespace {

using process_file_format::listEnd;
using process_file_format::recordEnd;

/// Reads the records of one process file.
class ProcessFileReader {
 public:
  ProcessFileReader(DoubleReader& file_, LoaderTables& tables_) : file(file_), tables(tables_) {}

  /// The number of records read.
  std::uint32_t readAll() {
    double key = 0.0;
    while (file.next(key)) {
      ++record;
      if (key < 0.0) {
        report_warning(1371, format_text("%g;%u", key, record),
                       format_text("read_process_file: negative caller id %g, line %u", key, record));
      }
      row = tables.keys->findOrInsert(key);
      columns.clear(tables.keys->getShape().payloadCount);
      readEntries(key);
      readPayloads();
      tables.keys->assign(row, columns);
    }
    return record;
  }

 private:
  void readEntries(double key) {
    const bool dates = tables.keys->getShape().dates;
    if (tables.pairs != nullptr) tables.pairs->makeMap(row);
    while (true) {
      const double value = file.require();
      if (value == listEnd) return;
      if (value < 0.0) {
        report_warning(
            1370, format_text("%g;%u;%g", value, record, key),
            format_text("read_process_file: negative callee id %g, line %u (caller = %g)", value, record, key));
      }
      // In a pair sum run the callees live in the pair table; a row is kept only to carry the dates.
      if (tables.pairs == nullptr || dates) columns.values.push_back(value);
      if (dates) columns.dates.push_back(file.require());
      if (tables.pairs != nullptr) {
        tables.pairs->weight(row, value, PairSumTable::hash(row, value)) = file.require();
      }
    }
  }

  void readPayloads() {
    std::size_t column = 0;
    while (true) {
      double value = file.require();
      if (value == recordEnd) break;
      if (column == columns.payloads.size()) wrongPayloadCount();
      // The first value belongs to the column whatever it is.
      do {
        columns.payloads[column].push_back(value);
        value = file.require();
      } while (value != listEnd);
      ++column;
    }
    if (column < columns.payloads.size()) wrongPayloadCount();
  }

  [[noreturn]] static void wrongPayloadCount() {
    report_error(1310, "read_process_file: Unexpected number of payload fields found in process file");
  }

  DoubleReader& file;
  LoaderTables& tables;
  std::uint32_t record = 0;
  std::uint32_t row = 0;
  RowColumns columns;
};

/// Writes the records of a process file. The constructor allocates everything but the block of the file, and
/// BlockWriter::open allocates the block before it opens the file: opening empties the file, and if memory ended after
/// that, the state of the earlier runs would be lost.
class ProcessFileWriter {
 public:
  explicit ProcessFileWriter(LoaderTables& tables_) : tables(tables_) {
    if (tables.pairs != nullptr) tables.pairs->order(tables.keys->size());
    order = tables.keys->rowsInOrder();
    tables.keys->reserveForViews(scratch);
  }

  /// False if the file cannot be opened.
  [[nodiscard]] bool open(const std::string& fileName) { return file.open(fileName); }

  /// Writes all the records and closes the file. Returns their number.
  std::uint32_t writeAll() {
    std::uint32_t count = 0;
    for (std::size_t place = 0; place < order.size(); ++place) {
      tables.keys->prefetchAhead(order, place);
      if (tables.pairs != nullptr ? writePairs(order[place]) : writeRow(order[place])) ++count;
    }
    file.close();
    return count;
  }

 private:
  // False, with nothing written, if the row is empty.
  bool writeRow(std::uint32_t row) {
    tables.keys->removeRepeats(row);
    const RowColumns& columns = tables.keys->view(row, scratch);
    if (columns.values.empty()) return false;
    file.put(tables.keys->key(row));
    for (std::size_t i = 0; i < columns.values.size(); ++i) {
      file.put(columns.values[i]);
      if (tables.keys->getShape().dates) file.put(date(columns, i));
    }
    endRecord(columns);
    return true;
  }

  bool writePairs(std::uint32_t row) {
    const double key = tables.keys->key(row);
    if (!tables.pairs->hasMap(row)) {
      file.close();  // the records before this one reach the file
      report_error(1000, format_text("%g", key), format_text("missing pairsum information for key %g", key));
    }
    const auto pairs = tables.pairs->pairs(row);
    if (pairs.empty()) return false;
    const RowColumns& columns = tables.keys->view(row, scratch);
    file.put(key);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      file.put(pairs[i].callee);
      if (tables.keys->getShape().dates) file.put(date(columns, i));
      file.put(pairs[i].weight);
    }
    endRecord(columns);
    return true;
  }

  // Rows of a plain run can be without dates; the format has a place for one all the same.
  static double date(const RowColumns& columns, std::size_t index) {
    return index < columns.dates.size() ? columns.dates[index] : 0.0;
  }

  void endRecord(const RowColumns& columns) {
    file.put(listEnd);
    for (std::size_t column = 0; column < tables.keys->getShape().payloadCount; ++column) {
      if (column < columns.payloads.size()) file.put(columns.payloads[column]);
      file.put(listEnd);
    }
    file.put(recordEnd);
  }

  LoaderTables& tables;
  std::vector<std::uint32_t> order;
  RowColumns scratch;
  BlockWriter file;
};

void keep_from_date(RowColumns& columns, const CutoffTest& cutoff) {
  RowColumns kept;
  kept.clear(columns.payloads.size());
  for (std::size_t i = 0; i < columns.values.size(); ++i) {
    const bool dated = i < columns.dates.size();
    if (dated && cutoff.isBefore(columns.dates[i])) continue;
    kept.values.push_back(columns.values[i]);
    if (dated) kept.dates.push_back(columns.dates[i]);
    for (std::size_t column = 0; column < columns.payloads.size(); ++column) {
      if (i < columns.payloads[column].size()) kept.payloads[column].push_back(columns.payloads[column][i]);
    }
  }
  columns = std::move(kept);
}

}  // namespace

int read_process_file(const std::string& fileName, const LoaderSettings& settings, LoaderTables& tables) {
  try {
    report_log(0, ">>> VESK loader: starting read_process_file, file = " + fileName);
    DoubleReader file;
    if (!file.open(fileName)) return 0;
    tables = LoaderTables::create(settings);
    scan_statistics().processRecords += ProcessFileReader(file, tables).readAll();
    file.close();
    report_log(0, ">>> VESK loader: read process file is done.");
    return 1;
  } catch (const std::bad_alloc&) {
    report_error(1311,
                 "read_process_file: Unexpected memory exception. It is likely that the loader ran out of memory.");
  } catch (...) {
    report_error(1312, "read_process_file: Unexpected exception");
  }
}

int write_process_file(const std::string& fileName, LoaderTables& tables) {
  try {
    report_log(0, ">>> VESK loader: starting write_process_file, file = " + fileName);
    ProcessFileWriter writer(tables);
    if (!writer.open(fileName)) {
      report_error(1201, fileName, format_text("write_process_file, Cannot open file %s", fileName.c_str()));
    }
    const std::uint32_t count = writer.writeAll();
    report_log(0, format_text(">>> VESK loader: Writing process file done, %u records are written.", count));
    return 1;
  } catch (...) {
    report_error(1323, "write_process_file: Unexpected exception occured (probably IO)");
  }
}

int drop_old_entries(LoaderTables& tables, double cutoffDate, std::uint32_t dateFormat) {
  try {
    const CutoffTest cutoff(cutoffDate, dateFormat);
    RowColumns columns;
    tables.keys->removeRepeats();
    for (std::uint32_t row = 0; row < tables.keys->size(); ++row) {
      tables.keys->read(row, columns);
      bool changes = false;  // payloads of a process file from elsewhere lose what stands beside no entry
      for (const auto& payload : columns.payloads) changes = changes || payload.size() > columns.values.size();
      for (const double date : columns.dates) changes = changes || cutoff.isBefore(date);
      if (!changes) continue;
      keep_from_date(columns, cutoff);
      tables.keys->assign(row, columns);
    }
    return 1;
  } catch (const std::bad_alloc&) {
    report_error(1360, "drop_old_entries: Unexpected memory exception");
  } catch (...) {
    report_error(1300, "drop_old_entries: Unexpected exception occoured");
  }
}

}  // namespace vesk_loader
