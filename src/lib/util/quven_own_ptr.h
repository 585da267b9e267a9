#ifndef QUVEN_OWN_PTR_H
#define QUVEN_OWN_PTR_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

#include "util/quven_env.h"

class QUVENObject;

/// What every owning pointer holds: the object, the environment that the object is charged to, and the place of the
/// pointer's construction. The environment is that of the construction until an object comes from another pointer.
///
/// A release is always the same: resolve the environment, give the object's sizeOf back, destroyPrimitive, destructor,
/// null. What destroyPrimitive throws goes on after the destructor. Use QUVENOwnPtr or QUVENLocal.
class QUVENOwnPtrBase {
 public:
  QUVENOwnPtrBase(const QUVENOwnPtrBase&) = delete;
  QUVENOwnPtrBase& operator=(const QUVENOwnPtrBase&) = delete;

  /// Releases the object, if there is one.
  void reset(const QUVENEnvHandle& env) {
    if (object != nullptr) releaseObject(env);
  }

  explicit operator bool() const { return object != nullptr; }
  friend bool operator==(const QUVENOwnPtrBase& pointer, std::nullptr_t) { return pointer.object == nullptr; }

  /// Negative for a pointer that took its object from another one at construction.
  int getLine() const { return line; }
  const char* getFile() const { return fileName; }
  const char* getFunction() const { return functionName; }

  // For code that reads objects of any class: the derived pointers have the same with their type.
  QUVENObject* getObject() const { return object; }
  /// Requires: the object is of the class of the derived pointer.
  void assignObject(QUVENObject* newObject, const QUVENEnvHandle& env);

 protected:
  QUVENOwnPtrBase() noexcept = default;
  explicit QUVENOwnPtrBase(const QUVENEnvHandle& env) noexcept;
  QUVENOwnPtrBase(QUVENObject* fresh, std::size_t bytes, const QUVENEnvHandle& env);
  QUVENOwnPtrBase(QUVENOwnPtrBase&& other) noexcept;
  ~QUVENOwnPtrBase() = default;

  void moveFrom(QUVENOwnPtrBase& other);
  void copyObject(const QUVENOwnPtrBase& other, const QUVENEnvHandle& env);
  QUVENObject* detachObject() noexcept { return std::exchange(object, nullptr); }
  /// The end of an owning pointer: one that still holds an object reports what it is, unless an exception unwinds the
  /// stack, and releases the object either way.
  void endOwnPtr() noexcept {
    if (object != nullptr) reportHeldOwnPtr();
  }
  void endLocal() noexcept {
    if (object != nullptr) reportHeldLocal();
  }

 private:
  void replaceObject(QUVENObject* newObject, const QUVENEnvHandle& env);
  void releaseObject(const QUVENEnvHandle& env);
  void releaseHeldObject() noexcept;
  void reportHeldOwnPtr() noexcept;
  void reportHeldLocal() noexcept;
  QUVENEnvHandle placeOfConstruction() const { return {environment, fileName, line < 0 ? -line : line, functionName}; }

  QUVENObject* object = nullptr;
  QUVENEnv* environment = nullptr;
  const char* fileName = "";
  std::int32_t line = 0;
  const char* functionName = "";
};

/// The owner of one object.
///
/// Errors:   a fresh object of null is "Cannot allocate object memory" and XRTMemoryException. A pointer that is
/// destroyed
///           while it holds an object reports that, sets the error word and releases the object; while an exception
///           unwinds the stack it releases silently.
/// Lifetime: whoever has one calls reset(env) before it ends. Ownership goes on by a move.
template <class T>
class QUVENOwnPtr : public QUVENOwnPtrBase {
 public:
  /// Null, without a place: a cell of an array.
  QUVENOwnPtr() noexcept = default;
  explicit QUVENOwnPtr(const QUVENEnvHandle& env) noexcept : QUVENOwnPtrBase(env) {}
  /// Takes over a fresh object, straight from new, and charges its sizeOf to the environment. quvenMake is this and
  /// new.
  QUVENOwnPtr(T* fresh, const QUVENEnvHandle& env) : QUVENOwnPtrBase(fresh, sizeof(T), env) {}
  QUVENOwnPtr(QUVENOwnPtr&& other) noexcept : QUVENOwnPtrBase(std::move(other)) {}
  template <std::derived_from<T> Derived>
  QUVENOwnPtr(QUVENOwnPtr<Derived>&& other) noexcept : QUVENOwnPtrBase(std::move(other)) {}
  ~QUVENOwnPtr() { endOwnPtr(); }

