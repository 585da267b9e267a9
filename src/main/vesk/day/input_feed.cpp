#include "day/input_feed.h"

#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <utility>

#include "command.h"
#include "day/reject_file.h"
#include "day/stop_signal.h"
#include "files/input_bytes.h"
#include "files/printable.h"
#include "records/record_lines.h"

namespace vesk {

namespace {

constexpr std::size_t blockBytes = std::size_t{1} << 20;
constexpr std::uint64_t progressLines = 1 << 14;

// Lines on their way to the loader.
class LineBlock {
 public:
  explicit LineBlock(const InputFeed::Sink& sink_) : sink(sink_) { text.reserve(blockBytes); }

  void add(const vesk_loader::Line& line) {
    if (text.size() + line.length + 1 > blockBytes) flush();
    text.append(line.text, line.length);
    text += '\n';
  }
  void flush() {
    if (!text.empty()) sink(text);
    text.clear();
  }

 private:
  const InputFeed::Sink& sink;
  std::string text;
};

std::optional<Refusal> refusalOf(const RecordLine& record, std::size_t lengthBefore, LineExaminer& examiner) {
  if (record.isTooLong) return Refusal{Cause::LongLine};
  if (record.isBinary) return Refusal{Cause::Binary};
  // The rest of a file that was cut while it was copied looks like a line with other numbers.
  const bool isOnlyLine = record.number == 1;
  if (!record.hasEnd && !isOnlyLine && record.line.length != lengthBefore) return Refusal{Cause::CutLine};
  return examiner.examine(record.line);
}

}  // namespace

FeedResult InputFeed::run(const Sink& sink, RejectFile* rejects, const Progress& progress) const {
  LineExaminer examiner(settings, dates);
  FeedResult result;
  std::uint64_t bytesBefore = 0;
  for (const InputFile& file : files) {
    const Progress withBytesBefore = [&](std::uint64_t bytes, std::uint64_t lines) {
      progress(bytesBefore + bytes, result.lines + lines);
    };
    result.inputs.push_back(feedFile(file, examiner, sink, rejects, withBytesBefore, result));
    const LedgerInput& input = result.inputs.back();
    result.lines += input.lines;
    result.accepted += input.accepted;
    bytesBefore += file.bytes;
  }
  return result;
}

LedgerInput InputFeed::feedFile(const InputFile& file, LineExaminer& examiner, const Sink& sink, RejectFile* rejects,
                                const Progress& progress, FeedResult& result) const {
  vesk_files::Descriptor open = openInput(file);
  const vesk_files::Descriptor kept(::dup(open.get()), open.getName());
  RecordLines lines(vesk_files::InputBytes(std::move(open)), vesk_files::printable(file.path));
  LineBlock block(sink);
  RecordLine record;
  LedgerInput input;
  input.name = file.name;
  bool hasReturns = false;
  bool isUnfinished = false;
  std::size_t lengthBefore = 0;
  while (lines.next(record)) {
    hasReturns |= record.hasReturn;
    isUnfinished = !record.hasEnd;
    const std::optional<Refusal> refusal = refusalOf(record, lengthBefore, examiner);
    lengthBefore = record.line.length;
    if (refusal) {
      if (rejects != nullptr) rejects->add(file.name, record, *refusal);
    } else {
      ++input.accepted;
      block.add(record.line);
      result.restricted += examiner.getRestricted().size();
      if (rejects != nullptr) {
        for (const Refusal& entry : examiner.getRestricted()) rejects->add(file.name, record, entry);
      }
    }
    if (record.number % progressLines != 0) continue;
    StopSignal::check();
    progress(lines.getBytes().storedBytes(), record.number);
  }
  block.flush();
  requireUnchanged(file, kept);
  vesk_files::InputBytes& bytes = lines.getBytes();
  vesk_files::InputBytes::Hashes hashes = bytes.finishHashes();
  input.bytes = bytes.storedBytes();
  input.sha256 = std::move(hashes.stored);
  input.contentSha256 = std::move(hashes.content);
  input.lines = record.number;
  const std::string name = vesk_files::printable(file.name);
  if (lines.hasMark()) result.remarks.push_back(name + ": the byte order mark was passed over");
  if (hasReturns) result.remarks.push_back(name + ": the carriage returns before the line feeds were left out");
  if (isUnfinished) result.remarks.push_back(name + ": the last line has no line end");
  if (input.accepted == 0 && input.lines > 0) result.remarks.push_back(name + ": no line of the file was accepted");
  return input;
}

}  // namespace vesk
