#ifndef TM2USTRA_H
#define TM2USTRA_H

#include <compare>
#include <cstdint>
#include <string_view>

/// The bits of the length word that are the length; the bits above them are flags.
inline constexpr std::uint32_t TM2AscString_ACT_LEN_MASK = 0x3FFFFFFFU;

/// The small text of the message layer.
///
/// An empty string needs no buffer: its text is a static empty text. The capacity is at least one above the length, for
/// the terminating zero. The flags are for classes that add something to the text; any change of the text clears them.
/// Errors: a broken invariant prints "*** ERROR: String Assert Failed: " with the condition on standard output and
///         raises the termination exception; without memory, or beyond the mask, std::bad_alloc is thrown. The string
///         is unchanged then.
class TM2AscString {
 public:
  TM2AscString() = default;
  explicit TM2AscString(std::string_view initial) { assign(initial); }
  TM2AscString(const TM2AscString& other) { assign(other.view()); }
  TM2AscString(TM2AscString&& other) noexcept { swap(other); }
  TM2AscString& operator=(const TM2AscString& other);
  TM2AscString& operator=(TM2AscString&& other) noexcept;
  ~TM2AscString() { freeBuffer(); }
  void swap(TM2AscString& other) noexcept;

  void assign(std::string_view newText);
  void append(std::string_view more);
  void append(char character) { append(std::string_view(&character, 1)); }
  /// Appends a number by way of a buffer of 256 bytes, which it must fit.
  void appendNumber(long value);
  void appendNumber(double value, const char* format = "%g");

  /// Sets length and capacity; characters that are added are blanks. A length of 0 with capacity 0 frees the buffer.
  void setLengthCapacity(long length, long capacity);
  /// Sets the length within the capacity.
  void setLength(long a_len);  // NOLINT(readability-identifier-naming): stands in a report
  /// Replaces the character at a 0-based index, or adds one at the end, within the capacity.
  void setChar(long ix, char character);

  /// The character at a 0-based index; at the length it is the terminating zero.
  char operator[](long ix) const;
  const char* text() const { return base == nullptr ? "" : base; }
  std::string_view view() const { return {text(), static_cast<std::size_t>(getLength())}; }
  long getLength() const { return static_cast<long>(act_len & TM2AscString_ACT_LEN_MASK); }
  long getCapacity() const { return pot_len; }

  std::uint32_t getFlags() const { return act_len & ~TM2AscString_ACT_LEN_MASK; }
  void setFlags(std::uint32_t flags) {
    act_len = (act_len & TM2AscString_ACT_LEN_MASK) | (flags & ~TM2AscString_ACT_LEN_MASK);
  }

  friend bool operator==(const TM2AscString& a, const TM2AscString& b) { return a.view() == b.view(); }
  friend auto operator<=>(const TM2AscString& a, const TM2AscString& b) { return a.view() <=> b.view(); }

 protected:
  /// Copies characters into the buffer that is there, and sets the length to their number.
  void copyChars(const char* source, long num_chars);  // NOLINT(readability-identifier-naming): stands in a report
  void checkInvariant() const;

  char* base = nullptr;
  std::uint32_t act_len = 0;
  std::int32_t pot_len = 0;  // with the terminating zero

 private:
  void fillUpTo(long length, long oldLength);
  void storeLength(long length);
  void setCapacity(long capacity);
  void freeBuffer();
};

#endif  // TM2USTRA_H
