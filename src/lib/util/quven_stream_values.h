#ifndef QUVEN_STREAM_VALUES_H
#define QUVEN_STREAM_VALUES_H

// How the values of members go into a stream and come back: one overload a kind. A new kind of member is one more
// specialisation of QUVENStreamValue.

#include <algorithm>
#include <array>
#include <concepts>
#include <span>
#include <string>

#include "util/quven_class_info.h"
#include "util/quven_memory.h"
#include "util/quven_numbers.h"
#include "util/quven_obj_reader.h"
#include "util/quven_obj_writer.h"
#include "util/quven_object.h"
#include "util/quven_own_ptr.h"
#include "util/quven_string.h"
#include "util/quven_xaray.h"

/// How a value of a type is written and read. fewestBytes is the size of its shortest image.
template <class T>
struct QUVENStreamValue;

template <class T>
concept QUVENNumber = std::is_arithmetic_v<T>;

namespace quven_stream {

inline void writeWide(QUVENObjWriter& writer, std::int8_t v, const QUVENEnvHandle& env) {
  writer.writeSignedByte(v, env);
}
inline void writeWide(QUVENObjWriter& writer, std::uint8_t v, const QUVENEnvHandle& env) {
  writer.writeUnsignedByte(v, env);
}
inline void writeWide(QUVENObjWriter& writer, std::int64_t v, const QUVENEnvHandle& env) {
  writer.writeSignedVarint(v, env);
}
inline void writeWide(QUVENObjWriter& writer, std::uint64_t v, const QUVENEnvHandle& env) {
  writer.writeUnsignedVarint(v, env);
}
inline void writeWide(QUVENObjWriter& writer, double v, const QUVENEnvHandle& env) { writer.writeDouble(v, env); }

inline void readWide(QUVENObjReader& reader, std::int8_t& v, const QUVENEnvHandle& env) {
  v = reader.readSignedByte(env);
}
inline void readWide(QUVENObjReader& reader, std::uint8_t& v, const QUVENEnvHandle& env) {
  v = reader.readUnsignedByte(env);
}
inline void readWide(QUVENObjReader& reader, std::int64_t& v, const QUVENEnvHandle& env) {
  v = reader.readSignedVarint(env);
}
inline void readWide(QUVENObjReader& reader, std::uint64_t& v, const QUVENEnvHandle& env) {
  v = reader.readUnsignedVarint(env);
}
inline void readWide(QUVENObjReader& reader, double& v, const QUVENEnvHandle& env) { v = reader.readDouble(env); }

inline constexpr std::size_t chunk = 256;  // numbers converted at a time

// Not inlined: their buffers would stand in the frame of every object on the way into nested ones.

/// The elements of an array: as they stand where their type is that of the stream, else through a buffer.
template <QUVENNumber T>
[[gnu::noinline]] void writeElements(QUVENObjWriter& writer, std::span<const T> values, const QUVENEnvHandle& env) {
  using Wide = QUVENWide<T>;
  if (values.empty()) return;
  if constexpr (std::same_as<T, Wide>) {
    writer.writeNumbers(values, env);
  } else if constexpr (std::same_as<T, char>) {
    writer.writeNumbers(std::span<const Wide>(reinterpret_cast<const Wide*>(values.data()), values.size()), env);
  } else {
    std::array<Wide, chunk> buffer;
    for (; !values.empty(); values = values.subspan(std::min(chunk, values.size()))) {
      const std::size_t count = std::min(chunk, values.size());
      std::transform(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count), buffer.begin(),
                     [](T value) { return static_cast<Wide>(value); });
      writer.writeNumbers(std::span<const Wide>(buffer.data(), count), env);
    }
  }
}

template <QUVENNumber T>
[[gnu::noinline]] void readElements(QUVENObjReader& reader, std::span<T> values, const QUVENEnvHandle& env) {
  using Wide = QUVENWide<T>;
  if (values.empty()) return;
  if constexpr (std::same_as<T, Wide>) {
    reader.readNumbers(values, env);
  } else if constexpr (std::same_as<T, char>) {
    reader.readNumbers(std::span<Wide>(reinterpret_cast<Wide*>(values.data()), values.size()), env);
  } else {
    std::array<Wide, chunk> buffer;
    for (; !values.empty(); values = values.subspan(std::min(chunk, values.size()))) {
      const std::span<Wide> part(buffer.data(), std::min(chunk, values.size()));
      reader.readNumbers(part, env);
      std::transform(part.begin(), part.end(), values.begin(), [](Wide value) { return quvenSaturate<T>(value); });
    }
  }
}

}  // namespace quven_stream

