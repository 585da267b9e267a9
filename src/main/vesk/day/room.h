#ifndef VESK_DAY_ROOM_H
#define VESK_DAY_ROOM_H

#include <cstdint>
#include <optional>
#include <string>

#include "day/ledger.h"

namespace vesk {

/// What a run will need, in bytes.
struct RoomEstimate {
  std::uint64_t memory = 0;
  std::uint64_t disk = 0;
};

/// From the last run of the state: its peak memory and its files, grown as much as the input is larger than it was then.
RoomEstimate estimateRoom(const LedgerLine& lastDay, std::uint64_t inputBytes);

/// Memory that a process can still take: of the machine, of its control group and by its limit of address space.
std::uint64_t availableMemory();

/// Bytes that a user can still write to the file system of a folder. Errors: std::runtime_error.
std::uint64_t availableDisk(const std::string& folder);

/// One sentence if the estimate does not fit, otherwise none.
std::optional<std::string> lackOfRoom(const RoomEstimate& estimate, const std::string& folder);

/// "1.2 GB", "640 kB": powers of 1000.
std::string bytesText(std::uint64_t bytes);

}  // namespace vesk

#endif  // VESK_DAY_ROOM_H
