#include "records/record_lines.h"

#include <cstring>
#include <string_view>
#include <utility>

#include "command.h"

namespace vesk {

namespace {

constexpr std::size_t margin = vesk_loader::LineReader::margin;
constexpr std::size_t lineLimit = vesk_loader::LineReader::lineLimit;
constexpr std::size_t keptOfLongLine = 256;

}  // namespace

RecordLines::RecordLines(vesk_files::InputBytes bytes_, std::string name_, std::size_t blockSize_)
    : bytes(std::move(bytes_)),
      name(std::move(name_)),
      blockSize(blockSize_),
      buffer(2 * margin + lineLimit + blockSize_, '\0'),
      position(margin),
      end(margin) {}

// Moves the unfinished line to the front and reads on. False at the end of the file.
// Requires: the unfinished line is shorter than lineLimit.
bool RecordLines::refill() {
  std::memmove(buffer.data() + margin, buffer.data() + position, end - position);
  end -= position - margin;
  position = margin;
  const std::size_t size = bytes.read(buffer.data() + end, blockSize);
  end += size;
  return size > 0;
}

bool RecordLines::skipMark() {
  constexpr std::string_view utf8 = "\xEF\xBB\xBF";
  constexpr std::string_view littleEndian = "\xFF\xFE";
  constexpr std::string_view bigEndian = "\xFE\xFF";
  while (end - position < utf8.size() && refill()) {
  }
  const std::string_view start(buffer.data() + position, end - position);
  if (start.starts_with(littleEndian) || start.starts_with(bigEndian)) {
    throw CommandFailure(Status::Data, name + ": UTF-16 text; convert it to UTF-8 first");
  }
  if (!start.starts_with(utf8)) return false;
  position += utf8.size();
  byte += utf8.size();
  return true;
}

bool RecordLines::next(RecordLine& record) {
  if (!started) {
    started = true;
    mark = skipMark();
  }
  std::size_t searched = position;
  while (true) {
    const void* const feed = std::memchr(buffer.data() + searched, '\n', end - searched);
    if (feed != nullptr) {
      const auto length = static_cast<std::size_t>(static_cast<const char*>(feed) - buffer.data()) - position;
      take(length, true, record);
      return true;
    }
    const std::size_t length = end - position;
    if (length >= lineLimit) {
      takeLong(record);
      return true;
    }
    if (!refill()) {
      if (position == end) return false;
      take(end - position, false, record);
      return true;
    }
    searched = position + length;
  }
}

void RecordLines::take(std::size_t length, bool hasEnd, RecordLine& record) {
  const char* const text = buffer.data() + position;
  record.number = ++lines;
  record.byte = byte;
  record.hasEnd = hasEnd;
  record.hasReturn = hasEnd && length > 0 && text[length - 1] == '\r';
  record.isTooLong = length >= lineLimit;
  record.line = {text, record.hasReturn ? length - 1 : length};
  if (record.isTooLong) record.line.length = keptOfLongLine;
  record.isBinary = std::memchr(text, '\0', record.line.length) != nullptr;
  const std::size_t taken = length + (hasEnd ? 1 : 0);
  position += taken;
  byte += taken;
}

// A line whose end is not in the buffer yet and that cannot be loaded any more: its start is kept in front, the rest is
// passed over block by block.
void RecordLines::takeLong(RecordLine& record) {
  record = RecordLine{};
  record.number = ++lines;
  record.byte = byte;
  record.isTooLong = true;
  std::string& kept = longLine;
  kept.assign(margin, '\0');
  kept.append(buffer, position, keptOfLongLine);
  kept.append(margin, '\0');
  record.line = {kept.data() + margin, keptOfLongLine};
  record.isBinary = std::memchr(record.line.text, '\0', keptOfLongLine) != nullptr;
  while (true) {
    const void* const feed = std::memchr(buffer.data() + position, '\n', end - position);
    if (feed != nullptr) {
      const auto after = static_cast<std::size_t>(static_cast<const char*>(feed) - buffer.data()) + 1;
      byte += after - position;
      position = after;
      return;
    }
    byte += end - position;
    position = end;
    if (refill()) continue;
    record.hasEnd = false;
    return;
  }
}

}  // namespace vesk
