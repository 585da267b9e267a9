#ifndef VESK_COLUMN_CHOICE_H
#define VESK_COLUMN_CHOICE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// The delimiter that the first line has most of, outside of quotes: , ; or tab.
/// Errors: CommandFailure with Status::Data when the line has none of them, or as many of two.
char findDelimiter(std::string_view line, const std::string& file);

/// The index, from 0, of a column that an option names by its heading or by its number from 1.
/// Errors: CommandFailure with Status::Data for a column that the file does not have, and for a name that it has twice.
std::size_t placeOfColumn(const std::vector<std::string>& headings, bool hasHeader, const std::string& column,
                          const std::string& file);

/// A cell as a CSV text has it: in quotes where it must be.
std::string csvCell(std::string_view text, char delimiter);

}  // namespace vesk

#endif  // VESK_COLUMN_CHOICE_H
