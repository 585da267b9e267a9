#ifndef VESK_OUTPUT_FILE_H
#define VESK_OUTPUT_FILE_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "files/descriptor.h"

namespace vesk {

/// A file that appears under its name when it is complete and synced. Until then it has no name, so that a killed
/// process leaves nothing that looks like a file of calls; where the file system has no such files, it has the name
/// with
/// ".partial" and the process id.
///
/// Lifetime: without commit the destructor removes what was written; an earlier file of the name stays.
/// Errors: std::runtime_error with the file and the system's reason, from every operation; also for a name that is no
///         regular file.
class OutputFile {
 public:
  OutputFile(std::string finalPath, unsigned filePermissions);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  void write(std::string_view bytes) { file.write(bytes); }

  /// Changes all that was written, in lines of `lineBytes` bytes.
  void rewriteLines(std::size_t lineBytes, const std::function<void(char* line)>& change);

  void commit();

 private:
  void open();

  std::string path;
  unsigned permissions;
  std::string temporary;  // empty while the file has no name
  vesk_files::Descriptor file;
};

}  // namespace vesk

#endif  // VESK_OUTPUT_FILE_H
