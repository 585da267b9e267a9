#include "simple_algorithm/quven_parameters.h"

#include <locale>
#include <sstream>

#include "vesk-common/quven_reports.h"

namespace {

constexpr int noteLevel = 1;

template <class T>
constexpr const char* typeWord = std::is_same_v<T, double> ? "double" : "int";

/// The value of a text of the type; false for any other text.
template <class T>
bool convert(const std::string& text, T& value) {
  if (!TestInputStringType(text, typeWord<T>)) return false;
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  value = T();
  stream >> value;
  return true;
}

bool convert(const std::string& text, std::string& value) {
  value = text;
  return true;
}

template <class T>
T readParameter(const QUVENXMLTag& tag, const QUVENParameter<T>& parameter, const QUVENEnvHandle& env) {
  if (!tag.hasTag(parameter.key, QUVEN_ENV)) {
    if (!parameter.defaultNote.empty()) report_log(noteLevel, parameter.defaultNote);
    return parameter.defaultValue;
  }
  T value{};
  const bool legal = convert(tag.getTag(parameter.key, QUVEN_ENV).getValue(), value) &&
                     (parameter.isLegal == nullptr || parameter.isLegal(value));
  if (!legal) report_error(parameter.errorCode, parameter.errorText, QUVEN_ENV, true);
  if (!parameter.note.empty()) {
    std::ostringstream note;
    note.imbue(std::locale::classic());
    note << parameter.note;
    if (parameter.noteHasValue) note << value;
    report_log(noteLevel, note);
  }
  return value;
}

}  // namespace

std::int32_t quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<std::int32_t>& parameter,
                                const QUVENEnvHandle& env) {
  return readParameter(tag, parameter, QUVEN_ENV);
}

double quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<double>& parameter, const QUVENEnvHandle& env) {
  return readParameter(tag, parameter, QUVEN_ENV);
}

std::string quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<std::string>& parameter,
                               const QUVENEnvHandle& env) {
  return readParameter(tag, parameter, QUVEN_ENV);
}

std::string quvenReadRequiredParameter(const QUVENXMLTag& tag, const char* key, const std::string& note, int errorCode,
                                       const std::string& errorText, const QUVENEnvHandle& env) {
  if (!tag.hasTag(key, QUVEN_ENV)) report_error(errorCode, errorText, QUVEN_ENV, true);
  const std::string value = tag.getTag(key, QUVEN_ENV).getValue();
  report_log(noteLevel, note + value);
  return value;
}
