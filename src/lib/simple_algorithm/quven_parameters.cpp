#include "simple_algorithm/quven_parameters.h"

#include <charconv>
#include <cstdlib>
#include <locale>
#include <ostream>
#include <sstream>

#include "vesk-common/quven_reports.h"

namespace {

constexpr int noteLevel = 1;

/// A value of any type: the text of a text, the number of all others.
struct Value {
  std::string text;
  std::int32_t integer = 0;
  double number = 0;
};

template <class T>
T readNumber(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  T number{};
  stream >> number;
  return number;
}

bool isWord(const QUVENParameter& row, const std::string& text) { return row.word != nullptr && text == row.word; }

/// Whether the text is one of the type; prints nothing.
bool isOfType(const QUVENParameter& row, const std::string& text) {
  const QUVENParameterType type = row.target.type;
  if (isWord(row, text)) return true;
  if (type == QUVENParameterType::Text) return true;
  char* end = nullptr;
  if (type == QUVENParameterType::Integer) {
    std::strtol(text.c_str(), &end, 0);
  } else {
    std::strtod(text.c_str(), &end);
  }
  const bool mayBeEmpty = type == QUVENParameterType::Number;
  return (mayBeEmpty || !text.empty()) && end == text.c_str() + text.size();
}

/// The same with the line that the library prints for a text of another type.
bool testType(const QUVENParameter& row, const std::string& text) {
  const QUVENParameterType type = row.target.type;
  if (type == QUVENParameterType::Text || isWord(row, text)) return true;
  return TestInputStringType(text, type == QUVENParameterType::Integer ? "int" : "double");
}

Value valueOf(const QUVENParameter& row, const std::string& text) {
  const QUVENParameterType type = row.target.type;
  if (isWord(row, text)) return {text, 0, row.wordValue};
  Value value{text};
  if (type == QUVENParameterType::Integer) {
    value.integer = readNumber<std::int32_t>(text);
    value.number = value.integer;
  } else if (type == QUVENParameterType::Number) {
    value.number = readNumber<double>(text);
  }
  return value;
}

bool passes(bool (*check)(double), bool (*checkOfText)(const std::string&), const Value& value) {
  return (check == nullptr || check(value.number)) && (checkOfText == nullptr || checkOfText(value.text));
}

void store(const QUVENParameterTarget& target, const Value& value, void* owner) {
  if (target.find == nullptr) return;
  void* const member = target.find(owner);
  switch (target.type) {
    case QUVENParameterType::Integer:
      *static_cast<std::int32_t*>(member) = value.integer;
      return;
    case QUVENParameterType::Number:
      *static_cast<double*>(member) = value.number;
      return;
    case QUVENParameterType::Text:
      *static_cast<std::string*>(member) = value.text;
      return;
  }
}

std::string noteOf(const QUVENParameter& row, const Value& value) {
  std::ostringstream note;
  note.imbue(std::locale::classic());
  note << row.note;
  if (!row.noteHasValue) return note.str();
  switch (row.target.type) {
    case QUVENParameterType::Integer:
      note << value.integer;
      break;
    case QUVENParameterType::Number:
      note << value.number;
      break;
    case QUVENParameterType::Text:
      note << value.text;
      break;
  }
  return note.str();
}

}  // namespace

const QUVENXMLTag& quvenSectionTag(const QUVENXMLTag& tag, const QUVENParameterSection& section,
                                   const QUVENEnvHandle& env) {
  const bool hasBranch = section.branch != nullptr && tag.hasTag(section.branch, QUVEN_ENV);
  return hasBranch ? tag.getTag(section.branch, QUVEN_ENV) : tag;
}

std::string quvenValueInUse(const QUVENParameter& row, const std::string& text) {
  if (row.target.type == QUVENParameterType::Text || isWord(row, text)) return text;
  const Value value = valueOf(row, text);
  if (row.target.type == QUVENParameterType::Integer) return std::to_string(value.integer);
  char* end = nullptr;
  if (!text.empty() && std::strtod(text.c_str(), &end) == value.number && *end == '\0') return text;
  char digits[32];
  return {digits, std::to_chars(digits, digits + sizeof digits, value.number).ptr};
}

