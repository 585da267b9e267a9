#ifndef QUVEN_OBJECT_OF_H
#define QUVEN_OBJECT_OF_H

// How a class of the library is written: its members, once, in the order of the stream.
//
//   class QUVENExample : public QUVENObjectOf<QUVENExample, QUVENObject> {
//    private:
//     QUVEN_MEMBER(ivName, QUVENStringWithHash);
//     QUVEN_MEMBER(ivValues, QUVENXaRay<double>);
//     QUVEN_MEMBER_IF(writerMode != QUVENObjWriter::ScanResults, ivLimit, std::int32_t) = 0;
//     QUVEN_MEMBER_AS("child", ivChild, QUVENOwnPtr<QUVENExample>);
//     QUVEN_STATE(currentIndex, std::int32_t) = 0;
//   };
//
// and in its source, which includes util/quven_registration.h:
//
//   QUVEN_REGISTER(QUVENExample);
//
// Each line declares the member and lists it. Keywords, reading, writing, copy, transfer and release follow from the
// list.

#include <cstdint>
#include <span>

#include "util/quven_keyword.h"
#include "util/quven_obj_writer.h"
#include "util/quven_object.h"

template <class Derived, class Base>
class QUVENObjectOf;

/// An entry of a member list.
template <class Class, class Type, bool inStream, bool conditional>
struct QUVENMember {
  static constexpr bool isInStream = inStream;
  static constexpr bool isConditional = conditional;
  using ValueType = Type;

  const char* name;
  const char* keyword;
  Type Class::*pointer;
};

// The list is a set of overloads, one an entry, told apart by their ordinals; an entry finds its ordinal by asking for
// the overload with the highest rank so far.
inline constexpr int quvenMaxMembers = 96;
template <int n>
struct QUVENMemberRank : QUVENMemberRank<n - 1> {
  static constexpr int value = n;
};
template <>
struct QUVENMemberRank<0> {
  static constexpr int value = 0;
};
template <int n>
struct QUVENMemberOrdinal {};

/// Between a class and its base: the virtual operations, as the member list of the class gives them.
///
/// A class that does something else in some mode or state overrides the operation and calls that of Members first.
/// A constructor of the base is inherited by `using Members::QUVENObjectOf;`.
/// The bodies are in util/quven_registration.h and are compiled where the class is registered.
template <class Derived, class Base>
class QUVENObjectOf : public Base {
 public:
  using Base::Base;
  using QUVENListedBase = Base;

  static const QUVENTypeName& typeName();
  static const QUVENClassInfo& classInfo();
  /// 1 directly under QUVENObject.
  static std::int32_t classLevel();
  /// The keywords of the class itself, in the order of its list.
  static std::span<const QUVENKeyword> keywords();
  /// The last keyword of the class or, if it has none, of its bases.
  static const QUVENKeyword& lastKeyword();

  std::uint32_t sizeOf() const override;
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  const QUVENTypeName& getTypeName() const override;
  int isA(const QUVENTypeName& type) const override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void destroyPrimitive(const QUVENEnvHandle& env) override;

 protected:
  using Self = Derived;
  using Members = QUVENObjectOf;

  static QUVENMemberRank<0> quvenCountMembers(QUVENMemberRank<0>);
  /// What a class with an empty list is asked for, and never called: each entry declares its own.
  bool quvenIsWritten(QUVENMemberOrdinal<0>, std::int32_t) const { return false; }
  /// The keyword of the list entry with this ordinal.
  static const QUVENKeyword& keywordOfEntry(int ordinal);

 private:
  template <class Action>
  static void forEachMember(Action action);
};

/// The one entry behind all macros: declares a member and lists it.
#define QUVEN_LIST_MEMBER(inStream, conditional, keywordText, condition, memberName, ...)                              \
  template <class, class>                                                                                              \
  friend class ::QUVENObjectOf;                                                                                        \
  static constexpr int quvenOrdinal_##memberName =                                                                     \
      decltype(quvenCountMembers(QUVENMemberRank<quvenMaxMembers>()))::value + 1;                                      \
  static QUVENMemberRank<quvenOrdinal_##memberName> quvenCountMembers(QUVENMemberRank<quvenOrdinal_##memberName>);     \
  static constexpr auto quvenMemberAt(QUVENMemberOrdinal<quvenOrdinal_##memberName>) {                                 \
    return QUVENMember<Self, __VA_ARGS__, inStream, conditional>{#memberName, keywordText, &Self::memberName};         \
  }                                                                                                                    \
  bool quvenIsWritten(QUVENMemberOrdinal<quvenOrdinal_##memberName>, [[maybe_unused]] std::int32_t writerMode) const { \
    return condition;                                                                                                  \
  }                                                                                                                    \
  static const QUVENKeyword& quvenKeyword_##memberName() {                                                             \
    return Members::keywordOfEntry(quvenOrdinal_##memberName);                                                         \
  }                                                                                                                    \
  __VA_ARGS__ memberName

/// A member that streams carry under its own name.
#define QUVEN_MEMBER(memberName, ...) QUVEN_LIST_MEMBER(true, false, #memberName, true, memberName, __VA_ARGS__)
/// The same under another keyword.
#define QUVEN_MEMBER_AS(keywordText, memberName, ...) \
  QUVEN_LIST_MEMBER(true, false, keywordText, true, memberName, __VA_ARGS__)
/// A member that is written only where a condition on writerMode and the object's other members holds. It keeps its
/// keyword either way, and is read wherever it comes.
#define QUVEN_MEMBER_IF(condition, memberName, ...) \
  QUVEN_LIST_MEMBER(true, true, #memberName, condition, memberName, __VA_ARGS__)
#define QUVEN_MEMBER_AS_IF(keywordText, condition, memberName, ...) \
  QUVEN_LIST_MEMBER(true, true, keywordText, condition, memberName, __VA_ARGS__)
/// A member that no stream carries; it is copied, transferred and released. Anything that is not listed is not even
/// that.
#define QUVEN_STATE(memberName, ...) QUVEN_LIST_MEMBER(false, false, #memberName, false, memberName, __VA_ARGS__)

#endif  // QUVEN_OBJECT_OF_H
