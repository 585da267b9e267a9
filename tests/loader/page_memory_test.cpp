#include "page_memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "arena.h"

namespace vesk_loader {
namespace {

TEST(PageMemory, IsZeroedAndWritableToItsLastByte) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{4096}, PageMemory::largePage - 1, PageMemory::largePage,
                                 PageMemory::largePage * 3 + 5}) {
    PageArray<char> bytes(size);
    EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte == 0; })) << size;
    std::fill(bytes.begin(), bytes.end(), 'x');
    EXPECT_EQ(bytes[size - 1], 'x');
  }
}

TEST(PageMemory, IsAlignedToALargePageFromThatSizeOn) {
  const PageMemory memory(PageMemory::largePage + 1, PageMemory::largePage);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.data()) % PageMemory::largePage, 0U);
}

TEST(PageMemory, MovesItsMemory) {
  PageArray<int> first(5000000);
  first[4999999] = 7;
  PageArray<int> second(10);
  second = std::move(first);
  EXPECT_EQ(second[4999999], 7);
  EXPECT_EQ(second.size(), 5000000U);
  second.release();
  EXPECT_EQ(second.size(), 0U);
}

TEST(PageMemory, ThatTheSystemRefusesThrows) {
  EXPECT_THROW(PageMemory(std::size_t{1} << 60), std::bad_alloc);
  EXPECT_THROW(PageMemory(SIZE_MAX - 1), std::bad_alloc);
}

TEST(Arena, GivesPiecesOfAllSizesThatDoNotOverlap) {
  Arena arena;
  std::vector<std::pair<double*, std::size_t>> pieces;
  std::size_t total = 0;
  for (std::size_t i = 0; i < 6000; ++i) {
    const std::size_t size = i % 100 == 0 ? 40000 : 1 + i % 900;
    double* const piece = arena.allocate(size);
    std::fill(piece, piece + size, static_cast<double>(i));
    pieces.emplace_back(piece, size);
    total += size * sizeof(double);
  }
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    const auto [piece, size] = pieces[i];
    ASSERT_TRUE(std::all_of(piece, piece + size, [i](double value) { return value == static_cast<double>(i); })) << i;
  }
  EXPECT_GE(arena.bytesInUse(), total);
  EXPECT_LT(arena.bytesInUse(), total + (std::size_t{4} << 20));
}

}  // namespace
}  // namespace vesk_loader
