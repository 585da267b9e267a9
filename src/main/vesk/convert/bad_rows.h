#ifndef VESK_BAD_ROWS_H
#define VESK_BAD_ROWS_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "convert/call_values.h"

namespace vesk {

/// A row that cannot be used.
struct BadRow {
  std::string_view file;
  std::uint64_t line;  ///< from 1
  std::uint64_t byte;  ///< of the content, from 0
  RowCause cause;
  std::string_view field;  ///< the name of its column; empty for the whole row
  std::string_view text;   ///< the cell, or the first line of the row
};

/// Counts bad rows by field and cause, and keeps the text of the first ones for a reject file.
class BadRows {
 public:
  /// `keeps`: rows are kept for a file, at most `mostRows` for a field and cause; otherwise one is, as an example.
  BadRows(bool keeps, std::uint64_t mostRows) : keepsRows(keeps), most(mostRows) {}

  void add(const BadRow& row);

  std::uint64_t getCount() const { return total; }

  struct Group {
    std::string words;  ///< "FIELD: CAUSE" or "CAUSE"
    std::uint64_t count = 0;
    std::string example;  ///< "FILE, line N: [TEXT]"
  };
  /// The causes, the most frequent one first.
  std::vector<Group> getGroups() const;

  /// The reject file: CSV with the columns file,line,byte,cause,field,text. Control characters of the text are written
  /// as ?, and at most 200 bytes of it.
  const std::string& getFileText() const { return fileText; }

 private:
  bool keepsRows;
  std::uint64_t most;
  std::uint64_t total = 0;
  std::map<std::pair<std::string, RowCause>, Group, std::less<>> groups;
  std::string fileText = "file,line,byte,cause,field,text\n";
};

}  // namespace vesk

#endif  // VESK_BAD_ROWS_H
