#ifndef VESK_DAY_FEED_PROGRESS_H
#define VESK_DAY_FEED_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace vesk {

/// Shows how far the reading of the input is: on a terminal one line that is written anew, elsewhere a line a minute.
class FeedProgress {
 public:
  /// `totalBytes`: of all passes over the input.
  FeedProgress(std::ostream& out, bool isTerminal, std::uint64_t totalBytes);
  /// Ends the line on a terminal.
  ~FeedProgress();
  FeedProgress(const FeedProgress&) = delete;
  FeedProgress& operator=(const FeedProgress&) = delete;

  /// Bytes and lines since the start of the run, in all passes.
  void show(std::uint64_t bytes, std::uint64_t lines);

  /// "45 %, 1,200,000 lines, 850,000 lines/s, about 0:05 left" after `seconds`.
  static std::string text(std::uint64_t bytes, std::uint64_t totalBytes, std::uint64_t lines, double seconds);

 private:
  using Clock = std::chrono::steady_clock;

  std::ostream& out;
  bool terminal;
  std::uint64_t total;
  Clock::time_point start;
  Clock::time_point last;
  bool hasLine = false;
};

}  // namespace vesk

#endif  // VESK_DAY_FEED_PROGRESS_H
