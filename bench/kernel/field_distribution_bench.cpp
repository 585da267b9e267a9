// What distributions cost: ns per value of a pass that fills the sample, of a pass over the bins, and of a pass over
// fields that gather nothing, each with the delivery of the values; and the time that a sample of 10,000 needs through
// a stream. The table has heavy-tailed columns, columns with many ties, and missing values. Each benchmark checks its
// result against a plain computation before it is timed.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_num_field.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_env_aux.h"
#include "util/quven_stream_values.h"

namespace {

constexpr long columns = 21;
constexpr long records = 300'000;
constexpr double missing = -99999.0;

/// The values, record after record.
const std::vector<double>& table() {
  static const std::vector<double> values = [] {
    std::mt19937_64 random(17);
    std::lognormal_distribution<double> amounts(2, 1.5);
    std::vector<double> made(static_cast<std::size_t>(columns * records));
    for (std::size_t i = 0; i < made.size(); ++i) {
      const std::size_t column = i % columns;
      if (random() % 32 == 0) {
        made[i] = missing;
      } else if (column % 3 == 1) {
        made[i] = std::floor(amounts(random));  // many ties
      } else {
        made[i] = amounts(random);
      }
    }
    return made;
  }();
  return values;
}

double cell(long record, long column) { return table()[static_cast<std::size_t>(record * columns + column)]; }

class Fields {
 public:
  explicit Fields(bool gathering) {
    environment.activate();
    for (long i = 0; i < columns; ++i) {
      QUVENOwnPtr<QUVENNumField>& field = fields.emplace_back(quvenMake<QUVENNumField>(QUVEN_ENV));
      field->setName("Column" + std::to_string(i));
      if (gathering) field->setSampleFlag(true, QUVEN_ENV);
    }
  }
  ~Fields() {
    for (QUVENOwnPtr<QUVENNumField>& field : fields) field.reset(QUVEN_ENV);
    environment.getAux().deleteMemory(QUVEN_ENV);
  }
  Fields(const Fields&) = delete;
  Fields& operator=(const Fields&) = delete;

  void begin() {
    for (QUVENOwnPtr<QUVENNumField>& field : fields) field->beginDistributionPass(QUVEN_ENV);
  }
  void show() {
    const double* value = table().data();
    for (long record = 0; record < records; ++record) {
      for (QUVENOwnPtr<QUVENNumField>& field : fields) {
        if (*value == missing) {
          field->setMissing();
        } else {
          field->setNumValue(*value);
        }
        ++value;
      }
      for (QUVENOwnPtr<QUVENNumField>& field : fields) {
        field->updateDistribution(static_cast<std::uint32_t>(record), QUVEN_ENV);
      }
    }
  }
  void end() {
    for (QUVENOwnPtr<QUVENNumField>& field : fields) field->endDistributionPass(QUVEN_ENV);
  }
  const QUVENNumFieldDist& dist(long column) const {
    return *fields[static_cast<std::size_t>(column)]->getDistribution();
  }
  const QUVENNumField& field(long column) const { return *fields[static_cast<std::size_t>(column)]; }

