#include "export/delimited_output.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "command.h"
#include "control/quven_file_formats.h"
#include "table/key_value.h"

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 16;

}  // namespace

void appendNumber(std::string& text, double number) {
  std::array<char, 32> digits{};
  const bool isWhole =
      std::fabs(number) < KeyLimit && std::trunc(number) == number && !(number == 0 && std::signbit(number));
  const auto end = isWhole
                       ? std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<std::int64_t>(number))
                       : std::to_chars(digits.data(), digits.data() + digits.size(), number);
  text.append(digits.data(), end.ptr);
}

DelimitedOutput::DelimitedOutput(std::ostream& output, std::string outputName, char cellSeparator)
    : out(output), name(std::move(outputName)), separator(cellSeparator) {
  line.reserve(2 * blockBytes);
}

void DelimitedOutput::addText(std::string_view cell) {
  beginCell();
  const bool isPlain = cell.find(separator) == std::string_view::npos &&
                       cell.find_first_of("\"\r\n") == std::string_view::npos &&
                       (cell.empty() || (cell.front() != ' ' && cell.back() != ' '));
  if (isPlain) {
    line += cell;
    return;
  }
  line += '"';
  for (const char c : cell) {
    if (c == '"') line += '"';
    line += c;
  }
  line += '"';
}

void DelimitedOutput::addValue(double value) {
  if (value == dataset_format::missingValue) {
    addEmpty();
  } else {
    addNumber(value);
  }
}

void DelimitedOutput::endLine() {
  line += '\n';
  isFirst = true;
  ++lines;
  if (line.size() >= blockBytes) write();
}

void DelimitedOutput::finish() {
  write();
  errno = 0;
  out.flush();
  write();  // reports a failed flush
}

void DelimitedOutput::write() {
  errno = 0;
  if (out) out.write(line.data(), static_cast<std::streamsize>(line.size()));
  line.clear();
  if (out) return;
  const std::string reason = errno == 0 ? "" : ": " + std::generic_category().message(errno);
  throw CommandFailure(Status::Failed, "cannot write " + name + reason);
}

}  // namespace vesk
