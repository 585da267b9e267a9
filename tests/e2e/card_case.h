#ifndef VESK_TESTS_CARD_CASE_H
#define VESK_TESTS_CARD_CASE_H

#include <string>

#include "files/dataset_card.h"
#include "files/sha256.h"
#include "loader_case.h"

namespace vesk_e2e {

/// Datasets of loader runs with a card beside them.
class CardCase : public LoaderCase {
 protected:
  /// A loader run over 200 callers in cliques of four, who call each other; the dataset is `outputFile`.
  void load(const std::string& statements) {
    std::vector<std::string> lines;
    for (int caller = 1; caller <= 200; ++caller) {
      const int first = (caller - 1) / 4 * 4 + 1;
      for (int callee = first; callee < first + 4; ++callee) {
        if (callee == caller) continue;
        const std::string key = std::to_string(caller);
        lines.push_back(std::string(6 - key.size(), ' ') + key + " " + std::to_string(1000 + callee).substr(1));
      }
    }
    records("a", lines);
    parameters("fields 1-6 8-10; Key 1; " + statements);
    run();
    ASSERT_EQ(result.status, 0) << result.out;
  }
  vesk_files::CardFile fileOf(const std::string& name) const {
    return {name, std::filesystem::file_size(path(name)), vesk_files::sha256OfFile(path(name))};
  }
  /// The card of the files as they are now; `parts` is 0 for a single file.
  vesk_files::DatasetCard cardOf(const std::string& dataset, vesk_files::DatasetKind kind, int parts = 0) const {
    vesk_files::DatasetCard card;
    card.kind = kind;
    card.run = "2026-11-21-1";
    card.version = "2.0.6";
    for (int part = 0; part < std::max(parts, 1); ++part) {
      const std::string name = parts == 0 ? dataset : dataset + "." + std::to_string(part);
      card.parts.push_back(fileOf(name));
      if (kind != vesk_files::DatasetKind::Payload) card.companions.push_back(fileOf(name + ".info"));
    }
    return card;
  }
  void writeCardOf(const std::string& dataset, vesk_files::DatasetKind kind, int parts = 0) const {
    writeFile(vesk_files::cardPath(dataset), vesk_files::writeCard(cardOf(dataset, kind, parts)));
  }
  /// Changes one bit in the middle of a file.
  void changeBit(const std::string& name) const {
    std::string bytes = content(name);
    bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
    writeFile(name, bytes);
  }
};

}  // namespace vesk_e2e

#endif  // VESK_TESTS_CARD_CASE_H
