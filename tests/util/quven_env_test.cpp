#include "util/quven_env.h"

#include <memory>
#include <thread>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_env_aux.h"
#include "util/quven_env_lookup.h"
#include "xrt/xrt_thread.h"

namespace {

QUVENEnvHandle emptyHandle() { return {static_cast<QUVENEnv*>(nullptr), "f.cpp", 1, "f"}; }

/// The environment that a call with a handle to env works in.
QUVENEnv* resolved(const QUVENEnvHandle& env) { return &env.resolve(); }

QUVENEnv* resolvedByPointer(QUVENEnv* env) { return resolved(QUVEN_ENV); }

/// Resolves an inner handle and then asks how the outer one resolves, without its own search.
QUVENEnv* innerResolved(const QUVENEnvHandle& env) { return resolved(QUVEN_ENV); }

/// A global object of a test, charged to the environment as every object is.
struct Global {
  int number;
};

/// An owning pointer as the environment wants it.
class GlobalPtr {
 public:
  explicit GlobalPtr(const QUVENEnvHandle&) {}
  GlobalPtr(GlobalPtr&&) = default;
  GlobalPtr& operator=(GlobalPtr&&) = default;
  Global* get() const { return held.get(); }
  void make(int number, const QUVENEnvHandle& env) {
    held = std::make_unique<Global>(Global{number});
    env.resolve().charge(sizeof(Global));
  }
  void reset(const QUVENEnvHandle& env) {
    if (held) env.resolve().release(sizeof(Global));
    held.reset();
  }

 private:
  std::unique_ptr<Global> held;
};

int factoryCalls = 0;
void makeSeven(GlobalPtr& result, const QUVENEnvHandle& env) {
  ++factoryCalls;
  result.make(7, QUVEN_ENV);
}
void makeNothing(GlobalPtr&, const QUVENEnvHandle&) { ++factoryCalls; }
void makeHalf(GlobalPtr& result, const QUVENEnvHandle& env) {
  result.make(7, QUVEN_ENV);
  quvenFatalReport("Half made", QUVEN_ENV);
}

const QUVENStringWithHash& innerKey() {
  static const QUVENStringWithHash key("Inner::cv");
  return key;
}
void makeWithInner(GlobalPtr& result, const QUVENEnvHandle& env) {
  result.make(QUVENEnv::getGlobal(innerKey(), makeSeven, QUVEN_ENV)->number + 1, QUVEN_ENV);
}

}  // namespace

TEST(QUVENEnv, StartsInactiveWithNothingInUse) {
  QUVENEnv::setProcessDefaultAux(31);
  const QUVENEnv env;
  QUVENEnv::setProcessDefaultAux(0);
  EXPECT_FALSE(env.isActive());
  EXPECT_EQ(env.getBytesInUse(), 0);
  EXPECT_EQ(env.getThreadId(), xrtThreadNumber());
  EXPECT_EQ(env.getDefaultAux(), 31);
  EXPECT_EQ(QUVENEnv().getDefaultAux(), 0);
}

TEST(QUVENEnv, CountsWhatIsChargedAndReleased) {
  QUVENEnv env;
  env.charge(100);
  env.charge(11);
  env.release(100);
  EXPECT_EQ(env.getBytesInUse(), 11);
}

TEST(QUVENEnv, HasRoomUpToItsBudget) {
  QUVENEnv env;
  EXPECT_TRUE(env.hasRoomFor(std::int64_t{1} << 60));
  env.setBytesBudget(100);
  env.charge(40);
  EXPECT_TRUE(env.hasRoomFor(60));
  EXPECT_FALSE(env.hasRoomFor(61));
}

TEST(QUVENEnv, ChargesItsTablesToTheGlobalAccountingWord) {
  QUVENEnv::getDefault();
  const QUVENEnv first;  // the table of environments stands from here on
  const std::int64_t before = QUVENEnv::getGlobalBytesInUse();
  {
    const QUVENEnv env;
    EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), before + static_cast<std::int64_t>(sizeof(QUVENEnvAux)));
  }
  EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), before);
}

TEST(QUVENEnv, RegistersForItsThreadUnlessTheThreadHasOne) {
  const long thread = xrtThreadNumber();
  EXPECT_EQ(QUVENEnvLookUpTable::find(thread), nullptr);
  {
    QUVENEnv first;
    QUVENEnv second;
    EXPECT_EQ(QUVENEnvLookUpTable::find(thread), &first);
    second.activate();
    EXPECT_EQ(QUVENEnvLookUpTable::find(thread), &second);
    EXPECT_TRUE(second.isActive());
  }
  EXPECT_EQ(QUVENEnvLookUpTable::find(thread), nullptr);
}

