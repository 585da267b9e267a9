#ifndef QUVEN_ENV_AUX_H
#define QUVEN_ENV_AUX_H

#include <memory>
#include <utility>

#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "util/quven_string.h"
#include "util/quven_xashtable.h"

/// The holder of one global object of a run, whatever its owning pointer is.
class QUVENGlobalSlot {
 public:
  virtual ~QUVENGlobalSlot() = default;
  /// Gives the object and its bytes back.
  virtual void reset(const QUVENEnvHandle& env) = 0;
};

template <class Pointer>
class QUVENGlobalSlotOf final : public QUVENGlobalSlot {
 public:
  using Factory = void (*)(Pointer& result, const QUVENEnvHandle& env);

  explicit QUVENGlobalSlotOf(const QUVENEnvHandle& env) : pointer(QUVEN_ENV) {}
  void reset(const QUVENEnvHandle& env) override { pointer.reset(QUVEN_ENV); }
  auto get() const { return pointer.get(); }

  /// A slot with what the factory makes. Whatever it had made when it failed is given back.
  static std::unique_ptr<QUVENGlobalSlotOf> make(Factory factory, const QUVENEnvHandle& env) {
    auto slot = std::make_unique<QUVENGlobalSlotOf>(QUVEN_ENV);
    try {
      factory(slot->pointer, QUVEN_ENV);
    } catch (...) {
      slot->reset(QUVEN_ENV);
      throw;
    }
    return slot;
  }

 private:
  Pointer pointer;
};

/// The tables of an environment: the global objects by key, and one direct slot for the hot case.
///
/// Lifetime: the objects go when the environment ends, the latest first.
class QUVENEnvAux {
 public:
  /// The slot of a key, or null.
  QUVENGlobalSlot* find(const QUVENStringWithHash& key) const;
  /// Stores the object of a key and releases the one that was there.
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the object is given back then.
  void store(const QUVENStringWithHash& key, std::unique_ptr<QUVENGlobalSlot> slot, const QUVENEnvHandle& env);

  QUVENGlobalSlot* getDataScanSlot() const { return dataScanSlot.get(); }
  void setDataScanSlot(std::unique_ptr<QUVENGlobalSlot> slot, const QUVENEnvHandle& env);

  void deleteMemory(const QUVENEnvHandle& env);

 private:
  QUVENObjectIndexXAshTable<QUVENStringWithHash> indices;
  QUVENXaRay<std::unique_ptr<QUVENGlobalSlot>, 0> objects;  // parallel to the keys of indices
  std::unique_ptr<QUVENGlobalSlot> dataScanSlot;
};

template <class Pointer>
auto QUVENEnv::getGlobal(const QUVENStringWithHash& key, void (*factory)(Pointer& result, const QUVENEnvHandle& env),
                         const QUVENEnvHandle& env) -> decltype(Pointer(env).get()) {
  QUVENEnvAux& aux = env.resolve().getAux();
  if (const QUVENGlobalSlot* slot = aux.find(key)) {
    return static_cast<const QUVENGlobalSlotOf<Pointer>*>(slot)->get();
  }
  auto slot = QUVENGlobalSlotOf<Pointer>::make(factory, QUVEN_ENV);
  auto* newPtr = slot->get();
  QUVEN_ASSERT(newPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  aux.store(key, std::move(slot), QUVEN_ENV);
  return newPtr;
}

template <class Pointer>
auto QUVENEnv::getDataScanGlobals(void (*factory)(Pointer& result, const QUVENEnvHandle& env),
                                  const QUVENEnvHandle& env) -> decltype(Pointer(env).get()) {
  QUVENEnvAux& aux = env.resolve().getAux();
  if (const QUVENGlobalSlot* slot = aux.getDataScanSlot()) {
    return static_cast<const QUVENGlobalSlotOf<Pointer>*>(slot)->get();
  }
  auto slot = QUVENGlobalSlotOf<Pointer>::make(factory, QUVEN_ENV);
  auto* cvPtr = slot->get();
  QUVEN_ASSERT(cvPtr != 0);  // NOLINT(modernize-use-nullptr): the text of the report
  aux.setDataScanSlot(std::move(slot), QUVEN_ENV);
  return cvPtr;
}

#endif  // QUVEN_ENV_AUX_H
