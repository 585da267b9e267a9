#ifndef TESTS_VESK_CHECK_SETTINGS_COMPARISON_H
#define TESTS_VESK_CHECK_SETTINGS_COMPARISON_H

#include <string>

namespace vesk {

/// Reads a parameter text with the loader's own reader and checks.
/// @return the first setting in which checkParameters differs, or what the loader refuses; empty for none
std::string differenceToLoader(const std::string& text);

}  // namespace vesk

#endif  // TESTS_VESK_CHECK_SETTINGS_COMPARISON_H
