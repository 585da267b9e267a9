// Object streams: bytes a second of arrays and of a tree of small objects, beside a plain copy of the same payload into
// a memory stream, and the allocations an object costs. Bytes are those of the payload.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_registration.h"

class QUVENBenchArrays : public QUVENObjectOf<QUVENBenchArrays, QUVENObject> {
 public:
  QUVEN_MEMBER(ivDoubles, QUVENXaRay<double>);
  QUVEN_MEMBER(ivLongs, QUVENXaRay<std::int64_t>);
  QUVEN_MEMBER(ivInts, QUVENXaRay<std::int32_t>);
  QUVEN_MEMBER(ivBytes, QUVENXaRay<std::uint8_t>);
};

class QUVENBenchTree : public QUVENObjectOf<QUVENBenchTree, QUVENObject> {
 public:
  QUVEN_MEMBER(ivNumber, std::int32_t) = 0;
  QUVEN_MEMBER(ivWeight, double) = 0;
  QUVEN_MEMBER(ivName, std::string);
  QUVEN_MEMBER(ivLeft, QUVENOwnPtr<QUVENBenchTree>);
  QUVEN_MEMBER(ivRight, QUVENOwnPtr<QUVENBenchTree>);
};

QUVEN_REGISTER(QUVENBenchArrays);
QUVEN_REGISTER(QUVENBenchTree);

namespace {

long allocations = 0;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t bytes) {
  ++allocations;
  if (void* block = std::malloc(bytes)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  ++allocations;
  return std::malloc(bytes);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }

namespace {

struct Bench {
  Bench() { environment.activate(); }

  void write(const QUVENObject& object) {
    blob.clear();
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    quvenWriteObject(writer, object, QUVEN_ENV);
  }

  template <class T>
  void read(QUVENOwnPtr<T>& pointer) {
    blob.rewind();
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, pointer, T::typeName(), QUVEN_ENV);
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENMemoryBlobIO blob;
};

/// Numbers of every length in bytes, as ids and counts have.
std::int64_t mixedNumber(long i) {
  const std::uint64_t mixed = static_cast<std::uint64_t>(i) * 0x9e3779b97f4a7c15U;
  return static_cast<std::int64_t>(mixed >> (mixed & 63U));
}

template <class Array>
void fill(Array& array, long size, QUVENEnv* env) {
  array.setSize(size, QUVEN_ENV);
  for (long i = 1; i <= size; ++i) array[i] = static_cast<std::remove_reference_t<decltype(array[1])>>(mixedNumber(i));
}

struct Doubles {
  static constexpr auto member = &QUVENBenchArrays::ivDoubles;
  using Type = double;
};
struct Longs {
  static constexpr auto member = &QUVENBenchArrays::ivLongs;
  using Type = std::int64_t;
};
struct Ints {
  static constexpr auto member = &QUVENBenchArrays::ivInts;
  using Type = std::int32_t;
};
struct Bytes {
  static constexpr auto member = &QUVENBenchArrays::ivBytes;
  using Type = std::uint8_t;
};

template <class Kind>
void BM_ObjectStreamWrite(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  auto object = quvenMake<QUVENBenchArrays>(QUVEN_ENV);
  fill((*object).*Kind::member, state.range(0), env);
  for (auto _ : state) bench.write(*object);
  state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<long>(sizeof(typename Kind::Type)));
  state.counters["stream bytes"] = static_cast<double>(bench.blob.getSize());
  QUVEN_DELETE(object);
  QUVEN_DELETE(bench.blob);
}

template <class Kind>
void BM_ObjectStreamRead(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  auto object = quvenMake<QUVENBenchArrays>(QUVEN_ENV);
  auto& array = (*object).*Kind::member;
  fill(array, state.range(0), env);
  bench.write(*object);
  QUVENOwnPtr<QUVENBenchArrays> copy(QUVEN_ENV);
  bench.read(copy);
  const auto& readArray = (*copy).*Kind::member;
  if (readArray.getSize() != array.getSize() || !std::equal(array.begin(), array.end(), readArray.begin())) {
    state.SkipWithError("the array came back changed");
  }
  for (auto _ : state) bench.read(copy);
  state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<long>(sizeof(typename Kind::Type)));
  QUVEN_DELETE(object);
  QUVEN_DELETE(copy);
  QUVEN_DELETE(bench.blob);
}

