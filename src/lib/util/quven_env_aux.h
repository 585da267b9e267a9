#ifndef QUVEN_ENV_AUX_H
#define QUVEN_ENV_AUX_H

#include "util/quven_env.h"
#include "util/quven_own_ptr.h"
#include "util/quven_string.h"
#include "util/quven_xashtable.h"

/// The tables of an environment: the global objects by key, and one direct slot for those of the data scan, the hot
/// case.
///
/// Lifetime: the objects go when the environment ends, the latest first.
class QUVENEnvAux {
 public:
  /// The object of a key, or null.
  QUVENObject* find(const QUVENStringWithHash& key) const;
  /// Stores the object of a key and releases the one that was there.
  /// Errors: "Cannot allocate array memory" and XRTMemoryException; the object stays with its pointer then.
  void store(const QUVENStringWithHash& key, QUVENOwnPtr<QUVENObject>& object, const QUVENEnvHandle& env);

  QUVENObject* getDataScanGlobals() const { return dataScanGlobals.get(); }
  void setDataScanGlobals(QUVENOwnPtr<QUVENObject>& object, const QUVENEnvHandle& env);

  void deleteMemory(const QUVENEnvHandle& env);

 private:
  QUVENObjectIndexXAshTable<QUVENStringWithHash> indices;
  QUVENXaRay<QUVENOwnPtr<QUVENObject>, 0> objects;  // parallel to the keys of indices
  QUVENOwnPtr<QUVENObject> dataScanGlobals;
};

#endif  // QUVEN_ENV_AUX_H
