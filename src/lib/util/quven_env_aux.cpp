#include "util/quven_env_aux.h"

#include <utility>

#include "util/quven_debug.h"
#include "util/quven_object.h"

QUVENObject* QUVENEnvAux::find(const QUVENStringWithHash& key) const {
  const long index = indices.getIndex(key);
  return index == 0 || index > objects.getSize() ? nullptr : objects[index].get();
}

void QUVENEnvAux::store(const QUVENStringWithHash& key, QUVENOwnPtr<QUVENObject>& object, const QUVENEnvHandle& env) {
  const long index = indices.insert(key, QUVEN_ENV);
  objects.autoExtend(index, QUVEN_ENV);
  QUVENOwnPtr<QUVENObject> old = std::move(objects[index]);
  objects[index] = std::move(object);
  QUVEN_DELETE(old);
}

void QUVENEnvAux::setDataScanGlobals(QUVENOwnPtr<QUVENObject>& object, const QUVENEnvHandle& env) {
  QUVENOwnPtr<QUVENObject> old = std::move(dataScanGlobals);
  dataScanGlobals = std::move(object);
  QUVEN_DELETE(old);
}

void QUVENEnvAux::deleteMemory(const QUVENEnvHandle& env) {
  // Each object leaves its cell first, because it may ask for a global object once more while it goes; what is made for
  // it then goes in a later turn.
  while (dataScanGlobals != nullptr || !objects.isEmpty()) {
    QUVENOwnPtr<QUVENObject> object = std::move(dataScanGlobals);
    if (object == nullptr) {
      const long last = objects.getSize();
      object = std::move(objects[last]);
      objects.setSize(last - 1, QUVEN_ENV);
    }
    QUVEN_DELETE(object);
  }
  objects.deleteMemory(QUVEN_ENV);
  indices.deleteMemory(QUVEN_ENV);
}

QUVENObject* QUVENEnv::getGlobal(const QUVENStringWithHash& key, QUVENFactory factory, const QUVENEnvHandle& env) {
  QUVENEnvAux& aux = env.resolve().getAux();
  if (QUVENObject* found = aux.find(key)) return found;
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  factory(made, QUVEN_ENV);
  QUVENObject* newPtr = made.get();
  QUVEN_ASSERT(newPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  aux.store(key, made, QUVEN_ENV);
  return newPtr;
}

QUVENObject* QUVENEnv::getDataScanGlobals(QUVENFactory factory, const QUVENEnvHandle& env) {
  QUVENEnvAux& aux = env.resolve().getAux();
  if (QUVENObject* found = aux.getDataScanGlobals()) return found;
  QUVENOwnPtr<QUVENObject> made(QUVEN_ENV);
  factory(made, QUVEN_ENV);
  QUVENObject* cvPtr = made.get();
  QUVEN_ASSERT(cvPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  aux.setDataScanGlobals(made, QUVEN_ENV);
  return cvPtr;
}
