#ifndef VESK_OPTION_LISTS_H
#define VESK_OPTION_LISTS_H

#include <string>
#include <vector>

namespace vesk {

/// The items of an option's text, separated by commas. An item that contains a comma must be in double quotes.
/// Errors: CLI::ValidationError.
std::vector<std::string> readList(const std::string& option, const std::string& text);

/// The same for names of columns, which become plain, see plainColumnName. An empty name is an error.
std::vector<std::string> readNames(const std::string& option, const std::string& text);

}  // namespace vesk

#endif  // VESK_OPTION_LISTS_H
