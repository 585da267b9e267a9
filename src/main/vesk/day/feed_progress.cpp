#include "day/feed_progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

#include "counted.h"

namespace vesk {

namespace {

constexpr auto terminalPause = std::chrono::milliseconds(250);
constexpr auto logPause = std::chrono::minutes(1);

}  // namespace

FeedProgress::FeedProgress(std::ostream& out_, bool isTerminal, std::uint64_t totalBytes)
    : out(out_), terminal(isTerminal), total(totalBytes), start(Clock::now()), last(start) {}

FeedProgress::~FeedProgress() {
  if (hasLine) out << "\r\x1B[K" << std::flush;
}

std::string FeedProgress::text(std::uint64_t bytes, std::uint64_t totalBytes, std::uint64_t lines, double seconds) {
  const double share = totalBytes == 0 ? 1.0 : std::min(1.0, static_cast<double>(bytes) / static_cast<double>(totalBytes));
  const double rate = seconds > 0.0 ? static_cast<double>(lines) / seconds : 0.0;
  const double left = share > 0.0 ? seconds * (1.0 - share) / share : 0.0;
  const auto wholeSeconds = static_cast<unsigned>(left + 0.5);
  std::array<char, 64> rest{};
  std::snprintf(rest.data(), rest.size(), ", about %u:%02u left", wholeSeconds / 60, wholeSeconds % 60);
  return std::to_string(static_cast<int>(share * 100.0)) + " %, " + counted(lines, "line") + ", " +
         grouped(static_cast<std::uint64_t>(rate)) + " lines/s" + rest.data();
}

void FeedProgress::show(std::uint64_t bytes, std::uint64_t lines) {
  const Clock::time_point now = Clock::now();
  if (terminal ? now - last < terminalPause : now - last < logPause) return;
  last = now;
  const std::string line = text(bytes, total, lines, std::chrono::duration<double>(now - start).count());
  if (terminal) {
    out << '\r' << line << "\x1B[K" << std::flush;
    hasLine = true;
  } else {
    out << "vesk: " << line << std::endl;
  }
}

}  // namespace vesk
