#ifndef QUVEN_ENV_H
#define QUVEN_ENV_H

#include <cstdint>
#include <memory>

class QUVENEnvAux;
class QUVENEnvHandle;
class QUVENObject;
class QUVENStringWithHash;
template <class T>
class QUVENOwnPtr;

/// Makes a new object of a class in the pointer given.
using QUVENFactory = void (*)(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env);

/// The context of the library's work on one thread: its memory account and the global objects of a run.
///
/// An environment belongs to the thread that constructed it. It is inactive until `activate`; calls that are handed an
/// inactive environment work in the active one of their thread, or else in the default environment.
/// Units:    all byte counts are bytes.
/// Lifetime: it outlives all work done in it. Destruction releases its global objects and takes it out of the table of
///           environments.
class QUVENEnv {
 public:
  /// Registers the environment for its thread unless the thread has one.
  QUVENEnv();
  ~QUVENEnv();
  QUVENEnv(const QUVENEnv&) = delete;
  QUVENEnv& operator=(const QUVENEnv&) = delete;

  /// Makes this the environment of its thread. Does nothing to the default environment.
  void activate();
  /// The environment stays registered, but calls no longer use it. Does nothing to the default environment.
  void deactivate();
  bool isActive() const { return active == 1; }

  void charge(std::int64_t bytes) { bytesInUse += bytes; }
  void release(std::int64_t bytes) { bytesInUse -= bytes; }
  std::int64_t getBytesInUse() const { return bytesInUse; }

  /// Limits what may be in use; 0 sets no limit.
  void setBytesBudget(std::int64_t bytes) { bytesBudget = bytes; }
  bool hasRoomFor(std::int64_t bytes) const { return bytesBudget == 0 || bytes <= bytesBudget - bytesInUse; }

  /// A limit for work that can wait or come in smaller pieces: it is asked, and never fails an allocation. 0 sets none.
  void setSoftBytesLimit(std::int64_t bytes) { softBytesLimit = bytes; }
  std::int64_t getSoftBytesLimit() const { return softBytesLimit; }
  bool isOverSoftLimit() const { return softBytesLimit > 0 && bytesInUse > softBytesLimit; }

  /// A strict environment ends a run at a warning which means that the result is not what the user asked for.
  void setStrict(bool isOn) { strict = isOn ? 1 : 0; }
  bool isStrict() const { return strict == 1; }

  int getThreadId() const { return threadId; }
  std::int64_t getDefaultAux() const { return defaultAux; }
  QUVENEnvAux& getAux() { return *aux; }

  /// The environment of calls that have no other. It lasts for the process, is always active and is in no table.
  static QUVENEnv& getDefault();

  /// The entries of the table of environments, and one for the default environment.
  static long getActiveCount();

  /// The word that environments constructed from now on take as their defaultAux.
  static void setProcessDefaultAux(std::int64_t word);

  /// Finds the global object of a key in the environment, made by the factory when there is none yet.
  ///
  /// Requires: all calls with a key name the same class T, which is the class that the factory makes.
  /// Errors:   a factory that makes nothing fails the assertion "newPtr != 0"; without memory XRTMemoryException or
  ///           std::bad_alloc is thrown. Nothing is stored then, and nothing that was made stays in use.
  /// Lifetime: the object lives as long as the environment.
  template <class T>
  static T* getGlobal(const QUVENStringWithHash& key, QUVENFactory factory, const QUVENEnvHandle& env) {
    return static_cast<T*>(getGlobal(key, factory, env));
  }
  static QUVENObject* getGlobal(const QUVENStringWithHash& key, QUVENFactory factory, const QUVENEnvHandle& env);

  /// The same for the one slot that is read without a hash. The assertion is "cvPtr != 0".
  template <class T>
  static T* getDataScanGlobals(QUVENFactory factory, const QUVENEnvHandle& env) {
    return static_cast<T*>(getDataScanGlobals(factory, env));
  }
  static QUVENObject* getDataScanGlobals(QUVENFactory factory, const QUVENEnvHandle& env);

  /// Both with the factory of T itself. Errors: for an abstract class the assertion of QUVENTypeName::create as well.
  template <class T>
  static T* getGlobal(const QUVENStringWithHash& key, const QUVENEnvHandle& env) {
    return getGlobal<T>(key, &createObject<T>, env);
  }
  template <class T>
  static T* getDataScanGlobals(const QUVENEnvHandle& env) {
    return getDataScanGlobals<T>(&createObject<T>, env);
  }

  /// The global accounting word: bytes that serve the process and no environment.
  static std::int64_t getGlobalBytesInUse();
  static void chargeGlobal(std::int64_t bytes);
  static void releaseGlobal(std::int64_t bytes);

 private:
  friend class QUVENEnvLookUpTable;
  enum class Kind { Registered, Standalone };
  /// A standalone environment is active from the start and in no table.
  explicit QUVENEnv(Kind kind);

  bool isStandalone() const { return standalone == 1; }

  template <class T>
  static void createObject(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
    T::typeName().create(result, env);
  }

  std::unique_ptr<QUVENEnvAux> aux;
  std::int64_t bytesBudget = 0;
  std::int64_t softBytesLimit = 0;
  [[maybe_unused]] std::int64_t reserved = 0;
  std::int64_t bytesInUse = 0;
  std::int64_t defaultAux;
  std::int32_t threadId;
  std::int32_t active = 0;
  std::int32_t standalone = 0;
  std::int32_t strict = 0;
};

/// An environment together with a place in the source: the last argument of nearly every call of the library.
///
/// Lifetime: a handle is made at the call by QUVEN_ENV, points to the caller's handle and ends with the call. Who keeps
///           a place keeps its file, line and function, never the handle.
class QUVENEnvHandle {
 public:
  QUVENEnvHandle(const QUVENEnvHandle& callerHandle, const char* inFile, int atLine, const char* inFunction)
      : env(callerHandle.env), file(inFile), line(atLine), function(inFunction), caller(&callerHandle) {}
  QUVENEnvHandle(QUVENEnv& environment, const char* inFile, int atLine, const char* inFunction)
      : env(&environment), file(inFile), line(atLine), function(inFunction) {}
  /// An empty handle, with null, works in the environment of the calling thread.
  QUVENEnvHandle(QUVENEnv* environment, const char* inFile, int atLine, const char* inFunction)
      : env(environment), file(inFile), line(atLine), function(inFunction) {}

  /// The environment to work in: that of the handle if it is active, or that of the thread if it is active, or the
  /// default. The handle and its callers are updated, so that the search is paid for once.
  QUVENEnv& resolve() const { return env != nullptr && env->isActive() ? *env : resolveByThread(); }

  const char* getFile() const { return file; }
  int getLine() const { return line; }
  const char* getFunction() const { return function; }
  const QUVENEnvHandle* getCaller() const { return caller; }

 private:
  QUVENEnv& resolveByThread() const;

  mutable QUVENEnv* env;
  const char* file;
  int line;
  const char* function;
  const QUVENEnvHandle* caller = nullptr;
};

/// The handle of a call: the environment or handle named env that is in scope, with the place in the source.
#define QUVEN_ENV QUVENEnvHandle(env, __FILE__, __LINE__, __func__)

#endif  // QUVEN_ENV_H
