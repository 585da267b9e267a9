#ifndef QUVEN_CLASS_INFO_H
#define QUVEN_CLASS_INFO_H

#include <cstdint>
#include <span>
#include <string>

#include "util/quven_keyword.h"
#include "util/quven_type_name.h"

/// How a stream carries the value of a member.
enum class QUVENValueKind {
  NotInStream,
  Boolean,
  SignedInteger,
  UnsignedInteger,
  Real,
  String,
  OwnedObject,
  ObjectByValue,
  Reference
};

struct QUVENMemberType {
  QUVENValueKind kind = QUVENValueKind::NotInStream;
  int bits = 0;        ///< of a number
  int arrayDepth = 0;  ///< 1 for an array of such values
  const QUVENTypeName& (*objectType)() = nullptr;

  /// In words, such as "array of 32-bit integer" or "owned QUVENField".
  std::string describe() const;
};

/// One entry of the member list of a class.
struct QUVENMemberInfo {
  const char* name;
  const QUVENKeyword* keyword;  ///< null for a member that no stream carries
  QUVENMemberType type;
  bool isConditional;  ///< written in some modes or states only
};

/// What the member list of a class says, for everything that walks classes instead of objects.
class QUVENClassInfo {
 public:
  /// Registers itself: one a class, static, made at start-up.
  QUVENClassInfo(const QUVENTypeName& ofType, const QUVENClassInfo* ofBase,
                 std::span<const QUVENMemberInfo> itsMembers);

  const QUVENTypeName& getType() const { return type; }
  /// Null for QUVENObject.
  const QUVENClassInfo* getBase() const { return base; }
  /// Those of the class itself, without its bases'.
  std::span<const QUVENMemberInfo> getMembers() const { return members; }

  /// Null for a type without a member list.
  static const QUVENClassInfo* find(const QUVENTypeName& type);

 private:
  const QUVENTypeName& type;
  const QUVENClassInfo* base;
  std::span<const QUVENMemberInfo> members;
};

#endif  // QUVEN_CLASS_INFO_H
