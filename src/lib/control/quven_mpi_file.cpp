#include "control/quven_mpi_file.h"

namespace {

/// MPI takes what stands before a colon for a kind of file system; a name with a colon needs one in front to be a name.
std::string pathForMpi(const std::string& name) {
  return name.find(':') == std::string::npos ? name : std::string("ufs:").append(name);
}

}  // namespace

bool QUVENMPIFile::open(MPI_Comm workers, const std::string& name, int mode) {
  if (!close()) return false;
  // A failure is a result and never the end of the process: that is the error handler of files.
  if (MPI_File_open(workers, pathForMpi(name).c_str(), mode, MPI_INFO_NULL, &fileHandle) == MPI_SUCCESS) return true;
  fileHandle = MPI_FILE_NULL;
  return false;
}

bool QUVENMPIFile::getSize(std::int64_t& bytes) const {
  MPI_Offset size = 0;
  if (MPI_File_get_size(fileHandle, &size) != MPI_SUCCESS) return false;
  bytes = size;
  return true;
}

std::int64_t QUVENMPIFile::read(std::int64_t offset, char* block, int bytes) {
  if (MPI_File_seek(fileHandle, offset, MPI_SEEK_SET) != MPI_SUCCESS) return -1;
  MPI_Status status;
  if (MPI_File_read(fileHandle, block, bytes, MPI_CHAR, &status) != MPI_SUCCESS) return -1;
  int count = 0;
  MPI_Get_count(&status, MPI_CHAR, &count);
  return count == MPI_UNDEFINED ? -1 : count;
}

bool QUVENMPIFile::write(std::string_view text) {
  MPI_Status status;
  const int bytes = static_cast<int>(text.size());
  if (MPI_File_write(fileHandle, text.data(), bytes, MPI_CHAR, &status) != MPI_SUCCESS) return false;
  int count = 0;
  MPI_Get_count(&status, MPI_CHAR, &count);
  return count == bytes;
}

bool QUVENMPIFile::clear() {
  std::int64_t bytes = 0;
  return getSize(bytes) && (bytes == 0 || MPI_File_set_size(fileHandle, 0) == MPI_SUCCESS);
}

bool QUVENMPIFile::close() { return !isOpen() || MPI_File_close(&fileHandle) == MPI_SUCCESS; }
