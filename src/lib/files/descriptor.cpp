#include "files/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace vesk_files {

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  throw std::runtime_error(systemFailure(path, what));
}

int openOrFail(const std::string& path, int flags, unsigned permissions, const char* what) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, permissions);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) fail(path, what);
  return descriptor;
}

/// The link of the system to an open file.
std::string linkOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string systemFailure(const std::string& path, const std::string& what) {
  return path + ": cannot " + what + ": " + std::strerror(errno);
}

Descriptor::Descriptor(int descriptor_, std::string name_) : descriptor(descriptor_), name(std::move(name_)) {}

Descriptor::~Descriptor() {
  if (descriptor >= 0) ::close(descriptor);
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)), name(std::move(other.name)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(descriptor, other.descriptor);
  std::swap(name, other.name);
  return *this;
}

Descriptor Descriptor::openToRead(const std::string& path) {
  return {openOrFail(path, O_RDONLY, 0, "open the file"), path};
}

Descriptor Descriptor::openRegular(const std::string& path) {
  // Without O_NONBLOCK the opening of a pipe would wait for its other end.
  Descriptor file(openOrFail(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0, "open the file"), path);
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) fail(path, "read what it is");
  if (!S_ISREG(status.st_mode)) throw std::runtime_error(path + ": no regular file");
  return file;
}

Descriptor Descriptor::openToWrite(const std::string& path, unsigned permissions) {
  return {openOrFail(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, permissions, "open the file for writing"), path};
}

Descriptor Descriptor::openUnnamed(const std::string& folder, std::string name, unsigned permissions) {
  Descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, permissions), std::move(name));
  if (file.isOpen() && ::access(linkOf(file.get()).c_str(), F_OK) != 0) file.close();  // without /proc
  return file;
}

bool Descriptor::giveName(const std::string& path) const {
  if (::linkat(AT_FDCWD, linkOf(descriptor).c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
  if (errno == EEXIST) return false;
  fail(path, "give the file its name");
}

std::size_t Descriptor::read(char* data, std::size_t size) const {
  while (true) {
    const ssize_t count = ::read(descriptor, data, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail(name, "read");
  }
}

void Descriptor::write(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(name, "write");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Descriptor::sync() const {
  if (::fsync(descriptor) != 0) fail(name, "write to the disk");
}

void Descriptor::close() {
  if (::close(std::exchange(descriptor, -1)) != 0) fail(name, "close");
}

std::uint64_t Descriptor::sizeBytes() const {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) fail(name, "read the size");
  return static_cast<std::uint64_t>(status.st_size);
}

std::string readWholeFile(const std::string& path, std::uint64_t limitBytes) {
  return readWhole(Descriptor::openToRead(path), limitBytes);
}

std::string readWhole(const Descriptor& file, std::uint64_t limitBytes) {
  std::string content;
  std::string block(std::size_t{1} << 16, '\0');
  while (const std::size_t size = file.read(block.data(), block.size())) {
    content.append(block, 0, size);
    if (content.size() > limitBytes) {
      throw std::runtime_error(file.getName() + ": more than " + std::to_string(limitBytes) + " bytes");
    }
  }
  return content;
}

void replaceFile(const std::string& path, std::string_view content, unsigned permissions) {
  const std::string temporary = path + ".new" + std::to_string(::getpid());
  try {
    Descriptor file = Descriptor::openToWrite(temporary, permissions);
    file.write(content);
    file.sync();
    file.close();
    if (::rename(temporary.c_str(), path.c_str()) != 0) fail(path, "replace");
  } catch (...) {
    ::unlink(temporary.c_str());
    throw;
  }
  syncFolder(folderOf(path));
}

void syncFolder(const std::string& path) {
  const Descriptor folder(openOrFail(path, O_RDONLY | O_DIRECTORY, 0, "open the folder"), path);
  folder.sync();
}

}  // namespace vesk_files
