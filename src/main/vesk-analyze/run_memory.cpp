#include "run_memory.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <limits>
#include <string_view>

#include "passes/quven_worker_transport.h"
#include "run.h"

namespace vesk_analyze {

namespace {

constexpr std::int64_t noLimit = std::numeric_limits<std::int64_t>::max();

bool isDigit(char letter) { return letter >= '0' && letter <= '9'; }

/// The power of 1024 for one of the letters K, M, G and T in either case, 0 for any other letter.
int powerOf(char letter) {
  constexpr std::string_view upper = "KMGT";
  constexpr std::string_view lower = "kmgt";
  const std::size_t place = std::min(upper.find(letter), lower.find(letter));
  return place == std::string_view::npos ? 0 : static_cast<int>(place) + 1;
}

/// The number in a file of a limit; no limit for the word "max", and when there is no such file.
std::int64_t limitIn(const std::string& path) {
  std::ifstream file(path);
  std::int64_t limit = 0;
  return file >> limit && limit > 0 ? limit : noLimit;
}

/// The smallest limit of a group and the groups around it. In a container the path of the group may be that of the
/// host: folders that do not exist set no limit, and the last one is the folder of the hierarchy.
std::int64_t smallestLimit(const std::string& hierarchy, std::string group, const std::string& file) {
  std::int64_t smallest = noLimit;
  for (;;) {
    smallest = std::min(smallest, limitIn(hierarchy + group + "/" + file));
    if (group.empty()) return smallest;
    const std::size_t lastPart = group.rfind('/');
    group.erase(lastPart == std::string::npos ? 0 : lastPart);
  }
}

}  // namespace

std::optional<std::int64_t> readMemorySize(const std::string& text) {
  if (text.empty() || !isDigit(text.front())) return std::nullopt;
  const char* end = text.data() + text.size();
  const int power = powerOf(text.back());
  if (power == 0) {
    std::int64_t bytes = 0;
    const auto [stop, error] = std::from_chars(text.data(), end, bytes);
    return stop == end && error == std::errc() ? std::optional(bytes) : std::nullopt;
  }
  --end;
  double number = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  constexpr int bitsOfPower = 10;
  constexpr int bitsOfSize = 63;
  const double bytes = std::ldexp(number, bitsOfPower * power);
  if (stop != end || error != std::errc() || !(bytes < std::ldexp(1.0, bitsOfSize))) return std::nullopt;
  return static_cast<std::int64_t>(bytes);
}

std::int64_t controlGroupMemory(const std::string& root) {
  // Each line is NUMBER:CONTROLLERS:GROUP; version 2 has one line, with the number 0 and no controllers.
  std::ifstream groups(root + "/proc/self/cgroup");
  std::int64_t smallest = noLimit;
  for (std::string line; std::getline(groups, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (first == std::string::npos || second == std::string::npos) continue;
    line[first] = ',';  // each controller has a comma on both sides
    line[second] = ',';
    const std::string controllers = line.substr(first, second - first + 1);
    const std::string group = line.substr(second + 1);
    const std::string folder = root + "/sys/fs/cgroup";
    if (controllers == ",,") {
      smallest = std::min(smallest, smallestLimit(folder, group, "memory.max"));
    } else if (controllers.find(",memory,") != std::string::npos) {
      smallest = std::min(smallest, smallestLimit(folder + "/memory", group, "memory.limit_in_bytes"));
    }
  }
  return smallest;
}

std::int64_t machineMemory() {
  const auto pages = static_cast<std::int64_t>(::sysconf(_SC_PHYS_PAGES));
  const auto pageBytes = static_cast<std::int64_t>(::sysconf(_SC_PAGESIZE));
  return std::min(pages > 0 && pageBytes > 0 ? pages * pageBytes : noLimit, controlGroupMemory());
}

std::int64_t memoryOfRank(const AnalyzeOptions& options) {
  if (options.memoryBytes >= 0) return options.memoryBytes;
  return machineMemory() / 2 / QUVENWorkerTransport().getCountOnMachine();
}

}  // namespace vesk_analyze
