#include "util/quven_messages.h"

#include <algorithm>
#include <cstdio>

#include "util/quven_debug.h"

std::size_t QUVENMessageRow::getNumPieces() const {
  return static_cast<std::size_t>(std::find(pieces.begin(), pieces.end(), std::string_view()) - pieces.begin());
}

QUVENMessageArg::QUVENMessageArg(double value) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%g", value);
  text = digits;
}

void quvenPrintMessage(std::ostream& out, int code, std::initializer_list<QUVENMessageArg> args) {
  QUVEN_ASSERT(code >= firstMessage && code <= lastMessage);
  const QUVENMessageRow& row = quvenMessageTable[static_cast<std::size_t>(code - firstMessage)];
  const std::size_t numPieces = row.getNumPieces();
  QUVEN_ASSERT(args.size() == numPieces || args.size() + 1 == numPieces);
  for (std::size_t i = 0; i < numPieces; ++i) {
    out << row.pieces[i];
    if (i < args.size()) out << args.begin()[i].str();
  }
}

int quvenConvertSeverity(int severity) {
  switch (severity) {
    case 0:
      return 0;
    case 1:
      return 2;
    case 2:
      return 3;
    default:
      quvenOrdinaryAssertionFailed("severity >= 0 && severity <= 2", nullptr, __func__, __LINE__, __FILE__);
  }
}

int quvenReportMessage(std::ostream& out, int severity, int code, std::initializer_list<QUVENMessageArg> args) {
  const int converted = quvenConvertSeverity(severity);
  quvenPrintMessage(out, code, args);
  return converted;
}
