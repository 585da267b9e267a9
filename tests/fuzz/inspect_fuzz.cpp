// Any bytes as a dataset or a process file: the inspector calls it sound or not, or refuses it with a message. The
// first byte chooses the form. A sound sparse dataset holds whole triples; a sound process file holds whole doubles.

#include <sstream>
#include <stdexcept>

#include "fuzz_support.h"
#include "inspect_dataset.h"
#include "inspect_process.h"

namespace {

const FuzzFolder& folder() {
  static const FuzzFolder instance;
  return instance;
}

bool inspect(unsigned choice, const std::string& path, std::size_t size) {
  std::ostringstream out;
  bool sound = false;
  if (choice % 2 == 0) {
    vesk_inspect::DatasetOptions options;
    options.path = path;
    options.form = choice % 4 == 0 ? vesk_inspect::DatasetForm::Sparse : vesk_inspect::DatasetForm::Dense;
    options.columns = choice % 4 == 0 ? 3 : 1 + choice / 4 % 5;
    sound = inspectDataset(options, out);
    REQUIRE(!sound || size % (8 * *options.columns) == 0);
  } else {
    vesk_inspect::ProcessOptions options;
    options.path = path;
    options.shape.dates = (choice & 2) != 0;
    options.shape.pairSum = (choice & 4) != 0;
    options.shape.payloads = choice / 8 % 4;
    sound = inspectProcess(options, out);
    REQUIRE(!sound || size % 8 == 0);
  }
  const std::string text = out.str();
  REQUIRE((text.find("checks: sound") != std::string::npos) == sound);
  return sound;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string path = folder().write("file", {data + 1, size - 1});
  try {
    inspect(data[0], path, size - 1);
  } catch (const std::runtime_error& refused) {
    REQUIRE(std::string(refused.what()).find(path) != std::string::npos);
  }
  return 0;
}