TEST(QUVENEnv, LeavesTheEntryOfAnotherEnvironmentWhenItEnds) {
  QUVENEnv first;
  { const QUVENEnv second; }
  EXPECT_EQ(QUVENEnvLookUpTable::find(xrtThreadNumber()), &first);
}

TEST(QUVENEnv, CountsTheEntriesAndTheDefault) {
  EXPECT_EQ(QUVENEnv::getActiveCount(), 1);
  {
    const QUVENEnv env;
    EXPECT_EQ(QUVENEnv::getActiveCount(), 2);
    std::thread([] {
      const QUVENEnv other;
      EXPECT_EQ(QUVENEnv::getActiveCount(), 3);
    }).join();
  }
  EXPECT_EQ(QUVENEnv::getActiveCount(), 1);
}

TEST(QUVENEnv, DefaultIsAlwaysActiveAndInNoTable) {
  QUVENEnv& standard = QUVENEnv::getDefault();
  EXPECT_TRUE(standard.isActive());
  standard.activate();
  EXPECT_EQ(QUVENEnvLookUpTable::find(xrtThreadNumber()), nullptr);
  standard.deactivate();
  EXPECT_TRUE(standard.isActive());
}

TEST(QUVENEnvHandle, UsesItsOwnActiveEnvironment) {
  QUVENEnv other;
  other.activate();
  QUVENEnv env;
  env.activate();
  EXPECT_EQ(resolved(QUVEN_ENV), &env);
  EXPECT_EQ(resolvedByPointer(&other), &other);
  EXPECT_EQ(resolvedByPointer(nullptr), &env);
}

TEST(QUVENEnvHandle, EmptyHandleResolvesToTheActiveEnvironmentOfTheThread) {
  QUVENEnv environment;
  EXPECT_EQ(resolved(emptyHandle()), &QUVENEnv::getDefault());
  environment.activate();
  EXPECT_EQ(resolved(emptyHandle()), &environment);
  std::thread([] { EXPECT_EQ(resolved(emptyHandle()), &QUVENEnv::getDefault()); }).join();
  environment.deactivate();
  EXPECT_EQ(resolved(emptyHandle()), &QUVENEnv::getDefault());
}

TEST(QUVENEnvHandle, InactiveEnvironmentGivesWayToThatOfTheThread) {
  QUVENEnv active;
  active.activate();
  QUVENEnv env;
  EXPECT_EQ(resolved(QUVEN_ENV), &active);
}

TEST(QUVENEnvHandle, ResolvingIsRememberedByTheHandleAndItsCallers) {
  QUVENEnv environment;
  environment.activate();
  const QUVENEnvHandle env = emptyHandle();
  EXPECT_EQ(innerResolved(QUVEN_ENV), &environment);
  EXPECT_EQ(innerResolved(env), &environment);
  // Another environment becomes that of the thread; the handle stays with what it found.
  QUVENEnv later;
  later.activate();
  EXPECT_EQ(resolved(env), &environment);
  EXPECT_EQ(resolved(emptyHandle()), &later);
}

TEST(QUVENEnvHandle, ChainsThePlacesOfItsCallers) {
  QUVENEnv environment;
  const QUVENEnvHandle env(environment, "outer.cpp", 3, "outer");
  EXPECT_EQ(env.getCaller(), nullptr);
  const QUVENEnvHandle inner = QUVEN_ENV;
  EXPECT_EQ(inner.getLine(), __LINE__ - 1);
  EXPECT_STREQ(inner.getFile(), __FILE__);
  EXPECT_STREQ(inner.getFunction(), "TestBody");
  EXPECT_EQ(inner.getCaller(), &env);
}

TEST(QUVENEnvGlobals, CallTheFactoryOnceAKey) {
  const QUVENStringWithHash key("Test::cv");
  const QUVENStringWithHash otherKey("OtherTest::cv");
  factoryCalls = 0;
  QUVENEnv env;
  env.activate();
  Global* first = QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV);
  EXPECT_EQ(first->number, 7);
  EXPECT_EQ(QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 1);
  EXPECT_NE(QUVENEnv::getGlobal(otherKey, makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 2);
}

