#include "util/quven_text_obj_writer.h"

#include <algorithm>
#include <charconv>
#include <ostream>
#include <string>

namespace {

/// Printable bytes, and those of other alphabets, as they are.
std::string quoted(std::string_view text) {
  constexpr unsigned char firstPrintable = 0x20;
  constexpr unsigned char deleteSign = 0x7f;
  constexpr const char* digits = "0123456789abcdef";
  std::string result = "\"";
  for (const char character : text) {
    const unsigned char byte = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') {
      result.append(1, '\\').append(1, character);
    } else if (byte < firstPrintable || byte == deleteSign) {
      result.append("\\x").append(1, digits[byte >> 4]).append(1, digits[byte & 0xf]);
    } else {
      result += character;
    }
  }
  return result += '"';
}

}  // namespace

QUVENTextObjWriter::QUVENTextObjWriter(std::ostream& text, std::int32_t mode, std::size_t shownElements)
    : QUVENObjWriter(mode), out(text), elementsToShow(shownElements) {}

void QUVENTextObjWriter::startLine() {
  if (!linePending) return;
  linePending = false;
  out << '\n' << std::string(indent, ' ');
  column = indent;
}

void QUVENTextObjWriter::beginItem(const QUVENEnvHandle&) { linePending = true; }

void QUVENTextObjWriter::endBlock() {
  indent -= std::min(indent, IndentWidth);
  startLine();
  out << '}';
}

void QUVENTextObjWriter::writeKeyword(const QUVENKeyword& keyword, const QUVENEnvHandle&) {
  if (keyword == QUVEN_KWD(EndObject)) {
    endBlock();
  } else if (keyword == QUVEN_KWD(EndArray)) {
    if (!arrayIsEmpty) endBlock();
    arrayIsEmpty = linePending = false;
  } else {
    startLine();
    out << keyword.getName().str() << " = ";
  }
}

template <class Number>
void QUVENTextObjWriter::writeNumber(Number value) {
  char text[32];
  const auto result = std::to_chars(text, text + sizeof text, value);
  const std::string_view digits(text, static_cast<std::size_t>(result.ptr - text));
  startLine();
  out << digits;
  column += digits.size();
}

void QUVENTextObjWriter::writeSignedByte(std::int8_t value, const QUVENEnvHandle&) { writeNumber<int>(value); }
void QUVENTextObjWriter::writeUnsignedByte(std::uint8_t value, const QUVENEnvHandle&) { writeNumber<int>(value); }
void QUVENTextObjWriter::writeUnsignedVarint(std::uint64_t value, const QUVENEnvHandle&) { writeNumber(value); }
void QUVENTextObjWriter::writeSignedVarint(std::int64_t value, const QUVENEnvHandle&) { writeNumber(value); }
void QUVENTextObjWriter::writeDouble(double value, const QUVENEnvHandle&) { writeNumber(value); }

void QUVENTextObjWriter::writeString(std::string_view value, const QUVENEnvHandle&) {
  startLine();
  out << quoted(value);
}

void QUVENTextObjWriter::beginObjectType(std::string_view typeName, const QUVENEnvHandle&) {
  startLine();
  if (typeName.empty()) {
    out << "null";
    return;
  }
  out << typeName << " {";
  indent += IndentWidth;
}

void QUVENTextObjWriter::beginObject(const QUVENEnvHandle&) {
  startLine();
  out << '{';
  indent += IndentWidth;
}

void QUVENTextObjWriter::beginArray(std::int64_t size, const QUVENEnvHandle&) {
  startLine();
  out << '[' << size << ']';
  elementsOfArray = 0;
  arrayIsEmpty = size == 0;
  if (arrayIsEmpty) return;
  out << " {";
  indent += IndentWidth;
}

/// An array may come in several parts.
template <class Number>
void QUVENTextObjWriter::writeElements(std::span<const Number> values) {
  for (const Number value : values) {
    if (elementsOfArray == elementsToShow) {
      linePending = true;
      startLine();
      out << "...";
    }
    if (elementsOfArray++ >= elementsToShow) continue;
    if (elementsOfArray == 1 || column > LineWidth) {
      linePending = true;
    } else {
      out << ' ';
      ++column;
    }
    writeNumber(value);
  }
}

void QUVENTextObjWriter::writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle&) {
  for (const int value : values) writeElements(std::span<const int>(&value, 1));
}

void QUVENTextObjWriter::writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle&) {
  for (const int value : values) writeElements(std::span<const int>(&value, 1));
}

void QUVENTextObjWriter::writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle&) {
  writeElements(values);
}

void QUVENTextObjWriter::writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle&) {
  writeElements(values);
}

void QUVENTextObjWriter::writeNumbers(std::span<const double> values, const QUVENEnvHandle&) { writeElements(values); }
