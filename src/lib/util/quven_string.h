#ifndef QUVEN_STRING_H
#define QUVEN_STRING_H

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "util/quven_hash.h"
#include "util/quven_memory.h"
#include "util/quven_xashtable.h"

/// The string with hash: a text that remembers its hash. Any change of the text clears the flag that the hash is valid.
/// The hash is hashBytes of the text without its terminating zero, with seed 0.
class QUVENStringWithHash {
 public:
  QUVENStringWithHash() = default;
  explicit QUVENStringWithHash(std::string_view initial) : text(initial) {}
  QUVENStringWithHash(const QUVENStringWithHash&) = default;
  QUVENStringWithHash& operator=(const QUVENStringWithHash&) = default;
  /// A string that was moved from is empty.
  QUVENStringWithHash(QUVENStringWithHash&& other) noexcept { swap(other); }
  QUVENStringWithHash& operator=(QUVENStringWithHash&& other) noexcept {
    QUVENStringWithHash(std::move(other)).swap(*this);
    return *this;
  }
  ~QUVENStringWithHash() = default;
  void swap(QUVENStringWithHash& other) noexcept {
    text.swap(other.text);
    std::swap(hashValid, other.hashValid);
    std::swap(hashValue, other.hashValue);
  }

  void assign(std::string_view newText) {
    text.assign(newText);
    hashValid = 0;
  }
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the string is as it was then.
  void copyFrom(const QUVENStringWithHash& other, const QUVENEnvHandle& env) {
    quvenAssignText(text, other.text, QUVEN_ENV);
    hashValid = other.hashValid;
    hashValue = other.hashValue;
  }
  void append(std::string_view more) {
    text.append(more);
    hashValid = 0;
  }
  void clear() {
    text.clear();
    hashValid = 0;
  }

  const std::string& str() const { return text; }
  const char* c_str() const { return text.c_str(); }
  long getLength() const { return static_cast<long>(text.size()); }
  bool isEmpty() const { return text.empty(); }
  operator std::string_view() const { return text; }

  bool isHashValid() const { return hashValid == 1; }
  std::uint32_t hash() const {
    if (hashValid == 0) {
      hashValue = hashOf(text);
      hashValid = 1;
    }
    return hashValue;
  }
  static std::uint32_t hashOf(std::string_view text) { return hashBytes(text.data(), text.size(), 0); }

  friend bool operator==(const QUVENStringWithHash& a, const QUVENStringWithHash& b) { return a.text == b.text; }
  friend auto operator<=>(const QUVENStringWithHash& a, const QUVENStringWithHash& b) { return a.text <=> b.text; }
  friend bool operator==(const QUVENStringWithHash& a, std::string_view b) { return a.text == b; }

 private:
  std::string text;
  mutable std::int32_t hashValid = 0;
  mutable std::uint32_t hashValue = 0;
};

/// A table of strings is asked with a string, whose hash may be known, or with any text.
template <>
struct QUVENXAshKey<QUVENStringWithHash> {
  static std::uint32_t hash(const QUVENStringWithHash& key) { return key.hash(); }
  static std::uint32_t hash(std::string_view key) { return QUVENStringWithHash::hashOf(key); }
};

#endif  // QUVEN_STRING_H
