// The cache of final outputs, alone and in the pass driver. The runs hold on any number of ranks.

#include "passes/quven_output_cache.h"

#include "final_outputs.h"
#include "kernel/quven_num_field.h"
#include "pass_fixture.h"

namespace {

using testing::Each;

constexpr std::int32_t Channels = 3;
constexpr std::int64_t OutputBytesPerRecord = Channels * sizeof(double) + 1;

class QUVENOutputCacheRunTest : public PassTest {
 protected:
  static constexpr int Records = 100;
  static constexpr int Passes = 6;
  static constexpr int RecordsWithoutValue = Records / 5;

  struct Outcome {
    std::vector<std::int64_t> checksums;  // of the passes; empty above rank 0
    long computed = 0;                    // outputs of records on all ranks
  };

  /// Six passes with two outputs a and b, which are final from the second pass on.
  Outcome run(std::int64_t cacheBytes, std::int32_t slices, std::int32_t type = 0,
              const std::function<void(int pass, QUVENFinalOutputs& model, PassRun& run)>& action = nullptr) {
    writeNumbers(Records);
    QUVENFinalOutputs::computed = 0;
    Outcome outcome;
    {
      PassRun passRun(path, {.numChannels = Channels, .numSlices = slices, .outputCacheBytes = cacheBytes});
      QUVENFinalOutputs* model = nullptr;
      if (passRun.isRank0()) {
        model = &passRun.add<QUVENFinalOutputs>("x", "x");
        for (const char* suffix : {"a", "b"}) {
          model->addOutput(suffix, passRun.driver.getNames(), passRun.handle());
        }
        model->ivPassesLeft = Passes;
        model->ivScanType = type;
        if (action) passRun.driver.setBetweenPasses([&](int pass) { action(pass, *model, passRun); });
      }
      passRun.passes();
      if (model != nullptr) outcome.checksums = model->checksumsOfPasses;
    }
    MPI_Allreduce(&QUVENFinalOutputs::computed, &outcome.computed, 1, MPI_LONG, MPI_SUM, MPI_COMM_WORLD);
    return outcome;
  }
};

TEST_F(QUVENOutputCacheRunTest, ComputesAFinalOutputOnceAndKeepsItsBits) {
  constexpr long computedInAPass = 2 * Records;
  for (const std::int32_t slices : {0, 1, 8}) {
    SCOPED_TRACE(slices);
    const Outcome without = run(0, slices);
    const Outcome with = run(1 << 20, slices);
    EXPECT_EQ(without.computed, Passes * computedInAPass);
    // In the first two passes all of them, in the others those that have no value.
    EXPECT_EQ(with.computed, 2 * computedInAPass + (Passes - 2) * 2 * RecordsWithoutValue);
    EXPECT_EQ(with.checksums, without.checksums);
    if (isRank0()) {
      EXPECT_EQ(with.checksums.size(), static_cast<std::size_t>(Passes));
      EXPECT_THAT(with.checksums, Each(without.checksums.front()));
    }
  }
}

TEST_F(QUVENOutputCacheRunTest, KeepsTheFirstOutputsThatFit) {
  for (const std::int32_t slices : {0, 8}) {
    SCOPED_TRACE(slices);
    // A rank has at most a slice more or less than its part of the records, so one output fits and two do not.
    const std::int64_t most = (Records / count + Records / 8 + 1) * OutputBytesPerRecord;
    const Outcome with = run(most, slices);
    const Outcome without = run(0, slices);
    EXPECT_EQ(with.checksums, without.checksums);
    EXPECT_EQ(with.computed, without.computed - (Passes - 2) * (Records - RecordsWithoutValue));
    EXPECT_EQ(run(OutputBytesPerRecord, slices).computed, without.computed);
  }
}

TEST_F(QUVENOutputCacheRunTest, DropsOutputsThatNoLongerExist) {
  const auto replace = [](int pass, QUVENFinalOutputs& model, PassRun& run) {
    if (pass != 3) return;
    // As the first output b has other values than before.
    model.ivOutputs.destroyPrimitive(run.handle());
    model.ivIsFinal = 0;
    model.addOutput("b", run.driver.getNames(), run.handle());
  };
  for (const std::int32_t slices : {0, 8}) {
    SCOPED_TRACE(slices);
    const Outcome without = run(0, slices, 0, replace);
    const Outcome with = run(1 << 20, slices, 0, replace);
    EXPECT_EQ(with.checksums, without.checksums);
    EXPECT_LT(with.computed, without.computed);
    if (isRank0()) {
      EXPECT_NE(with.checksums[2], with.checksums[3]);
    }
  }
}

TEST_F(QUVENOutputCacheRunTest, IsNotUsedInPassesOverOtherRecords) {
  constexpr auto everything = static_cast<std::int32_t>(QUVENScanType::Everything);
  const Outcome without = run(0, 0, everything);
  const Outcome with = run(1 << 20, 0, everything);
  EXPECT_EQ(with.checksums, without.checksums);
  EXPECT_EQ(with.computed, without.computed);
  // A pass over everything between passes over the records of the rank.
  const auto change = [](int pass, QUVENFinalOutputs& model, PassRun&) {
    model.ivScanType = pass == 3 ? everything : 0;
  };
  EXPECT_EQ(run(1 << 20, 0, 0, change).checksums, run(0, 0, 0, change).checksums);
}

class QUVENOutputCacheTest : public testing::Test {
 protected:
  QUVENOutputCacheTest() {
    environment.activate();
    QUVENFieldGlobalVars::get(handle()).setGlobalNumChannels(Channels);
    field = quvenMake<QUVENNumField>(handle());
    field->setName("f");
    field->setComputed(true);
  }
  ~QUVENOutputCacheTest() override {
    field.reset(handle());
    environment.getAux().deleteMemory(handle());
  }
  QUVENEnvHandle handle() { return {environment, __FILE__, __LINE__, __func__}; }

