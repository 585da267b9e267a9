// A transform learns the same bits from blocks of records as from one record after the other.

#include "learning/quven_record_block.h"

#include <bit>

#include "learning/transform_fixture.h"

namespace {

class QUVENRecordBlockTest : public TransformTest {
 protected:
  enum class Own { OneValue, ValuePerChannel, Categories, Shared };

  void setChannels(QUVENField& field, double value, double step) {
    field.clearValue();
    if (std::isnan(value)) return field.setMissing();
    for (int channel = 1; channel <= Channels; ++channel) {
      field.setNumValueOfChannel(channel, value + step * channel, QUVEN_ENV);
    }
  }
  /// A record whose target and context have a value per channel.
  void setSeveral(const TransformRecord& record, Own own) {
    set(record);
    setChannels(*y, record.y, 0.5);
    setChannels(*z, record.z, -0.25);
    if (own == Own::ValuePerChannel) setChannels(*x, record.x, 3.0);
  }
  static TransformTable table() {
    TransformTable records = brokenLine(500);
    for (std::size_t i = 0; i < records.size(); ++i) {
      TransformRecord& record = records[i];
      record.c = i % 9 == 0 ? "" : std::string(1, static_cast<char>('a' + i % 4));
      record.w = static_cast<double>(i % 5) / 2;
      if (i % 11 == 0) record.x = absent;
      if (i % 17 == 0) record.z = absent;
      if (i % 23 == 0) record.w = absent;
      if (i % 29 == 0) record.y = absent;
    }
    return records;
  }

  QUVENOwnPtr<QUVENFeatureTransform> begun(QUVENField* own, bool isShared) {
    auto made = make<QUVENFeatureTransform>();
    if (!isShared) made->addInput(own, QUVENUsageExplanatory, QUVEN_ENV);
    made->addInput(z, QUVENUsageCarried, QUVEN_ENV);
    made->addInput(y, QUVENUsageTarget, QUVEN_ENV);
    made->addInput(w, QUVENUsageCaseWeight, QUVEN_ENV);
    made->setSplitField(own);
    EXPECT_TRUE(made->setMiningMode(1, nullptr, QUVEN_ENV));
    EXPECT_TRUE(made->beginDataScan(QUVEN_ENV));
    made->beginRecords(QUVEN_ENV);
    return made;
  }
  static std::string bitsOf(const QUVENFeatureTransform& learned) {
    std::string bits;
    const auto add = [&](double value) { bits += std::to_string(std::bit_cast<std::uint64_t>(value)) + " "; };
    for (long s = 1; s <= learned.getNumSegments(); ++s) {
      const QUVENLinRegModel& segment = learned.getSegmentModel(s);
      for (const auto* channels : {&segment.getEvalChannels(), &segment.getTrnChannels()}) {
        for (const QUVENLSData& data : *channels) {
          add(data.getNumDataPoints());
          for (const double mean : data.getDataMean()) add(mean);
          for (const double product : data.getDataCov()) add(product);
        }
      }
    }
    return bits;
  }

  void compare(Own own) {
    QUVENField* const field = own == Own::Categories ? c : own == Own::Shared ? z : x;
    const TransformTable records = table();
    gather(records);
    z->setSampleFlag(true, QUVEN_ENV);
    for (int pass = 0; pass < 2; ++pass) {
      z->beginDistributionPass(QUVEN_ENV);
      for (std::uint32_t i = 0; i < records.size(); ++i) {
        setSeveral(records[i], own);
        z->updateDistribution(i, QUVEN_ENV);
      }
      z->endDistributionPass(QUVEN_ENV);
    }
    auto oneByOne = begun(field, own == Own::Shared);
    auto inBlocks = begun(field, own == Own::Shared);
    QUVENRecordBlock block;
    block.open({z, y}, w, nullptr, Channels);
    QUVENBlockOfTransform part;
    part.hasOwnVariable = own != Own::Shared;
    part.channels = own == Own::ValuePerChannel || own == Own::Shared ? Channels : 1;
    part.segments.resize(static_cast<std::size_t>(QUVENRecordBlock::MostRecords * part.channels));
    part.values.resize(part.segments.size());
    const auto learnBlock = [&] {
      inBlocks->learnBlock(block, part, QUVEN_ENV);
      block.clear();
    };
    for (const TransformRecord& record : records) {
      setSeveral(record, own);
      oneByOne->update(*point, QUVEN_ENV);
      inBlocks->addToBlock(part, block.getNumRecords(), QUVEN_ENV);
      block.add(record.channel);
      if (block.isFull()) learnBlock();
    }
    EXPECT_GT(block.getNumRecords(), 0);
    learnBlock();
    for (auto* learned : {&oneByOne, &inBlocks}) (*learned)->endRecords(QUVEN_ENV);
    EXPECT_GT(oneByOne->getNumSegments(), 3);
    EXPECT_EQ(bitsOf(*oneByOne), bitsOf(*inBlocks));
    EXPECT_GT(oneByOne->getRoot()->getTrnChannels()[1].getNumDataPoints(), 300);
    for (auto* learned : {&oneByOne, &inBlocks}) learned->reset(QUVEN_ENV);
  }
};

TEST_F(QUVENRecordBlockTest, AFieldWithOneValue) { compare(Own::OneValue); }
TEST_F(QUVENRecordBlockTest, AFieldWithAValuePerChannel) { compare(Own::ValuePerChannel); }
TEST_F(QUVENRecordBlockTest, AFieldOfCategories) { compare(Own::Categories); }
TEST_F(QUVENRecordBlockTest, AFieldThatIsASharedVariable) { compare(Own::Shared); }

TEST_F(QUVENRecordBlockTest, RefusesAValuePerChannelWhereOneIsExpected) {
  gather(table());
  auto learned = begun(x, false);
  QUVENBlockOfTransform part;
  part.hasOwnVariable = true;
  part.segments.resize(1);
  part.values.resize(1);
  setSeveral(table()[1], Own::ValuePerChannel);
  expectFailure([&] { learned->addToBlock(part, 0, QUVEN_ENV); }, "part.channels > 1 || !split.hasValuePerChannel()");
  learned.reset(QUVEN_ENV);
}

}  // namespace
