#include "random.h"

namespace vesk_generate {
namespace {

// The five numbers that the authors' reference program prints for the seed 1234567.
TEST(SplitMix64, GivesTheReferenceNumbers) {
  std::uint64_t state = 1234567;
  const std::vector<std::uint64_t> expected{6457827717110365317U, 3203168211198807973U, 9817491932198370423U,
                                            4593380528125082431U, 16408922859458223821U};
  for (const std::uint64_t number : expected) EXPECT_EQ(splitMix64(state), number);
}

// By hand from the state 1, 2, 3, 4:
//   first:  rotl(5 * 2, 7) * 9 = 1280 * 9 = 11520. Then word 2 is 3 ^ 1 = 2, word 3 is 4 ^ 2 = 6, word 1 is 2 ^ 2 = 0,
//           word 0 is 1 ^ 6 = 7, word 2 is 2 ^ (2 << 17) = 262146.
//   second: word 1 is 0, which gives 0. Then word 2 is 262146 ^ 7 = 262149 and word 1 is 0 ^ 262149.
//   third:  rotl(5 * 262149, 7) * 9 = 1310745 * 128 * 9 = 1509978240.
TEST(Xoshiro256, GivesTheNumbersWorkedByHand) {
  Xoshiro256 random(std::array<std::uint64_t, 4>{1, 2, 3, 4});
  EXPECT_EQ(random.next(), 11520U);
  EXPECT_EQ(random.next(), 0U);
  EXPECT_EQ(random.next(), 1509978240U);
}

TEST(Xoshiro256, StreamsOfOneSeedDiffer) {
  Xoshiro256 records(5, RandomStream::Records);
  Xoshiro256 badLines(5, RandomStream::BadLines);
  EXPECT_NE(records.next(), badLines.next());
}

TEST(Xoshiro256, BelowReachesEachNumberAndNoOther) {
  Xoshiro256 random(1, RandomStream::Records);
  std::vector<int> seen(7, 0);
  for (int i = 0; i < 7000; ++i) ++seen.at(random.below(7));
  for (const int count : seen) EXPECT_NEAR(count, 1000, 150);  // 5 standard deviations of 29.3
  EXPECT_EQ(random.below(1), 0U);
}

TEST(Xoshiro256, HitsAlwaysAtShareOneAndNeverAtShareZero) {
  Xoshiro256 random(1, RandomStream::Records);
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(random.hit(shareThreshold(1.0)));
    EXPECT_FALSE(random.hit(shareThreshold(0.0)));
  }
}

}  // namespace
}  // namespace vesk_generate
