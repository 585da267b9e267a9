#include "kernel/quven_field_name_map.h"

#include <algorithm>

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENFieldCorrelations);
QUVEN_REGISTER(QUVENFieldNameMap);
QUVEN_REGISTER(QUVENModelFieldsUsed);

const QUVENStringWithHash& QUVENFieldNameMap::cvBackPtrName() {
  static const QUVENStringWithHash name("QUVENFieldNameMap::cvBackPtrName");
  return name;
}

QUVENField* QUVENFieldNameMap::find(std::string_view name) const {
  const Entry* found = fieldTable.find(name);
  return found == nullptr ? nullptr : found->field;
}

QUVENField* QUVENFieldNameMap::find(const QUVENStringWithHash& name) const {
  const Entry* found = fieldTable.find(name);
  return found == nullptr ? nullptr : found->field;
}

void QUVENFieldNameMap::setHolder(std::string_view name, const void* record) {
  Entry* found = fieldTable.find(name);
  if (found != nullptr) found->holder = record;
}

const void* QUVENFieldNameMap::getHolder(std::string_view name) const {
  const Entry* found = fieldTable.find(name);
  return found == nullptr ? nullptr : found->holder;
}

void QUVENFieldNameMap::addReference(QUVENField* field, const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(find(field->getName()) == nullptr, "A field with this name exists already");
  fieldTable.put(field->getName(), Entry{field, nullptr}, QUVEN_ENV);
}

QUVENField* QUVENFieldNameMap::addOwned(QUVENOwnPtr<QUVENField>&& field, const QUVENEnvHandle& env) {
  const long index = ivOwnedFields.getSize() + 1;
  ivOwnedFields.autoReserve(index, QUVEN_ENV);
  addReference(field.get(), QUVEN_ENV);
  ivOwnedFields.autoExtend(index, QUVEN_ENV);
  ivOwnedFields[index] = std::move(field);
  return ivOwnedFields[index].get();
}

void QUVENFieldNameMap::remove(std::string_view name, const QUVENEnvHandle& env) {
  QUVENField* field = find(name);
  if (field == nullptr) return;
  fieldTable.remove(name, QUVEN_ENV);
  for (QUVENOwnPtr<QUVENField>& owned : ivOwnedFields) {
    if (owned.get() != field) continue;
    owned.reset(QUVEN_ENV);
    owned = std::move(ivOwnedFields[ivOwnedFields.getSize()]);
    ivOwnedFields.setSize(ivOwnedFields.getSize() - 1, QUVEN_ENV);
    return;
  }
}

std::string QUVENFieldNameMap::makeUniqueName(std::string_view name, std::int32_t start,
                                              const QUVENEnvHandle& env) const {
  constexpr std::int32_t suffixLimit = 1000000;
  if (start < 1 && find(name) == nullptr) return std::string(name);
  for (std::int32_t k = std::max(start, 1); k < suffixLimit; ++k) {
    std::string candidate(name);
    candidate += std::to_string(k);
    if (find(candidate) == nullptr) return candidate;
  }
  quvenFatalReport("Internal suffix limit exceeded in makeUniqueName", QUVEN_ENV);
}

void QUVENFieldNameMap::putInto(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  reader.putBackPointer(cvBackPtrName(), this, QUVEN_ENV);
}

void QUVENFieldNameMap::rebuildTable(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENField>& owned : ivOwnedFields) {
    if (owned) fieldTable.put(owned->getName(), Entry{owned.get(), nullptr}, QUVEN_ENV);
  }
}

void QUVENFieldNameMap::forgetOwned(const QUVENEnvHandle& env) {
  for (QUVENOwnPtr<QUVENField>& owned : ivOwnedFields) {
    if (owned && find(owned->getName()) == owned.get()) fieldTable.remove(owned->getName(), QUVEN_ENV);
  }
}

void QUVENFieldNameMap::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  Members::copyFromPrimitive(source, QUVEN_ENV);
  if (source != nullptr && source != this) rebuildTable(QUVEN_ENV);  // the copies stand for the fields of the source
}

void QUVENFieldNameMap::readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  putInto(reader, QUVEN_ENV);
  if (!reader.keywordMatches(QUVEN_KWD(ivOwnedFields), QUVEN_ENV)) return Members::readPrimitive(reader, QUVEN_ENV);
  // Reading may release some of them; none of their names may lead there then.
  forgetOwned(QUVEN_ENV);
  Members::readPrimitive(reader, QUVEN_ENV);
  rebuildTable(QUVEN_ENV);
}

void QUVENFieldNameMap::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  for (const QUVENOwnPtr<QUVENField>& field : ivOwnedFields) {
    QUVEN_ASSERT_CAUSE(field != 0, "A name map without one of its fields");  // NOLINT(modernize-use-nullptr)
  }
  putInto(reader, QUVEN_ENV);
}

void quvenWriteFieldReference(QUVENObjWriter& writer, const QUVENField* field, const QUVENEnvHandle& env) {
  writer.writeString(field == nullptr ? std::string_view() : std::string_view(field->getName()), QUVEN_ENV);
}

QUVENField* quvenReadFieldReference(QUVENObjReader& reader, const QUVENTypeName& expected, const QUVENEnvHandle& env) {
  std::string name;
  reader.readString(name, QUVEN_ENV);
  if (name.empty()) return nullptr;
  QUVENFieldNameMap* map = nullptr;
  reader.getBackPointer(map, QUVENFieldNameMap::cvBackPtrName());
  QUVENField* ptr = map == nullptr ? nullptr : map->find(name);
  QUVEN_ASSERT_CAUSE(ptr != 0, "No field with specified name");  // NOLINT(modernize-use-nullptr)
  QUVEN_ASSERT_CAUSE(ptr->isA(expected) != 0, "Field is of another class");
  return ptr;
}

void QUVENModelFieldsUsed::add(QUVENField* field, const QUVENEnvHandle& env) {
  if (!contains(field)) ivFieldsUsed.append(field, QUVEN_ENV);
}

bool QUVENModelFieldsUsed::contains(const QUVENField* field) const {
  return std::find(ivFieldsUsed.begin(), ivFieldsUsed.end(), field) != ivFieldsUsed.end();
}
