#ifndef VESK_DAY_RECORD_PIPE_H
#define VESK_DAY_RECORD_PIPE_H

#include <stdexcept>
#include <string>
#include <string_view>

#include "day/loader_process.h"
#include "files/descriptor.h"

namespace vesk {

/// The loader has ended before it had read all records; its log says why.
class LoaderEnded : public std::runtime_error {
 public:
  LoaderEnded() : std::runtime_error("the loader ended before it had read all records") {}
};

/// The one record file that the loader sees: a named pipe, so that exactly those lines are loaded that were examined
/// and hashed here, in the order of the input. The loader opens it once for each partition.
///
/// Errors: LoaderEnded; CommandFailure on a stop signal; std::runtime_error when a system call fails.
class RecordPipe {
 public:
  /// Makes the pipe in a folder of its own, from which the loader reads.
  explicit RecordPipe(const std::string& folderPath);

  const std::string& getFolder() const { return folder; }
  /// The pipe itself, as the loader names it.
  const std::string& getPath() const { return path; }

  /// Waits until the loader reads from the pipe, and puts another pipe in its place for the next partition: an end that
  /// is closed must never be taken up by the reader of the partition before.
  void open(LoaderProcess& loader);
  void write(std::string_view bytes);
  void close() { end = vesk_files::Descriptor(); }
  /// Removes the folder.
  void remove();

 private:
  void make() const;

  std::string folder;
  std::string path;
  vesk_files::Descriptor end;
};

}  // namespace vesk

#endif  // VESK_DAY_RECORD_PIPE_H
