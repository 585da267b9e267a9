// Any bytes as the card of a dataset: it is read, written and compared with a folder, or refused in one line. No file
// outside the folder is ever named.

#include <algorithm>
#include <stdexcept>

#include "files/card_files.h"
#include "files/dataset_card.h"
#include "files/sha256.h"
#include "fuzz_support.h"

namespace {

bool isOneLine(const std::string& text) {
  return !text.empty() && text.size() < 2000 && std::ranges::none_of(text, [](char c) { return c >= 0 && c < ' '; });
}

void checkFiles(const std::vector<vesk_files::CardFile>& files) {
  for (const vesk_files::CardFile& file : files) {
    REQUIRE(!file.name.empty() && file.name.find('/') == std::string::npos &&
            file.name.find('\0') == std::string::npos);
    REQUIRE(file.name != "." && file.name != "..");
    REQUIRE(vesk_files::isSha256(file.sha256));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  static const std::string dataset = folder.write("d.bin", std::string("data"));
  static const std::string info = folder.write("d.bin.info", std::string("columns"));
  vesk_files::DatasetCard card;
  try {
    card = vesk_files::readCard(std::string(reinterpret_cast<const char*>(data), size), "card");
  } catch (const std::runtime_error& error) {
    REQUIRE(isOneLine(error.what()));
    REQUIRE(std::string(error.what()).starts_with("card: the card "));
    return 0;
  }
  REQUIRE(!card.parts.empty());
  checkFiles(card.parts);
  checkFiles(card.companions);
  const std::string text = vesk_files::writeCard(card);
  REQUIRE(vesk_files::writeCard(vesk_files::readCard(text, "card")) == text);
  for (const vesk_files::CardCheck check : {vesk_files::CardCheck::Sizes, vesk_files::CardCheck::Hashes}) {
    const auto mismatch = vesk_files::compareWithCard(dataset, card, check);
    if (!mismatch) {
      REQUIRE(card.parts.size() == 1 && card.parts.front().name == "d.bin" && card.parts.front().bytes == 4);
      continue;
    }
    REQUIRE(isOneLine(mismatch->text) && isOneLine(mismatch->file));
    REQUIRE(mismatch->file.starts_with(folder.path()));
  }
  return 0;
}
