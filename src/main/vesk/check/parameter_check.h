#ifndef VESK_CHECK_PARAMETER_CHECK_H
#define VESK_CHECK_PARAMETER_CHECK_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "loader_settings.h"  // of vesk-loader

namespace vesk {

/// Something to say of a parameter file or of record files.
struct ParameterFinding {
  bool isError;
  std::string text;  ///< complete, with the name of the file and the place in it
  std::size_t line;  ///< from 1, as the column; both 0 when it is about the whole file
  std::size_t column;
};

/// A parameter file as the loader takes it, and what is wrong with it.
struct CheckedParameters {
  /// What the loader takes from this text, the special list included. With errors they are what could be taken; as new
  /// when the text cannot be read at all.
  vesk_loader::LoaderSettings settings;
  /// The texts of the tags without tags below them: "Field1/Start" -> text, by the path below LoaderParams.
  std::map<std::string, std::string> tags;
  std::vector<ParameterFinding> findings;  ///< in the order of the text, those of the whole file last

  bool hasErrors() const;
};

/// Checks a parameter file of the loader. Errors are what the loader refuses and what it takes for something else than
/// what is written; remarks are what it does not use. Without errors, the settings are those of the loader's own
/// reader. Reads the file of the special list.
///
/// @param name of the file, for the messages
CheckedParameters checkParameters(const std::string& text, const std::string& name);

}  // namespace vesk

#endif  // VESK_CHECK_PARAMETER_CHECK_H
