// Any bytes as a process file, under settings that the first byte chooses. Reading ends orderly; what was read is what
// the literal loader reads, and what is written from it reads back as the same tables.

#include "fuzz_support.h"
#include "loader/literal_loader.h"
#include "loader_common.h"
#include "output_files.h"
#include "process_file.h"

using namespace vesk_loader;
using vesk_loader::testing::LiteralLoader;
using vesk_loader::testing::LiteralTermination;

namespace {

LoaderSettings chosenSettings(std::uint8_t choice) {
  LoaderSettings settings;
  settings.keyField = 0;
  settings.sparse = 1;
  const bool pairSum = choice % 3 == 2;
  if (choice % 3 == 0) settings.cyclicTableSize = 3;
  if (pairSum) {
    settings.pairSumFlag = 1;
  } else {
    settings.payloadInputs.assign(choice / 3 % 3, 1);
  }
  if (choice / 9 % 2 == 1) settings.dateField = 2;
  if (choice / 18 % 2 == 1) settings.outputFormat = OutputFormat::XML;
  if (choice / 36 % 2 == 1 && !pairSum) settings.sparse = 0;
  if (choice / 72 % 2 == 1 && !pairSum) settings.outputFormat = OutputFormat::CSV;
  settings.sortCyclicTable = choice < 144;
  settings.distinctCyclicTable = choice >= 180;
  return settings;
}

FuzzRun readFile(const std::string& path, const LoaderSettings& settings, LoaderTables& tables) {
  scan_statistics() = ScanStatistics();
  return fuzzRun([&] { REQUIRE(read_process_file(path, settings, tables) == 1); });
}

/// The literal loader keeps a record for each key; a file with a key twice is foreign to it.
void compareWithLiteral(const LoaderSettings& settings, const std::string& path, const std::string& bytes,
                        const FuzzRun& real, const std::string* written) {
  LiteralLoader literal(settings, {}, 1);
  literal.files[path] = bytes;
  bool terminated = false;
  try {
    literal.readProcessFile(path);
  } catch (const LiteralTermination&) {
    terminated = true;
  }
  REQUIRE(real.out == literal.out);
  REQUIRE(real.terminated == terminated);
  if (terminated || literal.tables.keys.size() != literal.processRecords) return;
  REQUIRE(scan_statistics().processRecords == literal.processRecords);
  literal.writeProcessFile("written");
  REQUIRE(written != nullptr && *written == literal.files["written"]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  if (size == 0) return 0;
  const LoaderSettings settings = chosenSettings(data[0]);
  const std::span<const std::uint8_t> bytes(data + 1, size - 1);
  const std::string path = folder.write("process", bytes);
  const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());

  LoaderTables tables;
  const FuzzRun reading = readFile(path, settings, tables);
  if (reading.terminated) {
    compareWithLiteral(settings, path, text, reading, nullptr);
    return 0;
  }
  const std::string written = folder.path("written");
  REQUIRE(!fuzzRun([&] { write_process_file(written, tables); }).terminated);
  const std::string first = folder.read("written");
  compareWithLiteral(settings, path, text, reading, &first);

  LoaderTables again;
  REQUIRE(!readFile(written, settings, again).terminated);
  REQUIRE(!fuzzRun([&] { write_process_file(folder.path("again"), again); }).terminated);
  REQUIRE(folder.read("again") == first);

  if (settings.dateField != -1) {
    REQUIRE(!fuzzRun([&] { drop_old_entries(again, 20120302, data[0] % 2 + 1U); }).terminated);
  }
  fuzzRun([&] { write_pml_file(folder.path("out"), again, settings); });
  return 0;
}
