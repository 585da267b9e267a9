#include "day/room.h"

#include <sys/resource.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <limits>
#include <stdexcept>

#include "files/descriptor.h"

namespace vesk {

namespace {

constexpr std::uint64_t fixedMemory = std::uint64_t{16} << 20;  // of the loader with any input
constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

// The number in the first line of a small file of the system, or `unlimited`.
std::uint64_t readLimit(const std::string& path) {
  std::ifstream file(path);
  std::uint64_t number = unlimited;
  return file >> number ? number : unlimited;
}

std::uint64_t memoryOfMachine() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::uint64_t kibibytes = 0;
  std::string unit;
  while (file >> name >> kibibytes && std::getline(file, unit)) {
    if (name == "MemAvailable:") return kibibytes * 1024;
  }
  return unlimited;
}

// A process sees its own control group as the root of the mounted tree.
std::uint64_t memoryOfGroup() {
  const std::uint64_t limit = readLimit("/sys/fs/cgroup/memory.max");
  const std::uint64_t used = readLimit("/sys/fs/cgroup/memory.current");
  if (limit == unlimited || used == unlimited) return unlimited;
  return limit - std::min(limit, used);
}

std::uint64_t grown(std::uint64_t bytes, double ratio) {
  const double product = static_cast<double>(bytes) * ratio;
  return product < static_cast<double>(unlimited) ? static_cast<std::uint64_t>(product) : unlimited;
}

}  // namespace

RoomEstimate estimateRoom(const LedgerLine& lastDay, std::uint64_t inputBytes) {
  const std::uint64_t before = std::max<std::uint64_t>(lastDay.inputBytes(), 1);
  const double ratio = std::max(1.0, static_cast<double>(inputBytes) / static_cast<double>(before));
  const std::uint64_t fixed = std::min(lastDay.peakMemoryBytes, fixedMemory);
  const std::uint64_t growing = grown(lastDay.peakMemoryBytes - fixed, ratio);
  return {growing + std::min(fixed, unlimited - growing), grown(lastDay.stateBytes, ratio)};
}

std::uint64_t availableMemory() {
  struct rlimit limit {};
  const bool hasLimit = ::getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
  return std::min({memoryOfMachine(), memoryOfGroup(), hasLimit ? std::uint64_t{limit.rlim_cur} : unlimited});
}

std::uint64_t availableDisk(const std::string& folder) {
  struct statvfs status {};
  if (::statvfs(folder.c_str(), &status) != 0) {
    throw std::runtime_error(vesk_files::systemFailure(folder, "read the free space"));
  }
  return std::uint64_t{status.f_bavail} * status.f_frsize;
}

std::optional<std::string> lackOfRoom(const RoomEstimate& estimate, const std::string& folder) {
  const std::uint64_t disk = availableDisk(folder);
  if (estimate.disk > disk) {
    return "the run needs about " + bytesText(estimate.disk) + " on the disk of " + folder + ", where " +
           bytesText(disk) + " are free";
  }
  const std::uint64_t memory = availableMemory();
  if (estimate.memory > memory) {
    return "the run needs about " + bytesText(estimate.memory) + " of memory, " + bytesText(memory) +
           " are free; more partitions need less memory at a time, in a new state";
  }
  return std::nullopt;
}

std::string bytesText(std::uint64_t bytes) {
  constexpr std::array<const char*, 5> units = {"bytes", "kB", "MB", "GB", "TB"};
  if (bytes < 1000) return std::to_string(bytes) + " bytes";
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 999.95 && unit + 1 < units.size()) {
    value /= 1000.0;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1f %s", value, units[unit]);
  return text.data();
}

}  // namespace vesk
