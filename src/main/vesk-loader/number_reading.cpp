#include "number_reading.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>

namespace vesk_loader {

namespace {

// The library wants a terminating zero. Fields are short; a long one is copied to the heap.
template <class Read>
auto with_terminator(std::string_view text, Read read) {
  char buffer[64];
  if (text.size() < sizeof buffer) {
    std::copy(text.begin(), text.end(), buffer);
    buffer[text.size()] = '\0';
    return read(buffer);
  }
  return read(std::string(text).c_str());
}

}  // namespace

double read_double_by_library(std::string_view text) {
  return with_terminator(text, [](const char* characters) { return std::strtod(characters, nullptr); });
}

std::int32_t read_integer_by_library(std::string_view text) {
  const long value = with_terminator(text, [](const char* characters) { return std::strtol(characters, nullptr, 10); });
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
}

}  // namespace vesk_loader
