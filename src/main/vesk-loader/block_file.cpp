#include "block_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "loader_common.h"

namespace vesk_loader {

FileHandle::~FileHandle() {
  // An error here is that of a file given up already; the ordinary way out is close().
  if (descriptor >= 0) ::close(descriptor);
}

FileHandle::FileHandle(FileHandle&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  std::swap(descriptor, other.descriptor);
  return *this;
}

bool FileHandle::openForReading(const std::string& path) {
  descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  struct stat status {};
  if (::fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    ::close(std::exchange(descriptor, -1));
    return false;
  }
  // Only advice: a pipe refuses it and is read all the same.
  (void)::posix_fadvise(descriptor, 0, 0, POSIX_FADV_SEQUENTIAL);
  return true;
}

bool FileHandle::openForWriting(const std::string& path) {
  descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  return descriptor >= 0;
}

std::size_t FileHandle::read(char* data, std::size_t size) {
  while (true) {
    const ssize_t count = ::read(descriptor, data, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) throw exception_loader();
  }
}

void FileHandle::write(const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = ::write(descriptor, data, size);
    if (count < 0) {
      if (errno == EINTR) continue;
      throw exception_loader();
    }
    data += count;
    size -= static_cast<std::size_t>(count);
  }
}

void FileHandle::close() {
  if (descriptor >= 0 && ::close(std::exchange(descriptor, -1)) != 0) throw exception_loader();
}

bool BlockWriter::open(const std::string& path) {
  block = std::make_unique_for_overwrite<char[]>(blockSize);
  used = 0;
  return file.openForWriting(path);
}

void BlockWriter::append(const char* data, std::size_t size) {
  while (size > 0) {
    if (used == blockSize) flush();
    const std::size_t part = size < blockSize - used ? size : blockSize - used;
    std::memcpy(block.get() + used, data, part);
    used += part;
    data += part;
    size -= part;
  }
}

void BlockWriter::flush() {
  file.write(block.get(), used);
  used = 0;
}

void BlockWriter::close() {
  if (used > 0) flush();
  file.close();
  block.reset();
}

bool DoubleReader::open(const std::string& path) {
  if (!file.openForReading(path)) return false;
  block = std::make_unique_for_overwrite<double[]>(blockItems);
  position = available = 0;
  return true;
}

double DoubleReader::require() {
  double number = 0.0;
  if (!next(number)) throw exception_loader();
  return number;
}

bool DoubleReader::refill() {
  std::size_t bytes = 0;
  char* const target = reinterpret_cast<char*>(block.get());
  while (bytes < blockItems * sizeof(double)) {
    const std::size_t count = file.read(target + bytes, blockItems * sizeof(double) - bytes);
    if (count == 0) break;
    bytes += count;
  }
  position = 0;
  available = bytes / sizeof(double);
  return available > 0;
}

}  // namespace vesk_loader
