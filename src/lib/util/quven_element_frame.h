#ifndef QUVEN_ELEMENT_FRAME_H
#define QUVEN_ELEMENT_FRAME_H

#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "util/quven_keyword.h"
#include "util/quven_numbers.h"
#include "util/quven_varint.h"

/// The constant bytes of the binary image of a class with two members: before the first value, between the values, and
/// behind the second.
///
/// Arrays of such objects are written and read in one step per element where the stream has bytes at hand. The image
/// is that of quvenWriteObject; a reader that finds other bytes reads the element member by member.
struct QUVENElementFrame {
  QUVENElementFrame(std::string_view typeName, std::span<const QUVENKeyword> keywords);

  /// The bytes of an image beside those of its values.
  std::size_t size() const { return head.size() + middle.size() + tail.size(); }

  std::string head;
  std::string middle;
  std::string tail;
};

/// Fills the bytes of an image from a place on. Requires: room for them.
class QUVENImageFiller {
 public:
  explicit QUVENImageFiller(char* firstPlace) : place(firstPlace), at(firstPlace) {}

  void add(std::string_view bytes) {
    std::memcpy(at, bytes.data(), bytes.size());
    at += bytes.size();
  }
  void addDouble(double value) {
    std::memcpy(at, &value, sizeof value);
    at += sizeof value;
  }
  void addSigned(std::int64_t value) { at += quvenEncodeSigned(value, at); }
  void addUnsigned(std::uint64_t value) { at += quvenEncodeUnsigned(value, at); }
  std::size_t getCount() const { return static_cast<std::size_t>(at - place); }

 private:
  char* place;
  char* at;
};

/// Takes an image apart. Each step says whether the bytes are the expected ones; after a step that fails nothing
/// counts.
class QUVENImageParser {
 public:
  explicit QUVENImageParser(std::span<const char> bytes)
      : place(bytes.data()), at(bytes.data()), end(bytes.data() + bytes.size()) {}

  bool expect(std::string_view bytes) {
    if (!has(bytes.size()) || std::memcmp(at, bytes.data(), bytes.size()) != 0) return false;
    at += bytes.size();
    return true;
  }
  bool takeDouble(double& value) {
    if (!has(sizeof value)) return false;
    std::memcpy(&value, at, sizeof value);
    value = quvenClampDouble(value);
    at += sizeof value;
    return true;
  }
  bool takeText(std::string_view& text) {
    std::int64_t length = 0;
    if (!has(quvenMaxVarintBytes) || !quvenDecodeSigned(at, length)) return false;
    if (length < 0 || !has(static_cast<std::size_t>(length))) return false;
    text = {at, static_cast<std::size_t>(length)};
    at += length;
    return true;
  }
  bool takeUnsigned(std::uint64_t& value) { return has(quvenMaxVarintBytes) && quvenDecodeUnsigned(at, value); }
  std::size_t getCount() const { return static_cast<std::size_t>(at - place); }

 private:
  bool has(std::size_t count) const { return count <= static_cast<std::size_t>(end - at); }

  const char* place;
  const char* at;
  const char* end;
};

#endif  // QUVEN_ELEMENT_FRAME_H
