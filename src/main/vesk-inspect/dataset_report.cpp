#include "dataset_report.h"

#include <ostream>

namespace vesk_inspect {

void checkSize(const RecordFile& file, std::uint32_t columns, DefectList& defects) {
  if (file.leftoverBytes() == 0) return;
  defects.add(file.getCount() + 1, file.beginBytes(),
              "the size " + std::to_string(file.sizeBytes()) + " is not a multiple of " +
                  std::to_string(columns * sizeof(double)) + ", " + std::to_string(file.leftoverBytes()) +
                  " bytes are left over");
}

void printHead(std::ostream& out, const std::string& path, const DatasetShape& shape, const RecordFile& file,
               const std::string& formWord) {
  out << "file      " << path << "\n";
  out << "form      " << formWord << " (" << shape.source << ")\n";
  out << "bytes     " << file.sizeBytes() << "\n";
}

void printTail(std::ostream& out, const TextTable& table, const DefectList& defects) {
  if (!table.isEmpty()) {
    out << "\n";
    table.print(out);
  }
  out << "\n";
  defects.print(out);
}

}  // namespace vesk_inspect
