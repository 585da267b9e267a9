// Feature transforms of fields that have a value per channel, against regressions that are shown the same records.

#include "transform_fixture.h"

namespace {

/// The train data of two models agree to rounding.
void expectSameData(const QUVENXaRay<QUVENLSData, 0>& a, const QUVENXaRay<QUVENLSData, 0>& b) {
  ASSERT_EQ(a.getSize(), b.getSize());
  for (long c = 1; c <= a.getSize(); ++c) {
    ASSERT_EQ(a[c].getNumDataPoints(), b[c].getNumDataPoints()) << c;
    ASSERT_EQ(a[c].getNumFields(), b[c].getNumFields());
    for (long i = 1; i <= a[c].getDataMean().getSize(); ++i) {
      EXPECT_NEAR(a[c].getDataMean()[i], b[c].getDataMean()[i], 1e-12 * (1 + std::abs(a[c].getDataMean()[i])));
    }
    for (long i = 1; i <= a[c].getDataCov().getSize(); ++i) {
      EXPECT_NEAR(a[c].getDataCov()[i], b[c].getDataCov()[i], 1e-9 * (1 + std::abs(a[c].getDataCov()[i])));
    }
  }
}

class QUVENFeatureTransformChannelsTest : public TransformTest {
 protected:
  /// The same x in channels 1, 3, 4 and another one in the others; NaN in channel 5 for every seventh record.
  void setPerChannel(const TransformRecord& record, bool perChannel) {
    set(record);
    if (!perChannel) return;
    x->clearValue();
    const double values[Channels] = {record.x, 100 - record.x, record.x, record.x,
                                     static_cast<int>(record.x) % 7 == 0 ? absent : 90.0};
    for (int channel = 1; channel <= Channels; ++channel) {
      x->setNumValueOfChannel(channel, values[channel - 1], QUVEN_ENV);
    }
  }
  /// Shows the records to a transform; those that an action says have values per channel.
  template <class Choose>
  void learnAll(const TransformTable& table, Choose&& hasValuePerChannel) {
    ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
    ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
    transform->beginRecords(QUVEN_ENV);
    for (std::size_t i = 0; i < table.size(); ++i) {
      setPerChannel(table[i], hasValuePerChannel(i));
      transform->update(*point, QUVEN_ENV);
    }
    transform->endRecords(QUVEN_ENV);
  }
  /// Compares root and segments with regressions that are shown the records that they are to get, one by one.
  template <class Choose>
  void expectLiteralData(const TransformTable& table, Choose&& hasValuePerChannel) {
    const long segments = transform->getNumSegments();
    for (long segment = 0; segment <= segments; ++segment) {
      SCOPED_TRACE(segment);
      auto literal = make<QUVENLinRegModel>();
      for (const QUVENModelInput& input : transform->getExplanatoryFields()) {
        literal->addInput(input.getField(), input.getUsage(), QUVEN_ENV);
      }
      literal->addInput(y, QUVENUsageTarget, QUVEN_ENV);
      ASSERT_TRUE(literal->setMiningMode(2, nullptr, QUVEN_ENV));
      ASSERT_TRUE(literal->beginDataScan(QUVEN_ENV));
      literal->beginRecords(QUVEN_ENV);
      for (std::size_t i = 0; i < table.size(); ++i) {
        setPerChannel(table[i], hasValuePerChannel(i));
        for (int channel = 1; channel <= Channels; ++channel) {
          if (segment != 0 && transform->getSplitTest()->getSegment(channel, QUVEN_ENV) != segment) continue;
          literal->learnChannel(channel, *point, QUVEN_ENV);
        }
      }
      literal->endRecords(QUVEN_ENV);
      const QUVENLinRegModel& tested = segment == 0 ? *transform->getRoot() : transform->getSegmentModel(segment);
      expectSameData(tested.getEvalChannels(), literal->getEvalChannels());
      expectSameData(tested.getTrnChannels(), literal->getTrnChannels());
      literal.reset(QUVEN_ENV);
    }
  }
};

TEST_F(QUVENFeatureTransformChannelsTest, EachChannelGoesToItsSegment) {
  const TransformTable table = brokenLine(400);
  gather(table);
  for (const int kind : {0, 1, 2, 3}) {
    SCOPED_TRACE(kind);
    // No record with values per channel; all of them; those after the first; every third one.
    const auto choose = [&](std::size_t i) { return kind == 1 || (kind == 2 && i > 100) || (kind == 3 && i % 3 == 0); };
    makeTransform(x);
    learnAll(table, choose);
    expectLiteralData(table, choose);
    EXPECT_TRUE(transform->endDataScan(1, QUVEN_ENV));
  }
}

TEST_F(QUVENFeatureTransformChannelsTest, AFieldThatIsNoInputSplitsByChannelAsWell) {
  const TransformTable table = brokenLine(400);
  gather(table);
  const auto choose = [](std::size_t i) { return i % 3 == 0; };
  transform = make<QUVENFeatureTransform>();
  transform->addInput(z, QUVENUsageCarried, QUVEN_ENV);
  transform->addInput(y, QUVENUsageTarget, QUVEN_ENV);
  transform->setSplitField(x);
  learnAll(table, choose);
  expectLiteralData(table, choose);
  EXPECT_TRUE(transform->endDataScan(1, QUVEN_ENV));
}

TEST_F(QUVENFeatureTransformChannelsTest, TheBatchFormOfAllChannelsIsARecord) {
  const TransformTable table = brokenLine(200);
  gather(table);
  makeTransform(x);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  ASSERT_NE(transform->getHandler2(), nullptr);
  for (const TransformRecord& record : table) {
    set(record);
    for (int channel = 1; channel <= Channels; ++channel) {
      transform->setBatchChannel(channel);
      (transform.get()->*transform->getHandler2())(*point, QUVEN_ENV);
    }
  }
  transform->endRecords(QUVEN_ENV);
  expectLiteralData(table, [](std::size_t) { return false; });
}

TEST_F(QUVENFeatureTransformChannelsTest, ScoresEachChannelInItsSegment) {
  trainOn(x, brokenLine());
  setPerChannel({.x = 14}, true);
  transform->scorePoint(*point, QUVEN_ENV);
  const double low = predicted()->getNumValueOfChannel(1, QUVEN_ENV);
  const double high = predicted()->getNumValueOfChannel(2, QUVEN_ENV);
  EXPECT_EQ(predicted()->getNumValueOfChannel(5, QUVEN_ENV), 0.0);  // NaN there: the empty missing segment
  EXPECT_EQ(low, predict({.x = 14}, 1));
  EXPECT_EQ(high, predict({.x = 86}, 2));
}

TEST_F(QUVENFeatureTransformChannelsTest, ATargetThatIsNaNInAChannelIsNotLearnedThere) {
  TransformTable table = brokenLine(400);
  gather(table);
  makeTransform(x);
  ASSERT_TRUE(transform->setMiningMode(1, nullptr, QUVEN_ENV));
  ASSERT_TRUE(transform->beginDataScan(QUVEN_ENV));
  transform->beginRecords(QUVEN_ENV);
  for (const TransformRecord& record : table) {
    set(record);
    y->clearValue();
    for (int channel = 1; channel <= Channels; ++channel) {
      y->setNumValueOfChannel(channel, channel == 4 && record.x < 10 ? absent : record.y, QUVEN_ENV);
    }
    transform->update(*point, QUVEN_ENV);
  }
  transform->endRecords(QUVEN_ENV);
  const auto& root = *transform->getRoot();
  const auto below = [](const TransformRecord& record) { return record.x < 10; };
  const auto trains4 = [](const TransformRecord& record) { return record.channel == 3 || record.channel == 5; };
  const auto trains5 = [](const TransformRecord& record) { return record.channel == 3 || record.channel == 4; };
  EXPECT_EQ(root.getTrnChannels()[4].getNumDataPoints(),
            std::ranges::count_if(table, [&](const auto& record) { return trains4(record) && !below(record); }));
  EXPECT_EQ(root.getTrnChannels()[5].getNumDataPoints(), std::ranges::count_if(table, trains5));
}

}  // namespace
