#include "export/export_dataset.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <vector>

#include "command.h"
#include "control/quven_file_formats.h"
#include "control/quven_result_file.h"
#include "export/delimited_output.h"
#include "export/exported_files.h"
#include "export/sparse_rows.h"
#include "table/key_value.h"
#include "table/record_file.h"
#include "table/table_files.h"

namespace vesk {

namespace {

constexpr double mostWideCells = 1'000'000;

SparseForm formOf(ExportKind kind) { return kind == ExportKind::PairSum ? SparseForm::Pairs : SparseForm::Positions; }

/// The name of the value of an entry.
const char* valueName(ExportKind kind) {
  if (kind == ExportKind::Table) return "callee";
  return kind == ExportKind::PairSum ? "weight" : "value";
}

std::size_t writeNames(const std::vector<std::string>& names, DelimitedOutput& out) {
  for (const std::string& name : names) out.addText(name);
  out.endLine();
  return names.size();
}

std::size_t writeLong(const ExportedFiles& files, DelimitedOutput& out) {
  std::vector<std::string> names = {"caller"};
  if (files.kind == ExportKind::PairSum) names.emplace_back("callee");
  if (files.kind == ExportKind::Sums || files.kind == ExportKind::Payload) names.emplace_back("position");
  names.emplace_back(valueName(files.kind));
  writeNames(names, out);
  for (const std::string& part : files.parts) {
    SparseRows rows(part, formOf(files.kind));
    while (rows.nextRow()) {
      while (const auto entry = rows.nextEntry()) {
        out.addNumber(rows.getKey());
        if (names.size() == 3) out.addNumber(entry->position);
        out.addValue(entry->value);
        out.endLine();
      }
    }
  }
  return names.size();
}

/// The most entries of a row. Each part has a width of its own, in all its rows.
std::size_t findWidth(const ExportedFiles& files) {
  double width = 0;
  for (const std::string& part : files.parts) {
    SparseRows rows(part, formOf(files.kind));
    if (rows.nextRow()) width = std::max(width, rows.getWidth());
  }
  // The width of sums counts output 1 of the loader, which is never written.
  if (files.kind == ExportKind::Sums && width > 0) --width;
  if (width > mostWideCells) {
    throw std::runtime_error(files.parts.front() + ": the longest row is too long for one line; leave out --wide");
  }
  return static_cast<std::size_t>(width);
}

std::size_t writeWide(const ExportedFiles& files, DelimitedOutput& out) {
  const std::size_t width = findWidth(files);
  const bool hasPairs = files.kind == ExportKind::PairSum;
  std::vector<std::string> names = {"caller"};
  for (std::size_t i = 1; i <= width; ++i) {
    const std::string number = std::string("_").append(std::to_string(i));
    if (hasPairs) names.push_back("callee" + number);
    names.push_back(valueName(files.kind) + number);
  }
  writeNames(names, out);
  for (const std::string& part : files.parts) {
    SparseRows rows(part, formOf(files.kind));
    while (rows.nextRow()) {
      out.addNumber(rows.getKey());
      std::size_t filled = 0;
      const auto fillTo = [&](std::size_t count) {
        for (; filled < count; ++filled) {
          out.addEmpty();
          if (hasPairs) out.addEmpty();
        }
      };
      while (const auto entry = rows.nextEntry()) {
        const std::size_t place = hasPairs ? filled : static_cast<std::size_t>(entry->position) - 1;
        if (place >= width) {
          throw std::runtime_error(part + ": the row of caller " + numberText(rows.getKey()) +
                                   " is longer than its header says");
        }
        fillTo(place);
        if (hasPairs) out.addNumber(entry->position);
        out.addValue(entry->value);
        ++filled;
      }
      fillTo(width);
      out.endLine();
    }
  }
  return names.size();
}

/// Whether these are the names that the loader gives to dense records, whose first column is the caller.
bool isOfLoader(const std::vector<dataset_info::Column>& columns) {
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c].name != "Col" + std::to_string(c)) return false;
  }
  return true;
}

void writeCell(const dataset_info::Column& column, const QUVENTableLabels::Column* ofColumn,
               const QUVENTableLabels& labels, double value, DelimitedOutput& out) {
  if (value == dataset_format::missingValue) return out.addEmpty();
  const std::string* label = ofColumn == nullptr ? nullptr : labels.find(column.name, value);
  if (label != nullptr) return out.addText(*label);
  out.addNumber(value);
}

std::size_t writeRecords(const ExportedFiles& files, DelimitedOutput& out) {
  const std::vector<dataset_info::Column>& columns = files.columns;
  std::vector<const QUVENTableLabels::Column*> labels;
  for (const dataset_info::Column& column : columns) {
    out.addText(column.name);
    labels.push_back(files.labels.findColumn(column.name));
  }
  out.endLine();
  const bool hasCallers = isOfLoader(columns);
  for (const std::string& part : files.parts) {
    RecordFile records(part, columns.size(), "record");
    double caller = 0;
    while (const double* record = records.next()) {
      // Rows of a plain loader run can have different lengths; then the columns of the description do not fit.
      if (hasCallers && records.getNumber() > 1 && !(record[0] > caller)) {
        throw std::runtime_error(part + ", record " + std::to_string(records.getNumber()) +
                                 ": the callers do not ascend; the rows have not the length of the description");
      }
      caller = record[0];
      for (std::size_t c = 0; c < columns.size(); ++c) writeCell(columns[c], labels[c], files.labels, record[c], out);
      out.endLine();
    }
  }
  return columns.size();
}

Exported writeAll(const ExportedFiles& files, bool isWide, DelimitedOutput& out) {
  const std::size_t columns = !files.isSparse ? writeRecords(files, out)
                              : isWide        ? writeWide(files, out)
                                              : writeLong(files, out);
  out.finish();
  return {out.countLines() - 1, columns};
}

Exported exportTo(const ExportOptions& options, std::ostream& standardOutput) {
  const ExportedFiles files = findExportedFiles(options.dataset, options.verifies);
  const char separator = options.hasTabs || options.output.ends_with(".tsv") ? '\t' : ',';
  if (options.output == "-") {
    DelimitedOutput out(standardOutput, "standard output", separator);
    return writeAll(files, options.isWide, out);
  }
  for (const std::string& input : files.inputs) {
    if (quvenIsSameFile(options.output, input)) {
      throw CommandFailure(Status::Usage,
                           "the output " + options.output + " would take the place of the input " + input);
    }
  }
  std::unique_ptr<OpenResultFile> file;
  try {
    file = std::make_unique<OpenResultFile>(options.output);
  } catch (const std::runtime_error& error) {
    throw CommandFailure(Status::Failed, error.what());
  }
  DelimitedOutput out(file->getStream(), options.output, separator);
  const Exported exported = writeAll(files, options.isWide, out);
  if (!file->commit()) throw CommandFailure(Status::Failed, "cannot write " + options.output);
  return exported;
}

}  // namespace

Exported exportDataset(const ExportOptions& options, std::ostream& standardOutput) {
  try {
    return exportTo(options, standardOutput);
  } catch (const CommandFailure&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw CommandFailure(Status::Data, error.what());
  }
}

}  // namespace vesk
