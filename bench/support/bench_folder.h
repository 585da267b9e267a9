#ifndef BENCH_SUPPORT_BENCH_FOLDER_H
#define BENCH_SUPPORT_BENCH_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

/// A folder for the files of a benchmark, removed at the end of its life.
class BenchFolder {
 public:
  BenchFolder() : folder((std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX").string()) {
    if (::mkdtemp(folder.data()) == nullptr) std::abort();
  }
  ~BenchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  BenchFolder(const BenchFolder&) = delete;
  BenchFolder& operator=(const BenchFolder&) = delete;

  std::string path(const std::string& name) const { return folder + "/" + name; }
  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream file(path(name), std::ios::binary);
    file << bytes;
    if (!file.flush()) std::abort();
  }
  void write(const std::string& name, const std::vector<double>& numbers) const {
    std::ofstream file(path(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(numbers.data()), static_cast<long>(numbers.size() * sizeof(double)));
    if (!file.flush()) std::abort();
  }

 private:
  std::string folder;
};

#endif  // BENCH_SUPPORT_BENCH_FOLDER_H
