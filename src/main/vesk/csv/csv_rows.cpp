#include "csv/csv_rows.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr std::size_t lineTextBytes = 200;

}  // namespace

CsvRows::CsvRows(Read readBytes) : read(std::move(readBytes)), block(blockBytes) {
  constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
  while (end < utf8Mark.size() && fill()) continue;
  const std::string_view start(block.data(), end);
  utf16 = start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF");
  if (start.starts_with(utf8Mark)) begin = utf8Mark.size();
}

/// Reads on after the bytes of the block; bytes before the row make room. False at the end of the text.
bool CsvRows::fill() {
  if (ended) return false;
  if (begin > 0) {
    std::memmove(block.data(), block.data() + begin, end - begin);
    blockByte += begin;
    end -= begin;
    begin = 0;
  }
  if (end == block.size()) block.resize(2 * block.size());
  const std::size_t count = read(block.data() + end, block.size() - end);
  end += count;
  ended = count == 0;
  return !ended;
}

/// Whether the row has a byte at `place`, counted from its begin.
bool CsvRows::hasMore(std::size_t place) { return begin + place < end || fill(); }

std::string_view CsvRows::peekLine() {
  if (!passOverEmptyLines()) return {};
  std::size_t place = 0;
  while (place < MaxRowBytes && hasMore(place) && block[begin + place] != '\n') ++place;
  return {block.data() + begin, place};
}

/// Moves to the first line that has more than blanks; false at the end of the text.
bool CsvRows::passOverEmptyLines() {
  std::size_t place = 0;
  while (hasMore(place)) {
    const char c = block[begin + place];
    if (c == '\n') {
      begin += place + 1;
      place = 0;
      ++line;
      ++emptyLines;
    } else if ((isBlank(c) || c == '\r') && place < lineTextBytes) {
      ++place;
    } else {
      return true;
    }
  }
  begin = end;
  return false;
}

bool CsvRows::next() {
  cells.clear();
  places.clear();
  copies.clear();
  fault = RowFault::None;
  // The row was taken in the last call, but its bytes had to stay for the cells.
  if (!passOverEmptyLines()) return false;
  rowLine = line;
  rowByte = blockByte + begin;
  std::size_t place = 0;
  std::uint64_t lines = 0;
  fault = parseRow(place, lines);
  takeLineText();
  if (fault == RowFault::None) {
    for (const Cell& cell : places) {
      cells.emplace_back((cell.isCopy ? copies.data() : block.data() + begin) + cell.begin, cell.size);
    }
    if (lines > 1 && hasRowInCell()) fault = RowFault::UnclosedQuote;
  }
  if (fault != RowFault::None) {
    cells.clear();
    skipLine();
    return true;
  }
  begin += place;
  line += lines;
  return true;
}

/// Whether a line of a cell, after its first one, has as many delimiters as the row.
bool CsvRows::hasRowInCell() const {
  const auto delimiters = static_cast<std::ptrdiff_t>(cells.size()) - 1;
  if (delimiters == 0) return false;
  for (const std::string_view cell : cells) {
    for (std::size_t feed = cell.find('\n'); feed != std::string_view::npos; feed = cell.find('\n', feed + 1)) {
      const std::string_view rest = cell.substr(feed + 1);
      const std::string_view inner = rest.substr(0, rest.find('\n'));
      if (std::ranges::count(inner, delimiter) >= delimiters) return true;
    }
  }
  return false;
}

/// Takes the cells up to the line end, which belongs to the row.
RowFault CsvRows::parseRow(std::size_t& place, std::uint64_t& lines) {
  while (true) {
    while (hasMore(place) && isBlank(block[begin + place])) ++place;
    const bool isQuoted = hasMore(place) && block[begin + place] == '"';
    const RowFault wrong = isQuoted ? parseQuoted(place, lines) : parsePlain(place);
    if (wrong != RowFault::None) return wrong;
    if (place > MaxRowBytes) return RowFault::TooLong;
    if (!hasMore(place)) {
      ++lines;
      return RowFault::None;
    }
    const char c = block[begin + place++];
    if (c == '\n') {
      ++lines;
      return RowFault::None;
    }
    if (c != delimiter) return RowFault::TextAfterQuote;
  }
}

/// Takes a cell in quotes and what is between it and the delimiter or line end.
RowFault CsvRows::parseQuoted(std::size_t& place, std::uint64_t& lines) {
  const std::size_t opening = place++;
  bool isCopy = false;
  const std::size_t copyBegin = copies.size();
  std::size_t pieceBegin = place;
  while (true) {
    if (place - opening > MaxQuotedBytes || !hasMore(place)) return RowFault::UnclosedQuote;
    const char* from = block.data() + begin + place;
    const std::size_t available = std::min(end - begin - place, MaxQuotedBytes);
    const void* quote = std::memchr(from, '"', available);
    const std::size_t count =
        quote == nullptr ? available : static_cast<std::size_t>(static_cast<const char*>(quote) - from);
    lines += static_cast<std::uint64_t>(std::count(from, from + count, '\n'));
    place += count;
    if (quote == nullptr) continue;
    ++place;
    if (!hasMore(place) || block[begin + place] != '"') break;
    isCopy = true;
    copies.append(block.data() + begin + pieceBegin, place - pieceBegin);
    pieceBegin = ++place;
  }
  const std::size_t pieceEnd = place - 1;
  if (isCopy) {
    copies.append(block.data() + begin + pieceBegin, pieceEnd - pieceBegin);
    places.push_back({copyBegin, copies.size() - copyBegin, true});
  } else {
    places.push_back({pieceBegin, pieceEnd - pieceBegin, false});
  }
  while (hasMore(place) && isBlank(block[begin + place])) ++place;
  if (hasMore(place) && block[begin + place] == '\r' && (!hasMore(place + 1) || block[begin + place + 1] == '\n'))
    ++place;
  return RowFault::None;
}

RowFault CsvRows::parsePlain(std::size_t& place) {
  const std::size_t cellBegin = place;
  bool isLast = false;
  while (true) {
    const char* const from = block.data() + begin + place;
    const char* const limit = block.data() + end;
    const char* at = from;
    while (at != limit && *at != delimiter && *at != '\n') ++at;
    place += static_cast<std::size_t>(at - from);
    if (at != limit) {
      isLast = *at == '\n';
      break;
    }
    if (place > MaxRowBytes) return RowFault::TooLong;
    if (!fill()) {
      isLast = true;
      break;
    }
  }
  std::size_t cellEnd = place;
  const char* const row = block.data() + begin;
  if (isLast && cellEnd > cellBegin && row[cellEnd - 1] == '\r') --cellEnd;
  while (cellEnd > cellBegin && isBlank(row[cellEnd - 1])) --cellEnd;
  places.push_back({cellBegin, cellEnd - cellBegin, false});
  return RowFault::None;
}

void CsvRows::takeLineText() {
  lineText = std::string_view(block.data() + begin, std::min(end - begin, lineTextBytes));
  lineText = lineText.substr(0, lineText.find('\n'));
}

/// Moves behind the next line feed. The line text stays where it is, at the end of the bytes before the next row.
void CsvRows::skipLine() {
  const std::string kept(lineText);
  while (true) {
    const void* feed = std::memchr(block.data() + begin, '\n', end - begin);
    if (feed != nullptr) {
      begin = static_cast<std::size_t>(static_cast<const char*>(feed) - block.data()) + 1;
      break;
    }
    begin = end;
    if (!fill()) break;
  }
  ++line;
  copies = kept;
  lineText = copies;
}

}  // namespace vesk
