#ifndef VESK_DAY_GENERATION_FILES_H
#define VESK_DAY_GENERATION_FILES_H

#include <string>
#include <vector>

#include "day/state_check.h"
#include "files/dataset_card.h"
#include "loader_settings.h"

namespace vesk {

/// The names of the files that a loader run leaves in a generation. A run with one partition has no numbers in its names.
class GenerationFiles {
 public:
  /// Lifetime: keeps a reference to the settings.
  GenerationFiles(const vesk_loader::LoaderSettings& loaderSettings, std::string outputName);

  std::size_t partitions() const { return static_cast<std::size_t>(settings.numberOfPartitions); }
  std::string process(std::size_t partition) const { return numbered("process", partition); }
  /// NAME.bin, NAME.csv or NAME.xml.
  std::string dataset() const { return output + ending(); }
  std::string datasetPart(std::size_t partition) const { return numbered(dataset(), partition); }
  std::string payloadPart(std::size_t partition, std::size_t payload) const;
  bool isBinary() const { return settings.outputFormat == vesk_loader::OutputFormat::Binary; }

  std::vector<std::string> processParts() const;
  /// The process files, the dataset with its payload files and descriptions.
  std::vector<std::string> all() const;

  /// The cards of the dataset and of its payload files, of a binary run. The hashes come from `files`.
  /// Errors: std::runtime_error when one of the files is not among them.
  std::vector<vesk_files::DatasetCard> cards(const std::vector<vesk_files::CardFile>& files,
                                             const std::vector<PartitionCheck>& checks) const;
  /// The name of a card, in the order of `cards`.
  std::string cardName(std::size_t index) const;

 private:
  std::string numbered(const std::string& name, std::size_t partition) const;
  std::string ending() const;
  vesk_files::DatasetKind kind() const;

  const vesk_loader::LoaderSettings& settings;
  std::string output;
};

}  // namespace vesk

#endif  // VESK_DAY_GENERATION_FILES_H
