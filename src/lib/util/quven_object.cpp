#include "util/quven_object.h"

#include "util/quven_class_info.h"
#include "util/quven_keyword.h"

const QUVENTypeName& QUVENObject::typeName() {
  static const QUVENTypeName type("QUVENObject", [](QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
    result = quvenMake<QUVENObject>(QUVEN_ENV);
  });
  return type;
}

const QUVENClassInfo& QUVENObject::classInfo() {
  static const QUVENClassInfo info(typeName(), nullptr, {});
  return info;
}

namespace {
[[maybe_unused]] const QUVENClassInfo& registration = QUVENObject::classInfo();
}

const QUVENKeyword& QUVENObject::lastKeyword() { return QUVEN_KWD(EndArray); }

std::uint32_t QUVENObject::sizeOf() const { return sizeof(QUVENObject); }
void QUVENObject::copyFromPrimitive(const QUVENObject*, const QUVENEnvHandle&) {}
void QUVENObject::transferFromPrimitive(QUVENObject*, const QUVENEnvHandle&) {}
const QUVENTypeName& QUVENObject::getTypeName() const { return typeName(); }
int QUVENObject::isA(const QUVENTypeName& type) const { return typeName() == type ? 1 : 0; }
void QUVENObject::readPrimitive(QUVENObjReader&, const QUVENEnvHandle&) {}
void QUVENObject::postReadPrimitive(QUVENObjReader&, const QUVENEnvHandle&) {}
void QUVENObject::writePrimitive(QUVENObjWriter&, const QUVENEnvHandle&) const {}
void QUVENObject::destroyPrimitive(const QUVENEnvHandle&) {}

void QUVENObject::makeNewObject(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const {
  getTypeName().create(result, QUVEN_ENV);
}

void QUVENObject::newCopy(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const {
  // The result may hold this object, and it keeps what it holds when the copy fails.
  QUVENOwnPtr<QUVENObject> copy(QUVEN_ENV);
  makeNewObject(copy, QUVEN_ENV);
  QUVEN_ASSERT(copy != nullptr);
  copy->copyFromPrimitive(this, QUVEN_ENV);
  result = std::move(copy);
}
