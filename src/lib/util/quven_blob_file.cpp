#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "util/quven_blob_io.h"

QUVENFileBlobIO::QUVENFileBlobIO(const std::string& path, Mode openMode)
    : mode(openMode), buffer(std::make_unique_for_overwrite<char[]>(BufferBytes)) {
  constexpr mode_t everybody = 0666;
  descriptor = mode == Mode::Read ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC)
                                  : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, everybody);
  if (descriptor < 0) {
    fail();
  } else if (mode == Mode::Write) {
    writeAt = buffer.get();
    writeEnd = writeAt + BufferBytes;
  } else {
    struct stat description {};
    if (::fstat(descriptor, &description) != 0) fail();
    if (S_ISREG(description.st_mode)) remainingOfFile = static_cast<std::uint64_t>(description.st_size);
  }
}

QUVENFileBlobIO::~QUVENFileBlobIO() {
  if (descriptor >= 0) ::close(descriptor);
}

std::uint64_t QUVENFileBlobIO::getRemaining() const {
  return remainingOfFile == UnknownRemaining ? UnknownRemaining : remainingOfFile + getReadWindow().size();
}

bool QUVENFileBlobIO::close() {
  if (descriptor >= 0) {
    if (mode == Mode::Write) flushBuffer();
    if (::close(descriptor) != 0) fail();
    descriptor = -1;
    writeAt = writeEnd = nullptr;
    readAt = readEnd = nullptr;
  }
  return errorText.empty();
}

void QUVENFileBlobIO::fail() {
  if (errorText.empty()) errorText = std::strerror(errno);
  status = Failed;
}

void QUVENFileBlobIO::flushBuffer() {
  const std::size_t held = static_cast<std::size_t>(writeAt - buffer.get());
  writeAt = buffer.get();
  writeAll(buffer.get(), held);
}

void QUVENFileBlobIO::writeAll(const char* bytes, std::size_t count) {
  while (count > 0 && status == Good) {
    const ssize_t written = ::write(descriptor, bytes, count);
    if (written < 0) {
      if (errno != EINTR) fail();
      continue;
    }
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
}

void QUVENFileBlobIO::writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle&) {
  if (mode != Mode::Write || descriptor < 0) {
    errno = EBADF;
    return fail();
  }
  flushBuffer();
  if (count >= BufferBytes) return writeAll(static_cast<const char*>(bytes), count);
  std::memcpy(writeAt, bytes, count);
  commit(count);
}

std::size_t QUVENFileBlobIO::readSome(char* bytes, std::size_t count) {
  for (;;) {
    const ssize_t taken = ::read(descriptor, bytes, count);
    if (taken >= 0) {
      const std::uint64_t number = static_cast<std::uint64_t>(taken);
      if (remainingOfFile != UnknownRemaining) remainingOfFile -= std::min(remainingOfFile, number);
      return number;
    }
    if (errno == EINTR) continue;
    fail();
    return 0;
  }
}

std::size_t QUVENFileBlobIO::readBlock(void* bytes, std::size_t count, const QUVENEnvHandle&) {
  if (mode != Mode::Read || descriptor < 0) {
    errno = EBADF;
    fail();
    return 0;
  }
  char* target = static_cast<char*>(bytes);
  std::size_t done = 0;
  while (done < count && status == Good) {
    if (getReadWindow().empty()) {
      const std::size_t missing = count - done;
      if (missing >= BufferBytes) {  // straight to its place
        const std::size_t taken = readSome(target + done, missing);
        if (taken == 0 && status == Good) status = EndOfInput;
        done += taken;
        continue;
      }
      const std::size_t taken = readSome(buffer.get(), BufferBytes);
      if (taken == 0 && status == Good) status = EndOfInput;
      readAt = buffer.get();
      readEnd = readAt + taken;
    }
    const std::size_t part = std::min(count - done, getReadWindow().size());
    std::memcpy(target + done, readAt, part);
    skip(part);
    done += part;
  }
  return done;
}