template <QUVENNumber T>
struct QUVENStreamValue<T> {
  static constexpr std::uint64_t fewestBytes = std::floating_point<T> ? sizeof(double) : 1;

  static void write(QUVENObjWriter& writer, T value, const QUVENEnvHandle& env) {
    quven_stream::writeWide(writer, static_cast<QUVENWide<T>>(value), env);
  }
  static void read(QUVENObjReader& reader, T& value, const QUVENEnvHandle& env) {
    QUVENWide<T> wide{};
    quven_stream::readWide(reader, wide, env);
    value = quvenSaturate<T>(wide);
  }
  static QUVENMemberType describe() {
    const QUVENValueKind kind = std::same_as<T, bool>    ? QUVENValueKind::Boolean
                                : std::floating_point<T> ? QUVENValueKind::Real
                                : std::is_signed_v<T>    ? QUVENValueKind::SignedInteger
                                                         : QUVENValueKind::UnsignedInteger;
    return {kind, static_cast<int>(8 * sizeof(T)), 0, nullptr};
  }
};

template <class T>
requires std::is_enum_v<T>
struct QUVENStreamValue<T> {
  using Number = std::underlying_type_t<T>;
  static constexpr std::uint64_t fewestBytes = 1;

  static void write(QUVENObjWriter& writer, T value, const QUVENEnvHandle& env) {
    QUVENStreamValue<Number>::write(writer, static_cast<Number>(value), env);
  }
  static void read(QUVENObjReader& reader, T& value, const QUVENEnvHandle& env) {
    Number number{};
    QUVENStreamValue<Number>::read(reader, number, env);
    value = static_cast<T>(number);
  }
  static QUVENMemberType describe() { return QUVENStreamValue<Number>::describe(); }
};

template <>
struct QUVENStreamValue<std::string> {
  static constexpr std::uint64_t fewestBytes = 1;

  static void write(QUVENObjWriter& writer, const std::string& value, const QUVENEnvHandle& env) {
    writer.writeString(value, env);
  }
  static void read(QUVENObjReader& reader, std::string& value, const QUVENEnvHandle& env) {
    reader.readString(value, env);
  }
  static QUVENMemberType describe() { return {QUVENValueKind::String, 0, 0, nullptr}; }
};

template <>
struct QUVENStreamValue<QUVENStringWithHash> {
  static constexpr std::uint64_t fewestBytes = 1;

  static void write(QUVENObjWriter& writer, const QUVENStringWithHash& value, const QUVENEnvHandle& env) {
    writer.writeString(value, env);
  }
  static void read(QUVENObjReader& reader, QUVENStringWithHash& value, const QUVENEnvHandle& env) {
    std::string text;
    reader.readString(text, env);
    quvenAssignText(value, text, env);
  }
  static QUVENMemberType describe() { return QUVENStreamValue<std::string>::describe(); }
};

template <class T>
struct QUVENStreamValue<QUVENOwnPtr<T>> {
  static constexpr std::uint64_t fewestBytes = 2;

  static void write(QUVENObjWriter& writer, const QUVENOwnPtr<T>& value, const QUVENEnvHandle& env) {
    quvenWriteObject(writer, value.getObject(), env);
  }
  static void read(QUVENObjReader& reader, QUVENOwnPtr<T>& value, const QUVENEnvHandle& env) {
    quvenReadObject(reader, value, T::typeName(), env);
  }
  static QUVENMemberType describe() { return {QUVENValueKind::OwnedObject, 0, 0, &T::typeName}; }
};

template <std::derived_from<QUVENObject> T>
struct QUVENStreamValue<T> {
  static constexpr std::uint64_t fewestBytes = 4;  // keyword, length and text of the type, keyword

  static void write(QUVENObjWriter& writer, const T& value, const QUVENEnvHandle& env) {
    quvenWriteObject(writer, value, env);
  }
  static void read(QUVENObjReader& reader, T& value, const QUVENEnvHandle& env) { quvenReadObject(reader, value, env); }
  static QUVENMemberType describe() { return {QUVENValueKind::ObjectByValue, 0, 0, &T::typeName}; }
};

