#include "simple_algorithm/quven_node_table.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "util/quven_bin_obj_writer.h"
#include "util/quven_keyword.h"
#include "util/quven_own_ptr.h"

namespace {

class QUVENNodeTableTest : public ::testing::Test {
 protected:
  QUVENNodeTableTest() { environment.activate(); }
  ~QUVENNodeTableTest() override {
    nodes.deleteMemory(QUVEN_ENV);
    column.deleteMemory(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  QUVENNodeIndex nodes;
  QUVENNodeColumn<double> column;
};

TEST_F(QUVENNodeTableTest, AnEmptyIndexFindsNothing) {
  EXPECT_EQ(nodes.find(0), 0);
  EXPECT_EQ(nodes.getSize(), 0);
  EXPECT_TRUE(nodes.getAscending(QUVEN_ENV).empty());
}

TEST_F(QUVENNodeTableTest, GivesDenseIndicesInTheOrderOfAppearance) {
  constexpr std::uint64_t top = ~std::uint64_t{0};
  EXPECT_EQ(nodes.insert(7, QUVEN_ENV), 1);
  EXPECT_EQ(nodes.insert(0, QUVEN_ENV), 2);
  EXPECT_EQ(nodes.insert(top, QUVEN_ENV), 3);
  EXPECT_EQ(nodes.insert(7, QUVEN_ENV), 1);
  EXPECT_EQ(nodes.getNode(3), top);
  EXPECT_EQ(nodes.find(8), 0);
  const auto ascending = nodes.getAscending(QUVEN_ENV);
  EXPECT_EQ(std::vector<std::uint32_t>(ascending.begin(), ascending.end()), (std::vector<std::uint32_t>{2, 1, 3}));
}

TEST_F(QUVENNodeTableTest, OrdersTheNodesThatWereEnteredSinceTheLastOrder) {
  std::mt19937_64 random(11);
  std::map<std::uint64_t, std::uint32_t> expected;
  for (int round = 0; round < 200; ++round) {
    if (round % 50 == 49) {
      nodes.clear();
      expected.clear();
      EXPECT_EQ(nodes.getSize(), 0);
    }
    if (round % 7 == 0) nodes.dropOrder(QUVEN_ENV);
    for (std::uint64_t i = random() % 12; i > 0; --i) {
      const std::uint64_t node = random() % (round % 2 == 0 ? 1000 : 100000);
      expected.emplace(node, static_cast<std::uint32_t>(expected.size() + 1));
      ASSERT_EQ(nodes.insert(node, QUVEN_ENV), expected.at(node));
    }
    std::vector<std::uint32_t> inOrder;
    for (const auto& [node, index] : expected) inOrder.push_back(index);
    const auto ascending = nodes.getAscending(QUVEN_ENV);
    ASSERT_EQ(std::vector<std::uint32_t>(ascending.begin(), ascending.end()), inOrder) << "round " << round;
  }
}

TEST_F(QUVENNodeTableTest, KeepsEveryNodeWhileItGrows) {
  for (const unsigned seed : {1U, 2U, 3U}) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    std::map<std::uint64_t, long> expected;
    for (int i = 0; i < 20000; ++i) {
      // Close numbers, far ones, and many of them twice.
      const std::uint64_t node = seed == 1 ? random() % 15000 : seed == 2 ? random() : (random() % 9000) << 40;
      const auto [place, isNew] = expected.emplace(node, static_cast<long>(expected.size()) + 1);
      ASSERT_EQ(nodes.insert(node, QUVEN_ENV), place->second);
    }
    ASSERT_EQ(nodes.getSize(), static_cast<long>(expected.size()));
    auto ascending = nodes.getAscending(QUVEN_ENV).begin();
    for (const auto& [node, index] : expected) {
      ASSERT_EQ(nodes.find(node), index);
      ASSERT_EQ(*ascending++, index);
    }
    nodes.deleteMemory(QUVEN_ENV);
  }
}

TEST_F(QUVENNodeTableTest, TheOrderIsMadeAnewForANewNode) {
  nodes.insert(5, QUVEN_ENV);
  EXPECT_EQ(nodes.getAscending(QUVEN_ENV).size(), 1U);
  nodes.insert(3, QUVEN_ENV);
  EXPECT_EQ(nodes.getAscending(QUVEN_ENV)[0], 2U);
}

TEST_F(QUVENNodeTableTest, ACopyIsDeep) {
  nodes.insert(5, QUVEN_ENV);
  QUVENNodeIndex copy;
  copy.copyFrom(nodes, QUVEN_ENV);
  nodes.insert(6, QUVEN_ENV);
  EXPECT_EQ(copy.find(5), 1);
  EXPECT_EQ(copy.find(6), 0);
  copy.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENNodeTableTest, AColumnTellsZeroFromAbsent) {
  EXPECT_FALSE(column.has(1));
  EXPECT_EQ(column.get(70), 0);
  column.at(70, QUVEN_ENV) = 0;
  EXPECT_TRUE(column.has(70));
  EXPECT_FALSE(column.has(69));
  EXPECT_FALSE(column.has(71));
  EXPECT_EQ(column.getCount(), 1);
  column.at(64, QUVEN_ENV) += 1.5;
  column.at(65, QUVEN_ENV) += 2.5;
  column.at(64, QUVEN_ENV) += 1;
  EXPECT_EQ(column.get(64), 2.5);
  EXPECT_EQ(column.getCount(), 3);
  column.scale(2);
  EXPECT_EQ(column.get(64), 5);
  EXPECT_EQ(column.get(65), 5);
  column.clear();
  EXPECT_TRUE(column.isEmpty());
  EXPECT_EQ(column.at(64, QUVEN_ENV), 0);  // not what it was before
}

TEST_F(QUVENNodeTableTest, WritesValuesAndNodesInAscendingOrderOfTheNodes) {
  for (const std::uint64_t node : {300U, 5U, 200U, 7U}) nodes.insert(node, QUVEN_ENV);
  column.at(1, QUVEN_ENV) = 1.0;
  column.at(2, QUVEN_ENV) = 2.0;
  column.at(4, QUVEN_ENV) = 4.0;  // node 200 has no value
  const QUVENKeyword keyword("values", 1, 1, QUVEN_KWD(EndArray));
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  quvenWriteColumnValues(writer, keyword, column, nodes.getAscending(QUVEN_ENV), QUVEN_ENV);
  quvenWriteColumnNodes(writer, keyword, column, nodes, nodes.getAscending(QUVEN_ENV), QUVEN_ENV);
  const std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
  using namespace std::string_literals;
  EXPECT_EQ(bytes,
            "\xc6\xc4\x83\0\0\0\0\0\0\0\x40\0\0\0\0\0\0\x10\x40\0\0\0\0\0\0\xf0\x3f\xc5"
            "\xc6\xc4\x83\x85\x87\x2c\x82\xc5"s);
  QUVEN_DELETE(blob);
}

TEST_F(QUVENNodeTableTest, WritesLongColumnsInParts) {
  for (long i = 1; i <= 1500; ++i) column.at(nodes.insert(static_cast<std::uint64_t>(i), QUVEN_ENV), QUVEN_ENV) = 1;
  const QUVENKeyword keyword("values", 1, 1, QUVEN_KWD(EndArray));
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  quvenWriteColumnValues(writer, keyword, column, nodes.getAscending(QUVEN_ENV), QUVEN_ENV);
  EXPECT_EQ(blob.getSize(), 1U + 1 + 2 + 1500 * 8 + 1);
  QUVEN_DELETE(blob);
}

/// 8 bytes a node, 4 for a slot of at most 4/5 taken, and the growth of the arrays.
TEST_F(QUVENNodeTableTest, MemoryOfANodeIsBounded) {
  constexpr long count = 100000;
  for (long i = 1; i <= count; ++i) nodes.insert(static_cast<std::uint64_t>(i) * 7919, QUVEN_ENV);
  EXPECT_LT(environment.getBytesInUse(), count * 24);
}

}  // namespace
