// Any bytes as a record file, under settings that the first bytes choose: the loader does what the literal one does,
// twice in a row on one process file.

#include "fuzz_support.h"
#include "loader/literal_cases.h"
#include "loader/literal_comparison.h"

using namespace vesk_loader::testing;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  std::span<const std::uint8_t> bytes(data, size);
  if (bytes.size() < 2) return 0;
  const std::size_t settingsSize = std::min<std::size_t>(bytes[0], bytes.size() - 2);
  constexpr std::array<RunKind, 3> kinds = {RunKind::Table, RunKind::Plain, RunKind::PairSum};
  const RunKind kind = kinds[bytes[1] % kinds.size()];
  ByteChoices choices(bytes.subspan(2, settingsSize));
  const auto records = bytes.subspan(2 + settingsSize);

  LoaderCase made = makeSettings(choices, kind);
  LoaderCase::Run run;
  run.cyclicTableSize = made.settings.cyclicTableSize;
  run.startDate = 20120306;
  run.entries = {{"f0.cdr", std::string(reinterpret_cast<const char*>(records.data()), records.size())}};
  made.runs = {run, run};

  const std::string found = differenceOfSteps(made, folder.path());
  if (!found.empty()) std::fputs(found.c_str(), stderr);
  REQUIRE(found.empty());
  return 0;
}
