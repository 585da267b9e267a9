#ifndef QUVEN_REGISTRATION_H
#define QUVEN_REGISTRATION_H

// What a member list means. Included by the source of each class, which registers the class with one line:
//
//   QUVEN_REGISTER(QUVENExample);

#include <type_traits>
#include <utility>
#include <vector>

#include "util/quven_class_info.h"
#include "util/quven_debug.h"
#include "util/quven_obj_reader.h"
#include "util/quven_object_of.h"
#include "util/quven_stream_values.h"

/// The name of a class, defined where it is registered. A function, so that the source of another class with such a
/// member can refer to it.
template <class Class>
const char* quvenClassName();

namespace quven_members {

// What a member does besides travelling: by the first of the ways that its type has.

template <class T>
void copy(T& target, const T& source, const QUVENEnvHandle& env) {
  quvenCopyCell(target, source, env);
}

template <class T>
void release(T& value, const QUVENEnvHandle& env) {
  quvenReleaseCell(value, env);
}

template <class T>
void transfer(T& target, T& source, const QUVENEnvHandle& env) {
  if constexpr (std::derived_from<T, QUVENObject>) {
    target.transferFromPrimitive(&source, env);
  } else if constexpr (QUVENNumber<T> || std::is_enum_v<T>) {
    target = source;
  } else if constexpr (requires { target.swap(source); }) {
    // Arrays, tables, strings: what the target held goes with the source's old place.
    release(target, env);
    target = T();
    target.swap(source);
  } else {
    release(target, env);
    target = std::exchange(source, T());
  }
}

template <class T>
constexpr QUVENMemberType describe(bool isInStream) {
  if constexpr (requires { QUVENStreamValue<T>::describe(); }) {
    if (isInStream) return QUVENStreamValue<T>::describe();
  }
  return {};
}

/// The factory of a class, null where it has no constructor for everybody.
template <class Class>
constexpr QUVENFactory factoryOf() {
  if constexpr (std::is_constructible_v<Class> || std::is_constructible_v<Class, const QUVENEnvHandle&>) {
    return [](QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) { result = quvenMake<Class>(env); };
  } else {
    return nullptr;
  }
}

}  // namespace quven_members

template <class Derived, class Base>
template <class Action>
void QUVENObjectOf<Derived, Base>::forEachMember(Action action) {
  constexpr int count = decltype(Derived::quvenCountMembers(QUVENMemberRank<quvenMaxMembers>()))::value;
  if constexpr (count > 0) {
    [&]<int... index>(std::integer_sequence<int, index...>) {
      (action(Derived::quvenMemberAt(QUVENMemberOrdinal<index + 1>()), QUVENMemberOrdinal<index + 1>()), ...);
    }
    (std::make_integer_sequence<int, count>());
  } else {
    static_cast<void>(action);
  }
}

template <class Derived, class Base>
const QUVENTypeName& QUVENObjectOf<Derived, Base>::typeName() {
  static const QUVENTypeName type(quvenClassName<Derived>(), quven_members::factoryOf<Derived>());
  return type;
}

template <class Derived, class Base>
std::int32_t QUVENObjectOf<Derived, Base>::classLevel() {
  static const std::int32_t level = Base::classLevel() + 1;
  return level;
}

template <class Derived, class Base>
std::span<const QUVENKeyword> QUVENObjectOf<Derived, Base>::keywords() {
  static const std::vector<QUVENKeyword> list = [] {
    std::vector<QUVENKeyword> result;
    forEachMember([&](auto member, auto) {
      if constexpr (member.isInStream) {
        const std::int32_t ordinal = static_cast<std::int32_t>(result.size()) + 1;
        result.emplace_back(member.keyword, classLevel(), ordinal, Base::lastKeyword());
      }
    });
    return result;
  }();
  return list;
}

template <class Derived, class Base>
const QUVENKeyword& QUVENObjectOf<Derived, Base>::lastKeyword() {
  return keywords().empty() ? Base::lastKeyword() : keywords().back();
}

template <class Derived, class Base>
const QUVENKeyword& QUVENObjectOf<Derived, Base>::keywordOfEntry(int ordinal) {
  return *classInfo().getMembers()[static_cast<std::size_t>(ordinal - 1)].keyword;
}

