#include "dataset_card_check.h"

#include <stdexcept>
#include <vector>

#include "files/card_files.h"
#include "files/printable.h"
#include "files/sha256.h"
#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace vesk_analyze {

namespace {

using vesk_files::CardMismatch;
using vesk_files::DatasetCard;
using vesk_files::DatasetKind;

enum Code : int { FileUnusable = 2302 };

[[noreturn]] void refuse(const std::string& file, const std::string& text, const QUVENEnvHandle& env) {
  report_error(FileUnusable, file, "vesk-analyze: " + text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);  // the report terminates
}

std::string contentOf(DatasetKind kind) {
  switch (kind) {
    case DatasetKind::TableSorted:
      return "a table with sorted rows";
    case DatasetKind::TableUnsorted:
      return "a table with unsorted rows";
    case DatasetKind::PairSum:
      return "pair sums";
    case DatasetKind::Sums:
      return "sums";
    case DatasetKind::Dense:
      return "dense records";
    case DatasetKind::Payload:
      return "payloads of a table";
  }
  return "";
}

/// What to change to get the kind that is needed.
std::string adviceFor(DatasetKind kind, DatasetKind needed) {
  constexpr const char* file = " in the loader's parameter file";
  if (kind == DatasetKind::Payload) return "name the dataset itself, without _payload_ and its number";
  if (needed == DatasetKind::PairSum) {
    return std::string("use one operation PairSum with Output Sparse, and no CyclicTableSize,") + file;
  }
  if (needed == DatasetKind::TableSorted) {
    if (kind == DatasetKind::TableUnsorted) return std::string("set CyclicTableSort to Yes") + file;
    return std::string("set CyclicTableSize, use an operation CyclicAdd, and set Output to Sparse,") + file;
  }
  if (kind == DatasetKind::Sums) return "make a table of the sums with vesk table rows";
  return std::string("use operations Add or Count, and no CyclicTableSize,") + file +
         ", and make a table of the sums with vesk table rows";
}

/// The text of the card on rank 0; empty if there is none.
std::vector<char> readText(const std::string& path, const QUVENEnvHandle& env) {
  try {
    const auto text = vesk_files::readCardText(path);
    if (!text) return {};
    static_cast<void>(vesk_files::readCard(*text, path));
    return {text->begin(), text->end()};
  } catch (const std::runtime_error& error) {
    std::string text = error.what();
    if (text.starts_with(path + ": ")) text.erase(0, path.size() + 2);
    refuse(path, vesk_files::printable(text), QUVEN_ENV);
  }
}

/// Ends the run on all ranks if one of them has a mismatch: rank 0 reports that of the lowest rank.
void endIfAnyDiffers(const std::optional<CardMismatch>& mismatch, const QUVENWorkerTransport& transport,
                     const QUVENEnvHandle& env) {
  const int count = transport.getCount();
  const std::int64_t highest = transport.largestOfAll(mismatch ? count - transport.getRank() : 0);
  if (highest == 0) return;
  const int first = count - static_cast<int>(highest);
  std::vector<char> file;
  std::vector<char> text;
  if (transport.getRank() == first) {
    file.assign(mismatch->file.begin(), mismatch->file.end());
    text.assign(mismatch->text.begin(), mismatch->text.end());
  }
  if (transport.isMaster()) {
    if (first > 0) {
      transport.receive(first, file);
      transport.receive(first, text);
    }
    const std::string place = transport.isAlone() ? "" : "on rank " + std::to_string(first) + ": ";
    refuse({file.begin(), file.end()}, place + std::string(text.begin(), text.end()), QUVEN_ENV);
  }
  if (transport.getRank() == first) {
    transport.send(0, file);
    transport.send(0, text);
  }
  transport.waitForAll();  // until rank 0 ends the run
}

}  // namespace

std::string kindMistake(DatasetKind kind, const CardNeeds& needs) {
  if (kind == needs.kind) return {};
  const std::string needed = needs.kind == DatasetKind::Dense ? "a table with named columns" : contentOf(needs.kind);
  return "the dataset holds " + contentOf(kind) + ", and " + needs.command + " needs " + needed + "; " +
         adviceFor(kind, needs.kind);
}

std::optional<UsedCard> checkDatasetCard(const std::string& dataset, const CardNeeds& needs,
                                         const QUVENWorkerTransport& transport, const QUVENEnvHandle& env) {
  const std::string path = vesk_files::cardPath(dataset);
  std::vector<char> bytes;
  if (transport.isMaster()) bytes = readText(path, QUVEN_ENV);
  transport.broadcast(bytes);
  if (bytes.empty()) return std::nullopt;
  const std::string text(bytes.begin(), bytes.end());
  const DatasetCard card = vesk_files::readCard(text, path);
  const std::string mistake = kindMistake(card.kind, needs);
  if (!mistake.empty() && transport.isMaster()) refuse(dataset, mistake, QUVEN_ENV);
  if (!mistake.empty()) transport.waitForAll();  // until rank 0 ends the run
  const auto check = needs.verifies ? vesk_files::CardCheck::Hashes : vesk_files::CardCheck::Sizes;
  endIfAnyDiffers(vesk_files::compareWithCard(dataset, card, check), transport, QUVEN_ENV);
  return UsedCard{vesk_files::printable(card.run), vesk_files::sha256OfText(text), needs.verifies};
}

}  // namespace vesk_analyze
