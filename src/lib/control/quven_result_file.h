#ifndef QUVEN_RESULT_FILE_H
#define QUVEN_RESULT_FILE_H

#include <fstream>
#include <string>

/// A result that appears under its name when it is complete, and not before: it is written beside it and renamed.
///
/// A name that is a device or a pipe is written as it is; of a symbolic link what it points to is replaced. Runs with
/// the same name do not disturb each other: the last one to complete has it.
/// Lifetime: without commit the destructor removes what was written.
class QUVENResultFile {
 public:
  explicit QUVENResultFile(const std::string& resultPath);
  ~QUVENResultFile();
  QUVENResultFile(const QUVENResultFile&) = delete;
  QUVENResultFile& operator=(const QUVENResultFile&) = delete;

  [[nodiscard]] bool isOpen() const { return opened; }
  const std::string& getPath() const { return path; }
  /// Where the bytes are until commit; getPath() if the file is written in place.
  const std::string& getWrittenPath() const { return writtenPath; }
  std::ostream& getStream() { return stream; }
  /// Closes the file, which keeps its temporary name. False if some of it could not be written.
  [[nodiscard]] bool close();
  /// Closes the file and gives it its name; false when something was not written.
  [[nodiscard]] bool commit();

 private:
  std::string path;
  std::string writtenPath;
  std::ofstream stream;
  bool opened = false;
  bool committed = false;
};

/// Removes what a process of this run has written for a result that will not be completed. A device or a pipe stays.
void quvenRemoveIncompleteResult(const std::string& resultPath, long process);

/// Whether two paths lead to the same regular file. The file need not exist yet. False for a device or a pipe.
[[nodiscard]] bool quvenIsSameFile(const std::string& a, const std::string& b);

#endif  // QUVEN_RESULT_FILE_H
