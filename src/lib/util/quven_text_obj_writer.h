#ifndef QUVEN_TEXT_OBJ_WRITER_H
#define QUVEN_TEXT_OBJ_WRITER_H

#include <iosfwd>
#include <limits>

#include "util/quven_obj_writer.h"

/// Objects as indented text for people: a line a member, "keyword = value". It is not read back.
///
///   QUVENXMLTag {
///     ivIsLeaf = 1
///     ivName = "InputFile"
///     ivAttrNames = [0]
///     ivChildren = [1] {
///       QUVENXMLTag {
///         ...
///
/// Errors: none of its own; whoever owns the text stream looks at its state.
class QUVENTextObjWriter final : public QUVENObjWriter {
 public:
  static constexpr std::size_t AllElements = std::numeric_limits<std::size_t>::max();

  /// Of an array of numbers only the first shownElements are written, and how many more there are.
  QUVENTextObjWriter(std::ostream& text, std::int32_t mode, std::size_t shownElements = AllElements);

  void beginItem(const QUVENEnvHandle& env) override;
  void writeKeyword(const QUVENKeyword& keyword, const QUVENEnvHandle& env) override;
  void writeSignedByte(std::int8_t value, const QUVENEnvHandle& env) override;
  void writeUnsignedByte(std::uint8_t value, const QUVENEnvHandle& env) override;
  void writeString(std::string_view value, const QUVENEnvHandle& env) override;
  void writeUnsignedVarint(std::uint64_t value, const QUVENEnvHandle& env) override;
  void writeSignedVarint(std::int64_t value, const QUVENEnvHandle& env) override;
  void writeDouble(double value, const QUVENEnvHandle& env) override;
  void beginObjectType(std::string_view typeName, const QUVENEnvHandle& env) override;
  void beginObject(const QUVENEnvHandle& env) override;
  void beginArray(std::int64_t size, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::int8_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::uint8_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::int64_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const std::uint64_t> values, const QUVENEnvHandle& env) override;
  void writeNumbers(std::span<const double> values, const QUVENEnvHandle& env) override;

 private:
  static constexpr std::size_t IndentWidth = 2;
  static constexpr std::size_t LineWidth = 100;

  void startLine();
  template <class Number>
  void writeNumber(Number value);
  template <class Number>
  void writeElements(std::span<const Number> values);
  void endBlock();

  std::ostream& out;
  std::size_t elementsToShow;
  std::size_t indent = 0;
  std::size_t column = 0;           // of the line of numbers at hand
  std::size_t elementsOfArray = 0;  // numbers written of the array at hand
  bool linePending = false;         // an item begins, and its line with the first text of it
  bool arrayIsEmpty = false;
};

#endif  // QUVEN_TEXT_OBJ_WRITER_H
