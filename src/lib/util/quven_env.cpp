#include "util/quven_env.h"

#include "util/quven_env_aux.h"
#include "util/quven_env_lookup.h"
#include "xrt/xrt_thread.h"

namespace {
constinit std::int64_t processDefaultAux = 0;
constinit std::int64_t globalBytesInUse = 0;
constexpr std::int64_t auxBytes = sizeof(QUVENEnvAux);
}  // namespace

QUVENEnv::QUVENEnv() : QUVENEnv(Kind::Registered) {
  if (QUVENEnvLookUpTable::find(threadId) == nullptr) QUVENEnvLookUpTable::put(threadId, this);
}

QUVENEnv::QUVENEnv(Kind kind)
    : aux(std::make_unique<QUVENEnvAux>()), defaultAux(processDefaultAux), threadId(xrtThreadNumber()) {
  chargeGlobal(auxBytes);
  if (kind == Kind::Standalone) standalone = active = 1;
}

QUVENEnv::~QUVENEnv() {
  // The account of this environment is the one to settle, active or not.
  active = 1;
  QUVENEnv& env = *this;
  aux->deleteMemory(QUVEN_ENV);
  if (!isStandalone()) QUVENEnvLookUpTable::remove(threadId, this);
  releaseGlobal(auxBytes);
}

void QUVENEnv::activate() {
  if (isStandalone()) return;
  QUVENEnvLookUpTable::put(threadId, this);
  active = 1;
}

void QUVENEnv::deactivate() {
  if (!isStandalone()) active = 0;
}

QUVENEnv& QUVENEnv::getDefault() {
  // Never destroyed, so that static destructors find it usable.
  alignas(QUVENEnv) static std::byte storage[sizeof(QUVENEnv)];
  static QUVENEnv* const environment = new (storage) QUVENEnv(Kind::Standalone);
  return *environment;
}

long QUVENEnv::getActiveCount() { return QUVENEnvLookUpTable::getEntryCount() + (getDefault().isActive() ? 1 : 0); }

void QUVENEnv::setProcessDefaultAux(std::int64_t word) { processDefaultAux = word; }

std::int64_t QUVENEnv::getGlobalBytesInUse() { return globalBytesInUse; }
void QUVENEnv::chargeGlobal(std::int64_t bytes) { globalBytesInUse += bytes; }
void QUVENEnv::releaseGlobal(std::int64_t bytes) { globalBytesInUse -= bytes; }

QUVENEnv& QUVENEnvHandle::resolveByThread() const {
  QUVENEnv* found = QUVENEnvLookUpTable::find(xrtThreadNumber());
  if (found == nullptr || !found->isActive()) found = &QUVENEnv::getDefault();
  for (const QUVENEnvHandle* handle = this; handle != nullptr; handle = handle->caller) {
    if (handle->env == nullptr || !handle->env->isActive()) handle->env = found;
  }
  return *found;
}
