#ifndef TESTS_LOADER_LITERAL_CASES_H
#define TESTS_LOADER_LITERAL_CASES_H

// Runs of the loader made of choices: random ones in the tests, bytes in the fuzzers.

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "literal_loader.h"
#include "loader_settings.h"

namespace vesk_loader::testing {

/// A source of small numbers.
class Choices {
 public:
  virtual ~Choices() = default;

  /// 0 to limit - 1.
  virtual std::uint32_t below(std::uint32_t limit) = 0;

  int between(int low, int high) { return low + static_cast<int>(below(static_cast<std::uint32_t>(high - low + 1))); }
  bool oneIn(std::uint32_t n) { return below(n) == n - 1; }

  template <class Value, std::size_t count>
  Value pick(const std::array<Value, count>& values) {
    return values[below(static_cast<std::uint32_t>(count))];
  }
};

class SeededChoices : public Choices {
 public:
  explicit SeededChoices(std::uint64_t seed) : random(seed) {}
  std::uint32_t below(std::uint32_t limit) override { return static_cast<std::uint32_t>(random() % limit); }

 private:
  std::mt19937_64 random;
};

/// Takes one byte a choice, two for a larger one; without bytes every choice is 0.
class ByteChoices : public Choices {
 public:
  explicit ByteChoices(std::span<const std::uint8_t> theBytes) : bytes(theBytes) {}

  std::uint32_t below(std::uint32_t limit) override {
    std::uint32_t number = 0;
    const int length = limit > 256 ? 2 : 1;
    for (int i = 0; i < length && !bytes.empty(); ++i, bytes = bytes.subspan(1)) number = number << 8 | bytes[0];
    return number % limit;
  }

 private:
  std::span<const std::uint8_t> bytes;
};

enum class RunKind { Table, Plain, PairSum };

/// A parameter file's content and some runs with it, one after the other on the same process file.
struct LoaderCase {
  struct Run {
    std::int32_t cyclicTableSize = 0;  ///< may change between the runs of one process file
    double startDate = 0.0;
    bool directoryExists = true;
    std::vector<LiteralDirectory::Entry> entries;
  };

  LoaderSettings settings;
  std::vector<double> specialNumbers;
  std::int32_t verbosity = 1;
  std::int32_t dateFormat = 0;
  bool processFileInUse = true;
  bool modeWord = true;
  std::string singleFile;                           ///< empty: the whole directory
  std::map<std::string, std::string> processFiles;  ///< what is there before the first run, by partition suffix
  std::vector<Run> runs;

  /// The settings of one run.
  LoaderSettings settingsOf(const Run& run) const;
};

/// The settings alone, without files.
LoaderCase makeSettings(Choices& choices, RunKind kind);

/// Settings, record files and process files.
LoaderCase makeCase(Choices& choices, RunKind kind);

/// Changes settings so that, in most kinds of run, they contradict each other.
void makeIllegal(Choices& choices, LoaderSettings& settings);

/// The settings as a parameter file; the special numbers are in the file `specialListName`.
std::string parameterText(const LoaderSettings& settings, const std::string& specialListName);

/// Numbers that read back as the same double, one a line.
std::string specialListText(const LoaderCase& loaderCase);

}  // namespace vesk_loader::testing

#endif  // TESTS_LOADER_LITERAL_CASES_H
