#ifndef QUVEN_MPI_FILE_H
#define QUVEN_MPI_FILE_H

#include <mpi.h>

#include <cstdint>
#include <string>
#include <string_view>

/// A file that is open through MPI. A failure is the result of the operation; nothing is reported here.
///
/// Requires:   MPI runs.
/// Lifetime:   open from a successful open to close, which the destructor calls.
/// Collective: with a communicator of several workers, open and close are calls of all of them.
class QUVENMPIFile {
 public:
  QUVENMPIFile() = default;
  ~QUVENMPIFile() { static_cast<void>(close()); }
  QUVENMPIFile(const QUVENMPIFile&) = delete;
  QUVENMPIFile& operator=(const QUVENMPIFile&) = delete;

  /// Closes what is open, then opens a file with the access modes of MPI.
  [[nodiscard]] bool open(MPI_Comm workers, const std::string& name, int mode);
  bool isOpen() const { return fileHandle != MPI_FILE_NULL; }
  [[nodiscard]] bool getSize(std::int64_t& bytes) const;
  /// Reads from an offset of the file and returns the bytes read, fewer at the end of the file; -1 for a failure.
  [[nodiscard]] std::int64_t read(std::int64_t offset, char* block, int bytes);
  /// Writes at the position behind the last write.
  [[nodiscard]] bool write(std::string_view text);
  /// Cuts the file to no bytes. A device has none to begin with and is left alone.
  [[nodiscard]] bool clear();
  /// True for a file that is closed already.
  [[nodiscard]] bool close();

 private:
  MPI_File fileHandle = MPI_FILE_NULL;
};

#endif  // QUVEN_MPI_FILE_H
