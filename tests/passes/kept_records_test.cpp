// Passes over records that a scan keeps in memory. Every case holds on any number of ranks.

#include "kernel/quven_num_field.h"
#include "pass_fixture.h"
#include "util/quven_registration.h"

/// Works over records in memory from a pass on, and says what it has read in the first pass.
class QUVENPassKeeper : public QUVENObjectOf<QUVENPassKeeper, QUVENPassCount> {
 public:
  explicit QUVENPassKeeper(const QUVENEnvHandle& env) : Members(env) {}

  QUVEN_MEMBER(ivFirstKeptPass, std::int32_t) = 1;
  QUVEN_MEMBER(ivPass, std::int32_t) = 0;  // grows on rank 0, before its state goes out

  static constexpr double secondsOfReading = 5000;
  static inline long asked = 0;  // of this process

  bool updateFromKeptRecords(QUVENKeptRecords& done, const QUVENEnvHandle&) override {
    ++asked;
    if (ivPass == 0) {
      done.bytesRead = 1000;
      done.secondsReading = secondsOfReading;
    }
    done.records = 7;
    if (ivPass + 1 < ivFirstKeptPass) return false;
    ivRecords += 100;
    ivSum += 0.5;
    return true;
  }
  bool endPass(std::int32_t lastPass, const QUVENEnvHandle& env) override {
    ++ivPass;
    return Members::endPass(lastPass, env);
  }
};
QUVEN_REGISTER(QUVENPassKeeper);

namespace {

using testing::Each;
using testing::ElementsAre;

/// Notes what the driver shows of its passes.
struct NotedPasses : QUVENPassObserver {
  void beginPass(int number, std::int64_t expectedRecords) override {
    notes.push_back("begin " + std::to_string(number) + ", " + std::to_string(expectedRecords));
  }
  void update(std::int64_t records) override { notes.push_back("update " + std::to_string(records)); }
  void endPass() override { notes.emplace_back("end"); }
  std::vector<std::string> notes;
};

class QUVENKeptRecordsTest : public PassTest {
 protected:
  QUVENKeptRecordsTest() { QUVENPassKeeper::asked = 0; }

