#ifndef VESK_TESTS_INSPECT_FIXTURE_H
#define VESK_TESTS_INSPECT_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace vesk_inspect::testing {

/// A test with a folder of its own, in which it builds files number by number.
class InspectTest : public ::testing::Test {
 protected:
  std::string path(const std::string& name = "file") const { return folder.path(name); }

  static std::string bytesOf(const std::vector<double>& numbers) {
    std::string bytes(numbers.size() * sizeof(double), '\0');
    if (!numbers.empty()) std::memcpy(bytes.data(), numbers.data(), bytes.size());
    return bytes;
  }

  void writeText(const std::string& text, const std::string& name = "file") const { folder.write(name, text); }

  void writeNumbers(const std::vector<double>& numbers, const std::string& tail = "") const {
    writeText(bytesOf(numbers) + tail);
  }

 private:
  TemporaryFolder folder;
};

/// The triples of one row of a table: header, entries at 1, 2, ..., footer.
inline std::vector<double> tableRow(double key, double width, const std::vector<double>& values) {
  std::vector<double> row{key, 0.0, width};
  for (std::size_t i = 0; i < values.size(); ++i) {
    row.insert(row.end(), {key, static_cast<double>(i + 1), values[i]});
  }
  row.insert(row.end(), {key, width + 1.0, 0.0});
  return row;
}

struct Weighted {
  double callee;
  double weight;
};

/// The triples of one row of a pair sum.
inline std::vector<double> pairSumRow(double key, double width, const std::vector<Weighted>& pairs) {
  std::vector<double> row{key, 0.0, width};
  for (const Weighted& pair : pairs) row.insert(row.end(), {key, pair.callee, pair.weight});
  row.insert(row.end(), {key, 0.0, 7788.0});
  return row;
}

inline std::vector<double> joined(std::initializer_list<std::vector<double>> parts) {
  std::vector<double> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

}  // namespace vesk_inspect::testing

#endif  // VESK_TESTS_INSPECT_FIXTURE_H
