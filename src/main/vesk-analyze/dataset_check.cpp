#include "dataset_check.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "parts_check.h"
#include "table_rows.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

namespace fs = std::filesystem;

enum Code : int { FileUnusable = 2302 };

bool hasBytes(const std::string& path) {
  std::error_code unknown;  // then there is no such file
  const std::uintmax_t size = fs::file_size(path, unknown);
  return !unknown && size > 0;
}

/// The files of a dataset that have records, in their order.
std::vector<std::string> filesOf(const std::string& dataset) {
  std::error_code unknown;
  std::vector<std::string> files = fs::exists(dataset, unknown) ? std::vector{dataset} : partsOf(dataset);
  std::erase_if(files, [](const std::string& file) { return !hasBytes(file); });
  return files;
}

/// The records of a file with a line number and two values each.
class TableReader {
 public:
  TableReader(const std::string& path, const QUVENDataPoint& point)
      : file(path, std::ios::binary), record(static_cast<std::size_t>(point.getNumFields())) {
    for (long i = 1; i <= point.getNumFields(); ++i) {
      const auto purpose = static_cast<QUVENFieldPurpose>(point.getField(i).getPurpose());
      const auto column = static_cast<std::size_t>(i - 1);
      if (purpose == QUVENFieldPurpose::LineNumber) {
        callerColumn = column;
      } else if (purpose != QUVENFieldPurpose::Target) {
        valueColumns.push_back(column);
      }
    }
  }

  [[nodiscard]] bool next() { return static_cast<bool>(file.read(reinterpret_cast<char*>(record.data()), getBytes())); }
  [[nodiscard]] bool last() {
    file.seekg(-getBytes(), std::ios::end);
    return next();
  }
  double caller() const { return record[callerColumn]; }
  double position() const { return record[valueColumns[0]]; }
  double value() const { return record[valueColumns[1]]; }

 private:
  std::streamoff getBytes() const { return static_cast<std::streamoff>(record.size() * sizeof(double)); }

  std::ifstream file;
  std::vector<double> record;
  std::size_t callerColumn = 0;
  std::vector<std::size_t> valueColumns;
};

}  // namespace

void checkColumns(const AnalysisKind& kind, const std::string& dataset, const QUVENDataPoint& point,
                  const QUVENEnvHandle& env) {
  if (kind.explanatoryColumns == 0) return;
  long lineNumbers = 0;
  long explanatory = 0;
  for (long i = 1; i <= point.getNumFields(); ++i) {
    const QUVENField& field = point.getField(i);
    const auto purpose = static_cast<QUVENFieldPurpose>(field.getPurpose());
    if (purpose == QUVENFieldPurpose::Target) continue;
    ++(purpose == QUVENFieldPurpose::LineNumber ? lineNumbers : explanatory);
    if (!field.isNumeric()) {
      report_error(FileUnusable, dataset, "vesk-analyze: column " + field.getName().str() + " is not numeric",
                   QUVEN_ENV, true);
    }
  }
  const bool hasLineNumbers = lineNumbers == 1 || (lineNumbers == 0 && !kind.readsTableRows);
  if (hasLineNumbers && explanatory == kind.explanatoryColumns) return;
  report_error(FileUnusable, dataset,
               "vesk-analyze: the dataset must have one line number column and " +
                   std::to_string(kind.explanatoryColumns) + " explanatory columns",
               QUVEN_ENV, true);
}

void checkLengths(const std::string& dataset, std::int64_t columns, const QUVENEnvHandle& env) {
  const std::uintmax_t recordBytes = static_cast<std::uintmax_t>(columns) * sizeof(double);
  for (const std::string& file : filesOf(dataset)) {
    if (recordBytes == 0 || fs::file_size(file) % recordBytes == 0) continue;
    report_error(FileUnusable, file, "vesk-analyze: the dataset ends inside a record", QUVEN_ENV, true);
  }
}

void checkTable(const AnalysisKind& kind, const std::string& dataset, const QUVENDataPoint& point,
                const QUVENEnvHandle& env) {
  const std::vector<std::string> files = filesOf(dataset);
  if (files.empty()) return;
  TableReader reader(files.front(), point);
  TableRows rows;
  for (long number = 1; !rows.isDecided() && reader.next(); ++number) {
    if (rows.accept(reader.caller(), reader.position(), reader.value())) continue;
    std::ostringstream text;
    text << "vesk-analyze: record " << number << " (" << reader.caller() << ", " << reader.position() << ", "
         << reader.value() << ") does not fit; " << kind.command << " needs the sparse output of a table run";
    report_error(FileUnusable, dataset, text.str(), QUVEN_ENV, true);
  }
  TableReader end(files.back(), point);
  if (!end.last() || TableRows::isFooter(end.position(), end.value())) return;
  std::ostringstream text;
  text << "vesk-analyze: the dataset ends inside the row of caller " << end.caller();
  report_error(FileUnusable, files.back(), text.str(), QUVEN_ENV, true);
}

}  // namespace vesk_analyze
