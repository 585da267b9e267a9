#include "table/sums_file.h"

#include <cmath>
#include <stdexcept>

#include "control/quven_file_formats.h"
#include "table/key_value.h"

namespace vesk {

namespace {

bool isWholeNumber(double number) { return number >= 0 && number < KeyLimit && std::trunc(number) == number; }

bool isPairSumFooter(const double* triple) {
  return triple[1] == sparse_format::headerPosition && triple[2] == sparse_format::pairSumFooterMark;
}

}  // namespace

SumsFile::SumsFile(const std::string& path, std::span<const WantedPosition> wantedPositions)
    : triples(path, sparse_format::columns, "triple"), wanted(wantedPositions) {}

bool SumsFile::nextRow() {
  const double* triple = triples.next();
  if (triple == nullptr) return false;
  checkHeader(triple);
  hasKey = true;
  key = triple[0];
  width = triple[2];
  return true;
}

void SumsFile::checkHeader(const double* triple) {
  const std::string name = "key " + numberText(triple[0]);
  if (triple[1] != sparse_format::headerPosition) {
    if (hasKey && triple[0] == key) failInRow(name + " goes on after its footer");
    fail("the row of " + name + " has no header");
  }
  if (!isKey(triple[0])) {
    fail("the " + name +
         (triple[0] == dataset_format::missingValue ? " means a missing value" : " is not a whole number below 2^53"));
  }
  if (!isWholeNumber(triple[2])) fail("the width " + numberText(triple[2]) + " of " + name + " is not a whole number");
  if (!hasKey) return;
  if (triple[0] == key) fail(name + " has a second row");
  if (triple[0] < key) fail(name + " comes after key " + numberText(key) + "; the keys of a file ascend");
  if (triple[2] != width) {
    fail(name + " has the width " + numberText(triple[2]) + ", the rows before have " + numberText(width));
  }
}

void SumsFile::readRow(std::span<double> record, std::span<std::uint64_t> counts) {
  const double footerPosition = width + 1;
  double previous = 0;
  std::size_t next = 0;  // index of the next wanted position
  while (true) {
    const double* triple = nextInRow();
    const double position = triple[1];
    const double value = triple[2];
    if (position == footerPosition && value == sparse_format::footerValue) return;
    checkEntry(position, value, previous);
    previous = position;
    while (next < wanted.size() && wanted[next].position < position) ++next;
    if (next < wanted.size() && wanted[next].position == position) {
      record[wanted[next].place] = value;
      ++counts[next];
    } else {
      ++otherEntries;
    }
  }
}

/// The next triple of the row.
const double* SumsFile::nextInRow() {
  const double* triple = triples.next();
  if (triple == nullptr) fail("the file ends in the row of key " + numberText(key));
  if (triple[0] != key)
    fail("the row of key " + numberText(key) + " has no footer before key " + numberText(triple[0]));
  return triple;
}

void SumsFile::checkEntry(double position, double value, double previous) {
  if (position > previous && position < width && std::trunc(position) == position && std::isfinite(value)) return;
  const std::string name = "key " + numberText(key);
  const std::string place = "position " + numberText(position);
  if (!isWholeNumber(position)) failInRow("the " + place + " of " + name + " is not a whole number");
  if (position == sparse_format::headerPosition) {
    failInRow(value == sparse_format::pairSumFooterMark ? "" : name + " has a second header");
  }
  if (position == width + 1) failInRow("the footer of " + name + " has the value " + numberText(value) + ", not 0");
  if (position > width) failInRow(place + " of " + name + " is beyond the width " + numberText(width));
  if (position == previous) failInRow(name + " has " + place + " twice");
  if (position < previous) {
    failInRow(place + " of " + name + " comes after position " + numberText(previous) + "; positions ascend");
  }
  if (!std::isfinite(value)) failInRow("the value of " + name + " at " + place + " is not a finite number");
  // The width of sums counts output 1 of the loader, which is never written, so no row of sums has this entry. In a
  // table of contacts the longest row has it.
  failInRow(name + " has an entry at position " + numberText(width) +
            ", the width: the file holds a table of contacts, not sums");
}

void SumsFile::fail(const std::string& what) const {
  throw std::runtime_error(triples.getPath() + ", triple " + std::to_string(triples.getNumber()) + ": " + what);
}

/// Reports a mistake in a row. If the row is one of pair sums, the message says only that.
void SumsFile::failInRow(const std::string& what) {
  const std::uint64_t number = triples.getNumber();
  const std::string path = triples.getPath();
  bool isPairSum = what.empty();
  while (!isPairSum) {
    const double* triple = triples.next();
    if (triple == nullptr || triple[0] != key) break;
    isPairSum = isPairSumFooter(triple);
    if (triple[1] == sparse_format::headerPosition) break;
  }
  if (isPairSum) throw std::runtime_error(path + ": the file holds pair sums, not sums at positions");
  throw std::runtime_error(path + ", triple " + std::to_string(number) + ": " + what);
}

}  // namespace vesk
