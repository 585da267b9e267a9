// What a linear regression takes from a record, and for which channels.

#include "lin_reg_fixture.h"

namespace {

class QUVENLinRegModelRecordsTest : public LinearRegressionTest {
 protected:
  /// The eval mean of channel 1 after one record of that channel: what was taken from it.
  std::vector<double> taken(QUVENLinRegModel& learner) {
    begin(learner);
    learner.update(*point, QUVEN_ENV);
    learner.endRecords(QUVEN_ENV);
    const QUVENXaRay<double>& mean = learner.getEvalChannels()[1].getDataMean();
    std::vector<double> values(mean.begin(), mean.end());
    learner.endDataScan(1, QUVEN_ENV);
    return values;
  }
  double evalPoints(long channel) { return model->getEvalChannels()[channel].getNumDataPoints(); }
  double trainPoints(long channel) { return model->getTrnChannels()[channel].getNumDataPoints(); }
};

TEST_F(QUVENLinRegModelRecordsTest, DealsARecordByTheTable) {
  enum Way { OneValued, PerChannel, EachChannel, Batch, Ways };
  for (const int count : {2, 3, 5}) {
    for (int k = 1; k <= count; ++k) {
      for (int way = OneValued; way < Ways; ++way) {
        SCOPED_TRACE("channels " + std::to_string(count) + ", of " + std::to_string(k) + ", way " +
                     std::to_string(way));
        openWorld(count);
        model = makeModel();
        begin(*model);
        set({.x = {1, 2, 3}, .y = 4, .channel = k, .hasValuePerChannel = way == PerChannel});
        if (way == OneValued || way == PerChannel) model->update(*point, QUVEN_ENV);
        for (int c = 1; c <= count && way == EachChannel; ++c) model->learnChannel(c, *point, QUVEN_ENV);
        for (int c = 1; c <= count && way == Batch; ++c) {
          model->setBatchChannel(c);
          (model.get()->*model->getHandler2())(*point, QUVEN_ENV);
        }
        model->endRecords(QUVEN_ENV);
        for (int c = 1; c <= count; ++c) {
          SCOPED_TRACE(c);
          const char place = dealtTo[static_cast<std::size_t>(k - 1)][static_cast<std::size_t>(c - 1)];
          EXPECT_EQ(evalPoints(c), place == 'e' ? 1 : 0);
          EXPECT_EQ(trainPoints(c), place == 't' ? 1 : 0);
          const double factor = way == PerChannel ? c : 1;
          if (place == 'e') {
            EXPECT_EQ(model->getEvalChannels()[c].getDataMean()[4], 4 * factor);
          }
          if (place == 't') {
            EXPECT_EQ(model->getTrnChannels()[c].getDataMean()[2], 2 * factor);
          }
        }
      }
    }
  }
}

TEST_F(QUVENLinRegModelRecordsTest, OneChannelOfTheBatchFormGetsTheRecordAlone) {
  openWorld(5);
  model = makeModel();
  begin(*model);
  set({.channel = 3});
  model->setBatchChannel(4);
  (model.get()->*model->getHandler2())(*point, QUVEN_ENV);
  model->endRecords(QUVEN_ENV);
  for (int c = 1; c <= 5; ++c) {
    EXPECT_EQ(evalPoints(c), 0) << c;
    EXPECT_EQ(trainPoints(c), c == 4 ? 1 : 0) << c;
  }
}

TEST_F(QUVENLinRegModelRecordsTest, GathersWhatEachChannelIsDealt) {
  for (const int count : {2, 3, 5}) {
    for (const bool withWeights : {false, true}) {
      // No record with values per channel, all of them, one in the middle, every third one.
      for (const int kind : {0, 1, 2, 3}) {
        SCOPED_TRACE("channels " + std::to_string(count) + ", kind " + std::to_string(kind));
        openWorld(count);
        RegressionTable table = randomRecords(200, static_cast<unsigned>(count), withWeights);
        for (std::size_t i = 0; i < table.size(); ++i) {
          table[i].hasValuePerChannel = kind == 1 || (kind == 2 && i == 100) || (kind == 3 && i % 3 == 0);
        }
        model = makeModel(true);
        gather(*model, table);
        expectChannels(*model, table);
        EXPECT_TRUE(model->endDataScan(1, QUVEN_ENV));
      }
    }
  }
}

TEST_F(QUVENLinRegModelRecordsTest, OneValueInAllChannelsIsTheSameAsThatValuePerChannel) {
  openWorld(5);
  const RegressionTable table = randomRecords(300, 3, true);
  model = makeModel(true);
  gather(*model, table);
  EXPECT_FALSE(model->isOneValued());
  auto other = makeModel(true);
  begin(*other);
  for (const RegressionRecord& record : table) {
    set(record);
    for (int c = 1; c <= 5; ++c) x[0]->setNumValueOfChannel(c, record.x[0], QUVEN_ENV);
    EXPECT_FALSE(other->hasOneValueNow());
    other->update(*point, QUVEN_ENV);
  }
  other->endRecords(QUVEN_ENV);
  expectChannels(*model, table);
  expectChannels(*other, table);
  other.reset(QUVEN_ENV);
}

TEST_F(QUVENLinRegModelRecordsTest, OnlyNumbersOfUsages2To4AreTaken) {
  openWorld(2);
  const auto usages = {QUVENUsageExplanatory, QUVENUsageExplanatory3, QUVENUsageCarried};
  for (const std::int32_t usage : usages) {
    auto learner = make<QUVENLinRegModel>();
    learner->addInput(x[0], usage, QUVEN_ENV);
    learner->addInput(x[1], QUVENUsageSupplementary, QUVEN_ENV);
    learner->addInput(text, QUVENUsageExplanatory, QUVEN_ENV);
    learner->addInput(x[2], usage, QUVEN_ENV);
    learner->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    set({.x = {7, 8, 9}, .y = 10, .channel = 1});
    EXPECT_EQ(taken(*learner), (std::vector<double>{7, 0, 0, 9, 10})) << usage;
    learner.reset(QUVEN_ENV);
  }
}

TEST_F(QUVENLinRegModelRecordsTest, ANumberThatIsNotThereIsZero) {
  openWorld(2);
  model = makeModel();
  set({.x = {noNumber, 8, 9}, .y = 10, .channel = 1});
  x[1]->clearValue();
  EXPECT_EQ(taken(*model), (std::vector<double>{0, 0, 9, 10}));
  set({.x = {7, 8, 9}, .y = 10, .channel = 1});
  x[2]->setNumValueOfChannel(1, noNumber, QUVEN_ENV);
  EXPECT_EQ(taken(*model), (std::vector<double>{7, 8, 0, 10}));
}

TEST_F(QUVENLinRegModelRecordsTest, ARecordWithoutTargetIsNotCounted) {
  openWorld(5);
  model = makeModel();
  begin(*model);
  RegressionTable table = randomRecords(20);
  for (std::size_t i = 0; i < table.size(); i += 3) table[i].y = noNumber;
  show(*model, table);
  set(table[1]);
  y->clearValue();  // the record delivers nothing
  model->update(*point, QUVEN_ENV);
  model->endRecords(QUVEN_ENV);
  expectChannels(*model, part(table, [](std::size_t i) { return i % 3 != 0; }));
}

TEST_F(QUVENLinRegModelRecordsTest, ATargetThatIsNaNInAChannelIsMissingThere) {
  openWorld(5);
  model = makeModel();
  begin(*model);
  set({.x = {1, 2, 3}, .y = 4, .channel = 3, .hasValuePerChannel = true});
  for (const int c : {2, 3}) y->setNumValueOfChannel(c, noNumber, QUVEN_ENV);
  model->update(*point, QUVEN_ENV);
  model->endRecords(QUVEN_ENV);
  for (int c = 1; c <= 5; ++c) {
    EXPECT_EQ(evalPoints(c), 0) << c;
    EXPECT_EQ(trainPoints(c), c == 1 || c == 4 || c == 5 ? 1 : 0) << c;
  }
}

TEST_F(QUVENLinRegModelRecordsTest, AWeightThatIsZeroOrNotThereCountsTheRecordOnly) {
  openWorld(2);
  for (QUVENField* weight : {w, v}) {
    for (const int kind : {0, 1, 2, 3, 4}) {
      SCOPED_TRACE(kind);
      model = makeModel(true);
      begin(*model);
      set({.x = {1, 2, 3}, .y = 4, .channel = 1, .w = 2, .v = 3});
      model->update(*point, QUVEN_ENV);
      set({.x = {9, 9, 9}, .y = 9, .channel = 1});
      if (kind == 0) weight->setNumValue(0);
      if (kind == 1) weight->setMissing();
      if (kind == 2) weight->clearValue();
      if (kind == 3) weight->setNumValueOfChannel(1, noNumber, QUVEN_ENV);
      if (kind == 4) weight->setNumValue(-1);
      model->update(*point, QUVEN_ENV);
      model->endRecords(QUVEN_ENV);
      const QUVENLSData& data = model->getEvalChannels()[1];
      EXPECT_EQ(data.getNumDataPoints(), 2);
      EXPECT_EQ(data.getSumCaseWeights(), 2);
      EXPECT_EQ(data.getSumCaseXInvVarWeights(), 6);
      EXPECT_EQ(data.getDataMean()[4], 4);
    }
  }
}

TEST_F(QUVENLinRegModelRecordsTest, ARecordOfNoChannelIsAnAssertion) {
  openWorld(3);
  model = makeModel();
  begin(*model);
  for (const int channel : {-1, 0, 4}) {
    set({.channel = channel});
    expectFailure([&] { model->update(*point, QUVEN_ENV); }, "1 <= channel && channel <= getGlobalNumChannels()");
    expectFailure([&] { model->learnChannel(1, *point, QUVEN_ENV); },
                  "1 <= channel && channel <= getGlobalNumChannels()");
  }
}

}  // namespace
