#include "util/quven_object_root.h"

#include <exception>
#include <map>
#include <sstream>
#include <string>

#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "util/quven_memory.h"
#include "util/quven_messages.h"

const char QUVEN_OBJECT_ROOT_MARK = 1;

namespace {

enum Message : int {
  HeapObjectDeleted = 9079,
  ArrayObjectDeleted = 9080,
  ArrayMemberAssigned = 9081,
  NonHeapObjectAssigned = 9082,
  DyingObjectAssigned = 9083
};

constexpr std::int64_t statusBytes = sizeof(QUVENObjectStatus);

/// The blocks that operator new of the debugging root has given out.
struct HeapBlock {
  std::size_t bytes;
  bool isArray;
};
using HeapBlocks = std::map<const char*, HeapBlock>;

HeapBlocks& heapBlocks() {
  static auto* const blocks = new HeapBlocks;  // never destroyed: static objects may be released after it
  return *blocks;
}

/// The block that an address lies in, or null.
HeapBlocks::const_iterator blockAround(const void* address) {
  const char* byte = static_cast<const char*>(address);
  auto after = heapBlocks().upper_bound(byte);
  if (after == heapBlocks().begin()) return heapBlocks().end();
  const auto block = --after;
  return byte < block->first + block->second.bytes ? block : heapBlocks().end();
}

enum class Storage {
  HeapObject,   ///< a block of its own
  ArrayMember,  ///< somewhere in the block of an array
  Other         ///< on the stack, static, a cell of a library array, or a member of another object
};

Storage storageOf(const QUVENObjectDebugCode* object) {
  const auto block = blockAround(object);
  if (block == heapBlocks().end()) return Storage::Other;
  if (block->second.isArray) return Storage::ArrayMember;
  // The root is the first base of every class, so that an object of its own begins where its block does.
  return block->first == static_cast<const void*>(object) ? Storage::HeapObject : Storage::Other;
}

void* noteBlock(void* block, std::size_t bytes, bool isArray) {
  heapBlocks()[static_cast<const char*>(block)] = {bytes, isArray};
  return block;
}

std::string messageText(int code) {
  std::ostringstream text;
  quvenPrintMessage(text, code);
  return text.str();
}

void reportMessage(int code) {
  std::ostringstream text;
  text << ' ';
  quvenPrintMessage(text, code);
  text << '\n';
  quvenGuardReport(text.str());
}

}  // namespace

void QUVENObjectStatus::checkAccess(const QUVENEnvHandle& env) const {
  if (state == Alive) return;
  quvenGuardReport(" Attempt to access a deleted object\n", "Object was deleted in function ", functionName, line,
                   fileName);
  quvenThrowLibraryException(env);
}

void QUVENObjectStatus::dropReference() {
  if (--referenceCount > 0) return;
  delete this;
  QUVENEnv::releaseGlobal(statusBytes);
}

QUVENObjectDebugCode::QUVENObjectDebugCode() : status(new (std::nothrow) QUVENObjectStatus) {
  if (status == nullptr) {
    const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
    quvenMemoryFailure("Cannot allocate object memory", statusBytes, env);
  }
  QUVENEnv::chargeGlobal(statusBytes);
}

QUVENObjectDebugCode::~QUVENObjectDebugCode() {
  if (status == nullptr) return;
  // An object whose constructor throws ends here, too, and no smart pointer has ever seen it.
  const bool isUnreleased = status->state == QUVENObjectStatus::Alive && std::uncaught_exceptions() == 0;
  if (isUnreleased && storageOf(this) == Storage::HeapObject) reportMessage(HeapObjectDeleted);
  status->state = QUVENObjectStatus::InDestructor;
  status->dropReference();
}

void QUVENObjectDebugCode::checkAssignable(const QUVENEnvHandle& env) const {
  const Storage storage = storageOf(this);
  if (storage == Storage::ArrayMember) quvenFatalReport(messageText(ArrayMemberAssigned), env);
  if (storage == Storage::Other) quvenFatalReport(messageText(NonHeapObjectAssigned), env);
  if (status != nullptr && status->state != QUVENObjectStatus::Alive) {
    quvenFatalReport(messageText(DyingObjectAssigned), env);
  }
}

void QUVENObjectDebugCode::beginDeletion(const QUVENEnvHandle& env) {
  if (status == nullptr) return;
  status->state = QUVENObjectStatus::DeletionBegun;
  status->fileName = env.getFile();
  status->line = env.getLine();
  status->functionName = env.getFunction();
}

void* QUVENObjectDebugCode::operator new(std::size_t bytes) {
  void* block = ::operator new(bytes);
  try {
    return noteBlock(block, bytes, false);
  } catch (...) {
    ::operator delete(block);
    throw;
  }
}

void* QUVENObjectDebugCode::operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  try {
    return operator new(bytes);
  } catch (...) {
    return nullptr;
  }
}

void* QUVENObjectDebugCode::operator new[](std::size_t bytes) {
  void* block = ::operator new[](bytes);
  try {
    return noteBlock(block, bytes, true);
  } catch (...) {
    ::operator delete[](block);
    throw;
  }
}

void QUVENObjectDebugCode::operator delete(void* block) noexcept {
  heapBlocks().erase(static_cast<const char*>(block));
  ::operator delete(block);
}

void QUVENObjectDebugCode::operator delete[](void* block) noexcept {
  reportMessage(ArrayObjectDeleted);
  heapBlocks().erase(static_cast<const char*>(block));
  ::operator delete[](block);
}
