#ifndef VESK_COLUMN_NAMES_H
#define VESK_COLUMN_NAMES_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// The longest name that a line of a dataset's description has room for, in bytes.
inline constexpr std::size_t LongestColumnName = 976;

/// The largest number of columns of a dataset.
inline constexpr std::size_t MostColumns = 25000;

/// A name as the description and the options of other programs can have it: white space, commas and double quotes
/// become `_`.
std::string plainColumnName(std::string_view name);

/// The mistake in the name of a column, as the end of a sentence; empty for a name that a dataset can have.
std::string columnNameMistake(std::string_view name);

/// The names of the columns of a table: plain; C1, C2, ... by their place where there is none; a repeated name gets _2,
/// _3, ... whichever is free.
/// Errors: std::runtime_error that names the column, for a control character in a name and for a name that is too long.
std::vector<std::string> columnNames(const std::vector<std::string_view>& headings);

}  // namespace vesk

#endif  // VESK_COLUMN_NAMES_H
