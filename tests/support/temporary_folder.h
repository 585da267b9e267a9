#ifndef TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A folder of a test's own, removed with all that is in it at the end of its life.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder = pattern;
  }
  ~TemporaryFolder() {
    std::error_code ignored;  // a folder that stays behind fails no test
    std::filesystem::remove_all(folder, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path() const { return folder.string(); }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  bool has(const std::string& name) const { return std::filesystem::exists(folder / name); }
  bool isEmpty() const { return std::filesystem::is_empty(folder); }

  /// Writes a file, and the directories on its way; gives its path.
  std::string write(const std::string& name, const std::string& bytes) const {
    std::filesystem::create_directories((folder / name).parent_path());
    std::ofstream file(folder / name, std::ios::binary);
    file << bytes;
    if (!file.flush()) throw std::runtime_error("cannot write " + path(name));
    return path(name);
  }

  std::string read(const std::string& name) const { return contentOf(path(name)); }

  static std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open " + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path folder;
};

#endif  // TESTS_SUPPORT_TEMPORARY_FOLDER_H