std::string quvenParameterPath(const QUVENXMLTag& tag, const QUVENParameterSection& section, const QUVENParameter& row,
                               const QUVENEnvHandle& env) {
  const bool isBelowBranch = &quvenSectionTag(tag, section, QUVEN_ENV) != &tag;
  return (isBelowBranch ? std::string(section.branch) + "/" : std::string()) + row.key;
}

std::vector<QUVENParameterFault> quvenFindParameterFaults(const QUVENXMLTag& tag, QUVENParameterSections sections,
                                                          const QUVENEnvHandle& env) {
  std::vector<QUVENParameterFault> faults;
  for (const QUVENParameterSection& section : sections) {
    const QUVENXMLTag& ownTag = quvenSectionTag(tag, section, QUVEN_ENV);
    for (const QUVENParameter& row : section.rows) {
      const auto add = [&](int code, const std::string& what) {
        const std::string legal = *row.legalValues == '\0' ? "" : std::string(", legal is ") + row.legalValues;
        faults.push_back({quvenParameterPath(tag, section, row, QUVEN_ENV), code, what + legal});
      };
      const bool isGiven = ownTag.hasTag(row.key, QUVEN_ENV);
      const std::string text = isGiven ? ownTag.getTag(row.key, QUVEN_ENV).getValue() : row.defaultValue;
      const Value value = valueOf(row, text);
      if (!isGiven && row.isRequired) {
        add(row.errorCode, "the parameter is missing");
      } else if (isGiven && (!isOfType(row, text) || !passes(row.isLegal, row.isLegalText, value))) {
        add(row.errorCode, "the value \"" + text + "\" is illegal");
      } else if (!passes(row.isSupported, row.isSupportedText, value)) {
        add(row.unsupportedCode, std::string(isGiven ? "the value \"" : "the default \"") + text + "\" is illegal");
      }
    }
  }
  return faults;
}

void QUVENParameterReader::require(bool condition, int code, const char* text, const QUVENEnvHandle& env) const {
  if (condition) return;
  for (const QUVENParameterFault& fault : quvenFindParameterFaults(tag, sections, QUVEN_ENV)) {
    report_error(fault.code, fault.path, fault.text, QUVEN_ENV, false);
  }
  report_error(code, text, QUVEN_ENV, true);
}

void QUVENParameterReader::say(const std::string& note) const {
  if (note.empty()) return;
  if (notes == nullptr) {
    report_log(noteLevel, note);
  } else {
    *notes << note << '\n';
  }
}

void QUVENParameterReader::readSection(const QUVENParameterSection& section, void* owner,
                                       const QUVENEnvHandle& env) const {
  const QUVENXMLTag& ownTag = quvenSectionTag(tag, section, QUVEN_ENV);
  for (const QUVENParameter& row : section.rows) readRow(ownTag, row, owner, QUVEN_ENV);
}

void QUVENParameterReader::readRow(const QUVENXMLTag& ownTag, const QUVENParameter& row, void* owner,
                                   const QUVENEnvHandle& env) const {
  const bool isGiven = ownTag.hasTag(row.key, QUVEN_ENV);
  require(isGiven || !row.isRequired, row.errorCode, row.errorText, QUVEN_ENV);
  if (!isGiven) say(row.defaultNote);
  const std::string text = isGiven ? ownTag.getTag(row.key, QUVEN_ENV).getValue() : row.defaultValue;
  const bool hasType = !isGiven || testType(row, text);
  const Value value = valueOf(row, text);
  require(!isGiven || (hasType && passes(row.isLegal, row.isLegalText, value)), row.errorCode, row.errorText,
          QUVEN_ENV);
  require(passes(row.isSupported, row.isSupportedText, value), row.unsupportedCode, row.unsupportedText, QUVEN_ENV);
  store(row.target, value, owner);
  if (row.remark != nullptr) row.remark(value.number);
  if (isGiven && *row.note != '\0') say(noteOf(row, value));
}
