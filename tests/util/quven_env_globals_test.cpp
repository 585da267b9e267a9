#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_env_aux.h"
#include "util/quven_registration.h"

/// A global object of a test, which notes its end.
class QUVENTestGlobal : public QUVENObjectOf<QUVENTestGlobal, QUVENObject> {
 public:
  QUVEN_MEMBER(ivNumber, std::int32_t) = 0;

  static std::vector<int> cvEnded;                    ///< the numbers of the objects released, in order
  static void (*cvAtEnd)(const QUVENEnvHandle& env);  ///< what the next object does in its destroyPrimitive

  void destroyPrimitive(const QUVENEnvHandle& env) override;
};
QUVEN_REGISTER(QUVENTestGlobal);

std::vector<int> QUVENTestGlobal::cvEnded;
void (*QUVENTestGlobal::cvAtEnd)(const QUVENEnvHandle& env) = nullptr;

void QUVENTestGlobal::destroyPrimitive(const QUVENEnvHandle& env) {
  Members::destroyPrimitive(QUVEN_ENV);
  cvEnded.push_back(ivNumber);
  if (auto* action = std::exchange(cvAtEnd, nullptr)) action(QUVEN_ENV);
}

/// A class without a factory.
class QUVENTestAbstractGlobal : public QUVENObjectOf<QUVENTestAbstractGlobal, QUVENObject> {
 protected:
  QUVENTestAbstractGlobal() = default;
};
QUVEN_REGISTER(QUVENTestAbstractGlobal);

namespace {

using Global = QUVENTestGlobal;

int factoryCalls = 0;

void makeNumber(int number, QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
  auto made = quvenMake<Global>(QUVEN_ENV);
  made->ivNumber = number;
  result = std::move(made);
}
void makeSeven(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
  ++factoryCalls;
  makeNumber(7, result, QUVEN_ENV);
}
void makeNine(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) { makeNumber(9, result, QUVEN_ENV); }
void makeNothing(QUVENOwnPtr<QUVENObject>&, const QUVENEnvHandle&) { ++factoryCalls; }
void makeHalf(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
  makeNumber(7, result, QUVEN_ENV);
  quvenFatalReport("Half made", QUVEN_ENV);
}

const QUVENStringWithHash& innerKey() {
  static const QUVENStringWithHash key("Inner::cv");
  return key;
}
void makeWithInner(QUVENOwnPtr<QUVENObject>& result, const QUVENEnvHandle& env) {
  makeNumber(QUVENEnv::getGlobal<Global>(innerKey(), makeSeven, QUVEN_ENV)->ivNumber + 1, result, QUVEN_ENV);
}

// What an object does at its end: it asks for a global object that is there, for many that are new, so that the cells
// move, and for the direct slot.
void askForMany(const QUVENEnvHandle& env) {
  for (int number = 10; number < 30; ++number) {
    QUVENEnv::getGlobal<Global>(QUVENStringWithHash(std::to_string(number)), QUVEN_ENV)->ivNumber = number;
  }
}
void askForFirstManyAndDirect(const QUVENEnvHandle& env) {
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(QUVENStringWithHash("1"), QUVEN_ENV)->ivNumber, 1);
  askForMany(QUVEN_ENV);
  QUVENEnv::getDataScanGlobals<Global>(makeNine, QUVEN_ENV);
}

/// An environment of its own with global objects 1, 2, 3 and the direct one 4, inactive when it ends.
void runWithFourGlobals() {
  QUVENEnv ending;
  ending.activate();
  QUVENEnv* const env = &ending;
  for (const int number : {1, 2, 3}) {
    QUVENEnv::getGlobal<Global>(QUVENStringWithHash(std::to_string(number)), QUVEN_ENV)->ivNumber = number;
  }
  QUVENEnv::getDataScanGlobals<Global>(QUVEN_ENV)->ivNumber = 4;
  ending.deactivate();
}

