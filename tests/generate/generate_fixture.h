#ifndef VESK_TESTS_GENERATE_FIXTURE_H
#define VESK_TESTS_GENERATE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "record_generator.h"
#include "support/temporary_folder.h"

namespace vesk_generate::testing {

/// All records of the settings as one text.
inline std::string generateText(const GeneratorSettings& settings) {
  RecordGenerator generator(settings);
  std::string text(settings.records * generator.lineBytes(), '?');
  text.resize(generator.fill(settings.records, text));
  return text;
}

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

inline std::vector<std::string> generateLines(const GeneratorSettings& settings) {
  return linesOf(generateText(settings));
}

/// The characters of the columns, 1-based and inclusive.
inline std::string columns(const std::string& line, const ColumnRange& range) {
  return line.substr(range.first - 1, range.width());
}

inline std::uint64_t numberIn(const std::string& line, const ColumnRange& range) {
  return std::stoull(columns(line, range));
}

/// Source: Fowler, Noll, Vo, the 64-bit hash FNV-1a.
inline std::uint64_t checksum(std::string_view bytes) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  return hash;
}

using ::TemporaryFolder;
inline std::string contentOf(const std::string& path) { return TemporaryFolder::contentOf(path); }

}  // namespace vesk_generate::testing

#endif  // VESK_TESTS_GENERATE_FIXTURE_H
