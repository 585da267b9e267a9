#ifndef VESK_RECORDS_INPUT_LIST_H
#define VESK_RECORDS_INPUT_LIST_H

#include <cstdint>
#include <string>
#include <vector>

#include "files/descriptor.h"

namespace vesk {

/// A record file as it was when the input was listed.
struct InputFile {
  std::string path;
  std::string name;          ///< without its folder
  std::uint64_t bytes = 0;   ///< of the file, compressed or not
  std::int64_t changed = 0;  ///< time of the last change in nanoseconds
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
};

/// The record files of an input in the order of their names as bytes: the regular files of a folder, or one file.
///
/// Errors: CommandFailure (Data) with the name if nothing is there, if the folder is empty, or if it holds anything but
/// regular files. A symbolic link inside the folder is an error; the input itself may be one.
std::vector<InputFile> listInput(const std::string& path);

/// Opens a file of the list. Errors: CommandFailure (Data) if it is not the one that was listed or cannot be read.
vesk_files::Descriptor openInput(const InputFile& file);

/// Errors: CommandFailure (Data) if the file has changed since it was listed.
void requireUnchanged(const InputFile& file, const vesk_files::Descriptor& open);

}  // namespace vesk

#endif  // VESK_RECORDS_INPUT_LIST_H
