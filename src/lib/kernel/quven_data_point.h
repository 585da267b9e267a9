#ifndef QUVEN_DATA_POINT_H
#define QUVEN_DATA_POINT_H

#include <string_view>

#include "kernel/quven_field.h"

/// The one reusable record through which a dataset hands over its values: a field for each column, which keeps the
/// value.
///
/// Shapes:   fields run 1..getNumFields() in the order of the columns.
/// Units:    the channel selects a row of the regression engine, 0 elsewhere; the record id is the number of the
///           record in the dataset, the same on every worker layout.
class QUVENDataPoint : public QUVENObjectOf<QUVENDataPoint, QUVENObject> {
 public:
  /// Adds a field behind the last and returns its index.
  /// Errors: a name that another field has is an assertion failure.
  long addField(QUVENOwnPtr<QUVENField>&& field, const QUVENEnvHandle& env);

  long getNumFields() const { return ivFields.getSize(); }
  /// Requires 1 <= index <= getNumFields().
  QUVENField& getField(long index) const { return *ivFields[index]; }
  /// 0 for a name that no field has.
  long getFieldIndex(std::string_view name) const { return names.getIndex(name); }
  long getFieldIndex(const QUVENStringWithHash& name) const { return names.getIndex(name); }
  QUVENField* findField(const QUVENStringWithHash& name) const;

  // The fields that a record of the sparse form has filled.
  void clearActiveFields(const QUVENEnvHandle& env) { activeFields.setSize(0, QUVEN_ENV); }
  void addActiveField(long index, const QUVENEnvHandle& env) {
    activeFields.append(static_cast<std::int32_t>(index), QUVEN_ENV);
  }
  const QUVENXaRay<std::int32_t>& getActiveFields() const { return activeFields; }

  std::int32_t getChannel() const { return channel; }
  void setChannel(std::int32_t newChannel) { channel = newChannel; }
  std::uint32_t getRecordId() const { return static_cast<std::uint32_t>(recordId); }
  void setRecordId(std::uint32_t newRecordId) { recordId = static_cast<std::int32_t>(newRecordId); }

  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  QUVEN_STATE(names, QUVENObjectIndexXAshTable<QUVENStringWithHash>);
  QUVEN_MEMBER_AS("fields", ivFields, QUVENXaRay<QUVENOwnPtr<QUVENField>, 0>);
  QUVEN_STATE(activeFields, QUVENXaRay<std::int32_t>);
  QUVEN_STATE(channel, std::int32_t) = 0;
  QUVEN_STATE(recordId, std::int32_t) = 0;
};

#endif  // QUVEN_DATA_POINT_H
