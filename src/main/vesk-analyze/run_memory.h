#ifndef VESK_ANALYZE_RUN_MEMORY_H
#define VESK_ANALYZE_RUN_MEMORY_H

#include <cstdint>
#include <optional>
#include <string>

namespace vesk_analyze {

struct AnalyzeOptions;

/// Reads a size as it is given on the command line: bytes, or a number with or without a fraction before K, M, G or T,
/// which stand for powers of 1024, in either case. A fraction of a byte is dropped.
/// Returns: bytes; no value for any other text, and for sizes from 2^63 on.
std::optional<std::int64_t> readMemorySize(const std::string& text);

/// The memory that the control groups of this process allow it: the smallest limit of its group and the groups around
/// it, of either version of the interface. The folders proc and sys are looked for below root.
/// Returns: bytes; the largest number when there is no limit.
std::int64_t controlGroupMemory(const std::string& root = "");

/// The physical memory, or the limit of the control groups if that is smaller, in bytes.
std::int64_t machineMemory();

/// How many bytes of rows this rank may keep in memory: the size of the command line if one is given, else half of the
/// memory of the machine divided by the ranks of the run on it. The default may differ between machines of a run.
///
/// Collective: all ranks call it with the same options.
std::int64_t memoryOfRank(const AnalyzeOptions& options);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_RUN_MEMORY_H