 private:
  QUVENEnv environment;
  QUVENEnv* env = &environment;
  std::vector<QUVENOwnPtr<QUVENNumField>> fields;
};

/// The elements with the highest priorities, sorted.
std::vector<std::pair<std::uint32_t, double>> expectedSample(const QUVENNumField& field, long column) {
  std::vector<std::pair<std::uint32_t, double>> all;
  for (long record = 0; record < records; ++record) {
    const double value = cell(record, column);
    if (value == missing) continue;
    all.emplace_back(hashPair(static_cast<std::uint32_t>(record), field.getName().hash()), value);
  }
  std::sort(all.begin(), all.end());
  all.erase(all.begin(), all.end() - QUVENNumField::DefaultSampleCapacity);
  return all;
}

bool sampleIsRight(const QUVENNumField& field, long column) {
  std::vector<std::pair<std::uint32_t, double>> sample;
  for (const auto& element : field.getDistribution()->getSample()) {
    sample.emplace_back(element.getPriority(), element.getValue());
  }
  std::sort(sample.begin(), sample.end());
  return sample == expectedSample(field, column);
}

/// Whether the bins have what a plain walk over them finds, to the bit.
bool binsAreRight(const QUVENNumFieldDist& dist, long column) {
  std::vector<QUVENNumFieldBin> bins;
  for (long i = 1; i <= dist.getNumBins(); ++i) {
    const QUVENNumFieldBin& bin = dist.getBin(i);
    bins.emplace_back(bin.getLoEnd(), bin.getHiEnd(), bin.includesLoEnd(), bin.includesHiEnd());
  }
  for (long record = 0; record < records; ++record) {
    const double value = cell(record, column);
    if (value == missing) continue;
    std::find_if(bins.begin(), bins.end(), [&](const QUVENNumFieldBin& bin) {
      return bin.reachesUpTo(value);
    })->update(value);
  }
  for (long i = 1; i <= dist.getNumBins(); ++i) {
    QUVENNumFieldBin& expected = bins[static_cast<std::size_t>(i - 1)];
    expected.finishPass();
    const QUVENNumFieldBin& bin = dist.getBin(i);
    if (bin.getCount() != expected.getCount() || bin.getMean() != expected.getMean() ||
        bin.getVariance() != expected.getVariance() || bin.getMaxValue() != expected.getMaxValue() ||
        bin.getMinValue() != expected.getMinValue()) {
      return false;
    }
  }
  return !bins.empty();
}

void countValues(benchmark::State& state) {
  constexpr double secondsInNs = 1e-9;
  state.counters["ns_per_value"] =
      benchmark::Counter(static_cast<double>(state.iterations() * columns * records) * secondsInNs,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// The delivery alone: fields whose pass does not ask for their distribution.
void BM_NothingGathered(benchmark::State& state) {
  Fields fields(false);
  for (auto _ : state) fields.show();
  for (long i = 0; i < columns; ++i) {
    if (fields.field(i).hasDistribution()) state.SkipWithError("a field has a distribution");
  }
  countValues(state);
}

/// A pass over all records that fills the sample and goes on with a full one.
void BM_SamplePass(benchmark::State& state) {
  Fields fields(true);
  fields.show();
  for (long i = 0; i < columns; ++i) {
    if (!sampleIsRight(fields.field(i), i)) state.SkipWithError("the sample is another one");
  }
  for (auto _ : state) {
    fields.begin();
    fields.show();
  }
  countValues(state);
}

void BM_BinPass(benchmark::State& state) {
  Fields fields(true);
  fields.show();
  fields.end();
  fields.begin();
  fields.show();
  fields.end();
  for (long i = 0; i < columns; ++i) {
    if (!binsAreRight(fields.dist(i), i)) state.SkipWithError("the bins are other ones");
  }
  for (auto _ : state) {
    fields.begin();
    fields.show();
  }
  countValues(state);
}

/// A field of a class with a full sample, and its image.
template <class Field>
struct SampledField {
  SampledField() {
    environment.activate();
    field = quvenMake<Field>(QUVEN_ENV);
    field->setName("Amount");
    field->setSampleFlag(true, QUVEN_ENV);
    for (long record = 0; record < Field::DefaultSampleCapacity; ++record) {
      if constexpr (std::is_same_v<Field, QUVENNumField>) {
        field->setNumValue(cell(record, 0));
      } else {
        field->setCatValue("value " + std::to_string(record % 1000));
      }
      field->updateDistribution(static_cast<std::uint32_t>(record), QUVEN_ENV);
    }
  }
  ~SampledField() {
    field.reset(QUVEN_ENV);
    blob.deleteMemory(QUVEN_ENV);
    environment.getAux().deleteMemory(QUVEN_ENV);
  }
  template <class Object>
  void write(const Object& object) {
    blob.clear();
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    quvenWriteObject(writer, object, QUVEN_ENV);
  }
  template <class Object>
  void read(QUVENOwnPtr<Object>& target) {
    QUVENViewBlobIO view(blob.getBytes());
    QUVENBinObjReader reader(view, QUVEN_ENV);
    quvenReadObject(reader, target, Object::typeName(), QUVEN_ENV);
  }
  std::string image() const { return {blob.getBytes().begin(), blob.getBytes().end()}; }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENOwnPtr<Field> field;
  QUVENMemoryBlobIO blob;
};

/// The image of a distribution with a full sample.
template <class Field>
void BM_SampleWrite(benchmark::State& state) {
  SampledField<Field> sampled;
  const auto& dist = *sampled.field->getDistribution();
  sampled.write(dist);
  const std::string before = sampled.image();
  for (auto _ : state) sampled.write(dist);
  if (before != sampled.image()) state.SkipWithError("the image has changed");
  state.SetBytesProcessed(state.iterations() * static_cast<long>(before.size()));
}

/// The same image read into a new distribution.
template <class Field>
void BM_SampleRead(benchmark::State& state) {
  SampledField<Field> sampled;
  QUVENEnv* env = sampled.env;
  using Dist = std::remove_cvref_t<decltype(*sampled.field->getDistribution())>;
  QUVENOwnPtr<Dist> target(QUVEN_ENV);
  sampled.write(*sampled.field->getDistribution());
  const std::string before = sampled.image();
  sampled.read(target);
  sampled.write(*target);
  if (before != sampled.image()) state.SkipWithError("the image has changed");
  for (auto _ : state) {
    state.PauseTiming();
    target.reset(QUVEN_ENV);
    state.ResumeTiming();
    sampled.read(target);
  }
  target.reset(QUVEN_ENV);
  state.SetBytesProcessed(state.iterations() * static_cast<long>(before.size()));
}

BENCHMARK(BM_NothingGathered)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SamplePass)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BinPass)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SampleWrite<QUVENNumField>)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SampleRead<QUVENNumField>)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SampleWrite<QUVENCatField>)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SampleRead<QUVENCatField>)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
