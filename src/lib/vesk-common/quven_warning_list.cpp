#include "vesk-common/quven_warning_list.h"

#include <new>

QUVENWarningList& QUVENWarningList::get() {
  static QUVENWarningList list;
  return list;
}

void QUVENWarningList::add(int code, std::string_view parameter, std::string_view text) noexcept {
  ++count;
  if (texts.size() >= MostTexts) return;
  try {
    std::string line = std::to_string(code);
    for (const std::string_view piece : {parameter, text}) {
      if (!piece.empty()) line.append(";|").append(piece);
    }
    texts.push_back(std::move(line));
  } catch (const std::bad_alloc&) {
    return;  // it is counted
  }
}

void QUVENWarningList::clear() {
  count = 0;
  texts = std::vector<std::string>();  // with its memory
}
