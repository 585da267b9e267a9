#include "xrt/tm2ustra.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "base/BASE_Termination.h"

namespace {

constexpr int numberBuffer = 256;
constexpr long maxLength = TM2AscString_ACT_LEN_MASK;

[[noreturn]] void stringAssertFailed(const char* condition, int line, const char* file) {
  const char* slash = std::strrchr(file, '/');
  std::printf("\n*** ERROR: String Assert Failed: %s\n    At Line %d, File %s\n", condition, line,
              slash == nullptr ? file : slash + 1);
  std::fflush(stdout);
  BASE_RaiseTermination();
}

}  // namespace

// The text of the condition is part of the report.
#define TM2_ASSERT(condition) \
  (static_cast<bool>(condition) ? static_cast<void>(0) : stringAssertFailed(#condition, __LINE__, __FILE__))

TM2AscString& TM2AscString::operator=(const TM2AscString& other) {
  if (this != &other) assign(other.view());
  return *this;
}

TM2AscString& TM2AscString::operator=(TM2AscString&& other) noexcept {
  swap(other);
  return *this;
}

void TM2AscString::swap(TM2AscString& other) noexcept {
  std::swap(base, other.base);
  std::swap(act_len, other.act_len);
  std::swap(pot_len, other.pot_len);
}

void TM2AscString::assign(std::string_view newText) {
  if (newText.empty()) {
    if (base != nullptr) storeLength(0);
    return;
  }
  const long length = static_cast<long>(newText.size());
  if (length < pot_len) return copyChars(newText.data(), length);
  // The text may be part of the old buffer, which therefore stays until it is copied.
  TM2AscString fresh;
  fresh.setCapacity(length + 1);
  fresh.copyChars(newText.data(), length);
  swap(fresh);
}

void TM2AscString::append(std::string_view more) {
  if (more.empty()) return;
  const long oldLength = getLength();
  const long length = oldLength + static_cast<long>(more.size());
  if (length < pot_len) {
    std::memmove(base + oldLength, more.data(), more.size());
    return storeLength(length);
  }
  TM2AscString fresh;
  fresh.setCapacity(std::max(length + 1, 2L * pot_len));
  std::memcpy(fresh.base, text(), static_cast<std::size_t>(oldLength));
  std::memcpy(fresh.base + oldLength, more.data(), more.size());
  fresh.storeLength(length);
  swap(fresh);
}

void TM2AscString::appendNumber(long value) { append(std::to_string(value)); }

void TM2AscString::appendNumber(double value, const char* format) {
  char buf[numberBuffer];
  const int needed = std::snprintf(buf, sizeof buf, format, value);
  if (needed >= numberBuffer) stringAssertFailed("strlen(buf) < 256", __LINE__, __FILE__);
  append(buf);
}

void TM2AscString::setLengthCapacity(long length, long capacity) {
  TM2_ASSERT(length >= 0);
  if (length == 0 && capacity == 0) return freeBuffer();
  const long oldLength = getLength();
  const long wanted = std::max(capacity, std::min(length, maxLength) + 1);
  if (wanted != pot_len) setCapacity(wanted);
  fillUpTo(length, oldLength);
}

void TM2AscString::setLength(long a_len) {  // NOLINT(readability-identifier-naming)
  TM2_ASSERT(a_len >= 0);
  TM2_ASSERT(a_len < this->pot_len);
  fillUpTo(a_len, getLength());
}

void TM2AscString::setChar(long ix, char character) {
  TM2_ASSERT(ix >= 0);
  TM2_ASSERT(static_cast<unsigned long>(ix) <= (this->act_len & TM2AscString_ACT_LEN_MASK));
  const long ix_plus_1 = ix + 1;  // NOLINT(readability-identifier-naming)
  TM2_ASSERT(ix_plus_1 < this->pot_len);
  base[ix] = character;
  storeLength(std::max(getLength(), ix_plus_1));
}

char TM2AscString::operator[](long ix) const {
  TM2_ASSERT(ix >= 0);
  TM2_ASSERT(static_cast<unsigned long>(ix) <= (this->act_len & TM2AscString_ACT_LEN_MASK));
  return text()[ix];
}

void TM2AscString::copyChars(const char* source, long num_chars) {  // NOLINT(readability-identifier-naming)
  TM2_ASSERT(num_chars < this->pot_len);
  std::memmove(base, source, static_cast<std::size_t>(num_chars));
  storeLength(num_chars);
}

void TM2AscString::checkInvariant() const {
  TM2_ASSERT(this->base == 0 || this->pot_len > 0);  // NOLINT(modernize-use-nullptr): the text of the report
  // Only right after a change, when no flags are set.
  if (base != nullptr) TM2_ASSERT(this->act_len < (unsigned long)(this->pot_len));
}

void TM2AscString::fillUpTo(long length, long oldLength) {
  if (length > oldLength) std::memset(base + oldLength, ' ', static_cast<std::size_t>(length - oldLength));
  storeLength(length);
}

void TM2AscString::storeLength(long length) {
  act_len = static_cast<std::uint32_t>(length);
  checkInvariant();
  base[length] = '\0';
}

/// Moves the text to a buffer of another capacity, which holds as much of it as fits.
void TM2AscString::setCapacity(long capacity) {
  if (capacity > maxLength) throw std::bad_alloc();
  char* buffer = new char[static_cast<std::size_t>(capacity)];
  const long kept = std::min(getLength(), capacity - 1);
  std::memcpy(buffer, text(), static_cast<std::size_t>(kept));
  freeBuffer();
  base = buffer;
  pot_len = static_cast<std::int32_t>(capacity);
  storeLength(kept);
}

void TM2AscString::freeBuffer() {
  delete[] std::exchange(base, nullptr);
  act_len = 0;
  pot_len = 0;
}
