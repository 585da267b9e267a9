#ifndef VESK_ANALYZE_DATASET_CARD_CHECK_H
#define VESK_ANALYZE_DATASET_CARD_CHECK_H

#include <optional>
#include <string>

#include "files/dataset_card.h"
#include "passes/quven_worker_transport.h"

namespace vesk_analyze {

/// What a sub-command reads, and how thoroughly its dataset is compared with the card.
struct CardNeeds {
  std::string command;
  vesk_files::DatasetKind kind;
  bool verifies = false;  ///< compare the SHA-256 of the files, not their sizes alone
};

/// The card that a run has used.
struct UsedCard {
  std::string run;     ///< the loader run that wrote the dataset
  std::string sha256;  ///< of the text of the card, which holds the hashes of the files
  bool isVerified = false;
};

/// Why a dataset of a kind cannot be used by a command that needs another, with what to change; empty for the same
/// kind.
std::string kindMistake(vesk_files::DatasetKind kind, const CardNeeds& needs);

/// Compares the dataset with the card beside it, if there is one. Rank 0 reads the card and sends it; every rank
/// compares the files that it sees.
///
/// Collective: every rank calls it with the same dataset name and needs.
/// Returns: the card; nothing if rank 0 finds none.
/// Errors: on rank 0 the terminating report 2302 with a file: the card cannot be read, the dataset is of another kind,
///         or a file is missing, changed or not listed, with the number of the first rank that sees it so. The other
///         ranks do not return.
std::optional<UsedCard> checkDatasetCard(const std::string& dataset, const CardNeeds& needs,
                                         const QUVENWorkerTransport& transport, const QUVENEnvHandle& env);

}  // namespace vesk_analyze

#endif  // VESK_ANALYZE_DATASET_CARD_CHECK_H
