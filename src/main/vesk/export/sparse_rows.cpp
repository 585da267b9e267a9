#include "export/sparse_rows.h"

#include <cmath>
#include <stdexcept>

#include "control/quven_file_formats.h"
#include "table/key_value.h"

namespace vesk {

namespace {

constexpr const char* tripleWord = "triple";

}  // namespace

SparseRows::SparseRows(const std::string& path, SparseForm rowForm)
    : triples(path, sparse_format::columns, tripleWord), form(rowForm) {
  advance();  // so that `following` is the first triple
}

/// Makes the following triple the current one; false at the end.
bool SparseRows::advance() {
  const bool hadFollowing = hasFollowing;
  current = following;
  const double* triple = triples.next();
  hasFollowing = triple != nullptr;
  if (hasFollowing) following = {triple[0], triple[1], triple[2]};
  return hadFollowing;
}

bool SparseRows::nextRow() {
  while (isInRow) nextEntry();
  if (!advance()) return false;
  key = current.key;
  width = current.value;
  lastPosition = 0;
  if (current.position != sparse_format::headerPosition) fail("the row has no header");
  if (!(width >= 0 && width < KeyLimit && std::trunc(width) == width)) {
    fail("the width " + numberText(width) + " is not a whole number");
  }
  if (!hasFollowing || following.key != key) fail("the row has no footer");
  isInRow = true;
  return true;
}

std::optional<SparseRows::Entry> SparseRows::nextEntry() {
  if (!isInRow) return std::nullopt;
  advance();
  if (!hasFollowing || following.key != key) {
    isInRow = false;
    checkFooter();
    return std::nullopt;
  }
  if (form == SparseForm::Positions) checkPosition();
  return Entry{current.position, current.value};
}

void SparseRows::checkFooter() const {
  const bool isFooter =
      form == SparseForm::Pairs
          ? current.position == sparse_format::headerPosition && current.value == sparse_format::pairSumFooterMark
          : current.position == width + 1 && current.value == sparse_format::footerValue;
  if (!isFooter) fail("the row has no footer");
}

void SparseRows::checkPosition() {
  const double position = current.position;
  if (!(position > lastPosition && position <= width && std::trunc(position) == position)) {
    fail("the position " + numberText(position) + " does not fit: positions ascend from 1 to the width " +
         numberText(width));
  }
  lastPosition = position;
}

void SparseRows::fail(const std::string& what) const {
  // `following` has been read, too.
  const std::uint64_t number = triples.getNumber() - (hasFollowing ? 1 : 0);
  throw std::runtime_error(triples.getPath() + ", triple " + std::to_string(number) + ", caller " + numberText(key) +
                           ": " + what);
}

std::optional<SparseForm> findSparseForm(const std::string& path) {
  RecordFile triples(path, sparse_format::columns, tripleWord);
  const double* triple = triples.next();
  if (triple == nullptr) return std::nullopt;
  const double key = triple[0];
  double position = 0;
  double value = 0;
  for (; triple != nullptr && triple[0] == key; triple = triples.next()) {
    position = triple[1];
    value = triple[2];
  }
  const bool isPairSum = position == sparse_format::headerPosition && value == sparse_format::pairSumFooterMark;
  return isPairSum ? SparseForm::Pairs : SparseForm::Positions;
}

bool hasEntryAtWidth(const std::string& path) {
  SparseRows rows(path, SparseForm::Positions);
  while (rows.nextRow()) {
    while (const auto entry = rows.nextEntry()) {
      if (entry->position == rows.getWidth()) return true;
    }
  }
  return false;
}

}  // namespace vesk
