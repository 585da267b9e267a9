#include "inspect_types.h"

#include <iomanip>
#include <ostream>
#include <stdexcept>

#include "util/quven_class_info.h"
#include "util/quven_type_name.h"

namespace vesk_inspect {

namespace {

void printMember(const QUVENMemberInfo& member, std::ostream& out) {
  if (member.keyword == nullptr) return;  // no stream carries it
  constexpr int codeWidth = 8;
  constexpr int nameWidth = 28;
  out << std::setw(codeWidth) << member.keyword->getCode() << "  " << std::left << std::setw(nameWidth)
      << member.keyword->getName().str() << std::right << ' ' << member.type.describe();
  if (member.isConditional) out << ", not in every stream";
  out << '\n';
}

void printType(const QUVENTypeName& type, std::ostream& out) {
  const QUVENClassInfo* info = QUVENClassInfo::find(type);
  constexpr int indexWidth = 4;
  out << std::setw(indexWidth) << type.getIndex() << "  " << type.getName();
  if (info != nullptr && info->getBase() != nullptr) out << " : " << info->getBase()->getType().getName();
  if (type.isAbstract()) out << " (abstract)";
  out << '\n';
  if (info == nullptr) return;
  for (const QUVENMemberInfo& member : info->getMembers()) printMember(member, out);
}

}  // namespace

void inspectTypes(const std::string& name, std::ostream& out) {
  if (name.empty()) {
    for (long index = 1; index <= QUVENTypeNameAux::getNumTypes(); ++index) {
      if (const QUVENTypeName* type = QUVENTypeNameAux::getType(index)) printType(*type, out);
    }
    return;
  }
  const QUVENTypeName* type = QUVENTypeNameAux::find(name);
  if (type == nullptr) throw std::runtime_error("no type " + name + " is registered");
  printType(*type, out);
  const QUVENClassInfo* info = QUVENClassInfo::find(*type);
  while (info != nullptr && info->getBase() != nullptr) {
    info = info->getBase();
    printType(info->getType(), out);
  }
}

}  // namespace vesk_inspect