/// The bound: the payload as it stands, into a memory stream and out of it.
void BM_PlainCopyIn(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  QUVENXaRay<std::uint8_t> payload;
  fill(payload, state.range(0), env);
  for (auto _ : state) {
    bench.blob.clear();
    bench.blob.write(payload.begin(), static_cast<std::size_t>(payload.getSize()), QUVEN_ENV);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  QUVEN_DELETE(payload);
  QUVEN_DELETE(bench.blob);
}

void BM_PlainCopyOut(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  QUVENXaRay<std::uint8_t> payload;
  fill(payload, state.range(0), env);
  bench.blob.write(payload.begin(), static_cast<std::size_t>(payload.getSize()), QUVEN_ENV);
  for (auto _ : state) {
    bench.blob.rewind();
    const std::size_t taken = bench.blob.read(payload.begin(), static_cast<std::size_t>(payload.getSize()), QUVEN_ENV);
    benchmark::DoNotOptimize(taken);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
  QUVEN_DELETE(payload);
  QUVEN_DELETE(bench.blob);
}

QUVENOwnPtr<QUVENBenchTree> makeTree(int depth, QUVENEnv* env) {
  auto tree = quvenMake<QUVENBenchTree>(QUVEN_ENV);
  tree->ivNumber = depth;
  tree->ivWeight = 0.5 * depth;
  tree->ivName = "level " + std::to_string(depth);
  if (depth > 1) {
    tree->ivLeft = makeTree(depth - 1, env);
    tree->ivRight = makeTree(depth - 1, env);
  }
  return tree;
}

constexpr long objectsOfTree(long depth) { return (1L << depth) - 1; }

void BM_ObjectStreamWriteTree(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  auto tree = makeTree(static_cast<int>(state.range(0)), env);
  bench.write(*tree);
  const long before = allocations;
  for (auto _ : state) bench.write(*tree);
  const double objects = static_cast<double>(state.iterations() * objectsOfTree(state.range(0)));
  state.counters["allocations/object"] = static_cast<double>(allocations - before) / objects;
  state.SetItemsProcessed(static_cast<long>(objects));
  state.SetBytesProcessed(state.iterations() * static_cast<long>(bench.blob.getSize()));
  QUVEN_DELETE(tree);
  QUVEN_DELETE(bench.blob);
}

void BM_ObjectStreamReadTree(benchmark::State& state) {
  Bench bench;
  QUVENEnv* env = bench.env;
  auto tree = makeTree(static_cast<int>(state.range(0)), env);
  bench.write(*tree);
  QUVEN_DELETE(tree);
  const long before = allocations;
  for (auto _ : state) {
    QUVENOwnPtr<QUVENBenchTree> copy(QUVEN_ENV);
    bench.read(copy);
    QUVEN_DELETE(copy);
  }
  const double objects = static_cast<double>(state.iterations() * objectsOfTree(state.range(0)));
  state.counters["allocations/object"] = static_cast<double>(allocations - before) / objects;
  state.SetItemsProcessed(static_cast<long>(objects));
  state.SetBytesProcessed(state.iterations() * static_cast<long>(bench.blob.getSize()));
  QUVEN_DELETE(bench.blob);
}

void sizes(benchmark::internal::Benchmark* bench) { bench->Arg(1000)->Arg(100'000)->Arg(4'000'000); }

BENCHMARK(BM_ObjectStreamWrite<Doubles>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamRead<Doubles>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamWrite<Bytes>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamRead<Bytes>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamWrite<Longs>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamRead<Longs>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamWrite<Ints>)->Apply(sizes);
BENCHMARK(BM_ObjectStreamRead<Ints>)->Apply(sizes);
BENCHMARK(BM_PlainCopyIn)->Arg(8000)->Arg(800'000)->Arg(32'000'000);
BENCHMARK(BM_PlainCopyOut)->Arg(8000)->Arg(800'000)->Arg(32'000'000);
BENCHMARK(BM_ObjectStreamWriteTree)->Arg(5)->Arg(10)->Arg(15);
BENCHMARK(BM_ObjectStreamReadTree)->Arg(5)->Arg(10)->Arg(15);

}  // namespace

BENCHMARK_MAIN();