template <class Derived, class Base>
const QUVENClassInfo& QUVENObjectOf<Derived, Base>::classInfo() {
  static const std::vector<QUVENMemberInfo> members = [] {
    std::vector<QUVENMemberInfo> result;
    const QUVENKeyword* keyword = keywords().data();
    forEachMember([&](auto member, auto) {
      using Member = decltype(member);
      result.push_back({member.name, member.isInStream ? keyword++ : nullptr,
                        quven_members::describe<typename Member::ValueType>(member.isInStream), member.isConditional});
    });
    return result;
  }();
  static const QUVENClassInfo info(typeName(), &Base::classInfo(), members);
  return info;
}

template <class Derived, class Base>
std::uint32_t QUVENObjectOf<Derived, Base>::sizeOf() const {
  return sizeof(Derived);
}

template <class Derived, class Base>
const QUVENTypeName& QUVENObjectOf<Derived, Base>::getTypeName() const {
  return typeName();
}

template <class Derived, class Base>
int QUVENObjectOf<Derived, Base>::isA(const QUVENTypeName& type) const {
  return typeName() == type ? 1 : Base::isA(type);
}

template <class Derived, class Base>
void QUVENObjectOf<Derived, Base>::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Base::copyFromPrimitive(source, env);
  if (source == nullptr || source == this) return;
  QUVEN_ASSERT(source->isA(typeName()));
  Derived& self = static_cast<Derived&>(*this);
  const Derived& from = static_cast<const Derived&>(*source);
  forEachMember([&](auto member, auto) { quven_members::copy(self.*member.pointer, from.*member.pointer, env); });
}

template <class Derived, class Base>
void QUVENObjectOf<Derived, Base>::transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) {
  Base::transferFromPrimitive(source, env);
  if (source == nullptr || source == this) return;
  QUVEN_ASSERT(source->isA(typeName()));
  Derived& self = static_cast<Derived&>(*this);
  Derived& from = static_cast<Derived&>(*source);
  forEachMember([&](auto member, auto) { quven_members::transfer(self.*member.pointer, from.*member.pointer, env); });
}

template <class Derived, class Base>
void QUVENObjectOf<Derived, Base>::readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Base::readPrimitive(reader, env);
  if (reader.isKeywordTaken()) return;
  Derived& self = static_cast<Derived&>(*this);
  const QUVENKeyword* keyword = keywords().data();
  bool taken = false;
  forEachMember([&](auto member, auto) {
    if constexpr (member.isInStream) {
      taken = taken || quvenRead(reader, *keyword, self.*member.pointer, env);
      ++keyword;
    }
  });
}

template <class Derived, class Base>
void QUVENObjectOf<Derived, Base>::writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const {
  Base::writePrimitive(writer, env);
  const Derived& self = static_cast<const Derived&>(*this);
  const QUVENKeyword* keyword = keywords().data();
  forEachMember([&](auto member, auto ordinal) {
    if constexpr (member.isInStream) {
      if (self.quvenIsWritten(ordinal, writer.getWriterMode())) {
        quvenWrite(writer, *keyword, self.*member.pointer, env);
      }
      ++keyword;
    }
  });
}

template <class Derived, class Base>
void QUVENObjectOf<Derived, Base>::destroyPrimitive(const QUVENEnvHandle& env) {
  Base::destroyPrimitive(env);
  Derived& self = static_cast<Derived&>(*this);
  forEachMember([&](auto member, auto) { quven_members::release(self.*member.pointer, env); });
}

/// Makes the type, its keywords and its description known before main, and compiles what the member list means.
/// A class with a protected constructor is registered without a factory.
#define QUVEN_REGISTER(Class)                                  \
  template <>                                                  \
  const char* quvenClassName<Class>() {                        \
    return #Class;                                             \
  }                                                            \
  template class QUVENObjectOf<Class, Class::QUVENListedBase>; \
  [[maybe_unused]] static const QUVENClassInfo& quvenRegistration_##Class = Class::classInfo()

#endif  // QUVEN_REGISTRATION_H
