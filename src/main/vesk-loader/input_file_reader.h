#ifndef INPUT_FILE_READER_H
#define INPUT_FILE_READER_H

// The loader's parameter file.

#include <string>
#include <vector>

#include "loader_settings.h"

namespace vesk_loader {

/// Reads a parameter file, an XML document with the top element LoaderParams, into the settings. Returns 1.
/// Errors: 1150, 1160 to 1164, 1170, 1175 by what is wrong, each followed by 1322.
int read_input_file_format(const std::string& fileName, LoaderSettings& settings);

/// Reads a file of numbers separated by white space. False if it cannot be opened.
/// Errors: 1170 for a word that is no number.
bool read_special_list(const std::string& fileName, SpecialList& list);

}  // namespace vesk_loader

#endif  // INPUT_FILE_READER_H
