#ifndef QUVEN_CSV_READER_H
#define QUVEN_CSV_READER_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

/// Reads the rows of a CSV text one at a time.
///
/// Cells are separated by the delimiter. Blanks and tabs around a cell are not part of it. A cell may be put
/// in double quotes. Inside of them a double quote is written twice, and delimiters, line ends and blanks are text. A
/// quote inside a cell without quotes is text. A row ends with a line feed, with a carriage return and a line feed, or
/// with the end of the text. A byte order mark before the first row and empty lines after the last one are passed over;
/// an empty line between rows is a row of one empty cell. Cost:   one row in memory. Source: RFC 4180, but for the
/// blanks around cells and for the quotes inside cells without quotes.
class QUVENCsvReader {
 public:
  static constexpr std::size_t MaxRowBytes = std::size_t{1} << 24;

  /// Requires: the stream outlives the reader; the delimiter is neither a double quote nor part of a line end.
  explicit QUVENCsvReader(std::istream& text, char cellDelimiter = ',');

  /// Takes the next row; false at the end of the text and after a mistake.
  [[nodiscard]] bool next();

  /// The cells of the row that next() took; valid until the next call.
  const std::vector<std::string_view>& getCells() const { return cells; }
  /// The line in which the row starts, from 1; after a mistake the line of the mistake.
  std::uint64_t getLine() const { return rowLine; }
  /// What is wrong with the text; empty as long as nothing is. A stream that fails is left for the caller to ask.
  const std::string& getMistake() const { return mistake; }

 private:
  int peek();
  int take();
  bool fill();
  bool fail(std::uint64_t line, std::string text);
  bool takeLineEnd();
  bool passOverEmptyLines();
  bool readRow();
  bool readQuotedCell();
  bool readPlainCell();
  std::size_t endOfPlainText() const;
  bool keep(int c);
  bool isBlank(int c) const { return (c == ' ' || c == '\t') && c != delimiter; }

  std::istream& stream;
  int delimiter;
  std::vector<char> block;
  std::size_t position = 0;
  std::size_t filled = 0;

  std::uint64_t line = 1;  // of the next character
  std::uint64_t rowLine = 0;
  std::uint64_t pendingEmptyLine = 0;  // of an empty line that has not been told yet; 0: none
  std::string row;                     // the bytes of all cells
  std::vector<std::size_t> cellEnds;
  std::vector<std::string_view> cells;
  std::string mistake;
};

/// A cell as a CSV text has it: in quotes where it must be.
std::string quvenCsvCell(std::string_view text);

#endif  // QUVEN_CSV_READER_H
