#ifndef QUVEN_PARAMETERS_H
#define QUVEN_PARAMETERS_H

// The parameters of an analysis: one entry each with its key, its default, its check and its words.

#include <cstdint>
#include <string>

#include "control/quven_XML_tag.h"

/// How a parameter is read. T is std::int32_t, double or std::string.
template <class T>
struct QUVENParameter {
  const char* key;
  T defaultValue;
  std::string defaultNote;    ///< the log line of level 1 when the default is taken
  bool (*isLegal)(const T&);  ///< null for no check
  int errorCode = 0;
  std::string errorText;     ///< of a text of another type, and of a value that is not legal
  std::string note;          ///< the log line of level 1 for a value that was given, none if empty
  bool noteHasValue = true;  ///< the value stands behind the note
};

/// Reads a parameter below a tag.
///
/// An integer is checked with its base found by its prefix and then read as a plain decimal: "010" is 10.
/// Errors: the terminating report of the entry.
std::int32_t quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<std::int32_t>& parameter,
                                const QUVENEnvHandle& env);
double quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<double>& parameter, const QUVENEnvHandle& env);
std::string quvenReadParameter(const QUVENXMLTag& tag, const QUVENParameter<std::string>& parameter,
                               const QUVENEnvHandle& env);

/// A text that has no default.
/// Errors: the terminating report with this code and text when the key is not there.
std::string quvenReadRequiredParameter(const QUVENXMLTag& tag, const char* key, const std::string& note, int errorCode,
                                       const std::string& errorText, const QUVENEnvHandle& env);

#endif  // QUVEN_PARAMETERS_H
