#include "control/quven_csv_reader.h"

#include <utility>

namespace {

constexpr int endOfText = -1;
constexpr std::size_t blockBytes = std::size_t{1} << 16;
constexpr const char* noText = "a byte of value 0: this is no text";
constexpr const char* tooLongRow = "a row of more than 16777216 bytes";

}  // namespace

QUVENCsvReader::QUVENCsvReader(std::istream& text, char cellDelimiter)
    : stream(text), delimiter(static_cast<unsigned char>(cellDelimiter)), block(blockBytes) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  fill();
  if (std::string_view(block.data(), filled).starts_with(byteOrderMark)) position = byteOrderMark.size();
}

bool QUVENCsvReader::next() {
  cells.clear();
  if (!mistake.empty()) return false;
  if (pendingEmptyLine == 0 && !passOverEmptyLines()) return false;
  row.clear();
  cellEnds.clear();
  if (pendingEmptyLine != 0) {
    rowLine = std::exchange(pendingEmptyLine, 0);
    cellEnds.push_back(0);
  } else {
    rowLine = line;
    if (!readRow()) return false;
  }
  std::size_t begin = 0;
  for (const std::size_t end : cellEnds) {
    cells.push_back(std::string_view(row).substr(begin, end - begin));
    begin = end;
  }
  return true;
}

/// False when nothing but empty lines is left.
bool QUVENCsvReader::passOverEmptyLines() {
  const std::uint64_t first = line;
  while (takeLineEnd()) continue;
  if (peek() == endOfText) return false;
  if (line != first) pendingEmptyLine = first;
  return true;
}

bool QUVENCsvReader::readRow() {
  while (true) {
    while (isBlank(peek())) take();
    if (!(peek() == '"' ? readQuotedCell() : readPlainCell())) return false;
    cellEnds.push_back(row.size());
    if (peek() == delimiter) {
      take();
    } else if (peek() == endOfText || takeLineEnd()) {
      return true;
    } else {
      return fail(line, peek() == '\r' ? "a carriage return without a line feed" : "text after a closing quote");
    }
  }
}

bool QUVENCsvReader::readQuotedCell() {
  const std::uint64_t openingLine = line;
  take();
  while (true) {
    const int c = take();
    if (c == endOfText) return fail(openingLine, "a quote that is not closed");
    if (c == '"') {
      if (peek() != '"') break;
      take();
    }
    if (!keep(c)) return false;
  }
  while (isBlank(peek())) take();
  return true;
}

bool QUVENCsvReader::readPlainCell() {
  const std::size_t begin = row.size();
  for (int c = peek(); c != delimiter && c != '\n' && c != '\r' && c != endOfText; c = peek()) {
    const std::size_t end = endOfPlainText();
    if (end == position) return fail(line, noText);
    if (row.size() + (end - position) > MaxRowBytes) return fail(rowLine, tooLongRow);
    row.append(block.data() + position, end - position);
    position = end;
  }
  while (row.size() > begin && isBlank(static_cast<unsigned char>(row.back()))) row.pop_back();
  return true;
}

/// The place in the block of the next character that does not belong to a cell without quotes.
std::size_t QUVENCsvReader::endOfPlainText() const {
  std::size_t end = position;
  while (end < filled) {
    const int c = static_cast<unsigned char>(block[end]);
    if (c == delimiter || c == '\n' || c == '\r' || c == 0) break;
    ++end;
  }
  return end;
}

bool QUVENCsvReader::keep(int c) {
  if (c == 0) return fail(line, noText);
  if (row.size() == MaxRowBytes) return fail(rowLine, tooLongRow);
  row.push_back(static_cast<char>(c));
  return true;
}

/// Takes a line feed, a carriage return and a line feed, or a carriage return at the end of the text.
bool QUVENCsvReader::takeLineEnd() {
  if (peek() == '\r') {
    if (position + 1 == filled) {  // the line feed may be in the next block
      block[0] = '\r';
      stream.read(block.data() + 1, static_cast<std::streamsize>(block.size() - 1));
      position = 0;
      filled = 1 + static_cast<std::size_t>(stream.gcount());
    }
    if (position + 1 < filled && block[position + 1] != '\n') return false;
    take();
    if (peek() == endOfText) return true;
  }
  if (peek() != '\n') return false;
  take();
  return true;
}

int QUVENCsvReader::peek() {
  if (position == filled && !fill()) return endOfText;
  return static_cast<unsigned char>(block[position]);
}

int QUVENCsvReader::take() {
  const int c = peek();
  if (c == endOfText) return c;
  ++position;
  if (c == '\n') ++line;
  return c;
}

bool QUVENCsvReader::fill() {
  stream.read(block.data(), static_cast<std::streamsize>(block.size()));
  position = 0;
  filled = static_cast<std::size_t>(stream.gcount());
  return filled > 0;
}

bool QUVENCsvReader::fail(std::uint64_t mistakenLine, std::string text) {
  rowLine = mistakenLine;
  mistake = std::move(text);
  return false;
}

std::string quvenCsvCell(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const bool isPlain = text.find_first_of(",\"\r\n") == std::string_view::npos &&
                       (text.empty() || (blanks.find(text.front()) == std::string_view::npos &&
                                         blanks.find(text.back()) == std::string_view::npos));
  if (isPlain) return std::string(text);
  std::string cell = "\"";
  for (const char c : text) cell.append(c == '"' ? 2 : 1, c);
  return cell + '"';
}