class QUVENEnvGlobals : public testing::Test {
 protected:
  void SetUp() override {
    quvenDebugWords = QUVENDebugWords();
    factoryCalls = 0;
    Global::cvEnded.clear();
    Global::cvEnded.reserve(64);  // noting an end needs no memory
    environment.activate();
  }
  void TearDown() override { quvenDebugWords = QUVENDebugWords(); }

  const QUVENStringWithHash key{"Test::cv"};
  QUVENEnv environment;
  QUVENEnv* const env = &environment;
};

}  // namespace

TEST_F(QUVENEnvGlobals, CallTheFactoryOnceAKey) {
  const QUVENStringWithHash otherKey("OtherTest::cv");
  Global* first = QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV);
  EXPECT_EQ(first->ivNumber, 7);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 1);
  EXPECT_NE(QUVENEnv::getGlobal<Global>(otherKey, makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 2);
}

TEST_F(QUVENEnvGlobals, AreFoundByTheTextOfTheKey) {
  QUVENStringWithHash sameText("Tes");
  sameText.append("t::cv");
  const Global* made = QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(sameText, makeNothing, QUVEN_ENV), made);
}

TEST_F(QUVENEnvGlobals, BelongToOneEnvironment) {
  QUVENEnv first;
  first.activate();
  QUVENEnv second;
  second.activate();
  const QUVENEnvHandle inFirst(first, "f.cpp", 1, "f");
  const QUVENEnvHandle inSecond(second, "f.cpp", 1, "f");
  EXPECT_NE(QUVENEnv::getGlobal<Global>(key, makeSeven, inFirst),
            QUVENEnv::getGlobal<Global>(key, makeSeven, inSecond));
}

TEST_F(QUVENEnvGlobals, FactoryMayAskForAnotherGlobal) {
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(key, makeWithInner, QUVEN_ENV)->ivNumber, 8);
}

TEST_F(QUVENEnvGlobals, StoringReleasesTheObjectThatWasThere) {
  // The factory of the outer object has the inner one made under the same key.
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(innerKey(), makeWithInner, QUVEN_ENV)->ivNumber, 8);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(innerKey(), makeSeven, QUVEN_ENV)->ivNumber, 8);
  env->getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env->getBytesInUse(), 0);
}

TEST_F(QUVENEnvGlobals, NullResultFailsTheAssertionAndStoresNothing) {
  CapturedRun run = capturedRun([&] { QUVENEnv::getGlobal<Global>(key, makeNothing, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (newPtr != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV)->ivNumber, 7);

  run = capturedRun([&] { QUVENEnv::getDataScanGlobals<Global>(makeNothing, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (cvPtr != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV)->ivNumber, 7);
}

TEST_F(QUVENEnvGlobals, AreGivenBackWhenThereIsNoMemoryToStoreThem) {
  const QUVENStringWithHash longKey("a key that needs a block of its own");
  // The object; in a debugging build also its status record and the note of its block.
  constexpr long objectBlocks = QUVEN_DEBUG_OBJECTS != 0 ? 3 : 1;
  const auto failuresOf = [&](auto action) {
    long allowed = 0;
    for (bool failed = true; failed; ++allowed) {
      failed = capturedRun([&] {
                 const FailingAllocation failure(allowed);
                 action();
               }).threwMemoryException;
      if (!failed) break;
      // Nothing but tables, which know no key yet.
      env->getAux().deleteMemory(QUVEN_ENV);
      EXPECT_EQ(env->getBytesInUse(), 0) << allowed;
    }
    return allowed;
  };
  EXPECT_GT(failuresOf([&] { QUVENEnv::getGlobal<Global>(longKey, makeSeven, QUVEN_ENV); }), 4);
  EXPECT_EQ(failuresOf([&] { QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV); }), objectBlocks);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(longKey, makeSeven, QUVEN_ENV)->ivNumber, 7);
}

TEST_F(QUVENEnvGlobals, FactoryThatFailsHalfWayLeavesNothingBehind) {
  EXPECT_TRUE(capturedRun([&] { QUVENEnv::getGlobal<Global>(key, makeHalf, QUVEN_ENV); }).threwLibraryException);
  EXPECT_EQ(env->getBytesInUse(), 0);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV)->ivNumber, 7);
}

