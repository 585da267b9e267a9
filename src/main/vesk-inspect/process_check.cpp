#include "process_check.h"

#include "control/quven_file_formats.h"
#include "number_format.h"

namespace vesk_inspect {

using process_file_format::listEnd;
using process_file_format::recordEnd;

bool ProcessCheck::next(ProcessRecord& record, std::size_t keptEntries) {
  if (defect) return false;
  record = {};
  record.offsetBytes = file.offsetBytes();
  ++recordNumber;
  if (!file.next(record.key)) {
    return file.leftoverBytes() == 0 ? false : failCut("in the key");
  }
  return readKey(record) && readEntries(record, keptEntries) && readPayloads(record);
}

/// The number read last is wrong.
bool ProcessCheck::fail(const std::string& text) { return failAt(file.offsetBytes() - sizeof(double), text); }

bool ProcessCheck::failAt(std::uint64_t offsetBytes, const std::string& text) {
  defect = ProcessDefect{recordNumber, offsetBytes, text};
  return false;
}

bool ProcessCheck::failCut(const std::string& where) {
  std::string text = "the file ends " + where;
  if (file.leftoverBytes() > 0) text += ", " + std::to_string(file.leftoverBytes()) + " bytes are left over";
  return failAt(file.offsetBytes(), text);
}

bool ProcessCheck::readKey(ProcessRecord& record) {
  if (!(record.key >= 0.0)) return fail("key " + formatNumber(record.key) + " is negative or not a number");
  if (lastKey && !(record.key > *lastKey)) {
    return fail("key " + formatNumber(record.key) + " does not rise above key " + formatNumber(*lastKey));
  }
  lastKey = record.key;
  return true;
}

bool ProcessCheck::readEntries(ProcessRecord& record, std::size_t keptEntries) {
  std::optional<double> lastCallee;
  for (;;) {
    ProcessEntry entry{};
    if (!file.next(entry.value)) return failCut("in the entries of key " + formatNumber(record.key));
    if (entry.value == listEnd) break;
    if (shape.pairSum && lastCallee && !(entry.value > *lastCallee)) {
      return fail("callee " + formatNumber(entry.value) + " does not rise above callee " + formatNumber(*lastCallee));
    }
    lastCallee = entry.value;
    if (!readEntry(entry, ++record.entries)) return false;
    if (record.firstEntries.size() < keptEntries) record.firstEntries.push_back(entry);
  }
  return record.entries > 0 || fail("key " + formatNumber(record.key) + " has no entries");
}

bool ProcessCheck::readEntry(ProcessEntry& entry, std::uint64_t number) {
  if (shape.dates && !readBeside("date", number, entry.date)) return false;
  return !shape.pairSum || readBeside("weight", number, entry.weight);
}

/// A separator in this place shows that the file was written with other settings.
bool ProcessCheck::readBeside(const char* name, std::uint64_t entryNumber, double& number) {
  const std::string what = std::string("the ") + name + " of entry " + std::to_string(entryNumber);
  if (!file.next(number)) return failCut("before " + what);
  if (number == listEnd || number == recordEnd) return fail(what + " is the separator " + formatNumber(number));
  return true;
}

bool ProcessCheck::readPayloads(ProcessRecord& record) {
  for (std::uint32_t columns = 0;; ++columns) {
    double number = 0.0;
    if (!file.next(number)) return failCut("before the end of the record of key " + formatNumber(record.key));
    if (number == recordEnd) {
      if (columns == shape.payloads) return true;
      return fail("the record ends after " + std::to_string(columns) + " of " + std::to_string(shape.payloads) +
                  " payload columns");
    }
    if (columns == shape.payloads) {
      return fail(formatNumber(number) + " where the record ends, after " + std::to_string(columns) +
                  " payload columns");
    }
    if (!readColumn(record, columns + 1, number)) return false;
  }
}

/// The first number of a column belongs to it whatever it is: the loader reads it so.
bool ProcessCheck::readColumn(ProcessRecord& record, std::uint32_t column, double first) {
  std::uint64_t length = 0;
  double number = first;
  do {
    if (length < record.firstEntries.size()) record.firstEntries[length].payloads.push_back(number);
    ++length;
    if (!file.next(number)) return failCut("in payload column " + std::to_string(column));
  } while (number != listEnd);
  if (length == record.entries) return true;
  return fail("payload column " + std::to_string(column) + " has the length " + std::to_string(length) +
              ", the record " + std::to_string(record.entries) + " entries");
}

}  // namespace vesk_inspect
