#include "line_reader.h"

#include "loader_common.h"

namespace vesk_loader {

LineReader::LineReader(std::size_t blockSize_)
    : readSize(blockSize_), buffer(std::make_unique<char[]>(margin + lineLimit + blockSize_ + margin)) {
  position = end = buffer.get() + margin;
}

LineReader::Result LineReader::nextInNewBlock(Line& line) {
  while (true) {
    const auto unfinished = static_cast<std::size_t>(end - position);
    if (unfinished >= lineLimit) return Result::Failure;
    char* const start = buffer.get() + margin;
    std::memmove(start, position, unfinished);
    char* const fresh = start + unfinished;
    position = start;
    end = fresh;
    std::size_t count = 0;
    try {
      count = file.read(fresh, readSize);
    } catch (const exception_loader&) {
      return Result::Failure;
    }
    if (count == 0) return Result::End;
    end = fresh + count;
    hasNul = (hasNul && unfinished > 0) || std::memchr(fresh, '\0', count) != nullptr;
    const auto* const feed = static_cast<const char*>(std::memchr(fresh, '\n', count));
    if (feed != nullptr) return take(feed, line);
  }
}

}  // namespace vesk_loader
