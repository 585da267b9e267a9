#ifndef QUVEN_MEMORY_H
#define QUVEN_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>

class QUVENEnvHandle;

// The memory layer of the library: blocks of cells that are charged to an environment.

/// Set to 1 in a debugging build to print a line for every block.
#ifndef QUVEN_MEMORY_TRACE
#define QUVEN_MEMORY_TRACE 0
#endif

/// Allocates a block of count cells and charges its bytes to the environment.
/// Errors: beyond the budget of the environment, or without memory, "Cannot allocate array memory" is reported and
///         XRTMemoryException thrown; nothing was charged.
[[nodiscard]] void* quvenAllocateCells(long count, std::size_t cellBytes, std::size_t alignment,
                                       const QUVENEnvHandle& env);

/// Frees such a block and gives its bytes back to the environment.
void quvenFreeCells(void* block, long count, std::size_t cellBytes, std::size_t alignment,
                    const QUVENEnvHandle& env) noexcept;

/// Reports a failed allocation at the place of the handle and throws XRTMemoryException. Allocates nothing before.
[[noreturn]] void quvenMemoryFailure(std::string_view text, std::int64_t bytesAsked, const QUVENEnvHandle& env);

/// Assigns a text to a string, or to a string with hash, that came from outside the program.
/// Errors: without memory those of quvenAllocateCells, not the bare exception of the string.
template <class String>
void quvenAssignText(String& target, std::string_view text, const QUVENEnvHandle& env) {
  try {
    target.assign(text);
  } catch (const std::bad_alloc&) {
    quvenMemoryFailure("Cannot allocate array memory", static_cast<std::int64_t>(text.size()), env);
  }
}

/// Makes a string a number of bytes long; errors as above.
inline void quvenResizeText(std::string& target, std::size_t bytes, const QUVENEnvHandle& env) {
  try {
    target.resize(bytes);
  } catch (const std::bad_alloc&) {
    quvenMemoryFailure("Cannot allocate array memory", static_cast<std::int64_t>(bytes), env);
  }
}

#endif  // QUVEN_MEMORY_H
