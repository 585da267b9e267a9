// Any bytes as a seed file: every line is a seed or a warning, by itself or in the count of further ones, and no other
// line is warned of.

#include <algorithm>

#include "fuzz_support.h"
#include "simple_algorithm/quven_seed_file.h"
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
  const std::string seedPath = folder.write("seeds", {data, size});
  const std::string parameters = folder.write("params.xml", "<Seed> " + seedPath + " </Seed>\n");
  const std::string text(reinterpret_cast<const char*>(data), size);
  const long lines = std::count(text.begin(), text.end(), '\n') + (text.empty() || text.back() == '\n' ? 0 : 1);

  QUVENEnv environment;
  environment.activate();
  QUVENEnv* env = &environment;
  QUVENXaRay<std::uint64_t> seeds;
  const FuzzRun run = fuzzRun([&] { quvenReadSeedFile(parameters, seeds, QUVEN_ENV); });
  REQUIRE(!run.terminated);
  long warnings = occurrences(run.out, "Warning;|5003;|");
  REQUIRE(warnings <= 20);
  const std::size_t rest = run.out.find(" further lines are ignored;|");
  if (rest != std::string::npos) {
    REQUIRE(warnings == 20);
    warnings += std::atol(run.out.c_str() + run.out.rfind(' ', rest - 1));
  }
  REQUIRE(occurrences(run.out, "Warning;|5009;|") == (seeds.getSize() == 0 ? 1 : 0));
  REQUIRE(seeds.getSize() + warnings == lines);
  for (const std::uint64_t seed : seeds) REQUIRE(seed != 0);
  QUVEN_DELETE(seeds);
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
