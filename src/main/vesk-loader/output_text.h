#ifndef OUTPUT_TEXT_H
#define OUTPUT_TEXT_H

// The output forms for people. Numbers are written in fixed notation without decimals: a fraction is not kept.

#include <cstddef>
#include <string>

#include "block_file.h"
#include "output_rows.h"

namespace vesk_loader {

/// Appends a number in fixed notation with 0 decimals, rounded half to even.
void append_rounded(std::string& text, double number);

/// XML: one element a row, one a value, with the weight or the payloads inside.
class XmlForm {
 public:
  /// The prefix stands before every tag name; the namespace text, if any, on the opening tag only.
  XmlForm(std::string prefix, std::string outputNamespace);

  void begin(BlockWriter& file) const;
  void row(BlockWriter& file, const OutputRow& row);
  void end(BlockWriter& file) const;

 private:
  void element(std::size_t depth, const char* name, double value);

  std::string prefix;
  std::string outputNamespace;
  std::string text;  // of the current row
};

/// CSV: one line a row, each value followed by its payloads. The line of a table run is filled up with "0.0".
class CsvForm {
 public:
  CsvForm(std::size_t tableSize_, std::size_t payloadCount_) : tableSize(tableSize_), payloadCount(payloadCount_) {}

  void begin(BlockWriter&) const {}
  void row(BlockWriter& file, const OutputRow& row);
  void end(BlockWriter&) const {}

 private:
  std::size_t tableSize;  // 0 in a plain run
  std::size_t payloadCount;
  std::string text;
};

}  // namespace vesk_loader

#endif  // OUTPUT_TEXT_H
