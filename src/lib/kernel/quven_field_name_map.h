#ifndef QUVEN_FIELD_NAME_MAP_H
#define QUVEN_FIELD_NAME_MAP_H

// The fields of a model's world by name, and what refers to them.

#include <string>
#include <string_view>

#include "kernel/quven_field.h"
#include "util/quven_keyvalue_xashtable.h"
#include "util/quven_stream_values.h"

/// The correlations of some fields.
///
/// Shapes: the triangle is packed upper, column by column: (i,j) with i <= j at j(j-1)/2 + i of the fields 1..n.
class QUVENFieldCorrelations : public QUVENObjectOf<QUVENFieldCorrelations, QUVENObject> {
 public:
  QUVEN_MEMBER(ivFieldNames, QUVENXaRay<std::string, 0>);
  QUVEN_MEMBER(ivCorrelations, QUVENXaRay<double>);
};

/// Finds fields by name: those of a data point, which it refers to, and fields of its own.
///
/// Lifetime: a field that was added by reference outlives the map or is removed from it.
///
/// Identity: in a stream read into a map that has fields already, an owned field keeps its object when the scan serial
///           number is the same, wherever it is in the array; owned fields that are not in the stream are released.
class QUVENFieldNameMap : public QUVENObjectOf<QUVENFieldNameMap, QUVENObject> {
 public:
  /// The key of the map in the back pointer table of a stream.
  static const QUVENStringWithHash& cvBackPtrName();

  /// The field of a name, or null.
  QUVENField* find(std::string_view name) const;
  QUVENField* find(const QUVENStringWithHash& name) const;
  /// Adds a field that somebody else owns.
  /// Errors: a name that another field has is an assertion failure.
  void addReference(QUVENField* field, const QUVENEnvHandle& env);
  /// Adds a field for the map to own, and returns it.
  QUVENField* addOwned(QUVENOwnPtr<QUVENField>&& field, const QUVENEnvHandle& env);
  void remove(std::string_view name, const QUVENEnvHandle& env);
  long getNumFields() const { return fieldTable.getLiveCount(); }
  /// The fields that the map owns, in no particular order.
  const QUVENXaRay<QUVENOwnPtr<QUVENField>, 0>& getOwnedFields() const { return ivOwnedFields; }

  /// Whether the map follows the map of rank 0: then only its stream adds and removes owned fields, and a result record
  /// that ends leaves its field here.
  bool isMirror() const { return mirror; }
  void setMirror(bool followsRank0) { mirror = followsRank0; }

  // The record of a model output that takes the name out of the map when it ends. Lifetime: the record outlives its
  // entry or gives it up.
  void setHolder(std::string_view name, const void* record);
  const void* getHolder(std::string_view name) const;

  QUVENXaRay<QUVENOwnPtr<QUVENFieldCorrelations>, 0>& getCorrelations() { return ivCorrelationVec; }

  /// A name that no field has: the name itself when start is below 1, or else with the first number from start upward
  /// behind it that makes it free.
  /// Errors: at 1000000 the fatal report "Internal suffix limit exceeded in makeUniqueName".
  std::string makeUniqueName(std::string_view name, std::int32_t start, const QUVENEnvHandle& env) const;

  /// Makes the references of a stream find this map.
  void putInto(QUVENObjReader& reader, const QUVENEnvHandle& env);

  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void rebuildTable(const QUVENEnvHandle& env);
  void forgetOwned(const QUVENEnvHandle& env);

  QUVEN_MEMBER_AS("ivFieldNameTable", ivOwnedFields, QUVENXaRay<QUVENOwnPtr<QUVENField>, 0>);
  QUVEN_MEMBER(ivCorrelationVec, QUVENXaRay<QUVENOwnPtr<QUVENFieldCorrelations>, 0>);
  struct Entry {
    QUVENField* field = nullptr;
    const void* holder = nullptr;
  };
  QUVEN_STATE(fieldTable, QUVENKeyValueXAshTable<QUVENStringWithHash, Entry>);
  bool mirror = false;
};

/// A reference to a field goes into a stream as the field's name, empty for null, and comes back through the name map
/// in the back pointer table. Errors: a name that is not there, or no map, is an assertion failure; so is a field of
/// another class.
void quvenWriteFieldReference(QUVENObjWriter& writer, const QUVENField* field, const QUVENEnvHandle& env);
QUVENField* quvenReadFieldReference(QUVENObjReader& reader, const QUVENTypeName& expected, const QUVENEnvHandle& env);

template <std::derived_from<QUVENField> T>
struct QUVENStreamValue<T*> {
  static constexpr std::uint64_t fewestBytes = 1;

  static void write(QUVENObjWriter& writer, const T* value, const QUVENEnvHandle& env) {
    quvenWriteFieldReference(writer, value, env);
  }
  static void read(QUVENObjReader& reader, T*& value, const QUVENEnvHandle& env) {
    value = static_cast<T*>(quvenReadFieldReference(reader, T::typeName(), env));
  }
  static QUVENMemberType describe() { return {QUVENValueKind::Reference, 0, 0, &T::typeName}; }
};

/// The fields that a model needs.
class QUVENModelFieldsUsed : public QUVENObjectOf<QUVENModelFieldsUsed, QUVENObject> {
 public:
  void add(QUVENField* field, const QUVENEnvHandle& env);
  bool contains(const QUVENField* field) const;
  const QUVENXaRay<QUVENField*>& getFields() const { return ivFieldsUsed; }

 private:
  QUVEN_MEMBER(ivFieldsUsed, QUVENXaRay<QUVENField*>);
};

#endif  // QUVEN_FIELD_NAME_MAP_H
