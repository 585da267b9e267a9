// Any bytes as a seed file: every line is a seed or a warning, by itself or in the count of further ones, and no other
// line is warned of.

#include <algorithm>

#include "fuzz_support.h"
#include "simple_algorithm/quven_seed_file.h"

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
  std::vector<QUVENSeed> seeds;
  const FuzzRun run = fuzzRun([&] { quvenReadSeedFile(parameters, {}, seeds, QUVEN_ENV); });
  REQUIRE(!run.terminated);
  long warnings = occurrences(run.out, "Warning;|5003;|");
  REQUIRE(warnings <= 20);
  const std::size_t rest = run.out.find(" further lines are ignored;|");
  if (rest != std::string::npos) {
    REQUIRE(warnings == 20);
    warnings += std::atol(run.out.c_str() + run.out.rfind(' ', rest - 1));
  }
  REQUIRE(occurrences(run.out, "Warning;|5009;|") == (seeds.empty() ? 1 : 0));
  REQUIRE(static_cast<long>(seeds.size()) + warnings == lines);
  for (const QUVENSeed& seed : seeds) REQUIRE(seed.number != 0 && seed.energy == 1);

  // With weights a line that is a seed without them is one with them, or has a weight. As CSV the text is read whole,
  // or refused.
  for (const QUVENSeedForm& form : {QUVENSeedForm{true, "", ""}, QUVENSeedForm{true, "a", "b"}}) {
    std::vector<QUVENSeed> weighted;
    const FuzzRun second = fuzzRun([&] { quvenReadSeedFile(parameters, form, weighted, QUVEN_ENV); });
    REQUIRE(!second.terminated || !form.column.empty());
    REQUIRE(!form.column.empty() || weighted.size() >= seeds.size());
    for (const QUVENSeed& seed : weighted) REQUIRE(seed.number != 0 && seed.energy > 0);
  }
  REQUIRE(environment.getBytesInUse() == 0);
  return 0;
}
