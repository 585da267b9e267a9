#ifndef QUVEN_OBJECT_H
#define QUVEN_OBJECT_H

#include <cstdint>
#include <span>

#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "util/quven_object_root.h"
#include "util/quven_own_ptr.h"
#include "util/quven_type_name.h"

class QUVENClassInfo;
class QUVENKeyword;
class QUVENObjReader;
class QUVENObjWriter;

/// The root of every class that is saved, restored, copied or sent between workers.
///
/// A class does not write these operations: it derives from QUVENObjectOf, which makes them from the list of its
/// members (util/quven_object_of.h). An override of its own calls the base's first.
/// Lifetime: an object on the heap belongs to a QUVENOwnPtr. An object by value, in an array or on the stack, is
///           released by destroyPrimitive before its destructor runs.
class QUVENObject : public QUVENObjectRoot {
 public:
  QUVENObject() = default;
  QUVENObject(QUVENObject&&) noexcept = default;
  QUVENObject& operator=(QUVENObject&&) noexcept = default;
  ~QUVENObject() override = default;

  /// The bytes to charge for the object.
  virtual std::uint32_t sizeOf() const;
  /// Deep copy of the members. A source of null, or this object itself, changes nothing.
  /// Requires: the source is of this object's class or one derived from it; an assertion failure otherwise.
  virtual void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env);
  /// Moves the members out of the source: its strings, arrays and owned objects are empty then, its numbers as they
  /// were. What this object held is released. Null and this object itself change nothing; requires as above.
  /// Of both, requires: the source does not belong to this object, unless the class says that it may. A pointer takes
  /// over a part of what it holds by an assignment.
  virtual void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env);
  virtual const QUVENTypeName& getTypeName() const;
  /// 1 for the class of the object and every class on the chain of its bases, else 0.
  virtual int isA(const QUVENTypeName& type) const;
  /// Takes at most one member, whose keyword comes next in the stream.
  virtual void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env);
  /// Runs once after the end of the object was read.
  virtual void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env);
  /// Writes all members, those of the base first.
  virtual void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const;
  /// Releases what the members own. Runs just before the destructor.
  virtual void destroyPrimitive(const QUVENEnvHandle& env);
  /// An empty object of the same class.
  virtual void makeNewObject(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const;

  /// A deep copy: makeNewObject, then copyFromPrimitive. The result, which may hold this object, is unchanged when one
  /// of them throws.
  void newCopy(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) const;

  static const QUVENTypeName& typeName();
  static const QUVENClassInfo& classInfo();
  // Where the keywords of the classes below begin.
  static std::int32_t classLevel() { return 0; }
  static const QUVENKeyword& lastKeyword();
};

/// Moves an owned object to a pointer of its class.
/// Errors: an object of another class is an assertion failure; the object stays where it was.
template <class T>
void quvenMoveAs(QUVENOwnPtr<T>& target, QUVENOwnPtr<QUVENObject>& source, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(source == nullptr || source->isA(T::typeName()));
  target.assign(static_cast<T*>(source.detach()), env);
}

/// newCopy with the pointer type of the object.
template <class T>
[[nodiscard]] QUVENOwnPtr<T> quvenNewCopy(const T& object, const QUVENEnvHandle& env) {
  QUVENOwnPtr<QUVENObject> copy(env);
  object.newCopy(copy, env);
  QUVENOwnPtr<T> result(env);
  quvenMoveAs(result, copy, env);
  return result;
}

#endif  // QUVEN_OBJECT_H
