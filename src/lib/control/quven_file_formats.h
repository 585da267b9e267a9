#ifndef QUVEN_FILE_FORMATS_H
#define QUVEN_FILE_FORMATS_H

// The constants of the system's binary files, shared by every writer and reader of them.
// All files are plain sequences of IEEE 754 binary64 numbers, little-endian, without header.

#include <bit>
#include <cstddef>

static_assert(std::endian::native == std::endian::little,
              "the file formats are little-endian and are written from memory as they stand");

/// The process file: one record a key; a record is
///   key, entries (value [, date] [, weight]), end of list, payload columns each with an end of list, end of record.
namespace process_file_format {
inline constexpr double listEnd = -2.0;    ///< ends the entry list and each payload column
inline constexpr double recordEnd = -1.0;  ///< ends the record
}  // namespace process_file_format

/// The sparse dataset: triples (key, position, value); a header and a footer triple mark each row.
namespace sparse_format {
inline constexpr std::size_t columns = 3;            ///< doubles a triple
inline constexpr double headerPosition = 0.0;        ///< position of the header triple, whose value is the width
inline constexpr double footerValue = 0.0;           ///< value of the footer triple, whose position is width + 1
inline constexpr double pairSumFooterMark = 7788.0;  ///< value of a pair sum footer, whose position is 0
}  // namespace sparse_format

/// A dataset as the analyses read it: records of equal length, a double for each column.
namespace dataset_format {
inline constexpr double missingValue = -99999.0;  ///< compared exactly, in columns of either type
}  // namespace dataset_format

/// The sparse quadruples: records (unused, line, position, value); a line is a header, whose value is the number of its
/// entries, the entries, whose positions are column numbers from 1, and a record whose value is that of the target.
namespace quadruple_format {
inline constexpr std::size_t columns = 4;      ///< doubles a record
inline constexpr double headerPosition = 0.0;  ///< position of the header
}  // namespace quadruple_format

#endif  // QUVEN_FILE_FORMATS_H
