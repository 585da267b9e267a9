// Any bytes as a kernel values file: every line is a pair, and of the lines that are none the first is named.

#include <algorithm>

#include "fuzz_support.h"
#include "simple_algorithm/quven_kernel_values_file.h"
#include "util/quven_own_ptr.h"

namespace {

long occurrences(const std::string& text, const std::string& wanted) {
  long count = 0;
  for (std::size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + wanted.size())) ++count;
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzFolder folder;
  const std::string path = folder.write("values", {data, size});
  const std::string text(reinterpret_cast<const char*>(data), size);
  const long lines = std::count(text.begin(), text.end(), '\n') + (text.empty() || text.back() == '\n' ? 0 : 1);

  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENXaRay<std::uint64_t> pairs;
  const FuzzRun run = fuzzRun([&] { quvenReadKernelValuesFile(path, pairs, QUVEN_ENV); });
  REQUIRE(!run.terminated);
  REQUIRE(pairs.getSize() == 2 * lines);
  REQUIRE(run.out.ends_with("Read " + std::to_string(lines) + " kernel values from file\n"));
  long ignored = 0;
  for (long i = 1; i <= pairs.getSize(); i += 2) {
    ignored += std::min(pairs[i], pairs[i + 1]) == 0 && std::max(pairs[i], pairs[i + 1]) == 0xffffffffU ? 1 : 0;
  }
  REQUIRE(occurrences(run.out, "Warning;|5001;|") == ignored);
  REQUIRE(occurrences(run.out, "Warning;|5005;|") <= 1);

  // A line by itself is what it is among others.
  const std::size_t end = std::min(text.find('\n'), text.size());
  QUVENXaRay<std::uint64_t> first;
  const std::string line = text.substr(0, end) + "\n";
  folder.TemporaryFolder::write("first", line);
  fuzzRun([&] { quvenReadKernelValuesFile(folder.path("first"), first, QUVEN_ENV); });
  REQUIRE(first.getSize() == 2);
  REQUIRE(lines == 0 || (first[1] == pairs[1] && first[2] == pairs[2]));
  QUVEN_DELETE(first);
  QUVEN_DELETE(pairs);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
