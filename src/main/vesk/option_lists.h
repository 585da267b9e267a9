#ifndef VESK_OPTION_LISTS_H
#define VESK_OPTION_LISTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vesk {

/// The items of an option's text, separated by commas. An item that contains a comma must be in double quotes.
/// Errors: CLI::ValidationError.
std::vector<std::string> readList(const std::string& option, const std::string& text);

/// The same for names of columns, which become plain, see plainColumnName. An empty name is an error.
std::vector<std::string> readNames(const std::string& option, const std::string& text);

/// A check for an option of a whole number: the text must be decimal digits of a number of at least `least`.
std::function<std::string(const std::string&)> wholeNumberFrom(std::uint64_t least);

/// A share from 0 to 1, as 5% or 0.05. Errors: CLI::ValidationError.
double readShare(const std::string& option, const std::string& text);

}  // namespace vesk

#endif  // VESK_OPTION_LISTS_H
