#include "progress_line.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace vesk_analyze {

void ProgressLine::beginPass(int number, std::int64_t expectedRecords) {
  pass = number;
  expected = expectedRecords;
  start = last = std::chrono::steady_clock::now();
}

void ProgressLine::update(std::int64_t records) {
  using std::chrono::duration;
  constexpr double interval = 0.25;
  if (!shown) return;
  const auto now = std::chrono::steady_clock::now();
  if (duration<double>(now - last).count() < interval) return;
  last = now;
  const double rate = static_cast<double>(records) / duration<double>(now - start).count();
  const double left = static_cast<double>(std::max<std::int64_t>(expected - records, 0)) / rate;
  char text[160];
  std::snprintf(text, sizeof text, "\rpass %d: %lld records, %.1f million a second, about %.0f s left  ", pass,
                static_cast<long long>(records), rate / 1e6, left);
  out << text << std::flush;
  written = true;
}

void ProgressLine::clear() {
  if (!written) return;
  out << "\r\033[K" << std::flush;
  written = false;
}

}  // namespace vesk_analyze
