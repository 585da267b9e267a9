#ifndef VESK_INSPECT_DATASET_REPORT_H
#define VESK_INSPECT_DATASET_REPORT_H

// What the reports of all forms of a dataset have in common.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "dataset_form.h"
#include "defect_list.h"
#include "number_file.h"
#include "text_table.h"

namespace vesk_inspect {

/// Reads whole records; the last one of a file may be cut.
class RecordFile {
 public:
  RecordFile(const std::string& path, std::uint32_t columns) : file(path), record(columns) {}

  /// False at the end of the file and when it ends within a record.
  bool next() {
    begin = file.offsetBytes();
    for (taken = 0; taken < record.size(); ++taken) {
      if (!file.next(record[taken])) return false;
    }
    ++count;
    return true;
  }

  const std::vector<double>& values() const { return record; }
  std::uint64_t getCount() const { return count; }
  std::uint64_t beginBytes() const { return begin; }  ///< of the record, or at the end of the cut one

  /// At the end: the bytes behind the last whole record.
  std::uint64_t leftoverBytes() const { return taken * sizeof(double) + file.leftoverBytes(); }

  std::uint64_t sizeBytes() const { return begin + leftoverBytes(); }  ///< at the end

 private:
  NumberFile file;
  std::vector<double> record;
  std::size_t taken = 0;
  std::uint64_t begin = 0;
  std::uint64_t count = 0;
};

/// Adds a defect when the file ends within a record. At the end of the file.
void checkSize(const RecordFile& file, std::uint32_t columns, DefectList& defects);

/// At the end of the file.
void printHead(std::ostream& out, const std::string& path, const DatasetShape& shape, const RecordFile& file,
               const std::string& formWord);

void printTail(std::ostream& out, const TextTable& table, const DefectList& defects);

}  // namespace vesk_inspect

#endif  // VESK_INSPECT_DATASET_REPORT_H
