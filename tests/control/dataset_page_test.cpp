// The examples of docs/formats.md that a dataset reads.

#include <gmock/gmock.h>

#include "dataset_fixture.h"
#include "support/formats_page.h"

namespace {

using ::testing::ElementsAre;

class DatasetPage : public DatasetTest {
 protected:
  std::vector<literal::Delivery> read(const std::string& bytes, const std::string& info, QUVENScanType type) {
    auto blocks = page_blocks();
    const std::string name = folder.write("data", bytes_of(blocks.at(bytes)));
    folder.write("data.info", blocks.at(info));
    literal::Dataset data;
    data.scanType = static_cast<int>(type);
    Reader reader(name, data, false, env);
    reader.startPass(data);
    return reader.pass();
  }

  static std::vector<std::string> texts(const std::vector<double>& numbers) {
    std::vector<std::string> result;
    for (const double number : numbers) result.push_back(literal::numericText(number));
    return result;
  }
};

TEST_F(DatasetPage, ShowsTheSparseFormThatIsRead) {
  const std::vector<literal::Delivery> read = this->read("hex sparse", "text sparse.info", QUVENScanType::Lines);
  ASSERT_EQ(read.size(), 7U);
  EXPECT_EQ(read[0].fields, texts({1, 0, 2}));
  EXPECT_EQ(read[2].fields, texts({1, 2, 5}));
  EXPECT_EQ(read[6].fields, texts({2, 3, 0}));
}

TEST_F(DatasetPage, ShowsTheDenseFormThatIsRead) {
  const std::vector<literal::Delivery> read = this->read("hex dense", "text dense.info", QUVENScanType::Slice);
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(read[0].fields, texts({1, 3, 5, 0}));
  EXPECT_EQ(read[1].fields, texts({2, 5, 0, 0}));
}

TEST_F(DatasetPage, ShowsTheQuadruplesThatAreRead) {
  const std::vector<literal::Delivery> read =
      this->read("hex quadruples", "text quadruples.info", QUVENScanType::SparseQuadruples);
  ASSERT_EQ(read.size(), 1U);
  EXPECT_EQ(read[0].number, 7);
  EXPECT_THAT(read[0].fields, ElementsAre(literal::numericText(3), "-", literal::numericText(1)));
  EXPECT_THAT(read[0].active, ElementsAre(1, 2));
}

}  // namespace
