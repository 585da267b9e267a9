#include "util/quven_class_info.h"

#include <vector>

namespace {

/// The descriptions by type index.
std::vector<const QUVENClassInfo*>& classInfos() {
  static auto* const infos = new std::vector<const QUVENClassInfo*>;  // never destroyed, like the types it tells of
  return *infos;
}

std::string describeElement(const QUVENMemberType& type) {
  const auto integer = [&](const char* sign) { return sign + std::to_string(type.bits) + "-bit integer"; };
  const auto object = [&](const char* how) { return std::string(how) + type.objectType().getName(); };
  switch (type.kind) {
    case QUVENValueKind::Boolean:
      return "boolean byte";
    case QUVENValueKind::SignedInteger:
      return integer("");
    case QUVENValueKind::UnsignedInteger:
      return integer("unsigned ");
    case QUVENValueKind::Real:
      return type.bits == 32 ? "float" : "double";
    case QUVENValueKind::String:
      return "string";
    case QUVENValueKind::OwnedObject:
      return object("owned ");
    case QUVENValueKind::ObjectByValue:
      return object("");
    case QUVENValueKind::Reference:
      return "reference by name";
    case QUVENValueKind::NotInStream:
      break;
  }
  return "not in streams";
}

}  // namespace

std::string QUVENMemberType::describe() const {
  std::string text;
  for (int i = 0; i < arrayDepth; ++i) text += "array of ";
  return text + describeElement(*this);
}

QUVENClassInfo::QUVENClassInfo(const QUVENTypeName& ofType, const QUVENClassInfo* ofBase,
                               std::span<const QUVENMemberInfo> itsMembers)
    : type(ofType), base(ofBase), members(itsMembers) {
  const std::size_t index = static_cast<std::size_t>(type.getIndex());
  if (classInfos().size() <= index) classInfos().resize(index + 1);
  if (classInfos()[index] == nullptr) classInfos()[index] = this;
}

const QUVENClassInfo* QUVENClassInfo::find(const QUVENTypeName& type) {
  const std::size_t index = static_cast<std::size_t>(type.getIndex());
  return index < classInfos().size() ? classInfos()[index] : nullptr;
}
