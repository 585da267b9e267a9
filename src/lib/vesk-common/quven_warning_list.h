#ifndef QUVEN_WARNING_LIST_H
#define QUVEN_WARNING_LIST_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The warnings that this process has printed, for the results of a run: their number, and the text of the first ones.
class QUVENWarningList {
 public:
  static constexpr std::size_t MostTexts = 100;

  /// The list of the process.
  static QUVENWarningList& get();

  /// Notes a warning that was printed; an empty parameter is left out. Without memory it is counted only.
  void add(int code, std::string_view parameter, std::string_view text) noexcept;
  void clear();

  std::int64_t getCount() const { return count; }
  /// Code, parameter and text as in the warning line, separated by ";|".
  const std::vector<std::string>& getTexts() const { return texts; }

 private:
  std::int64_t count = 0;
  std::vector<std::string> texts;
};

#endif  // QUVEN_WARNING_LIST_H