TEST_F(QUVENEnvGlobals, DirectSlotIsFilledOnce) {
  Global* first = QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV);
  EXPECT_EQ(QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV), first);
  EXPECT_EQ(factoryCalls, 1);
}

TEST_F(QUVENEnvGlobals, AreGivenBackWithTheirTables) {
  QUVENEnv::getGlobal<Global>(key, makeSeven, QUVEN_ENV);
  QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV);
  EXPECT_GT(env->getBytesInUse(), static_cast<std::int64_t>(2 * sizeof(Global)));
  env->getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env->getBytesInUse(), 0);
}

TEST_F(QUVENEnvGlobals, AreOfTheClassAskedForWithoutAFactory) {
  Global* global = QUVENEnv::getGlobal<Global>(key, QUVEN_ENV);
  EXPECT_EQ(global->ivNumber, 0);
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(key, QUVEN_ENV), global);
  Global* direct = QUVENEnv::getDataScanGlobals<Global>(QUVEN_ENV);
  EXPECT_NE(direct, global);
  EXPECT_EQ(QUVENEnv::getDataScanGlobals<Global>(QUVEN_ENV), direct);
}

TEST_F(QUVENEnvGlobals, OfAnAbstractClassFailTheAssertionOfItsType) {
  const CapturedRun run = capturedRun([&] { QUVENEnv::getGlobal<QUVENTestAbstractGlobal>(key, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::HasSubstr("\n    ASSERTION FAILED (ivFactoryFunc != 0)\n"));
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(env->getBytesInUse(), 0);
}

TEST_F(QUVENEnvGlobals, ChargeTheObjectToTheirEnvironment) {
  QUVENEnv::getDataScanGlobals<Global>(makeSeven, QUVEN_ENV);
  EXPECT_EQ(env->getBytesInUse(), static_cast<std::int64_t>(sizeof(Global)));
}

TEST_F(QUVENEnvGlobals, GoWithTheirEnvironmentTheLatestFirst) {
  const std::int64_t globalBytes = QUVENEnv::getGlobalBytesInUse();
  const CapturedRun run = capturedRun(runWithFourGlobals);
  EXPECT_EQ(Global::cvEnded, (std::vector<int>{4, 3, 2, 1}));
  EXPECT_EQ(run.out, "");  // no pointer and no array ends while it holds something
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), globalBytes);
  EXPECT_EQ(env->getBytesInUse(), 0);
}

TEST_F(QUVENEnvGlobals, MadeByAnObjectThatGoesGoAsWell) {
  for (const int number : {1, 2}) {
    QUVENEnv::getGlobal<Global>(QUVENStringWithHash(std::to_string(number)), QUVEN_ENV)->ivNumber = number;
  }
  Global::cvAtEnd = askForFirstManyAndDirect;
  env->getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(Global::cvEnded.size(), 23U);
  EXPECT_EQ(Global::cvEnded.back(), 1);
  EXPECT_EQ(env->getBytesInUse(), 0);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENEnvGlobals, MayBeAskedForByTheObjectThatTheyReplace) {
  Global::cvAtEnd = askForMany;
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(innerKey(), makeWithInner, QUVEN_ENV)->ivNumber, 8);
  EXPECT_EQ(Global::cvEnded, std::vector<int>{7});
  EXPECT_EQ(QUVENEnv::getGlobal<Global>(innerKey(), makeNothing, QUVEN_ENV)->ivNumber, 8);
  env->getAux().deleteMemory(QUVEN_ENV);
  EXPECT_EQ(env->getBytesInUse(), 0);
}
