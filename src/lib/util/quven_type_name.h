#ifndef QUVEN_TYPE_NAME_H
#define QUVEN_TYPE_NAME_H

#include <cstdint>
#include <string_view>

#include "util/quven_env.h"
#include "util/quven_string.h"
#include "util/quven_xaray.h"
#include "util/quven_xashtable.h"

/// The name of a class as a key of the registry: its characters with the terminating zero, and a copy with the hash.
class QUVENTypeNameString {
 public:
  QUVENTypeNameString() = default;
  QUVENTypeNameString(std::string_view name, const QUVENEnvHandle& env);

  /// Without the terminating zero.
  std::string_view view() const { return text; }
  /// The characters and the terminating zero.
  long getSize() const { return characters.getSize(); }
  std::uint32_t hash() const { return text.hash(); }

  void copyFrom(const QUVENTypeNameString& other, const QUVENEnvHandle& env);
  void deleteMemory(const QUVENEnvHandle& env);

  friend bool operator==(const QUVENTypeNameString& a, std::string_view b) { return a.view() == b; }
  friend bool operator==(const QUVENTypeNameString& a, const QUVENTypeNameString& b) { return a.view() == b.view(); }

 private:
  QUVENXaRay<char> characters;
  QUVENStringWithHash text;
};

/// The registry asks with any text; a string with hash brings the hash along.
template <>
struct QUVENXAshKey<QUVENTypeNameString> {
  static std::uint32_t hash(const QUVENTypeNameString& key) { return key.hash(); }
  static std::uint32_t hash(const QUVENStringWithHash& key) { return key.hash(); }
  static std::uint32_t hash(std::string_view key) { return QUVENStringWithHash::hashOf(key); }
};

/// The registration of one class: name, factory and a dense index from 1 upward. There is one a class, static.
///
/// Two types are the same when their indices are equal. A second registration of a name shares the index of the first,
/// whose pointer stays in the registry.
/// Lifetime: until the program ends; then it takes itself out of the registry if that is still there.
class QUVENTypeName {
 public:
  /// The name stays where it is; the factory of an abstract class is null.
  QUVENTypeName(const char* name, QUVENFactory factory);
  ~QUVENTypeName();
  QUVENTypeName(const QUVENTypeName&) = delete;
  QUVENTypeName& operator=(const QUVENTypeName&) = delete;

  const char* getName() const { return ivName; }
  std::int32_t getIndex() const { return index; }
  bool isAbstract() const { return ivFactoryFunc == nullptr; }

  /// Errors: an abstract class fails the assertion "ivFactoryFunc != 0".
  void create(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const;

  friend bool operator==(const QUVENTypeName& a, const QUVENTypeName& b) { return a.index == b.index; }

 private:
  friend class QUVENTypeNameAux;

  void deleteString();

  const char* ivName;
  QUVENFactory ivFactoryFunc;
  std::int32_t index = 0;
  [[maybe_unused]] std::int32_t flag = 1;
  QUVENTypeNameString* string;
};

/// The registry of types. It is built on first touch, so that a static object of any source may register with it.
class QUVENTypeNameAux {
 public:
  /// Gives the type its index. The first type of a name stays the one that a lookup finds.
  static void loadTypeName(QUVENTypeName& typeName);
  /// Clears the cell of a type that ends; nothing when the registry has ended before.
  static void unloadTypeName(const QUVENTypeName& typeName);

  /// The index of a name, or 0. Asking with a string that knows its hash saves the hash.
  static long getIndex(std::string_view name);
  static long getIndex(const QUVENStringWithHash& name);
  /// The type of a name, or null.
  static const QUVENTypeName* find(std::string_view name);
  static const QUVENTypeName* find(const QUVENStringWithHash& name);

  /// Indices run 1..getNumTypes(); the cell of a type that has ended is null.
  static long getNumTypes();
  static const QUVENTypeName* getType(long index);

 private:
  struct Tables;
  static Tables* tables();
};

#endif  // QUVEN_TYPE_NAME_H
