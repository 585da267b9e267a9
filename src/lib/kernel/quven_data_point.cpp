#include "kernel/quven_data_point.h"

#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENDataPoint);

long QUVENDataPoint::addField(QUVENOwnPtr<QUVENField>&& field, const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(getFieldIndex(field->getName()) == 0, "A field with this name exists already");
  ivFields.autoReserve(ivFields.getSize() + 1, QUVEN_ENV);
  const long index = names.insert(field->getName(), QUVEN_ENV);
  ivFields.autoExtend(index, QUVEN_ENV);
  ivFields[index] = std::move(field);
  return index;
}

QUVENField* QUVENDataPoint::findField(const QUVENStringWithHash& name) const {
  const long index = getFieldIndex(name);
  return index == 0 ? nullptr : ivFields[index].get();
}

void QUVENDataPoint::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  names.deleteMemory(QUVEN_ENV);
  clearActiveFields(QUVEN_ENV);
  for (QUVENOwnPtr<QUVENField>& field : ivFields) {
    QUVEN_ASSERT_CAUSE(field != 0, "A data point without one of its fields");  // NOLINT(modernize-use-nullptr)
    const long index = names.insert(field->getName(), QUVEN_ENV);
    QUVEN_ASSERT_CAUSE(ivFields[index].get() == field.get(), "Two fields of a data point with one name");
  }
}
