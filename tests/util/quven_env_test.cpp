#include "util/quven_env.h"

#include <gtest/gtest.h>

#include <thread>

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

TEST(QUVENEnv, SaysThatItIsOverItsSoftLimitAndRefusesNothing) {
  QUVENEnv env;
  env.charge(40);
  EXPECT_FALSE(env.isOverSoftLimit());  // without a limit
  env.setSoftBytesLimit(40);
  EXPECT_EQ(env.getSoftBytesLimit(), 40);
  EXPECT_FALSE(env.isOverSoftLimit());
  env.charge(1);
  EXPECT_TRUE(env.isOverSoftLimit());
  EXPECT_TRUE(env.hasRoomFor(std::int64_t{1} << 60));
  env.release(1);
  EXPECT_FALSE(env.isOverSoftLimit());
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
