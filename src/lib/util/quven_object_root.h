#ifndef QUVEN_OBJECT_ROOT_H
#define QUVEN_OBJECT_ROOT_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

class QUVENEnvHandle;

// The two roots of the class tree. A build uses one of them: VESK_DEBUG_OBJECTS of CMake chooses.

#ifndef QUVEN_DEBUG_OBJECTS
#define QUVEN_DEBUG_OBJECTS 0
#endif

/// The root of production builds. The checks of the debugging root are here as well, and do nothing.
class QUVENObjectReleaseCode {
 public:
  virtual ~QUVENObjectReleaseCode() = default;

  void checkAssignable(const QUVENEnvHandle&) const {}
  void checkAccess(const QUVENEnvHandle&) const {}
  void beginDeletion(const QUVENEnvHandle&) {}
  void enterDeletion() {}
};

/// What a debugging build knows about an object. It outlives the object while somebody refers to it.
struct QUVENObjectStatus {
  enum State : std::int32_t { Alive = 1, DeletionBegun = 4, DeletionUnderWay = 5, InDestructor = 6 };

  std::int64_t link = 0;
  std::int32_t state = Alive;
  std::int32_t referenceCount = 1;
  const char* fileName = nullptr;  ///< from here on: the place of the deletion
  std::int32_t line = 0;
  const char* functionName = nullptr;

  /// Errors: " Attempt to access a deleted object" with the place of the deletion, and the library exception.
  void checkAccess(const QUVENEnvHandle& env) const;
  void addReference() { ++referenceCount; }
  /// The last reference frees the record and gives its bytes back to the global accounting word.
  void dropReference();
};

/// The root of debugging builds: every object has a status record, which guards find it by.
///
/// Errors:   without memory for the record "Cannot allocate object memory" and XRTMemoryException.
/// Lifetime: a move hands the record over; the object that was moved from has none and is not checked any more.
class QUVENObjectDebugCode : public QUVENObjectReleaseCode {
 public:
  QUVENObjectDebugCode();
  QUVENObjectDebugCode(QUVENObjectDebugCode&& other) noexcept : status(std::exchange(other.status, nullptr)) {}
  QUVENObjectDebugCode& operator=(QUVENObjectDebugCode&&) noexcept { return *this; }
  /// Errors: a heap object that no smart pointer released is reported, and the error word is set; not while an
  /// exception
  ///         unwinds the stack.
  ~QUVENObjectDebugCode() override;

  /// Whether a smart pointer may own this object: it is a heap object of its own and no deletion has begun.
  /// Errors: a fatal report with the text of the catalogue.
  void checkAssignable(const QUVENEnvHandle& env) const;
  void checkAccess(const QUVENEnvHandle& env) const {
    if (status != nullptr) status->checkAccess(env);
  }
  /// The first step of a release: files the place into the record.
  void beginDeletion(const QUVENEnvHandle& env);
  /// The step before the destructor.
  void enterDeletion() {
    if (status != nullptr) status->state = QUVENObjectStatus::DeletionUnderWay;
  }

  const QUVENObjectStatus* getStatus() const { return status; }

  static void* operator new(std::size_t bytes);
  static void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept;
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void* operator new[](std::size_t bytes);
  static void operator delete(void* block) noexcept;
  static void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
  static void operator delete(void*, void*) noexcept {}
  /// Errors: reports an array that was deleted, and sets the error word.
  static void operator delete[](void* block) noexcept;

 private:
  friend class QUVENObjectWatch;
  QUVENObjectStatus* status = nullptr;
};

/// A reference to the status record of an object that somebody else owns: it tells whether the object is still there.
class QUVENObjectWatch {
 public:
  explicit QUVENObjectWatch(const QUVENObjectDebugCode& object) : status(object.status) {
    if (status != nullptr) status->addReference();
  }
  ~QUVENObjectWatch() {
    if (status != nullptr) status->dropReference();
  }
  QUVENObjectWatch(const QUVENObjectWatch&) = delete;
  QUVENObjectWatch& operator=(const QUVENObjectWatch&) = delete;

  /// Errors: as of QUVENObjectStatus::checkAccess.
  void checkAccess(const QUVENEnvHandle& env) const {
    if (status != nullptr) status->checkAccess(env);
  }

 private:
  QUVENObjectStatus* status;
};

// Debug-mode code and super-optimized code cannot coexist: a source built with one root does not link with a library
// built with the other, for want of the symbol below.
#if QUVEN_DEBUG_OBJECTS
using QUVENObjectRoot = QUVENObjectDebugCode;
#define QUVEN_OBJECT_ROOT_MARK quvenDebugModeCodeCannotCoexistWithSuperOptimizedCode
#else
using QUVENObjectRoot = QUVENObjectReleaseCode;
#define QUVEN_OBJECT_ROOT_MARK quvenSuperOptimizedCodeCannotCoexistWithDebugModeCode
#endif
extern const char QUVEN_OBJECT_ROOT_MARK;
[[gnu::used]] static const char* const quvenObjectRootMark = &QUVEN_OBJECT_ROOT_MARK;

#endif  // QUVEN_OBJECT_ROOT_H