/// What the values of all arrays have in common: how they are written, and what they are.
template <class T, int kind>
struct QUVENArrayValue {
  using Array = QUVENXaRay<T, kind>;
  using Element = QUVENStreamValue<T>;
  static constexpr std::uint64_t fewestBytes = 3;

  static void write(QUVENObjWriter& writer, const Array& array, const QUVENEnvHandle& env) {
    writer.beginArray(array.getSize(), env);
    if constexpr (QUVENNumber<T>) {
      quven_stream::writeElements(writer, array.toZeroBased(), env);
    } else {
      for (const T& element : array) {
        writer.beginItem(env);
        Element::write(writer, element, env);
      }
    }
    writer.beginItem(env);
    writer.writeKeyword(QUVEN_KWD(EndArray), env);
  }

  static QUVENMemberType describe() {
    QUVENMemberType type = Element::describe();
    ++type.arrayDepth;
    return type;
  }
};

template <class T, int kind>
struct QUVENStreamValue<QUVENXaRay<T, kind>> : QUVENArrayValue<T, kind> {
  using Array = QUVENXaRay<T, kind>;
  using Element = QUVENStreamValue<T>;

  static void read(QUVENObjReader& reader, Array& array, const QUVENEnvHandle& env) {
    const std::int64_t size = reader.expectBeginArraySize(env);
    reader.beginArrayElements();
    if (size < 0) {
      readUnknownLength(reader, array, env);
    } else {
      reader.checkCount(static_cast<std::uint64_t>(size), Element::fewestBytes, env);
      readElements(reader, array, size, env);
    }
    reader.endArrayElements(env);
  }

 private:
  static void readElements(QUVENObjReader& reader, Array& array, long size, const QUVENEnvHandle& env) {
    // Strings and objects are made as they arrive: the claims of nested arrays would multiply.
    constexpr long elementsOnTrust = 64;
    const long step =
        QUVENNumber<T> ? reader.getElementsAtATime() : std::min(reader.getElementsAtATime(), elementsOnTrust);
    if (size <= step) {
      array.setSize(size, env);
      return readElements(reader, array, 0, size, env);
    }
    // A count that nothing vouches for is paid for only as far as its elements arrive.
    array.setSize(std::min(size, array.getSize()), env);
    for (long done = 0; done < size; done = std::min(size, done + step)) {
      const long next = std::min(size, done + step);
      array.autoExtend(next, env);
      readElements(reader, array, done, next, env);
    }
  }

  /// The elements behind the first ones.
  static void readElements(QUVENObjReader& reader, Array& array, long first, long last, const QUVENEnvHandle& env) {
    if constexpr (QUVENNumber<T>) {
      const auto part = array.toZeroBased().subspan(static_cast<std::size_t>(first));
      quven_stream::readElements(reader, part.first(static_cast<std::size_t>(last - first)), env);
    } else {
      for (long i = first + 1; i <= last; ++i) Element::read(reader, array[i], env);
    }
  }

  static void readUnknownLength(QUVENObjReader& reader, Array& array, const QUVENEnvHandle& env) {
    long size = 0;
    while (!reader.atArrayEnd(env)) {
      array.autoExtend(++size, env);
      Element::read(reader, array[size], env);
    }
    array.setSize(size, env);
  }
};

/// Writes a member: its keyword, its value.
template <class T>
void quvenWrite(QUVENObjWriter& writer, const QUVENKeyword& keyword, const T& value, const QUVENEnvHandle& env) {
  writer.beginItem(env);
  writer.writeKeyword(keyword, env);
  QUVENStreamValue<T>::write(writer, value, env);
}

/// Reads a member if its keyword comes next; otherwise the keyword stays for somebody else.
template <class T>
bool quvenRead(QUVENObjReader& reader, const QUVENKeyword& keyword, T& value, const QUVENEnvHandle& env) {
  if (!reader.keywordMatches(keyword, env)) return false;
  QUVENStreamValue<T>::read(reader, value, env);
  reader.takeKeyword();
  return true;
}

#endif  // QUVEN_STREAM_VALUES_H
