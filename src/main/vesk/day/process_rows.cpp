#include "day/process_rows.h"

#include <fcntl.h>

#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vesk {

namespace {

constexpr std::size_t blockNumbers = std::size_t{1} << 17;
constexpr double entriesEnd = -2.0;
constexpr double recordEnd = -1.0;

}  // namespace

NumberStream::NumberStream(const std::string& path, IsWritten isWritten)
    : file(vesk_files::Descriptor::openRegular(path)), fileIsWritten(std::move(isWritten)), block(blockNumbers) {}

// 0 at the end of the finished file only.
std::size_t NumberStream::readOn(char* data, std::size_t size) {
  while (true) {
    // Asked first: what was written before the answer is there to be read.
    const bool isComplete = !fileIsWritten || fileIsWritten();
    const std::size_t count = file.read(data, size);
    if (count > 0 || isComplete) return count;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

bool NumberStream::refill() {
  blockStart += available * sizeof(double);
  position = 0;
  std::size_t bytes = 0;
  auto* const data = reinterpret_cast<char*>(block.data());
  const std::size_t room = block.size() * sizeof(double);
  while (bytes < room) {
    const std::size_t size = readOn(data + bytes, room - bytes);
    if (size == 0) break;
    hash.update(data + bytes, size);
    bytes += size;
  }
  // What is written is on its way to the disk while the rest is still being made; the commit has less to wait for.
  if (fileIsWritten) {
    ::sync_file_range(file.get(), static_cast<off64_t>(blockStart), static_cast<off64_t>(bytes), SYNC_FILE_RANGE_WRITE);
  }
  if (bytes % sizeof(double) != 0) throw std::runtime_error(file.getName() + ": the last number is cut");
  available = bytes / sizeof(double);
  return available > 0;
}

vesk_files::CardFile NumberStream::describe() {
  const std::string& path = file.getName();
  return {path.substr(path.find_last_of('/') + 1), blockStart, hash.finish()};
}

ProcessRows::ProcessRows(const std::string& path, const ProcessShape& rowShape) : numbers(path), shape(rowShape) {}

void ProcessRows::fail(const std::string& what) const {
  throw std::runtime_error(numbers.getName() + ": record " + std::to_string(record) + ", byte " +
                           std::to_string(numbers.byte()) + ": " + what);
}

double ProcessRows::require() {
  double number = 0.0;
  if (!numbers.next(number)) fail("the file ends inside the record");
  return number;
}

bool ProcessRows::next(ProcessRow& row) {
  if (!numbers.next(row.key)) return false;
  ++record;
  if (!(row.key >= 1.0) || row.key <= lastKey) fail("the callers are not positive and ascending");
  lastKey = row.key;
  row.values.clear();
  row.dates.clear();
  row.weights.clear();
  row.payloads.resize(shape.payloads);
  for (double value = require(); value != entriesEnd; value = require()) {
    row.values.push_back(value);
    if (shape.hasDates) row.dates.push_back(require());
    if (shape.isPairSum) row.weights.push_back(require());
  }
  if (row.values.empty()) fail("the caller has no entry");
  for (std::vector<double>& column : row.payloads) {
    column.clear();
    for (double value = require(); value != entriesEnd; value = require()) column.push_back(value);
    if (column.size() != row.values.size()) fail("a payload column is not as long as the entries");
  }
  if (require() != recordEnd) fail("the end of the record is not where it belongs");
  return true;
}

}  // namespace vesk
