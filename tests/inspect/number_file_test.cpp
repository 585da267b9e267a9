#include "number_file.h"

#include "inspect_fixture.h"

namespace vesk_inspect {
namespace {

using ::testing::ThrowsMessage;

class NumberFileTest : public testing::InspectTest {};

constexpr std::size_t blockNumbers = (std::size_t{1} << 20) / sizeof(double);

// Files that end at a block's end, just before it and just behind it, with and without a cut number at the end.
TEST_F(NumberFileTest, ReadsEveryNumberAtTheBordersOfABlock) {
  for (const std::size_t count : {std::size_t{0}, std::size_t{1}, blockNumbers - 1, blockNumbers, blockNumbers + 1,
                                  2 * blockNumbers, 2 * blockNumbers + 1}) {
    std::vector<double> numbers(count);
    for (std::size_t i = 0; i < count; ++i) numbers[i] = static_cast<double>(i) + 0.5;
    for (const std::size_t tail : {0, 3, 7}) {
      writeNumbers(numbers, std::string(tail, 'x'));
      NumberFile file(path());
      double number = -1.0;
      for (std::size_t i = 0; i < count; ++i) {
        ASSERT_EQ(file.offsetBytes(), i * sizeof(double));
        ASSERT_TRUE(file.next(number));
        ASSERT_EQ(number, static_cast<double>(i) + 0.5);
      }
      number = -1.0;
      EXPECT_FALSE(file.next(number));
      EXPECT_FALSE(file.next(number));
      EXPECT_EQ(number, -1.0);
      EXPECT_EQ(file.offsetBytes(), count * sizeof(double));
      EXPECT_EQ(file.leftoverBytes(), tail);
    }
  }
}

TEST_F(NumberFileTest, NamesTheFileThatCannotBeOpenedOrRead) {
  const std::string missing = path("missing");
  EXPECT_THAT([&] { NumberFile{missing}; },
              ThrowsMessage<std::runtime_error>("cannot open " + missing + ": No such file or directory"));
  std::filesystem::create_directory(path("folder"));
  EXPECT_THAT(
      [&] {
        NumberFile file(path("folder"));
        double number = 0.0;
        (void)file.next(number);
      },
      ThrowsMessage<std::runtime_error>("cannot read " + path("folder") + ": Is a directory"));
}

}  // namespace
}  // namespace vesk_inspect
