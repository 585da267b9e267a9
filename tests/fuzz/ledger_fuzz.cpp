// Any bytes as a ledger: it is refused in one line, or every line of it is written and read again the same, and the
// days of a generation end.

#include "day/ledger.h"

#include <algorithm>
#include <stdexcept>

#include "fuzz_support.h"

namespace {

void requireOneLine(const std::string& text) {
  REQUIRE(!text.empty() && text.size() < 1000);
  REQUIRE(std::ranges::none_of(text, [](char c) { return (c >= 0 && c < ' ') || c == 127; }));
}

void requireChain(const vesk::Ledger& ledger, const vesk::LedgerLine& line) {
  try {
    const std::vector<const vesk::LedgerLine*> days = ledger.daysOf(line.generation);
    REQUIRE(!days.empty() && days.front()->generation == line.generation && days.back()->parent.empty());
    for (std::size_t i = 1; i < days.size(); ++i) REQUIRE(days[i - 1]->parent == days[i]->generation);
  } catch (const std::runtime_error& error) {
    requireOneLine(error.what());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const vesk::Ledger ledger(text, "ledger");
    REQUIRE(ledger.wholeBytes() <= size && ledger.hasCutLine() == (ledger.wholeBytes() < size));
    REQUIRE(ledger.getLines().size() == static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')));
    for (const vesk::LedgerLine& line : ledger.getLines()) {
      REQUIRE(vesk::isGenerationName(line.generation) && line.generation.starts_with(line.date + "."));
      REQUIRE(line.parent.empty() || vesk::isGenerationName(line.parent));
      const std::string written = vesk::writeLedgerLine(line);
      REQUIRE(written.find('\n') == std::string::npos);
      REQUIRE(vesk::writeLedgerLine(vesk::readLedgerLine(written)) == written);
      requireChain(ledger, line);
    }
  } catch (const std::runtime_error& error) {
    requireOneLine(error.what());
    REQUIRE(std::string(error.what()).starts_with("ledger: line "));
  }
  return 0;
}