  static QUVENPassKeeper& addKeeper(PassRun& run, std::int32_t passes, std::int32_t firstKeptPass = 1) {
    auto& keeper = run.add<QUVENPassKeeper>("x");
    keeper.ivId = 1;
    keeper.ivPassesLeft = passes;
    keeper.ivFirstKeptPass = firstKeptPass;
    return keeper;
  }
};

TEST_F(QUVENKeptRecordsTest, AreWorkedOverInThePlaceOfTheFile) {
  writeNumbers(10);
  PassRun run(path);
  NotedPasses noted;
  run.driver.setObserver(&noted);
  QUVENPassKeeper* keeper = run.isRank0() ? &addKeeper(run, 3) : nullptr;
  run.passes();
  EXPECT_EQ(QUVENPassKeeper::asked, 3);
  const std::vector<QUVENPassCounters>& passes = run.driver.getPasses();
  ASSERT_EQ(passes.size(), 3U);
  for (std::size_t pass = 0; pass < 3; ++pass) {
    EXPECT_EQ(passes[pass].records, 7);
    EXPECT_EQ(passes[pass].bytes, pass == 0 ? 1000 : 0);
    EXPECT_EQ(passes[pass].seconds[QUVENPassCounters::Read], pass == 0 ? QUVENPassKeeper::secondsOfReading : 0);
    // The time of reading, here more than the pass has lasted, is taken off that of the scan.
    EXPECT_EQ(passes[pass].seconds[QUVENPassCounters::Update] < 0, pass == 0);
  }
  EXPECT_THAT(noted.notes, ElementsAre("begin 1, 7", "update 7", "end", "begin 2, 7", "update 7", "end", "begin 3, 7",
                                       "update 7", "end"));
  if (keeper == nullptr) return;
  EXPECT_THAT(keeper->recordsOfPasses, Each(100 * count));
  EXPECT_THAT(keeper->sumsOfPasses, Each(0.5 * count));
}

TEST_F(QUVENKeptRecordsTest, AreReadFromTheFileAsLongAsTheScanSaysSo) {
  writeNumbers(10);
  PassRun run(path);
  QUVENPassKeeper* keeper = run.isRank0() ? &addKeeper(run, 4, 3) : nullptr;
  run.passes();
  EXPECT_EQ(QUVENPassKeeper::asked, 4);
  const std::vector<QUVENPassCounters>& passes = run.driver.getPasses();
  ASSERT_EQ(passes.size(), 4U);
  std::int64_t records = passes[0].records;
  MPI_Allreduce(MPI_IN_PLACE, &records, 1, MPI_INT64_T, MPI_SUM, MPI_COMM_WORLD);
  EXPECT_EQ(records, 10);
  // What the scan has read in vain counts too.
  EXPECT_EQ(passes[0].bytes, 1000 + passes[0].records * static_cast<std::int64_t>(sizeof(double)));
  EXPECT_GE(passes[0].seconds[QUVENPassCounters::Read], QUVENPassKeeper::secondsOfReading);
  EXPECT_EQ(passes[1].bytes, passes[1].records * static_cast<std::int64_t>(sizeof(double)));
  EXPECT_EQ(passes[2].records, 7);
  EXPECT_EQ(passes[2].bytes, 0);
  if (keeper == nullptr) return;
  EXPECT_THAT(keeper->recordsOfPasses, ElementsAre(10, 10, 100 * count, 100 * count));
  EXPECT_THAT(keeper->sumsOfPasses, ElementsAre(55, 55, 0.5 * count, 0.5 * count));
}

TEST_F(QUVENKeptRecordsTest, AreNotUsedBesideAnotherScan) {
  writeNumbers(10);
  PassRun run(path);
  QUVENPassKeeper* keeper = nullptr;
  QUVENPassCount* other = nullptr;
  if (run.isRank0()) {
    keeper = &addKeeper(run, 2);
    other = &run.addCount("x", 2, 2);
  }
  run.passes();
  EXPECT_EQ(QUVENPassKeeper::asked, 0);
  if (keeper == nullptr) return;
  EXPECT_THAT(keeper->recordsOfPasses, ElementsAre(10, 10));
  EXPECT_THAT(other->recordsOfPasses, ElementsAre(10, 10));
}

TEST_F(QUVENKeptRecordsTest, AreNotUsedWhileAFieldGathers) {
  writeNumbers(10);
  PassRun run(path, {.distributionPasses = 1});
  QUVENPassKeeper* keeper = nullptr;
  if (run.isRank0()) {
    keeper = &addKeeper(run, 2);
    run.driver.addField(run.field("x"), run.handle());
  }
  run.passes();
  EXPECT_EQ(run.driver.getPasses().size(), 3U);
  EXPECT_EQ(QUVENPassKeeper::asked, 2);  // after the pass of the field
  if (keeper == nullptr) return;
  EXPECT_EQ(static_cast<const QUVENNumField&>(run.field("x")).getDistribution()->getValidCount(), 10);
}

TEST_F(QUVENKeptRecordsTest, AreNotUsedWhenRecordsAreChosenOrDealt) {
  writeNumbers(10);
  for (const bool isChosen : {false, true}) {
    QUVENPassSettings settings;
    settings.numChannels = 2;
    if (!isChosen) settings.dealChannel = [](std::int64_t) { return 1; };
    PassRun run(path, settings);
    if (isChosen) run.driver.setTakesRecord([](std::int64_t record) { return record % 2 == 0; });
    QUVENPassKeeper* keeper = run.isRank0() ? &addKeeper(run, 2) : nullptr;
    run.passes();
    EXPECT_EQ(QUVENPassKeeper::asked, 0);
    if (keeper == nullptr) continue;
    EXPECT_THAT(keeper->recordsOfPasses, Each(isChosen ? 5 : 10));
  }
}

TEST_F(QUVENKeptRecordsTest, AreNotUsedWhenAModelScoresTheRecords) {
  const std::vector<double> values{1, 2, 3, 4, 5, 6};
  write("x Numeric Explanatory\ny Numeric Target\n", values);
  PassRun run(path);
  QUVENPassKeeper* keeper = nullptr;
  if (run.isRank0()) {
    auto& doubler = run.add<QUVENPassDoubler>("x", "y");
    doubler.addOutput(run.driver.getNames(), run.handle());
    keeper = &addKeeper(run, 3);
  }
  run.passes();
  EXPECT_EQ(QUVENPassKeeper::asked, 0);
  if (keeper == nullptr) return;
  EXPECT_THAT(keeper->recordsOfPasses, Each(3));
}

TEST_F(QUVENKeptRecordsTest, AreNotUsedInSlices) {
  writeNumbers(10);
  PassRun run(path, {.numSlices = 4});
  QUVENPassKeeper* keeper = run.isRank0() ? &addKeeper(run, 2) : nullptr;
  run.passes();
  EXPECT_EQ(QUVENPassKeeper::asked, 0);
  if (keeper == nullptr) return;
  EXPECT_THAT(keeper->recordsOfPasses, ElementsAre(10, 10));
}

}  // namespace