  /// Releases what it holds and takes what the other one holds.
  QUVENOwnPtr& operator=(QUVENOwnPtr&& other) {
    moveFrom(other);
    return *this;
  }
  template <std::derived_from<T> Derived>
  QUVENOwnPtr& operator=(QUVENOwnPtr<Derived>&& other) {
    moveFrom(other);
    return *this;
  }

  /// Takes over an object that is charged already: one that detach has given out. The old object is released; an object
  /// that is held already stays as it is.
  void assign(T* newObject, const QUVENEnvHandle& env) { assignObject(newObject, env); }
  /// Deep copy of what another pointer holds.
  void copyFrom(const QUVENOwnPtr& other, const QUVENEnvHandle& env) { copyObject(other, env); }
  /// Gives the object out; it stays charged, and the caller owns it.
  [[nodiscard]] T* detach() noexcept { return static_cast<T*>(detachObject()); }

  T* get() const { return static_cast<T*>(getObject()); }
  T* operator->() const { return get(); }
  T& operator*() const { return *get(); }
};

/// The same for the time of one block: its owner empties it with reset(env) or QUVEN_DELETE(local) before the block
/// ends. It does not move.
template <class T>
class QUVENLocal : public QUVENOwnPtrBase {
 public:
  explicit QUVENLocal(const QUVENEnvHandle& env) noexcept : QUVENOwnPtrBase(env) {}
  QUVENLocal(T* fresh, const QUVENEnvHandle& env) : QUVENOwnPtrBase(fresh, sizeof(T), env) {}
  ~QUVENLocal() { endLocal(); }

  template <std::derived_from<T> Derived>
  QUVENLocal& operator=(QUVENOwnPtr<Derived>&& other) {
    moveFrom(other);
    return *this;
  }
  void assign(T* newObject, const QUVENEnvHandle& env) { assignObject(newObject, env); }
  [[nodiscard]] T* detach() noexcept { return static_cast<T*>(detachObject()); }

  T* get() const { return static_cast<T*>(getObject()); }
  T* operator->() const { return get(); }
  T& operator*() const { return *get(); }
};

/// Releases what an owning pointer, an array or a table holds, in the environment named env.
#define QUVEN_DELETE(holder) quvenDelete(holder, QUVEN_ENV)
template <class Holder>
void quvenDelete(Holder& holder, const QUVENEnvHandle& env) {
  if constexpr (requires { holder.deleteMemory(env); }) {
    holder.deleteMemory(env);
  } else {
    holder.reset(env);
  }
}

/// A new object of a class, whose constructor gets the arguments and, if it takes one, the handle.
/// Errors: "Cannot allocate object memory" and XRTMemoryException, beyond the budget of the environment too; nothing is
///         charged then.
template <class T, class... Arguments>
[[nodiscard]] QUVENOwnPtr<T> quvenMake(const QUVENEnvHandle& env, Arguments&&... arguments) {
  T* fresh = nullptr;
  if (env.resolve().hasRoomFor(sizeof(T))) {
    if constexpr (std::constructible_from<T, Arguments..., const QUVENEnvHandle&>) {
      fresh = new (std::nothrow) T(std::forward<Arguments>(arguments)..., env);
    } else {
      fresh = new (std::nothrow) T(std::forward<Arguments>(arguments)...);
    }
  }
  return QUVENOwnPtr<T>(fresh, env);
}

#endif  // QUVEN_OWN_PTR_H
