#ifndef QUVEN_PARAMETERS_H
#define QUVEN_PARAMETERS_H

// The parameters of an analysis: one table per analysis. The analysis is opened from it, and the program takes the
// known keys, the names of input and output files, the help and the example from it.

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "control/quven_XML_tag.h"

enum class QUVENParameterType { Integer, Number, Text };
enum class QUVENParameterFile { None, Input, Output };

/// The member that a parameter fills, of type std::int32_t, double or std::string.
struct QUVENParameterTarget {
  QUVENParameterType type = QUVENParameterType::Text;
  void* (*find)(void* owner) = nullptr;  ///< null for a value that is checked and not stored
};

template <class Member>
struct QUVENOwnerOf;
template <class Class, class Value>
struct QUVENOwnerOf<Value Class::*> {
  using type = Class;
};

/// The target of a pointer to member, or of a chain of them: the second one points into the member of the first.
template <auto first, auto... rest>
constexpr QUVENParameterTarget quvenParameterTarget() {
  using Owner = typename QUVENOwnerOf<decltype(first)>::type;
  using Value = std::remove_cvref_t<decltype(((std::declval<Owner&>().*first).*....*rest))>;
  static_assert(std::is_same_v<Value, std::int32_t> || std::is_same_v<Value, double> ||
                std::is_same_v<Value, std::string>);
  constexpr QUVENParameterType type = std::is_same_v<Value, std::int32_t> ? QUVENParameterType::Integer
                                      : std::is_same_v<Value, double>     ? QUVENParameterType::Number
                                                                          : QUVENParameterType::Text;
  return {type, [](void* owner) -> void* { return &((static_cast<Owner*>(owner)->*first).*....*rest); }};
}

/// One parameter: a row of the table.
struct QUVENParameter {
  const char* key;
  QUVENParameterTarget target = {};  ///< without a member a text that is checked and not stored
  const char* defaultValue = "";     ///< as a parameter file has it
  bool isRequired = false;           ///< the report of the error when the key is not there

  // Two checks in this order. The first is of a given value only; a text of another type fails it. The second is of the
  // default, too. A check that is null passes; numbers and texts have a check of their own.
  bool (*isLegal)(double) = nullptr;
  bool (*isLegalText)(const std::string&) = nullptr;
  int errorCode = 0;
  const char* errorText = "";
  bool (*isSupported)(double) = nullptr;
  bool (*isSupportedText)(const std::string&) = nullptr;
  int unsupportedCode = 0;
  const char* unsupportedText = "";

  const char* defaultNote = "";  ///< the log line of level 1 when the default is taken; none if empty
  const char* note = "";         ///< the log line of level 1 for a given value; none if empty
  bool noteHasValue = true;      ///< the value is written after the note

  void (*remark)(double value) = nullptr;  ///< may print a warning about an accepted value
  bool (*isMeaningful)(double) = nullptr;  ///< false for a legal value with which the results mean nothing
  const char* notMeaningful = "";          ///< the text of the warning 2202 then
  QUVENParameterFile file = QUVENParameterFile::None;
  /// Output: the names of the files that are written; null for the value itself.
  std::vector<std::string> (*outputNames)(const std::string& value, int numWorkers) = nullptr;
  bool isReplaced = true;      ///< Output: a file gets its name when it is complete; else it is written in place
  bool isFoundInText = false;  ///< the value is taken from the text of the parameter file
  bool isOptional = false;     ///< the results of a run list it when it is given
  const char* word = nullptr;  ///< a word in place of a number
  double wordValue = 0;        ///< what it is stored as

  const char* meaning;            ///< one line for the help
  const char* legalValues = "";   ///< what the checks accept, in words
  const char* example = nullptr;  ///< the value in the example, of a required parameter; null for the default
};

/// Parameters that are read below one tag of the parameter file.
struct QUVENParameterSection {
  const char* branch = nullptr;  ///< the tag that holds them, if it is there; else they are beside the others
  std::span<const QUVENParameter> rows;
  const char* unusedWith = nullptr;  ///< a key; when it is given, the output files of the section are not written
};

/// The sections of an analysis in the order in which they are read.
using QUVENParameterSections = std::span<const QUVENParameterSection>;

/// The tag below which the parameters of a section are.
const QUVENXMLTag& quvenSectionTag(const QUVENXMLTag& tag, const QUVENParameterSection& section,
                                   const QUVENEnvHandle& env);

/// The path of a parameter below the tag: its key, after that of its branch.
std::string quvenParameterPath(const QUVENXMLTag& tag, const QUVENParameterSection& section, const QUVENParameter& row,
                               const QUVENEnvHandle& env);

/// The value that an accepted text gives to a parameter, as text: "10" for the integer "010". A number is as it was
/// given if that says its value.
std::string quvenValueInUse(const QUVENParameter& row, const std::string& text);

/// A parameter with which the analysis cannot be opened.
struct QUVENParameterFault {
  std::string path;
  int code;
  std::string text;  ///< names the value and says what is legal
};

/// All missing and illegal parameters of the sections, in the order of the tables. Prints nothing.
std::vector<QUVENParameterFault> quvenFindParameterFaults(const QUVENXMLTag& tag, QUVENParameterSections sections,
                                                          const QUVENEnvHandle& env);

/// Reads parameters into their targets.
///
/// An integer is checked with its base found by its prefix and then read as a plain decimal: "010" is 10. One beyond
/// the range of 32 bits is the nearest in it. An empty text is no integer, and the number 0. Errors: the terminating
/// report of the first parameter that is missing or illegal. Before it, each faulty parameter of
///         all sections is an error line with its path and its value.
class QUVENParameterReader {
 public:
  QUVENParameterReader(const QUVENXMLTag& parameterTag, QUVENParameterSections allSections)
      : tag(parameterTag), sections(allSections) {}

  /// Notes go to the stream from now on, one per line, instead of the log.
  void collectNotes(std::ostream& stream) { notes = &stream; }

  /// Fills the members of an owner, which all rows of the section have for the class of their targets.
  template <class Owner>
  void read(const QUVENParameterSection& section, Owner& owner, const QUVENEnvHandle& env) const {
    readSection(section, &owner, env);
  }

 private:
  void readSection(const QUVENParameterSection& section, void* owner, const QUVENEnvHandle& env) const;
  void readRow(const QUVENXMLTag& ownTag, const QUVENParameter& row, void* owner, const QUVENEnvHandle& env) const;
  void require(bool condition, int code, const char* text, const QUVENEnvHandle& env) const;
  void say(const std::string& note) const;

  const QUVENXMLTag& tag;
  QUVENParameterSections sections;
  std::ostream* notes = nullptr;
};

#endif  // QUVEN_PARAMETERS_H
