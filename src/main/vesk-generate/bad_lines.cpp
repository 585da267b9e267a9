#include "bad_lines.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string>

namespace vesk_generate {

namespace {

constexpr std::string_view oldDate = "19000101";  // the same day in either date form

char* fieldBegin(char* line, const ColumnRange& field) { return line + field.first - 1; }
char* fieldEnd(char* line, const ColumnRange& field) { return line + field.last; }

void blankOut(char* line, const ColumnRange& field) { std::memset(fieldBegin(line, field), ' ', field.width()); }

void putText(char* line, const ColumnRange& field, std::string_view text) {
  std::memcpy(fieldEnd(line, field) - text.size(), text.data(), text.size());
}

}  // namespace

void parseBadShare(std::string_view text, BadLineShares& shares) {
  const std::size_t equals = text.find('=');
  const std::string_view name = text.substr(0, equals);
  const std::string_view number = equals == text.npos ? std::string_view{} : text.substr(equals + 1);
  double share = -1.0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), share);
  if (error != std::errc{} || end != number.data() + number.size() || !(share >= 0.0 && share <= 1.0)) {
    throw std::invalid_argument("'" + std::string(text) + "' is not KIND=SHARE with a share from 0 to 1");
  }
  if (name == "all") {
    shares.fill(share / badLineKinds);
    return;
  }
  const auto place = std::find(badLineNames.begin(), badLineNames.end(), name);
  if (place == badLineNames.end()) throw std::invalid_argument("unknown kind of bad line '" + std::string(name) + "'");
  shares[static_cast<std::size_t>(place - badLineNames.begin())] = share;
}

LineSpoiler::LineSpoiler(const BadLineShares& shares, const RecordLayout& layout, Xoshiro256 ownRandom)
    : fields(layout.fields()),
      callerField(layout.caller),
      dateField(layout.date),
      lineBytes(layout.lineBytes()),
      shortLimit(std::max(layout.caller.first, layout.callee.first) - 1),
      random(ownRandom) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < badLineKinds; ++i) limits[i] = sum += shareThreshold(shares[i]);
  std::copy_if(fields.begin(), fields.end(), std::back_inserter(wideFields),
               [](const ColumnRange& field) { return field.width() >= 3; });
}

void LineSpoiler::replaceCaller(char* line, std::string_view text) const {
  blankOut(line, callerField);
  putText(line, callerField, text);
}

std::size_t LineSpoiler::spoil(char* line, std::uint64_t place) {
  const auto index = static_cast<std::size_t>(std::upper_bound(limits.begin(), limits.end(), place) - limits.begin());
  ++counts[index];
  switch (static_cast<BadLineKind>(index)) {
    case BadLineKind::ShortLine: {
      const std::size_t characters = random.below(shortLimit);
      line[characters] = '\n';
      return characters + 1;
    }
    case BadLineKind::BlankField:
      blankOut(line, fields[random.below(fields.size())]);
      break;
    case BadLineKind::InnerBlank:
      putText(line, wideFields[random.below(wideFields.size())], "1 2");
      break;
    case BadLineKind::ZeroCaller:
      replaceCaller(line, "0");
      break;
    case BadLineKind::NegativeCaller: {
      const char text[] = {'-', static_cast<char>('1' + random.below(9))};
      replaceCaller(line, {text, 2});
      break;
    }
    case BadLineKind::TextCaller:
      replaceCaller(line, "abc");
      break;
    case BadLineKind::OldDate:
      putText(line, dateField, oldDate);
      break;
  }
  return lineBytes;
}

}  // namespace vesk_generate
