// Growing arrays and open addressing tables: cost an operation, and bytes a key.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "util/quven_string.h"
#include "util/quven_xaray.h"
#include "util/quven_xashtable.h"

namespace {

constexpr unsigned seed = 20240229;

/// An account for one benchmark; what is left in it at the end is a leak and stops the run.
class Account {
 public:
  Account() { env.activate(); }
  ~Account() {
    if (env.getBytesInUse() == 0) return;
    std::fputs("the account is not empty at the end of a benchmark\n", stderr);
    std::abort();
  }
  QUVENEnv env;
};

std::vector<long> randomKeys(long n) {
  std::mt19937_64 generator(seed);
  std::vector<long> keys(static_cast<std::size_t>(n));
  // Numbers of ten digits, as those of callers.
  for (long& key : keys) key = static_cast<long>(generator() % 10000000000UL);
  return keys;
}

std::vector<QUVENStringWithHash> randomNames(long n) {
  std::vector<QUVENStringWithHash> names;
  for (const long key : randomKeys(n)) names.emplace_back("Field_" + std::to_string(key));
  return names;
}

/// Proves that a table gives every key the index that its first insertion asks for.
template <class Table, class Key>
bool givesDenseIndices(const Table& table, const std::vector<Key>& keys) {
  std::unordered_map<std::string, long> expected;
  for (const Key& key : keys) {
    std::string text;
    if constexpr (std::is_same_v<Key, long>) {
      text = std::to_string(key);
    } else {
      text = key.str();
    }
    const auto [place, isNew] = expected.emplace(text, static_cast<long>(expected.size()) + 1);
    if (table.getIndex(key) != place->second) return false;
  }
  return table.getLiveCount() == static_cast<long>(expected.size());
}

template <class Key>
std::vector<Key> keysOf(long n) {
  if constexpr (std::is_same_v<Key, long>) {
    return randomKeys(n);
  } else {
    return randomNames(n);
  }
}

template <class Key>
void fill(QUVENObjectIndexXAshTable<Key>& table, const std::vector<Key>& keys, const QUVENEnvHandle& env) {
  for (const Key& key : keys) table.insert(key, QUVEN_ENV);
}

template <class Key>
void BM_XAshTableInsert(benchmark::State& state) {
  Account account;
  QUVENEnv& env = account.env;
  const std::vector<Key> keys = keysOf<Key>(state.range(0));
  QUVENObjectIndexXAshTable<Key> proof;
  fill(proof, keys, QUVEN_ENV);
  if (!givesDenseIndices(proof, keys)) state.SkipWithError("wrong index");
  state.counters["tableBytesPerKey"] = static_cast<double>(env.getBytesInUse()) / static_cast<double>(keys.size());
  proof.deleteMemory(QUVEN_ENV);
  for (auto _ : state) {
    QUVENObjectIndexXAshTable<Key> table;
    fill(table, keys, QUVEN_ENV);
    benchmark::DoNotOptimize(table.getLiveCount());
    table.deleteMemory(QUVEN_ENV);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Key>
void BM_XAshTableFind(benchmark::State& state) {
  Account account;
  QUVENEnv& env = account.env;
  std::vector<Key> keys = keysOf<Key>(state.range(0));
  QUVENObjectIndexXAshTable<Key> table;
  fill(table, keys, QUVEN_ENV);
  if (!givesDenseIndices(table, keys)) state.SkipWithError("wrong index");
  // Asked in another order than they came in, so that the memory is visited at random.
  std::shuffle(keys.begin(), keys.end(), std::mt19937(seed));
  for (auto _ : state) {
    long sum = 0;
    for (const Key& key : keys) sum += table.getIndex(key);
    benchmark::DoNotOptimize(sum);
  }
  table.deleteMemory(QUVEN_ENV);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_XAshTableFindAbsent(benchmark::State& state) {
  Account account;
  QUVENEnv& env = account.env;
  const std::vector<long> keys = randomKeys(state.range(0));
  QUVENObjectIndexXAshTable<long> table;
  fill(table, keys, QUVEN_ENV);
  for (const long key : keys) {
    if (table.getIndex(-1 - key) != 0) state.SkipWithError("found what is absent");
  }
  for (auto _ : state) {
    long sum = 0;
    for (const long key : keys) sum += table.getIndex(-1 - key);
    benchmark::DoNotOptimize(sum);
  }
  table.deleteMemory(QUVEN_ENV);
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_XaRayAutoExtend(benchmark::State& state) {
  Account account;
  QUVENEnv& env = account.env;
  const long n = state.range(0);
  const auto grow = [&](QUVENXaRay<double>& array) {
    for (long i = 1; i <= n; ++i) {
      array.autoExtend(i, QUVEN_ENV);
      array[i] = static_cast<double>(i);
    }
  };
  QUVENXaRay<double> proof;
  grow(proof);
  if (proof.getSize() != n) state.SkipWithError("wrong size");
  for (long i = 1; i <= n; ++i) {
    if (proof[i] != static_cast<double>(i)) state.SkipWithError("wrong cell");
  }
  proof.deleteMemory(QUVEN_ENV);
  for (auto _ : state) {
    QUVENXaRay<double> array;
    grow(array);
    benchmark::DoNotOptimize(array.begin());
    array.deleteMemory(QUVEN_ENV);
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * n * static_cast<long>(sizeof(double)));
}

void BM_HashBytes(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  if (hashBytes("abc", 3, 0) != 85451877U) state.SkipWithError("wrong hash");
  for (auto _ : state) benchmark::DoNotOptimize(hashBytes(text.data(), text.size(), 0));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK_TEMPLATE(BM_XAshTableInsert, long)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK_TEMPLATE(BM_XAshTableInsert, QUVENStringWithHash)->Arg(1000)->Arg(100000)->Arg(300000);
BENCHMARK_TEMPLATE(BM_XAshTableFind, long)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK_TEMPLATE(BM_XAshTableFind, QUVENStringWithHash)->Arg(1000)->Arg(100000)->Arg(300000);
BENCHMARK(BM_XAshTableFindAbsent)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(BM_XaRayAutoExtend)->Arg(100)->Arg(10000)->Arg(1000000);
BENCHMARK(BM_HashBytes)->Arg(8)->Arg(32)->Arg(256);

}  // namespace

int main(int argc, char** argv) {
#ifndef NDEBUG
  std::fputs("a debug build says nothing about speed\n", stderr);
  return 1;
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
