#include "util/quven_output.h"

#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>

namespace {

constexpr std::size_t piecesAWrite = 64;

/// Writes all of the pieces, with more than one write only if the system takes fewer bytes than given.
void writeAll(std::span<iovec> pieces) {
  while (!pieces.empty()) {
    const ssize_t count = ::writev(STDOUT_FILENO, pieces.data(), static_cast<int>(pieces.size()));
    if (count < 0) {
      if (errno == EINTR) continue;
      if (errno != EAGAIN) return;
      pollfd output{STDOUT_FILENO, POLLOUT, 0};  // the reader made the pipe non-blocking, and has to read first
      if (::poll(&output, 1, -1) < 0 && errno != EINTR) return;
      continue;
    }
    auto written = static_cast<std::size_t>(count);
    while (!pieces.empty() && written >= pieces.front().iov_len) {
      written -= pieces.front().iov_len;
      pieces = pieces.subspan(1);
    }
    if (pieces.empty()) return;
    pieces.front().iov_base = static_cast<char*>(pieces.front().iov_base) + written;
    pieces.front().iov_len -= written;
  }
}

}  // namespace

void quvenWriteOutput(std::span<const std::string_view> pieces) {
  std::fflush(stdout);
  std::array<iovec, piecesAWrite> batch;
  while (!pieces.empty()) {
    const std::size_t taken = std::min(pieces.size(), batch.size());
    std::size_t count = 0;
    for (const std::string_view piece : pieces.first(taken)) {
      if (!piece.empty()) batch[count++] = {const_cast<char*>(piece.data()), piece.size()};
    }
    writeAll(std::span(batch).first(count));
    pieces = pieces.subspan(taken);
  }
}

void quvenWriteOutput(std::initializer_list<std::string_view> pieces) {
  quvenWriteOutput(std::span(pieces.begin(), pieces.size()));
}
