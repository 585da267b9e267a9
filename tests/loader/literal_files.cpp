// The process file and the output files of the literal loader.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "literal_loader.h"

namespace vesk_loader::testing {

namespace {

constexpr double endOfEntries = -2.0;
constexpr double endOfRecord = -1.0;
constexpr double pairSumMark = 7788.0;

std::string shortText(double number) {
  char text[64];
  std::snprintf(text, sizeof text, "%g", number);
  return text;
}

void append(std::string& file, double number) {
  char bytes[sizeof number];
  std::memcpy(bytes, &number, sizeof number);
  file.append(bytes, sizeof bytes);
}

/// The next number of a file; a file that ends before is a failed read.
double next(const std::string& bytes, std::size_t& position) {
  if (bytes.size() - position < sizeof(double)) throw LiteralFailure();
  double number = 0.0;
  std::memcpy(&number, bytes.data() + position, sizeof number);
  position += sizeof number;
  return number;
}

/// A column of a process file from elsewhere can be shorter than its row.
double payloadOf(const LiteralRow& column, std::size_t entry) { return entry < column.size() ? column[entry] : 0.0; }

std::string rounded(double number) {
  std::ostringstream text;
  text.setf(std::ios::fixed);
  text.precision(0);
  text << number;
  return text.str();
}

}  // namespace

template <class Body>
void LiteralLoader::guarded(std::int32_t code, const std::string& text, Body&& body) {
  try {
    body();
    return;
  } catch (const LiteralTermination&) {
  } catch (const LiteralFailure&) {
  } catch (const std::out_of_range&) {
  }
  error(code, text);
}

bool LiteralLoader::readProcessFile(const std::string& fileName) {
  log(0, ">>> VESK loader: starting read_process_file, file = " + fileName);
  if (files.count(fileName) == 0) return false;
  tables = LiteralTables();
  guarded(1312, "read_process_file: Unexpected exception", [&] {
    const std::string& bytes = files[fileName];
    std::size_t position = 0;
    long record = 1;
    while (bytes.size() - position >= sizeof(double)) {
      const double key = next(bytes, position);
      readRecord(bytes, position, key, record);
      ++record;
    }
    processRecords += static_cast<std::uint32_t>(record - 1);
  });
  log(0, ">>> VESK loader: read process file is done.");
  return true;
}

void LiteralLoader::readRecord(const std::string& bytes, std::size_t& position, double key, long record) {
  const std::string line = std::to_string(record);
  const std::size_t payloadCount = settings.payloadInputs.size();
  if (key < 0.0) {
    warn(1371,
         shortText(key) + ";" + line + ";|read_process_file: negative caller id " + shortText(key) + ", line " + line);
  }
  LiteralRow row;
  LiteralRow dates;
  std::map<double, double, LiteralOrder> callees;
  for (double value = next(bytes, position); value != endOfEntries; value = next(bytes, position)) {
    row.push_back(value);
    if (value < 0.0) {
      warn(1370, shortText(value) + ";" + line + ";" + shortText(key) + ";|read_process_file: negative callee id " +
                     shortText(value) + ", line " + line + " (caller = " + shortText(key) + ")");
    }
    if (settings.dateField != -1) dates.push_back(next(bytes, position));
    if (settings.pairSumFlag != 0) callees[value] = next(bytes, position);
  }
  tables.keys[key] = row;
  tables.dates[key] = dates;
  if (settings.pairSumFlag != 0) tables.pairs[key] = callees;
  std::vector<LiteralRow>& columns = tables.payloads[key];
  columns.resize(payloadCount);
  std::size_t column = 0;
  for (double value = next(bytes, position); value != endOfRecord; value = next(bytes, position)) {
    if (column == payloadCount) {
      error(1310, "read_process_file: Unexpected number of payload fields found in process file");
    }
    do {
      columns[column].push_back(value);
      value = next(bytes, position);
    } while (value != endOfEntries);
    ++column;
  }
  if (column < payloadCount) {
    error(1310, "read_process_file: Unexpected number of payload fields found in process file");
  }
  if (isTableRun() && settings.distinctCyclicTable) makeDistinct(key);
}

/// A row from a process file: each entry that a later one repeats goes, then the oldest ones beyond the table size. A
/// row with a payload column of another length stays as it is.
void LiteralLoader::makeDistinct(double key) {
  const LiteralRow& row = tables.keys[key];
  for (const LiteralRow& column : tables.payloads[key]) {
    if (column.size() != row.size()) return;
  }
  for (std::size_t i = row.size(); i > 0; --i) {
    for (std::size_t j = i; j < row.size(); ++j) {
      if (row[i - 1] != row[j] && !(std::isnan(row[i - 1]) && std::isnan(row[j]))) continue;
      removeEntry(key, i - 1);
      break;
    }
  }
  while (row.size() > static_cast<std::size_t>(settings.cyclicTableSize)) removeEntry(key, 0);
}

void LiteralLoader::dropOldEntries(double cutoffDate, std::int32_t dateFormat) {
  guarded(1300, "drop_old_entries: Unexpected exception occoured", [&] {
    for (auto& [key, row] : tables.keys) {
      LiteralRow& dates = tables.dates[key];
      std::vector<LiteralRow>& columns = tables.payloads[key];
      LiteralRow newRow;
      LiteralRow newDates;
      std::vector<LiteralRow> newColumns(columns.size());
      for (std::size_t i = 0; i < row.size(); ++i) {
        if (literalDateIsBefore(dates.at(i), cutoffDate, dateFormat)) continue;
        newRow.push_back(row[i]);
        newDates.push_back(dates.at(i));
        for (std::size_t c = 0; c < columns.size(); ++c) newColumns[c].push_back(columns[c].at(i));
      }
      row = newRow;
      dates = newDates;
      columns = newColumns;
      if (settings.distinctCyclicTable) makeDistinct(key);
    }
  });
}

void LiteralLoader::writeProcessFile(const std::string& fileName) {
  log(0, ">>> VESK loader: starting write_process_file, file = " + fileName);
  std::size_t records = 0;
  guarded(1323, "write_process_file: Unexpected exception occured (probably IO)", [&] {
    std::string& file = files[fileName];
    file.clear();
    for (const auto& [key, keyRow] : tables.keys) {
      LiteralRow row = keyRow;
      LiteralRow weights;
      if (settings.pairSumFlag != 0) {
        if (tables.pairs.count(key) == 0) {
          error(1000, shortText(key) + ";|missing pairsum information for key " + shortText(key));
        }
        row.clear();
        for (const auto& [callee, weight] : tables.pairs[key]) {
          row.push_back(callee);
          weights.push_back(weight);
        }
      }
      if (row.empty()) continue;
      append(file, key);
      for (std::size_t i = 0; i < row.size(); ++i) {
        append(file, row[i]);
        if (settings.dateField != -1) append(file, tables.dates[key].at(i));
        if (settings.pairSumFlag != 0) append(file, weights[i]);
      }
      append(file, endOfEntries);
      std::vector<LiteralRow> columns = tables.payloads[key];
      columns.resize(settings.payloadInputs.size());
      for (const LiteralRow& column : columns) {
        for (const double value : column) append(file, value);
        append(file, endOfEntries);
      }
      append(file, endOfRecord);
      ++records;
    }
  });
  log(0, ">>> VESK loader: Writing process file done, " + std::to_string(records) + " records are written.");
}

/// What one call of writePmlFile carries along.
struct LiteralLoader::OutputStep {
  std::string stem;
  std::string main;
  std::vector<std::string> payloads;
  LiteralRows weights;
  std::size_t width = 0;
  std::size_t longestWritten = 0;
  std::size_t records = 0;
  std::string notes;
  bool reordered = true;
};

bool LiteralLoader::writePmlFile(const std::string& stem) {
  log(0, ">>> VESK loader: starting write_pml_file, file = " + stem);
  const bool binary = settings.outputFormat == OutputFormat::Binary;
  const bool xml = settings.outputFormat == OutputFormat::XML;
  OutputStep step;
  step.stem = stem;
  step.payloads.resize(binary ? settings.payloadInputs.size() : 0);
  guarded(1325, "write_pml_file: Unexpected exception occured (check io and memory)", [&] {
    if (settings.pairSumFlag != 0 && !xml && !(binary && settings.sparse == 1)) {
      error(1106,
            "write_pml_file: Pairsum is supported in sparse binary and XML formats only (code should not got here)");
    }
    if (settings.pairSumFlag != 0) {
      tables.keys.clear();
      for (const auto& [key, callees] : tables.pairs) {
        tables.keys[key];
        step.weights[key];
        for (const auto& [callee, weight] : callees) {
          tables.keys[key].push_back(callee);
          step.weights[key].push_back(weight);
        }
      }
    }
    for (const auto& [key, row] : tables.keys) step.width = std::max(step.width, row.size());
    if (xml) {
      const std::string space = settings.outputNamespace.empty() ? "" : " " + settings.outputNamespace;
      step.main = "<" + settings.tagPrefix + "Loader-Output" + space + ">\n\n";
    }
    writeRows(step);
    if (xml && step.reordered) step.main += "</" + settings.tagPrefix + "Loader-Output>\n";
    files[stem] = step.main;
    for (std::size_t p = 0; p < step.payloads.size(); ++p) {
      files[stem + "_payload_" + std::to_string(p + 1)] = step.payloads[p];
    }
  });
  if (!step.reordered) return false;
  if (binary) writeInfo(step);
  log(1, ">>> VESK loader: Writing output file \n" + step.notes + ">>> VESK loader: Writing output file is done. " +
             std::to_string(step.records) + "records are written into the .bin file.");
  log(0, ">>> VESK loader: write_pml_file is done");
  return true;
}

void LiteralLoader::writeRows(OutputStep& step) {
  const bool plain = settings.cyclicTableSize == 0 && settings.pairSumFlag == 0;
  for (auto& [key, row] : tables.keys) {
    if (plain && !row.empty()) row.erase(row.begin());  // position 0 is never shown
    if (isTableRun()) {
      if (row.empty()) continue;
      if (settings.sortCyclicTable) {
        const std::vector<std::size_t> permutation = literalSort(row);
        for (LiteralRow& column : tables.payloads[key]) {
          if (column.size() != permutation.size()) {
            step.reordered = false;
            return;
          }
          const LiteralRow old = column;
          for (std::size_t i = 0; i < column.size(); ++i) column[i] = old[permutation[i]];
        }
      }
    }
    ++step.records;
    if (settings.outputFormat == OutputFormat::Binary) writeBinary(step, key, row);
    if (settings.outputFormat == OutputFormat::XML) writeXML(step.main, key, row);
    if (settings.outputFormat == OutputFormat::CSV) writeCSV(step.main, key, row);
    step.longestWritten = std::max(step.longestWritten, row.size());
  }
}

void LiteralLoader::writeBinary(OutputStep& step, double key, const LiteralRow& row) {
  const auto triple = [](std::string& file, double first, double second, double third) {
    append(file, first);
    append(file, second);
    append(file, third);
  };
  const auto width = static_cast<double>(step.width);
  const auto sparse = [&](std::string& file, const LiteralRow& values) {
    triple(file, key, 0.0, width);
    for (std::size_t i = 0; i < values.size(); ++i) triple(file, key, static_cast<double>(i + 1), values[i]);
    triple(file, key, width + 1.0, 0.0);
  };
  const auto dense = [&](std::string& file, const LiteralRow& values) {
    append(file, key);
    for (const double value : values) append(file, value);
    const auto size = static_cast<std::size_t>(settings.cyclicTableSize);
    for (std::size_t i = values.size(); i < size; ++i) append(file, 0.0);
  };
  if (settings.pairSumFlag != 0) {
    const LiteralRow& weights = step.weights[key];
    triple(step.main, key, 0.0, width);
    for (std::size_t i = 0; i < row.size(); ++i) triple(step.main, key, row[i], weights[i]);
    triple(step.main, key, 0.0, pairSumMark);
    return;
  }
  std::vector<LiteralRow> columns = tables.payloads[key];
  columns.resize(settings.payloadInputs.size());
  if (settings.sparse == 1) {
    sparse(step.main, row);
    for (std::size_t p = 0; p < columns.size(); ++p) sparse(step.payloads[p], columns[p]);
  } else {
    dense(step.main, row);
    for (std::size_t p = 0; p < columns.size(); ++p) dense(step.payloads[p], columns[p]);
  }
}

void LiteralLoader::writeXML(std::string& file, double key, const LiteralRow& row) {
  const auto open = [&](const std::string& name) { return "<" + settings.tagPrefix + name + ">"; };
  const auto close = [&](const std::string& name) { return "</" + settings.tagPrefix + name + ">"; };
  const auto element = [&](const std::string& name, const std::string& value) {
    return open(name) + " " + value + " " + close(name) + "\n";
  };
  file += open("Row") + "\n";
  file += "\t" + element("Key", rounded(key));
  for (std::size_t i = 0; i < row.size(); ++i) {
    file += "\t" + open("Col") + "\n";
    file += "\t\t" + element("Index", std::to_string(i + 1));
    file += "\t\t" + element("Value", rounded(row[i]));
    if (settings.pairSumFlag != 0) {
      const auto& callees = tables.pairs[key];
      file += "\t\t" + element("SubValue", rounded(callees.at(row[i])));
    }
    const std::vector<LiteralRow>& columns = tables.payloads[key];
    for (std::size_t c = 0; c < columns.size(); ++c) {
      file += "\t\t" + open("Payload") + "\n";
      file += "\t\t\t" + element("Index", std::to_string(c + 1));
      file += "\t\t\t" + element("Value", rounded(payloadOf(columns[c], i)));
      file += "\t\t" + close("Payload") + "\n";
    }
    file += "\t" + close("Col") + "\n";
  }
  file += close("Row") + "\n\n";
}

void LiteralLoader::writeCSV(std::string& file, double key, const LiteralRow& row) {
  const std::vector<LiteralRow>& columns = tables.payloads[key];
  file += rounded(key);
  for (std::size_t i = 0; i < row.size(); ++i) {
    file += ", " + rounded(row[i]);
    for (const LiteralRow& column : columns) file += ", " + rounded(payloadOf(column, i));
  }
  for (std::size_t i = row.size(); i < static_cast<std::size_t>(settings.cyclicTableSize); ++i) {
    for (std::size_t c = 0; c < columns.size() + 1; ++c) file += ", 0.0";
  }
  file += "\n";
}

void LiteralLoader::writeInfo(OutputStep& step) {
  const std::string name = step.stem + ".info";
  std::string& info = files[name];
  info.clear();
  if (settings.sparse == 1) {
    info = "Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n";
  } else {
    const std::size_t size = isTableRun() ? static_cast<std::size_t>(settings.cyclicTableSize) : step.longestWritten;
    for (std::size_t i = 0; i <= size; ++i) info += "Col" + std::to_string(i) + " Numeric Explanatory\n";
  }
  step.notes = "Writing .info file." + name + "\nWriting .info file is done." + name + "\n";
}

}  // namespace vesk_loader::testing
