#ifndef VESK_FILES_DATASET_CARD_H
#define VESK_FILES_DATASET_CARD_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vesk_files {

/// What the records of a dataset are.
enum class DatasetKind { TableSorted, TableUnsorted, PairSum, Sums, Dense, Payload };

/// "table-sorted", "table-unsorted", "pair-sum", "sums", "dense", "payload".
std::string_view nameOf(DatasetKind kind);

/// One file of a dataset. The name is that of a file in the card's folder.
struct CardFile {
  std::string name;
  std::uint64_t bytes = 0;
  std::string sha256;  ///< 64 lower-case hexadecimal digits
};

/// The card of a dataset: what it is, and how to tell that its files are those that were written.
struct DatasetCard {
  DatasetKind kind = DatasetKind::TableSorted;
  std::string run;                              ///< generation that wrote it, the same for all files of a run
  std::string version;                          ///< of the program that wrote it
  std::uint64_t records = 0;                    ///< of the binary files: triples, or rows of a dense dataset
  std::uint64_t callers = 0;                    ///< rows
  std::vector<CardFile> parts;                  ///< the binary files in the order of the partitions
  std::vector<CardFile> companions;             ///< the .info files
  std::map<std::string, std::string> settings;  ///< those of the loader run that shape the dataset, by their tags
};

/// The name of the card beside a dataset. A dataset DIR/NAME.bin, or a part or payload file of it, has the card
/// DIR/NAME.card.json; a payload file DIR/NAME.bin_payload_1 (or DIR/NAME.bin.0_payload_1) has
/// DIR/NAME.payload_1.card.json.
std::string cardPath(const std::string& datasetPath);

/// The text of a card, as JSON with one line per member. In the run, version and settings, bytes that are not UTF-8 are
/// replaced by U+FFFD.
/// Errors: std::runtime_error for a name of a file that is not UTF-8, because the card would list another file.
std::string writeCard(const DatasetCard& card);

/// Errors: std::runtime_error with `name` and what is wrong: no JSON, a missing or foreign member, a name that leads
/// out of the
///         folder, a hash or a size that is none.
DatasetCard readCard(const std::string& text, const std::string& name);

}  // namespace vesk_files

#endif  // VESK_FILES_DATASET_CARD_H
