#ifndef QUVEN_MEMORY_H
#define QUVEN_MEMORY_H

#include <cstddef>
#include <cstdint>
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

#endif  // QUVEN_MEMORY_H
