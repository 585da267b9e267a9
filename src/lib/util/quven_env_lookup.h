#ifndef QUVEN_ENV_LOOKUP_H
#define QUVEN_ENV_LOOKUP_H

#include "util/quven_env.h"
#include "util/quven_keyvalue_xashtable.h"

/// The environments of the process by thread.
///
/// There is one table, built on first use and destroyed at exit; whoever asks afterwards finds nothing. It has no lock:
/// environments are set up before threads run. Its own memory is charged to no environment of a run.
class QUVENEnvLookUpTable {
 public:
  ~QUVENEnvLookUpTable();
  QUVENEnvLookUpTable(const QUVENEnvLookUpTable&) = delete;
  QUVENEnvLookUpTable& operator=(const QUVENEnvLookUpTable&) = delete;

  /// Sets the environment of a thread.
  static void put(long threadId, QUVENEnv* environment);
  /// Takes the entry of a thread out if it is this environment.
  static void remove(long threadId, const QUVENEnv* environment);
  /// The environment of a thread, active or not, or null.
  static QUVENEnv* find(long threadId);
  static long getEntryCount();

 private:
  QUVENEnvLookUpTable();
  /// The table, or null once it is destroyed.
  static QUVENEnvLookUpTable* instance();

  enum class State { NotConstructed, Constructed, Destroyed };
  static constinit State cvState;

  QUVENEnv account;
  QUVENKeyValueXAshTable<long, QUVENEnv*> table;
};

#endif  // QUVEN_ENV_LOOKUP_H
