#ifndef VESK_TESTS_PARAMETER_WORDS_H
#define VESK_TESTS_PARAMETER_WORDS_H

#include <string>
#include <vector>

namespace vesk_e2e {

/// The text with each `from` replaced by `to`.
std::string replaced(const std::string& text, const std::string& from, const std::string& to);

/// A parameter file said in a few words, and the settings that the loader must report for it.
///
/// The words are statements separated by ";":
///   fields 1-3 5-7           Field1, Field2 with these columns; their names are f1, f2, their type is Number
///   op NAME INPUT [OUTPUT] [CONDITION THRESHOLD]      Operation1, Operation2, ...
///   list FILE [OPNAME]       SpecialList
///   xml PREFIX [NAMESPACE]   XML; the prefix "-" is none, the namespace may have blanks
///   TAG VALUE                any other tag
class ParameterWords {
 public:
  explicit ParameterWords(const std::string& statements);

  /// The parameter file.
  const std::string& file() const { return text; }

  /// The settings that are reported before the line about the process file, and those behind it.
  std::string settingsBeforeProcessFile() const;
  std::string settingsOfDates() const;
  std::string settingsOfOperations() const;

  bool isBinary() const { return format == "Binary"; }
  int partitions() const { return partitionCount; }

 private:
  using Words = std::vector<std::string>;

  void take(const Words& words);
  void takeFields(const Words& words);
  void takeOperation(const Words& words);
  void takeTag(const std::string& tag, const std::string& value);

  std::string text;
  std::string fieldLines;
  std::string operationLines;
  std::string format = "Binary";
  std::string tableSize = "0";
  std::string sort = "Yes";
  std::string distinct = "No";
  std::string horizon = "-1";
  int operations = 0;
  int key = -1;
  int date = -1;
  int multiplicity = -1;
  int sparse = 0;
  int partitionCount = 1;
};

}  // namespace vesk_e2e

#endif  // VESK_TESTS_PARAMETER_WORDS_H
