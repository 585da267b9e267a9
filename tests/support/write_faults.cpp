// A library that is loaded before a program's own (LD_PRELOAD) and lets one of its calls that change files fail. Environment:
//   WRITE_FAULT_PROGRAM  the name of the program that it works in; others run as ever
//   WRITE_FAULT_AT       the number of the call, from 1, over all calls that change files
//   WRITE_FAULT_HOW      kill: the process is killed in its place; full: ENOSPC; short: a write takes half of the bytes,
//                        the next one fails; stuck: nothing in folders can be removed
//   WRITE_FAULT_COUNT    a file that gets the number of calls at the end of the process

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

enum class Fault { None, Fail, Half };

std::atomic<long> calls = 0;

bool isChosenProgram() {
  static const bool chosen = [] {
    const char* const name = std::getenv("WRITE_FAULT_PROGRAM");
    return name != nullptr && std::strcmp(name, program_invocation_short_name) == 0;
  }();
  return chosen;
}

Fault nextCall(bool isWrite) {
  if (!isChosenProgram()) return Fault::None;
  static const long at = std::atol(std::getenv("WRITE_FAULT_AT"));
  static const std::string how = std::getenv("WRITE_FAULT_HOW");
  const long call = ++calls;
  if (how == "short") {
    if (call == at) return isWrite ? Fault::Half : Fault::Fail;
    return call == at + 1 ? Fault::Fail : Fault::None;
  }
  if (call != at) return Fault::None;
  if (how == "kill") ::kill(::getpid(), SIGKILL);
  return Fault::Fail;
}

bool isStuck() {
  return isChosenProgram() && std::strcmp(std::getenv("WRITE_FAULT_HOW"), "stuck") == 0;
}

int failed() {
  errno = ENOSPC;
  return -1;
}

template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

struct CountAtEnd {
  ~CountAtEnd() {
    const char* const path = std::getenv("WRITE_FAULT_COUNT");
    if (!isChosenProgram() || path == nullptr) return;
    const std::string text = std::to_string(calls.load());
    const int file = original<int(const char*, int, ...)>("open")(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    original<ssize_t(int, const void*, size_t)>("write")(file, text.data(), text.size());
    ::close(file);
  }
} countAtEnd;

}  // namespace

extern "C" {

ssize_t write(int file, const void* data, size_t size) {
  static auto* const next = original<ssize_t(int, const void*, size_t)>("write");
  struct stat status {};
  // Only what goes to files: pipes and terminals are not on the disk.
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return next(file, data, size);
  const Fault fault = nextCall(true);
  if (fault == Fault::Fail) return failed();
  return next(file, data, fault == Fault::Half ? (size + 1) / 2 : size);
}

ssize_t pwrite(int file, const void* data, size_t size, off_t place) {
  static auto* const next = original<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  return nextCall(true) == Fault::Fail ? failed() : next(file, data, size, place);
}

ssize_t copy_file_range(int from, off64_t* fromPlace, int to, off64_t* toPlace, size_t size, unsigned flags) {
  static auto* const next = original<ssize_t(int, off64_t*, int, off64_t*, size_t, unsigned)>("copy_file_range");
  const Fault fault = nextCall(true);
  if (fault == Fault::Fail) return failed();
  return next(from, fromPlace, to, toPlace, fault == Fault::Half ? (size + 1) / 2 : size, flags);
}

int open(const char* path, int flags, ...) {
  static auto* const next = original<int(const char*, int, ...)>("open");
  mode_t mode = 0;
  if (flags & O_CREAT) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
    if (nextCall(false) != Fault::None) return failed();
  }
  return next(path, flags, mode);
}

int rename(const char* from, const char* to) {
  static auto* const next = original<int(const char*, const char*)>("rename");
  return nextCall(false) != Fault::None ? failed() : next(from, to);
}

int symlink(const char* target, const char* path) {
  static auto* const next = original<int(const char*, const char*)>("symlink");
  return nextCall(false) != Fault::None ? failed() : next(target, path);
}

int mkdir(const char* path, mode_t mode) {
  static auto* const next = original<int(const char*, mode_t)>("mkdir");
  return nextCall(false) != Fault::None ? failed() : next(path, mode);
}

int unlink(const char* path) {
  static auto* const next = original<int(const char*)>("unlink");
  return nextCall(false) != Fault::None ? failed() : next(path);
}

int unlinkat(int folder, const char* path, int flags) {
  static auto* const next = original<int(int, const char*, int)>("unlinkat");
  return isStuck() || nextCall(false) != Fault::None ? failed() : next(folder, path, flags);
}

int mkfifo(const char* path, mode_t mode) {
  static auto* const next = original<int(const char*, mode_t)>("mkfifo");
  return nextCall(false) != Fault::None ? failed() : next(path, mode);
}

char* mkdtemp(char* path) {
  static auto* const next = original<char*(char*)>("mkdtemp");
  if (nextCall(false) == Fault::None) return next(path);
  failed();
  return nullptr;
}

int chmod(const char* path, mode_t mode) {
  static auto* const next = original<int(const char*, mode_t)>("chmod");
  return nextCall(false) != Fault::None ? failed() : next(path, mode);
}

int fsync(int file) {
  static auto* const next = original<int(int)>("fsync");
  return nextCall(false) != Fault::None ? failed() : next(file);
}

int ftruncate(int file, off_t size) {
  static auto* const next = original<int(int, off_t)>("ftruncate");
  return nextCall(false) != Fault::None ? failed() : next(file, size);
}

int truncate(const char* path, off_t size) {
  static auto* const next = original<int(const char*, off_t)>("truncate");
  return nextCall(false) != Fault::None ? failed() : next(path, size);
}

}  // extern "C"