TEST(QUVENEnvGlobals, BelongToOneEnvironment) {
  const QUVENStringWithHash key("Test::cv");
  QUVENEnv first;
  first.activate();
  QUVENEnv second;
  second.activate();
  const QUVENEnvHandle inFirst(first, "f.cpp", 1, "f");
  const QUVENEnvHandle inSecond(second, "f.cpp", 1, "f");
  EXPECT_NE(QUVENEnv::getGlobal(key, makeSeven, inFirst), QUVENEnv::getGlobal(key, makeSeven, inSecond));
}

TEST(QUVENEnvGlobals, FactoryMayAskForAnotherGlobal) {
  const QUVENStringWithHash key("Outer::cv");
  QUVENEnv env;
  env.activate();
  EXPECT_EQ(QUVENEnv::getGlobal(key, makeWithInner, QUVEN_ENV)->number, 8);
}

TEST(QUVENEnvGlobals, StoringReleasesTheObjectThatWasThere) {
  QUVENEnv env;
  env.activate();
  // The factory of the outer object has the inner one made under the same key.
  EXPECT_EQ(QUVENEnv::getGlobal(innerKey(), makeWithInner, QUVEN_ENV)->number, 8);
  EXPECT_EQ(QUVENEnv::getGlobal(innerKey(), makeSeven, QUVEN_ENV)->number, 8);
  env.getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 0);
}

TEST(QUVENEnvGlobals, NullResultFailsTheAssertionAndStoresNothing) {
  const QUVENStringWithHash key("Test::cv");
  QUVENEnv env;
  env.activate();
  CapturedRun run = capturedRun([&] { QUVENEnv::getGlobal(key, makeNothing, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (newPtr != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV)->number, 7);

  run = capturedRun([&] { QUVENEnv::getDataScanGlobals(makeNothing, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (cvPtr != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(QUVENEnv::getDataScanGlobals(makeSeven, QUVEN_ENV)->number, 7);
}

TEST(QUVENEnvGlobals, AreGivenBackWhenThereIsNoMemoryToStoreThem) {
  const QUVENStringWithHash key("a key that needs a block of its own");
  QUVENEnv env;
  env.activate();
  const auto failuresOf = [&](auto action) {
    long allowed = 0;
    for (bool failed = true; failed; ++allowed) {
      failed = capturedRun([&] {
                 const FailingAllocation failure(allowed);
                 action();
               }).threwMemoryException;
      if (!failed) break;
      // Nothing but tables, which know no key yet.
      env.getAux().deleteMemory(QUVEN_ENV);
      EXPECT_EQ(env.getBytesInUse(), 0) << allowed;
    }
    return allowed;
  };
  EXPECT_GT(failuresOf([&] { QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV); }), 4);
  EXPECT_EQ(failuresOf([&] { QUVENEnv::getDataScanGlobals(makeSeven, QUVEN_ENV); }), 2);  // slot and object
  EXPECT_EQ(QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV)->number, 7);
}

TEST(QUVENEnvGlobals, FactoryThatFailsHalfWayLeavesNothingBehind) {
  const QUVENStringWithHash key("Test::cv");
  QUVENEnv env;
  env.activate();
  EXPECT_TRUE(capturedRun([&] { QUVENEnv::getGlobal(key, makeHalf, QUVEN_ENV); }).threwLibraryException);
  EXPECT_EQ(env.getBytesInUse(), 0);
  EXPECT_EQ(QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV)->number, 7);
}

TEST(QUVENEnvGlobals, DirectSlotIsFilledOnce) {
  factoryCalls = 0;
  QUVENEnv env;
  env.activate();
  Global* first = QUVENEnv::getDataScanGlobals(makeSeven, QUVEN_ENV);
  EXPECT_EQ(QUVENEnv::getDataScanGlobals(makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 1);
}

TEST(QUVENEnvGlobals, AreGivenBackWithTheirTables) {
  const QUVENStringWithHash key("Test::cv");
  QUVENEnv env;
  env.activate();
  QUVENEnv::getGlobal(key, makeSeven, QUVEN_ENV);
  QUVENEnv::getDataScanGlobals(makeSeven, QUVEN_ENV);
  EXPECT_GT(env.getBytesInUse(), static_cast<std::int64_t>(2 * sizeof(Global)));
  env.getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env.getBytesInUse(), 0);
}
