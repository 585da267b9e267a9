#include "sparse_check.h"

#include <algorithm>
#include <cmath>

#include "control/quven_file_formats.h"
#include "number_file.h"
#include "number_format.h"

namespace vesk_inspect {

namespace {

constexpr std::uint64_t tripleBytes = sparse_format::columns * sizeof(double);

bool isPairSumMark(const Triple& t) {
  return t.position == sparse_format::headerPosition && t.value == sparse_format::pairSumFooterMark;
}

}  // namespace

std::string_view nameOf(TripleRole role) {
  switch (role) {
    case TripleRole::Header:
      return "header";
    case TripleRole::Footer:
      return "footer";
    default:
      return "entry";
  }
}

SparseKind findSparseKind(const std::string& path) {
  NumberFile file(path);
  std::optional<Triple> header;  // of the run of equal keys
  for (Triple t{}; file.next(t.key) && file.next(t.position) && file.next(t.value);) {
    if (!header || t.key != header->key) {
      header = t;
    } else if (isPairSumMark(t)) {
      return SparseKind::PairSum;
    } else if (t.position == header->value + 1.0 && t.value == sparse_format::footerValue) {
      return SparseKind::Table;
    }
  }
  return SparseKind::Table;
}

TripleRole SparseCheck::take(const Triple& triple) {
  ++triples;
  if (inRow && triple.key != rowKey) {
    if (startsRow(triple)) {
      report("the row of key " + formatNumber(rowKey) + " has no footer before this row");
      closeRow();
    } else {
      report("key " + formatNumber(triple.key) + " within the row of key " + formatNumber(rowKey));
      rowKey = triple.key;
    }
  }
  if (!inRow) {
    openRow(triple);
    if (triple.position == sparse_format::headerPosition) {
      checkHeader(triple);
      return TripleRole::Header;
    }
    report("the row of key " + formatNumber(triple.key) + " has no header");
    lastPosition = triple.position - 1.0;  // the entries that went with the header are not missed again
  }
  if (isFooter(triple)) {
    checkFooter(triple);
    return TripleRole::Footer;
  }
  checkEntry(triple);
  return TripleRole::Entry;
}

void SparseCheck::finish() {
  if (inRow) {
    report("the file ends within the row of key " + formatNumber(rowKey));
    closeRow();
  }
  if (width && !isLongestRowOfWidth()) {
    report("the width is " + formatNumber(*width) + " but the longest row has " + std::to_string(longestRow) +
           " entries");
  }
}

void SparseCheck::report(const std::string& text) { defects.add(triples, (triples - 1) * tripleBytes, text); }

/// Position 0 begins a row, unless it is the end of a pair sum's row.
bool SparseCheck::startsRow(const Triple& triple) const {
  return triple.position == sparse_format::headerPosition && !(kind == SparseKind::PairSum && isPairSumMark(triple));
}

/// A table's triple is its footer by its position, or by its value when it stands further behind.
bool SparseCheck::isFooter(const Triple& triple) const {
  if (kind == SparseKind::PairSum) return isPairSumMark(triple);
  if (!width) return false;
  return triple.position == *width + 1.0 || (triple.position > *width && triple.value == sparse_format::footerValue);
}

void SparseCheck::openRow(const Triple& triple) {
  ++rows;
  inRow = true;
  rowKey = triple.key;
  rowEntries = 0;
  lastPosition.reset();
}

void SparseCheck::closeRow() {
  inRow = false;
  longestRow = std::max(longestRow, rowEntries);
}

void SparseCheck::checkHeader(const Triple& triple) {
  if (lastKey && !(triple.key > *lastKey)) {
    report("key " + formatNumber(triple.key) + " does not rise above key " + formatNumber(*lastKey));
  }
  lastKey = triple.key;
  if (!(triple.value >= 0.0) || triple.value != std::trunc(triple.value)) {
    report("the width " + formatNumber(triple.value) + " is not a whole number");
  }
  if (!width) width = triple.value;
  if (triple.value != *width) {
    report("the width " + formatNumber(triple.value) + " is not that of the first row, " + formatNumber(*width));
  }
}

void SparseCheck::checkEntry(const Triple& triple) {
  ++rowEntries;
  ++entries;
  if (kind == SparseKind::PairSum) {
    if (lastPosition && !(triple.position > *lastPosition)) {
      report("callee " + formatNumber(triple.position) + " does not rise above callee " + formatNumber(*lastPosition));
    }
  } else if (const double expected = lastPosition.value_or(0.0) + 1.0; triple.position != expected) {
    report("position " + formatNumber(triple.position) + " where " + formatNumber(expected) + " was expected");
  }
  lastPosition = triple.position;
}

void SparseCheck::checkFooter(const Triple& triple) {
  if (kind == SparseKind::Table) {
    if (triple.position != *width + 1.0) {
      report("the footer stands at position " + formatNumber(triple.position) +
             ", not at width + 1 = " + formatNumber(*width + 1.0));
    }
    if (triple.value != sparse_format::footerValue) {
      report("the footer has the value " + formatNumber(triple.value) + " in place of 0");
    }
  } else if (width && static_cast<double>(rowEntries) > *width) {
    report("the row has " + std::to_string(rowEntries) + " entries, more than the width " + formatNumber(*width));
  }
  closeRow();
}

bool SparseCheck::isLongestRowOfWidth() const {
  const auto longest = static_cast<double>(longestRow);
  return longest == *width || (kind == SparseKind::Table && longest + 1.0 == *width);
}

}  // namespace vesk_inspect
