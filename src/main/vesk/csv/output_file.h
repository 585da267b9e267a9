#ifndef VESK_OUTPUT_FILE_H
#define VESK_OUTPUT_FILE_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "files/descriptor.h"

namespace vesk {

/// A file that appears under its name when it is complete: it is written beside it, synced and renamed.
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
  std::string path;
  unsigned permissions;
  std::string temporary;
  vesk_files::Descriptor file;
};

}  // namespace vesk

#endif  // VESK_OUTPUT_FILE_H
