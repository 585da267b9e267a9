#ifndef VESK_CSV_ROWS_H
#define VESK_CSV_ROWS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

/// What is wrong with the form of a row.
enum class RowFault { None, UnclosedQuote, TextAfterQuote, TooLong };

/// Reads the rows of a CSV text that may have bad rows, and goes on after each of them.
///
/// Cells are separated by the delimiter. Blanks and tabs around a cell are not part of it. In a cell in double quotes a
/// double quote is written twice, and delimiters and line feeds are text; a quote inside a cell without quotes is text.
/// A row ends with LF, with CR LF, or with the end of the text. Empty lines are passed over and counted, a UTF-8 mark
/// at the beginning is passed over. Source: RFC 4180, but for the blanks around cells and quotes inside plain cells. A
/// row with a fault loses its first line only: reading goes on with the next line, so that a quote that is not closed
/// costs one line. A quote is not closed when the end of the text or MaxQuotedBytes come before the closing one, or
/// when its cell has a line, after its first one, with as many delimiters as the whole row: two such quotes would
/// otherwise make one row of all rows between them.
///
/// QUVENCsvReader ends at the first mistake and reads results of our own programs; this reader goes on, knows the byte
/// of each row, and reads 200 MB/s and more.
/// Memory: one row, at most MaxRowBytes, and two blocks.
class CsvRows {
 public:
  static constexpr std::size_t MaxQuotedBytes = std::size_t{1} << 16;
  static constexpr std::size_t MaxRowBytes = std::size_t{1} << 20;

  /// Stores up to `size` bytes and returns their number; 0 at the end only.
  using Read = std::function<std::size_t(char* data, std::size_t size)>;

  explicit CsvRows(Read readBytes);

  /// Whether the text begins with a mark of UTF-16.
  bool isUtf16() const { return utf16; }
  /// The first line that is not empty, at most MaxRowBytes of it; valid until the first call of next.
  std::string_view peekLine();
  void setDelimiter(char cellDelimiter) { delimiter = cellDelimiter; }

  /// Takes the next row; false at the end of the text.
  [[nodiscard]] bool next();

  /// What is wrong with the row; then it has no cells.
  RowFault getFault() const { return fault; }
  /// The cells of the row; valid until the next call of next.
  const std::vector<std::string_view>& getCells() const { return cells; }
  /// The first line of the row, at most 200 bytes of it, for messages; valid as the cells.
  std::string_view getLineText() const { return lineText; }
  /// The line in which the row starts, from 1, and its first byte, from 0.
  std::uint64_t getLine() const { return rowLine; }
  std::uint64_t getByte() const { return rowByte; }
  std::uint64_t getEmptyLines() const { return emptyLines; }

 private:
  struct Cell {
    std::size_t begin;
    std::size_t size;
    bool isCopy;  // in `copies`, otherwise in the row
  };

  bool fill();
  bool hasMore(std::size_t place);
  bool passOverEmptyLines();
  bool isBlank(char c) const { return (c == ' ' || c == '\t') && c != delimiter; }
  RowFault parseRow(std::size_t& place, std::uint64_t& lines);
  RowFault parseQuoted(std::size_t& place, std::uint64_t& lines);
  RowFault parsePlain(std::size_t& place);
  bool hasRowInCell() const;
  void takeLineText();
  void skipLine();

  Read read;
  char delimiter = ',';
  bool utf16 = false;
  std::vector<char> block;
  std::size_t begin = 0;  // of the row in the block
  std::size_t end = 0;    // of the bytes in the block
  bool ended = false;     // the text has no more bytes than the block
  std::uint64_t blockByte = 0;
  std::uint64_t line = 1;  // of the byte at `begin`
  std::uint64_t rowLine = 0;
  std::uint64_t rowByte = 0;
  std::uint64_t emptyLines = 0;
  RowFault fault = RowFault::None;
  std::vector<Cell> places;
  std::string copies;  // cells with doubled quotes, without them
  std::vector<std::string_view> cells;
  std::string_view lineText;
};

}  // namespace vesk

#endif  // VESK_CSV_ROWS_H
