#include "util/quven_env_lookup.h"

constinit QUVENEnvLookUpTable::State QUVENEnvLookUpTable::cvState = State::NotConstructed;

QUVENEnvLookUpTable::QUVENEnvLookUpTable() : account(QUVENEnv::Kind::Standalone) { cvState = State::Constructed; }

QUVENEnvLookUpTable::~QUVENEnvLookUpTable() {
  cvState = State::Destroyed;
  QUVENEnv& env = account;
  table.deleteMemory(QUVEN_ENV);
}

QUVENEnvLookUpTable* QUVENEnvLookUpTable::instance() {
  if (cvState == State::Destroyed) return nullptr;
  static QUVENEnvLookUpTable lookUpTable;
  return &lookUpTable;
}

void QUVENEnvLookUpTable::put(long threadId, QUVENEnv* environment) {
  if (QUVENEnvLookUpTable* self = instance()) {
    QUVENEnv& env = self->account;
    self->table.put(threadId, environment, QUVEN_ENV);
  }
}

void QUVENEnvLookUpTable::remove(long threadId, const QUVENEnv* environment) {
  if (find(threadId) != environment) return;
  if (QUVENEnvLookUpTable* self = instance()) {
    QUVENEnv& env = self->account;
    self->table.remove(threadId, QUVEN_ENV);
  }
}

QUVENEnv* QUVENEnvLookUpTable::find(long threadId) {
  const QUVENEnvLookUpTable* self = instance();
  QUVENEnv* const* found = self == nullptr ? nullptr : self->table.find(threadId);
  return found == nullptr ? nullptr : *found;
}

long QUVENEnvLookUpTable::getEntryCount() {
  const QUVENEnvLookUpTable* self = instance();
  return self == nullptr ? 0 : self->table.getLiveCount();
}
