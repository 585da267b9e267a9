// The loader against the literal one, over random settings, record files and sequences of runs.
//
// VESK_LITERAL_ROUNDS multiplies the number of cases. A failure prints the seed of its case; VESK_LITERAL_SEED runs
// the one case with that seed.

#include "literal_comparison.h"

#include <cstdlib>

#include "literal_cases.h"
#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

/// The number in a variable of the environment; `otherwise` if it is not set.
std::uint64_t numberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

struct Shard {
  RunKind kind;
  std::uint64_t number;  ///< its seeds begin at number times 1e9
};

void PrintTo(const Shard& shard, std::ostream* out) { *out << "shard " << shard.number; }

class LiteralComparison : public LoaderTest, public ::testing::WithParamInterface<Shard> {
 protected:
  /// Compares cases; one in `illegal` has settings against each other, none if it is 0.
  template <class Difference>
  void compare(std::uint64_t cases, std::uint32_t illegal, Difference&& difference) {
    const std::uint64_t first = numberFrom("VESK_LITERAL_SEED", GetParam().number * 1000000000);
    const bool single = std::getenv("VESK_LITERAL_SEED") != nullptr;
    const std::uint64_t count = single ? 1 : cases * numberFrom("VESK_LITERAL_ROUNDS", 1);
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
      SeededChoices choices(seed);
      LoaderCase made = makeCase(choices, GetParam().kind);
      if (illegal != 0 && choices.oneIn(illegal)) makeIllegal(choices, made.settings);
      const std::string found = difference(made, folder.path());
      ASSERT_TRUE(found.empty()) << "VESK_LITERAL_SEED=" << seed << "\n" << found;
    }
  }
};

TEST_P(LiteralComparison, EveryStepDoesWhatTheLiteralOneDoes) { compare(500, 0, differenceOfSteps); }

TEST_P(LiteralComparison, AWholeRunDoesWhatTheLiteralOneDoes) { compare(150, 25, differenceOfRuns); }

std::string shardName(const ::testing::TestParamInfo<Shard>& info) {
  const RunKind kind = info.param.kind;
  const std::string name = kind == RunKind::Table ? "Table" : kind == RunKind::Plain ? "Plain" : "PairSum";
  return name + std::to_string(info.param.number);
}

INSTANTIATE_TEST_SUITE_P(Runs, LiteralComparison,
                         ::testing::Values(Shard{RunKind::Table, 1}, Shard{RunKind::Table, 2}, Shard{RunKind::Table, 3},
                                           Shard{RunKind::Table, 4}, Shard{RunKind::Plain, 5}, Shard{RunKind::Plain, 6},
                                           Shard{RunKind::PairSum, 7}, Shard{RunKind::PairSum, 8}),
                         shardName);

}  // namespace
}  // namespace vesk_loader::testing
