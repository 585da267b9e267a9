#include "util/quven_env_aux.h"

QUVENGlobalSlot* QUVENEnvAux::find(const QUVENStringWithHash& key) const {
  const long index = indices.getIndex(key);
  return index == 0 || index > objects.getSize() ? nullptr : objects[index].get();
}

void QUVENEnvAux::store(const QUVENStringWithHash& key, std::unique_ptr<QUVENGlobalSlot> slot,
                        const QUVENEnvHandle& env) {
  long index = 0;
  try {
    index = indices.insert(key, QUVEN_ENV);
    objects.autoExtend(index, QUVEN_ENV);
  } catch (...) {
    slot->reset(QUVEN_ENV);
    throw;
  }
  if (objects[index]) objects[index]->reset(QUVEN_ENV);
  objects[index] = std::move(slot);
}

void QUVENEnvAux::setDataScanSlot(std::unique_ptr<QUVENGlobalSlot> slot, const QUVENEnvHandle& env) {
  if (dataScanSlot) dataScanSlot->reset(QUVEN_ENV);
  dataScanSlot = std::move(slot);
}

void QUVENEnvAux::deleteMemory(const QUVENEnvHandle& env) {
  setDataScanSlot(nullptr, QUVEN_ENV);
  for (long i = objects.getSize(); i >= 1; --i) {
    if (objects[i]) objects[i]->reset(QUVEN_ENV);
  }
  objects.deleteMemory(QUVEN_ENV);
  indices.deleteMemory(QUVEN_ENV);
}
