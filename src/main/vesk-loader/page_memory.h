#ifndef PAGE_MEMORY_H
#define PAGE_MEMORY_H

#include <cstddef>
#include <utility>

namespace vesk_loader {

/// Zeroed memory straight from the system, in large pages where the system gives them: tables that are visited in
/// random order cost fewer page walks. Pages that are never touched take no memory.
class PageMemory {
 public:
  static constexpr std::size_t largePage = std::size_t{1} << 21;

  PageMemory() = default;

  /// Aligned to a large page if `bytes` reaches one. Large pages are asked for from `largeFrom` bytes on, so that a
  /// table that is hardly filled does not take a whole one. Throws std::bad_alloc.
  explicit PageMemory(std::size_t bytes, std::size_t largeFrom = 0);
  ~PageMemory();
  PageMemory(PageMemory&& other) noexcept
      : memory(std::exchange(other.memory, nullptr)), size(std::exchange(other.size, 0)) {}
  PageMemory& operator=(PageMemory&& other) noexcept {
    std::swap(memory, other.memory);
    std::swap(size, other.size);
    return *this;
  }
  PageMemory(const PageMemory&) = delete;
  PageMemory& operator=(const PageMemory&) = delete;

  void* data() const { return memory; }

 private:
  void* memory = nullptr;
  std::size_t size = 0;
};

/// A fixed number of items in page memory. An item of zero bytes is an empty one.
template <class Item>
class PageArray {
 public:
  explicit PageArray(std::size_t count_) : memory(count_ * sizeof(Item)), count(count_) {}

  std::size_t size() const { return count; }
  Item* begin() { return static_cast<Item*>(memory.data()); }
  Item* end() { return begin() + count; }
  const Item* begin() const { return static_cast<const Item*>(memory.data()); }
  const Item* end() const { return begin() + count; }
  Item& operator[](std::size_t place) { return begin()[place]; }
  const Item& operator[](std::size_t place) const { return begin()[place]; }

  /// Gives the memory back.
  void release() {
    memory = PageMemory();
    count = 0;
  }

 private:
  PageMemory memory;
  std::size_t count;
};

}  // namespace vesk_loader

#endif  // PAGE_MEMORY_H