  /// A pass over the records first..last, in which f has its record's number, and the values that f had before.
  std::vector<double> pass(QUVENOutputCache& cache, std::int64_t first, std::int64_t last) {
    std::vector<double> restored;
    cache.beginPass({field.get()});
    const QUVENCachedOutputs outputs(cache, {field.get()});
    for (std::int64_t record = first; record <= last; ++record) {
      field->clearValue();
      outputs.restore(record, handle());
      if (field->hasValue()) restored.push_back(field->getNumValue(handle()));
      field->setNumValue(static_cast<double>(record));
      outputs.store(record);
    }
    cache.endPass();
    return restored;
  }

  QUVENEnv environment;
  QUVENOwnPtr<QUVENNumField> field;
};

TEST_F(QUVENOutputCacheTest, NeedsAPassForTheRangeAndOneForTheValues) {
  QUVENOutputCache cache(1 << 20, Channels);
  EXPECT_TRUE(pass(cache, 5, 8).empty());
  EXPECT_FALSE(cache.has("f"));
  EXPECT_TRUE(pass(cache, 5, 8).empty());
  EXPECT_TRUE(cache.has("f"));
  EXPECT_EQ(cache.getBytes(), 4 * OutputBytesPerRecord);
  EXPECT_EQ(pass(cache, 5, 8), (std::vector<double>{5, 6, 7, 8}));
  cache.beginPass({});
  EXPECT_FALSE(cache.has("f"));
  EXPECT_EQ(cache.getBytes(), 0);
  pass(cache, 5, 8);
  EXPECT_TRUE(cache.has("f"));
  cache.clear();
  EXPECT_FALSE(cache.has("f"));
}

TEST_F(QUVENOutputCacheTest, IsEmptyAfterAnotherRangeOfRecords) {
  QUVENOutputCache cache(1 << 20, Channels);
  for (int i = 0; i < 2; ++i) pass(cache, 5, 8);
  // Records outside of the range are computed.
  EXPECT_EQ(pass(cache, 7, 10), (std::vector<double>{7, 8}));
  EXPECT_FALSE(cache.has("f"));
  EXPECT_TRUE(pass(cache, 7, 10).empty());
  EXPECT_EQ(pass(cache, 7, 10), (std::vector<double>{7, 8, 9, 10}));
  // A part of the range is another range.
  EXPECT_EQ(pass(cache, 7, 9), (std::vector<double>{7, 8, 9}));
  EXPECT_FALSE(cache.has("f"));
}

TEST_F(QUVENOutputCacheTest, DoesNotKeepAFieldThatIsNotComputedOrHasSomeChannelsOnly) {
  QUVENOutputCache cache(1 << 20, Channels);
  field->setComputed(false);
  for (int i = 0; i < 3; ++i) pass(cache, 0, 3);
  EXPECT_FALSE(cache.has("f"));
  field->setComputed(true);
  cache.beginPass({field.get()});
  const QUVENCachedOutputs outputs(cache, {field.get()});
  QUVENXaRay<double> two;
  two.setSize(2, handle());
  two[1] = two[2] = 1;
  for (std::int64_t record = 0; record <= 3; ++record) {
    field->setNumValues(two, handle());
    outputs.store(record);
  }
  two.deleteMemory(handle());
  cache.endPass();
  EXPECT_FALSE(cache.has("f"));
}

TEST_F(QUVENOutputCacheTest, KeepsNothingOfAnOutputWithoutAValueInAnyRecord) {
  QUVENOutputCache cache(1 << 20, Channels);
  pass(cache, 0, 3);
  cache.beginPass({field.get()});
  const QUVENCachedOutputs outputs(cache, {field.get()});
  for (std::int64_t record = 0; record <= 3; ++record) {
    field->clearValue();
    outputs.store(record);
  }
  cache.endPass();
  EXPECT_FALSE(cache.has("f"));
  EXPECT_EQ(cache.getBytes(), 0);
  pass(cache, 0, 3);
  EXPECT_TRUE(cache.has("f"));
}

}  // namespace
