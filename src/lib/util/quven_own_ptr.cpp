#include "util/quven_own_ptr.h"

#include <cstdlib>
#include <exception>

#include "util/quven_debug.h"
#include "util/quven_memory.h"
#include "util/quven_object.h"

QUVENOwnPtrBase::QUVENOwnPtrBase(const QUVENEnvHandle& env) noexcept
    : environment(&env.resolve()), fileName(env.getFile()), line(env.getLine()), functionName(env.getFunction()) {}

QUVENOwnPtrBase::QUVENOwnPtrBase(QUVENObject* fresh, std::size_t bytes, const QUVENEnvHandle& env)
    : QUVENOwnPtrBase(env) {
  if (fresh == nullptr) quvenMemoryFailure("Cannot allocate object memory", static_cast<std::int64_t>(bytes), env);
  fresh->checkAssignable(env);
  environment->charge(fresh->sizeOf());
  object = fresh;
}

QUVENOwnPtrBase::QUVENOwnPtrBase(QUVENOwnPtrBase&& other) noexcept
    : object(std::exchange(other.object, nullptr)),
      environment(other.environment),
      fileName(other.fileName),
      line(-std::abs(other.line)),
      functionName(other.functionName) {}

void QUVENOwnPtrBase::assignObject(QUVENObject* newObject, const QUVENEnvHandle& env) {
  if (newObject == object) return;
  if (newObject != nullptr) newObject->checkAssignable(env);
  replaceObject(newObject, env);
  environment = &env.resolve();
}

void QUVENOwnPtrBase::moveFrom(QUVENOwnPtrBase& other) {
  if (&other == this) return;
  QUVENEnv* const account = other.environment;
  const bool bringsObject = other.object != nullptr;
  replaceObject(other.detachObject(), placeOfConstruction());
  if (bringsObject) environment = account;
}

/// The new object is in its place even when the release of the old one throws: nobody else owns it.
void QUVENOwnPtrBase::replaceObject(QUVENObject* newObject, const QUVENEnvHandle& env) {
  try {
    reset(env);
  } catch (...) {
    object = newObject;
    throw;
  }
  object = newObject;
}

void QUVENOwnPtrBase::copyObject(const QUVENOwnPtrBase& other, const QUVENEnvHandle& env) {
  if (&other == this) return;
  QUVENOwnPtr<QUVENObject> copy(QUVEN_ENV);
  if (other.object != nullptr) other.object->newCopy(copy, QUVEN_ENV);
  assignObject(copy.detach(), QUVEN_ENV);
}

void QUVENOwnPtrBase::releaseObject(const QUVENEnvHandle& env) {
  // Ends the object on the way of an exception, too: its bytes are given back and must not be given back again.
  struct End {
    ~End() {
      held->enterDeletion();
      delete held;
      held = nullptr;
    }
    QUVENObject*& held;
  };
  QUVENEnv& account = env.resolve();
  object->beginDeletion(env);
  account.release(object->sizeOf());
  const End end{object};
  object->destroyPrimitive(env);
}

void QUVENOwnPtrBase::releaseHeldObject() noexcept {
  try {
    releaseObject(placeOfConstruction());
  } catch (...) {
    // No destructor hands an exception on. Whoever threw it has reported it, and the run fails at its end.
    quvenDebugWords.error = 1;
  }
}

void QUVENOwnPtrBase::reportHeldOwnPtr() noexcept {
  if (std::uncaught_exceptions() == 0) {
    if (line < 0) {
      quvenGuardReport(
          " QUVENOwnPtr destructor called while holding an object\n"
          "QUVENOwnPtr was copy-constructed from another QUVENOwnPtr\n",
          "that was originally constructed in function ", functionName, -line, fileName);
    } else {
      quvenGuardReport(" QUVENOwnPtr destructor called while holding an object\n",
                       "QUVENOwnPtr was constructed in function ", functionName, line, fileName);
    }
  }
  releaseHeldObject();
}

void QUVENOwnPtrBase::reportHeldLocal() noexcept {
  if (std::uncaught_exceptions() == 0) {
    quvenGuardReport(
        " QUVENLocal destructor called without calling"
        " a reset() function or applying the QUVEN_DELETE() macro\n");
  }
  releaseHeldObject();
}
