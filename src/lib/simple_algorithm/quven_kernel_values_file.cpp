#include "simple_algorithm/quven_kernel_values_file.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>

#include "vesk-common/quven_doubt.h"
#include "vesk-common/quven_reports.h"

namespace {

enum Code : int { ValuesUnreadable = 2304, LineIgnored = 5001, LineNotUnderstood = 5005 };

constexpr std::size_t longestItem = 29;
constexpr std::uint64_t allOnes = 0xffffffffU;

struct Line {
  std::uint64_t numbers[2] = {0, 0};
  bool isUnderstood = false;
};

Line lineOf(std::string_view text) {
  Line line;
  bool areNumbers = true;
  for (std::uint64_t& number : line.numbers) {
    const std::size_t comma = text.find(',');
    const std::string item(text.substr(0, std::min(comma, longestItem)));
    char* end = nullptr;
    errno = 0;
    number = std::strtoull(item.c_str(), &end, 0);
    const std::size_t length = static_cast<std::size_t>(end - item.c_str());
    // A number below 0 or from 2 to the 64 on has become that of another subscriber.
    const bool isOneOfOurs = length != 0 && errno == 0 && item.find('-') == std::string::npos;
    areNumbers = areNumbers && isOneOfOurs && item.find_first_not_of(" \t\r", length) == std::string::npos;
    // What follows an item that is empty, too long, or without a comma behind it is not read.
    if (item.empty() || comma == std::string_view::npos || comma > longestItem) return line;
    text.remove_prefix(comma + 1);
  }
  line.isUnderstood = areNumbers;
  return line;
}

}  // namespace

void quvenReadKernelValuesFile(const std::string& fileName, QUVENXaRay<std::uint64_t>& pairs,
                               const QUVENEnvHandle& env) {
  const auto reportUnreadable = [&] {
    report_error(ValuesUnreadable, fileName,
                 "QUVENCGAData::readKernelValuesFile: the kernel values file cannot be read", QUVEN_ENV, false);
    report_error(ValuesUnreadable, "QUVENCGAData::readKernelValuesFile: Unable to kernel values file", QUVEN_ENV, true);
  };
  std::ifstream file(fileName);
  if (!file.is_open()) reportUnreadable();
  long lineNumber = 0;
  long firstNotUnderstood = 0;
  for (std::string text; std::getline(file, text);) {
    ++lineNumber;
    const Line line = lineOf(text);
    const auto [a, b] = line.numbers;
    if ((a == 0 && b == allOnes) || (a == allOnes && b == 0)) {
      const std::string number = std::to_string(lineNumber);
      report_warning(LineIgnored, number,
                     "Warning: Ignoring empty line or invalid numeric value in line number " + number);
    }
    if (!line.isUnderstood && firstNotUnderstood == 0) firstNotUnderstood = lineNumber;
    pairs.append(a, QUVEN_ENV);
    pairs.append(b, QUVEN_ENV);
  }
  if (file.bad()) reportUnreadable();  // such as a directory
  if (firstNotUnderstood != 0) {
    report_doubt(
        LineNotUnderstood, std::to_string(firstNotUnderstood),
        "QUVENCGAData::readKernelValuesFile: the first line of " + fileName + " that is not two numbers and a value",
        QUVEN_ENV);
  }
  std::cout << "Read " << lineNumber << " kernel values from file\n";
}
