#ifndef VESK_ANALYZE_PROGRESS_LINE_H
#define VESK_ANALYZE_PROGRESS_LINE_H

#include <chrono>
#include <cstdint>
#include <iosfwd>

#include "passes/quven_pass_driver.h"

namespace vesk_analyze {

/// One line for people on a terminal, rewritten in place; nothing anywhere else.
class ProgressLine : public QUVENPassObserver {
 public:
  ProgressLine(std::ostream& terminal, bool isShown) : out(terminal), shown(isShown) {}
  ~ProgressLine() override { clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void beginPass(int number, std::int64_t expectedRecords) override;
  void update(std::int64_t records) override;
  void endPass() override { clear(); }

 private:
  void clear();

  std::ostream& out;
  bool shown;
  bool written = false;
  int pass = 0;
  std::int64_t expected = 0;
  std::chrono::steady_clock::time_point start;
  std::chrono::steady_clock::time_point last;
};

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_PROGRESS_LINE_H
