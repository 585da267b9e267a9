#ifndef BENCH_SUPPORT_TABLE_FILE_H
#define BENCH_SUPPORT_TABLE_FILE_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// A table of numeric columns as a dataset in a folder of its own, and in memory. The last column is the target.
///
/// Lifetime: the folder is removed with the object.
class TableFile {
 public:
  /// The values record by record.
  TableFile(long columns, std::vector<double> tableValues)
      : values(std::move(tableValues)),
        folder((std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX").string()) {
    if (::mkdtemp(folder.data()) == nullptr) std::abort();
    std::ofstream info(getName() + ".info");
    for (long c = 1; c <= columns; ++c) {
      info << "x" << c << " Numeric " << (c < columns ? "Explanatory" : "Target") << '\n';
    }
    std::ofstream file(getName(), std::ios::binary);
    file.write(reinterpret_cast<const char*>(values.data()), static_cast<long>(values.size() * sizeof(double)));
    if (!info.flush() || !file.flush()) std::abort();
  }
  ~TableFile() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TableFile(const TableFile&) = delete;
  TableFile& operator=(const TableFile&) = delete;

  std::string getName() const { return folder + "/table"; }

  const std::vector<double> values;

 private:
  std::string folder;
};

#endif  // BENCH_SUPPORT_TABLE_FILE_H
