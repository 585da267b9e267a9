#include "day/record_pipe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "day/stop_signal.h"

namespace vesk {

using vesk_files::systemFailure;

namespace {

constexpr int pipeBytes = 1 << 20;

}  // namespace

RecordPipe::RecordPipe(const std::string& folderPath) : folder(folderPath), path(folderPath + "/records") {
  if (::mkdir(folder.c_str(), 0700) != 0) throw std::runtime_error(systemFailure(folder, "make the folder"));
  make();
}

void RecordPipe::make() const {
  if (::mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error(systemFailure(path, "make the pipe"));
}

void RecordPipe::open(LoaderProcess& loader) {
  int descriptor = -1;
  while ((descriptor = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC)) < 0) {
    if (errno != ENXIO && errno != EINTR) throw std::runtime_error(systemFailure(path, "open the pipe"));
    StopSignal::check();
    if (!loader.isRunning()) throw LoaderEnded();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  end = vesk_files::Descriptor(descriptor, path);
  const int flags = ::fcntl(descriptor, F_GETFL);
  if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) < 0) {
    throw std::runtime_error(systemFailure(path, "set up the pipe"));
  }
  ::fcntl(descriptor, F_SETPIPE_SZ, pipeBytes);  // with a smaller pipe the run is only slower
  if (::unlink(path.c_str()) != 0) throw std::runtime_error(systemFailure(path, "remove the pipe"));
  make();
}

void RecordPipe::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(end.get(), bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EPIPE) {
      throw LoaderEnded();
    } else if (errno != EINTR) {
      throw std::runtime_error(systemFailure(path, "write to the pipe"));
    }
    StopSignal::check();
  }
}

void RecordPipe::remove() {
  close();
  if (::unlink(path.c_str()) != 0 || ::rmdir(folder.c_str()) != 0) {
    throw std::runtime_error(systemFailure(folder, "remove the pipe"));
  }
}

}  // namespace vesk
