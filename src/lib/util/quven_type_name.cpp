#include "util/quven_type_name.h"

#include <cstring>

#include "util/quven_object.h"

namespace {

constexpr std::int64_t stringBytes = sizeof(QUVENTypeNameString);

/// The account of the registry itself: no environment of a run pays for the types.
QUVENEnvHandle registryHandle(const char* function) {
  return QUVENEnvHandle(QUVENEnv::getDefault(), __FILE__, __LINE__, function);
}

}  // namespace

QUVENTypeNameString::QUVENTypeNameString(std::string_view name, const QUVENEnvHandle& env) : text(name) {
  const long size = static_cast<long>(name.size()) + 1;
  characters.setSizeCapacity(size, size, QUVEN_ENV);
  std::memcpy(characters.begin(), name.data(), name.size());
}

void QUVENTypeNameString::copyFrom(const QUVENTypeNameString& other, const QUVENEnvHandle& env) {
  characters.copyFrom(other.characters, QUVEN_ENV);
  text = other.text;
}

void QUVENTypeNameString::deleteMemory(const QUVENEnvHandle& env) {
  characters.deleteMemory(QUVEN_ENV);
  text.clear();
}

/// Both parts of the registry, in one piece that is built at the first touch and never twice.
struct QUVENTypeNameAux::Tables {
  enum class State { NotConstructed, Constructed, Destroyed };
  static constinit State cvState;

  Tables() { cvState = State::Constructed; }
  ~Tables() {
    cvState = State::Destroyed;
    const QUVENEnvHandle env = registryHandle(__func__);
    indices.deleteMemory(QUVEN_ENV);
    types.deleteMemory(QUVEN_ENV);
  }

  QUVENObjectIndexXAshTable<QUVENTypeNameString> indices;
  QUVENXaRay<QUVENTypeName*> types;
};

constinit QUVENTypeNameAux::Tables::State QUVENTypeNameAux::Tables::cvState = State::NotConstructed;

QUVENTypeNameAux::Tables* QUVENTypeNameAux::tables() {
  if (Tables::cvState == Tables::State::Destroyed) return nullptr;
  static Tables instance;
  return &instance;
}

void QUVENTypeNameAux::loadTypeName(QUVENTypeName& typeName) {
  Tables* registry = tables();
  if (registry == nullptr) return;
  const QUVENEnvHandle env = registryHandle(__func__);
  const long found = registry->indices.insert(*typeName.string, QUVEN_ENV);
  if (found > 0) {
    registry->types.autoExtend(found, QUVEN_ENV);
    if (registry->types[found] == nullptr) registry->types[found] = &typeName;
  }
  typeName.index = static_cast<std::int32_t>(found);
}

void QUVENTypeNameAux::unloadTypeName(const QUVENTypeName& typeName) {
  Tables* registry = tables();
  if (registry == nullptr) return;
  const long index = typeName.index;
  if (index < 1 || index > registry->types.getSize() || index > registry->indices.getNumKeys()) return;
  if (registry->types[index] == &typeName) registry->types[index] = nullptr;
}

long QUVENTypeNameAux::getIndex(std::string_view name) {
  const Tables* registry = tables();
  return registry == nullptr ? 0 : registry->indices.getIndex(name);
}

long QUVENTypeNameAux::getIndex(const QUVENStringWithHash& name) {
  const Tables* registry = tables();
  return registry == nullptr ? 0 : registry->indices.getIndex(name);
}

const QUVENTypeName* QUVENTypeNameAux::find(std::string_view name) { return getType(getIndex(name)); }

const QUVENTypeName* QUVENTypeNameAux::find(const QUVENStringWithHash& name) { return getType(getIndex(name)); }

long QUVENTypeNameAux::getNumTypes() {
  const Tables* registry = tables();
  return registry == nullptr ? 0 : registry->types.getSize();
}

const QUVENTypeName* QUVENTypeNameAux::getType(long index) {
  return index < 1 || index > getNumTypes() ? nullptr : tables()->types[index];
}

QUVENTypeName::QUVENTypeName(const char* name, QUVENFactory factory)
    : ivName(name), ivFactoryFunc(factory), string(new QUVENTypeNameString(name, registryHandle(__func__))) {
  QUVENEnv::chargeGlobal(stringBytes);
  try {
    QUVENTypeNameAux::loadTypeName(*this);
  } catch (...) {
    deleteString();
    throw;
  }
}

QUVENTypeName::~QUVENTypeName() {
  QUVENTypeNameAux::unloadTypeName(*this);
  deleteString();
}

void QUVENTypeName::deleteString() {
  string->deleteMemory(registryHandle(__func__));
  delete string;
  QUVENEnv::releaseGlobal(stringBytes);
}

void QUVENTypeName::create(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const {
  QUVEN_ASSERT(ivFactoryFunc != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  ivFactoryFunc(result, QUVEN_ENV);
}
