#include "util/quven_memory.h"

#include <array>
#include <cstdio>
#include <limits>
#include <new>

#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "xrt/xrt_exception.h"

namespace {
constexpr std::string_view arrayFailure = "Cannot allocate array memory";

constexpr bool isOverAligned(std::size_t alignment) { return alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__; }

void* allocateBytes(std::size_t bytes, std::size_t alignment) {
  return isOverAligned(alignment) ? ::operator new (bytes, std::align_val_t{alignment}, std::nothrow)
                                  : ::operator new(bytes, std::nothrow);
}
}  // namespace

void* quvenAllocateCells(long count, std::size_t cellBytes, std::size_t alignment, const QUVENEnvHandle& env) {
  QUVENEnv& account = env.resolve();
  // An array counts its cells in 32 bits; what cannot be counted in bytes either is asked for as all there are.
  std::int64_t bytes = 0;
  if (__builtin_mul_overflow(count, cellBytes, &bytes)) bytes = std::numeric_limits<std::int64_t>::max();
  if (count > std::numeric_limits<std::int32_t>::max() || !account.hasRoomFor(bytes)) {
    quvenMemoryFailure(arrayFailure, bytes, env);
  }
  void* block = allocateBytes(static_cast<std::size_t>(bytes), alignment);
  if (block == nullptr) quvenMemoryFailure(arrayFailure, bytes, env);
  account.charge(bytes);
  if constexpr (QUVEN_MEMORY_TRACE != 0) {
    quvenMemoryTrace(block, std::array<std::size_t, 2>{static_cast<std::size_t>(count), cellBytes});
  }
  return block;
}

void quvenFreeCells(void* block, long count, std::size_t cellBytes, std::size_t alignment,
                    const QUVENEnvHandle& env) noexcept {
  if (block == nullptr) return;
  if (isOverAligned(alignment)) {
    ::operator delete (block, std::align_val_t{alignment});
  } else {
    ::operator delete(block);
  }
  env.resolve().release(static_cast<std::int64_t>(count) * static_cast<std::int64_t>(cellBytes));
}

void quvenMemoryFailure(std::string_view text, std::int64_t bytesAsked, const QUVENEnvHandle& env) {
  quvenDebugWords.memoryFailed = 1;
  quvenReportPlace(env, text);
  std::fflush(stdout);
  quvenNoteException(env.getFunction(), env.getLine(), env.getFile());
  throw XRTMemoryException(text, bytesAsked, env.resolve().getBytesInUse());
}
