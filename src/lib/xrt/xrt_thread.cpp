#include "xrt/xrt_thread.h"

#include <atomic>

namespace {
constinit std::atomic<int> lastThreadNumber{0};
}  // namespace

int xrtThreadNumber() noexcept {
  thread_local const int number = ++lastThreadNumber;
  return number;
}
