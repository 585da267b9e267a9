#ifndef VESK_FILES_CARD_FILES_H
#define VESK_FILES_CARD_FILES_H

#include <optional>
#include <string>

#include "files/dataset_card.h"

namespace vesk_files {

/// The text of the card at `path`; nothing if there is no such file.
/// Errors: std::runtime_error with the path and the reason: a file that cannot be read, is no regular file, or has more
///         than 64 MiB.
std::optional<std::string> readCardText(const std::string& path);

/// A file of a dataset that is not what the card says, and why in one line.
struct CardMismatch {
  std::string file;
  std::string text;
};

enum class CardCheck {
  Sizes,  ///< names and sizes of the files
  Hashes  ///< their SHA-256, too, so that every byte is read
};

/// Compares the files of a dataset on disk with its card: the binary files and descriptions that the card lists exist
/// in the folder of the dataset with the sizes of the card, and the folder has no other part or description of the
/// dataset. A part number that no loader run gives is not a part's.
///
/// A symbolic link in place of a file is a mismatch, so no name of a card leads out of the folder.
/// Returns: the first mismatch; nothing if all files agree.
std::optional<CardMismatch> compareWithCard(const std::string& datasetPath, const DatasetCard& card, CardCheck check);

}  // namespace vesk_files

#endif  // VESK_FILES_CARD_FILES_H
