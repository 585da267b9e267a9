#include "page_memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <new>

namespace vesk_loader {

namespace {

char* map(std::size_t bytes) {
  void* const memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return static_cast<char*>(memory);
}

}  // namespace

PageMemory::PageMemory(std::size_t bytes, std::size_t largeFrom) {
  if (bytes == 0) return;
  if (bytes < largePage) {
    memory = map(bytes);
    size = bytes;
    return;
  }
  if (bytes > SIZE_MAX - 2 * largePage) throw std::bad_alloc();
  // A large page more than needed is mapped, and what lies outside the aligned part is given back.
  const std::size_t needed = (bytes + largePage - 1) / largePage * largePage;
  char* const mapped = map(needed + largePage);
  const std::size_t before = (largePage - reinterpret_cast<std::uintptr_t>(mapped) % largePage) % largePage;
  if (before > 0) ::munmap(mapped, before);
  if (before < largePage) ::munmap(mapped + before + needed, largePage - before);
  memory = mapped + before;
  size = needed;
#ifdef MADV_HUGEPAGE
  // Only advice: without large pages the memory is the same.
  if (largeFrom < size) (void)::madvise(static_cast<char*>(memory) + largeFrom, size - largeFrom, MADV_HUGEPAGE);
#endif
}

PageMemory::~PageMemory() {
  if (memory != nullptr) ::munmap(memory, size);
}

}  // namespace vesk_loader
