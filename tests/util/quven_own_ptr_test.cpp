#include "util/quven_own_ptr.h"

#include "object_examples.h"
#include "recording_object.h"
#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_keyvalue_xashtable.h"
#include "xrt/xrt_exception.h"

namespace {

class QUVENOwnPtrTest : public RecordedEnvironment {
 protected:
  using Lines = std::vector<std::string>;
  using Pointer = QUVENOwnPtr<QUVENTestRecorder>;

  Pointer make(int number) { return quvenMake<QUVENTestRecorder>(QUVEN_ENV, number); }
};

struct ThrowingConstructor : QUVENTestRecorder {
  ThrowingConstructor() { throw 0; }
};

/// One that gets the handle of the call.
struct WithHandle : QUVENTestRecorder {
  WithHandle(int objectNumber, const QUVENEnvHandle& env) : QUVENTestRecorder(objectNumber), line(env.getLine()) {}
  int line;
};

}  // namespace

TEST_F(QUVENOwnPtrTest, ChargesTheSizeAfterTheConstructor) {
  Pointer pointer = make(1);
  EXPECT_EQ(takeRecord(), (Lines{"1 constructor 0", "1 sizeOf 0"}));
  EXPECT_EQ(inUse(), Recorder::bytes);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, ReleasesAlwaysInTheSameOrder) {
  Pointer pointer = make(1);
  const Lines release{"1 sizeOf 1000 held", "1 destroyPrimitive 0 held", "1 destructor 0 held"};
  Recorder::cvPointer = &pointer;
  takeRecord();

  pointer.reset(QUVEN_ENV);
  EXPECT_EQ(takeRecord(), release);
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(inUse(), 0);

  pointer.assign(make(1).detach(), QUVEN_ENV);
  takeRecord();
  pointer.assign(nullptr, QUVEN_ENV);
  EXPECT_EQ(takeRecord(), release);

  pointer = make(1);
  takeRecord();
  pointer = Pointer();
  EXPECT_EQ(takeRecord(), release);

  QUVENLocal<Recorder> local(make(1).detach(), QUVEN_ENV);  // charged a second time: straight from new, it thinks
  environment.release(Recorder::bytes);
  Recorder::cvPointer = &local;
  takeRecord();
  local.reset(QUVEN_ENV);
  EXPECT_EQ(takeRecord(), release);
}

TEST_F(QUVENOwnPtrTest, ReleasingNothingDoesNothing) {
  Pointer pointer(QUVEN_ENV);
  pointer.reset(QUVEN_ENV);
  QUVEN_DELETE(pointer);
  EXPECT_EQ(takeRecord(), Lines());
}

TEST_F(QUVENOwnPtrTest, KnowsThePlaceOfItsConstruction) {
  const Pointer pointer(QUVEN_ENV);
  EXPECT_EQ(pointer.getLine(), __LINE__ - 1);
  EXPECT_STREQ(pointer.getFile(), __FILE__);
  EXPECT_STREQ(pointer.getFunction(), "TestBody");
}

TEST_F(QUVENOwnPtrTest, MakeKeepsThePlaceOfTheCall) {
  auto pointer = quvenMake<Recorder>(QUVEN_ENV);
  EXPECT_EQ(pointer.getLine(), __LINE__ - 1);
  EXPECT_STREQ(pointer.getFunction(), "TestBody");
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, MakeHandsArgumentsAndHandleToTheConstructor) {
  auto pointer = quvenMake<WithHandle>(QUVEN_ENV, 17);
  EXPECT_EQ(pointer->line, __LINE__ - 1);
  EXPECT_EQ(pointer->number, 17);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, NullFromNewIsAMemoryFailureAtThePlaceOfTheCall) {
  environment.charge(16);
  std::string what;
  const QUVENEnvHandle place(environment, "/lib/quven_thing.cpp", 12, "makeThing");
  const CapturedRun run = capturedRun([&] {
    try {
      const Pointer pointer(nullptr, place);
    } catch (const XRTMemoryException& failure) {
      EXPECT_EQ(failure.getBytesAsked(), static_cast<std::int64_t>(sizeof(Recorder)));
      EXPECT_EQ(failure.getBytesInUse(), 16);
      what = failure.what();
      throw;
    }
  });
  EXPECT_EQ(run.out,
            "\n*** ERROR in function makeThing at line 12 in file quven_thing.cpp"
            "\n    Cannot allocate object memory\n");
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(what,
            "Cannot allocate object memory (" + std::to_string(sizeof(Recorder)) + " bytes asked, 16 bytes in use)");
  EXPECT_EQ(quvenDebugWords.memoryFailed, 1);
  EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
  EXPECT_EQ(inUse(), 16);
  environment.release(16);
}

TEST_F(QUVENOwnPtrTest, ALocalFailsOnNullFromNewAsWell) {
  const CapturedRun run = capturedRun([&] { const QUVENLocal<Recorder> local(nullptr, QUVEN_ENV); });
  EXPECT_THAT(run.out, testing::EndsWith("\n    Cannot allocate object memory\n"));
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(quvenDebugWords.memoryFailed, 1);
}

TEST_F(QUVENOwnPtrTest, ReportsWithoutMemoryThatThereIsNone) {
  const CapturedRun run = capturedRun([&] {
    const FailingAllocation failure(0);
    static_cast<void>(quvenMake<Recorder>(QUVEN_ENV));
  });
  EXPECT_THAT(run.out, testing::StartsWith("\n*** ERROR in function "));
  EXPECT_THAT(run.out, testing::HasSubstr(" in file quven_own_ptr_test.cpp\n    Cannot allocate object memory\n"));
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(quvenDebugWords.memoryFailed, 1);
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(takeRecord(), Lines());
}

TEST_F(QUVENOwnPtrTest, TheBudgetIsAllThereIs) {
  environment.charge(100);
  environment.setBytesBudget(100 + static_cast<std::int64_t>(sizeof(Recorder)) - 1);
  const CapturedRun run = capturedRun([&] { static_cast<void>(make(1)); });
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(takeRecord(), Lines());
  EXPECT_EQ(inUse(), 100);

  environment.setBytesBudget(100 + static_cast<std::int64_t>(sizeof(Recorder)));
  Pointer pointer = make(1);
  EXPECT_NE(pointer.get(), nullptr);
  QUVEN_DELETE(pointer);
  environment.release(100);
}

TEST_F(QUVENOwnPtrTest, ConstructorThatThrowsLeavesNothingCharged) {
  const CapturedRun run = capturedRun([&] { static_cast<void>(quvenMake<ThrowingConstructor>(QUVEN_ENV)); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(takeRecord(), (Lines{"0 constructor 0", "0 destructor 0"}));
}

TEST_F(QUVENOwnPtrTest, AssigningWhatItHoldsKeepsTheObjectAlive) {
  Pointer pointer = make(1);
  takeRecord();
  pointer.assign(pointer.get(), QUVEN_ENV);
  Pointer& same = pointer;
  pointer = std::move(same);
  EXPECT_EQ(takeRecord(), Lines());
  ASSERT_NE(pointer.get(), nullptr);
  EXPECT_EQ(pointer->number, 1);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, AssigningReleasesTheOldObjectAndChargesNothing) {
  Pointer pointer = make(1);
  Recorder* second = make(2).detach();
  EXPECT_EQ(inUse(), 2 * Recorder::bytes);
  takeRecord();
  pointer.assign(second, QUVEN_ENV);
  EXPECT_EQ(takeRecord(), (Lines{"1 sizeOf 2000", "1 destroyPrimitive 1000", "1 destructor 1000"}));
  EXPECT_EQ(pointer.get(), second);
  EXPECT_EQ(inUse(), Recorder::bytes);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, MoveNullsTheSourceBeforeTheOldObjectGoes) {
  Pointer target = make(1);
  Pointer source = make(2);
  Recorder* second = source.get();
  Recorder::cvPointer = &source;
  takeRecord();
  target = std::move(source);
  EXPECT_EQ(takeRecord(), (Lines{"1 sizeOf 2000", "1 destroyPrimitive 1000", "1 destructor 1000"}));
  EXPECT_EQ(source, nullptr);  // NOLINT(bugprone-use-after-move): what a move leaves behind
  EXPECT_EQ(target.get(), second);
  QUVEN_DELETE(target);
}

TEST_F(QUVENOwnPtrTest, MoveConstructionTakesObjectAndPlaceAndNegatesTheLine) {
  Pointer source(QUVEN_ENV);
  const int line = source.getLine();
  source = make(1);
  Recorder* object = source.get();
  takeRecord();
  Pointer once = std::move(source);
  Pointer twice = std::move(once);
  EXPECT_EQ(takeRecord(), Lines());
  EXPECT_EQ(source, nullptr);  // NOLINT(bugprone-use-after-move): what a move leaves behind
  EXPECT_EQ(twice.get(), object);
  EXPECT_EQ(twice.getLine(), -line);
  EXPECT_STREQ(twice.getFile(), __FILE__);
  QUVEN_DELETE(twice);
}

TEST_F(QUVENOwnPtrTest, MoveAssignmentKeepsThePlaceOfTheTarget) {
  Pointer target(QUVEN_ENV);
  const int line = target.getLine();
  target = make(1);
  EXPECT_EQ(target.getLine(), line);
  QUVEN_DELETE(target);
}

TEST_F(QUVENOwnPtrTest, TakesWhatAMemberOfItsOwnObjectOwns) {
  auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
  auto child = quvenMake<QUVENTestNode>(QUVEN_ENV);
  child->ivInt = 5;
  node->ivChildren.append(std::move(child), QUVEN_ENV);
  node = std::move(node->ivChildren[1]);
  EXPECT_EQ(node->ivInt, 5);
  EXPECT_EQ(inUse(), static_cast<std::int64_t>(sizeof(QUVENTestNode)));
  QUVEN_DELETE(node);
}

TEST_F(QUVENOwnPtrTest, DetachedObjectStaysCharged) {
  Pointer pointer = make(1);
  Recorder* object = pointer.detach();
  EXPECT_EQ(pointer, nullptr);
  EXPECT_EQ(inUse(), Recorder::bytes);
  pointer.assign(object, QUVEN_ENV);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, HoldsObjectsOfDerivedClasses) {
  QUVENOwnPtr<QUVENObject> pointer = quvenMake<QUVENTestDerivedRecorder>(QUVEN_ENV, 3);
  EXPECT_STREQ(pointer->getTypeName().getName(), "QUVENTestDerivedRecorder");
  pointer = quvenMake<Recorder>(QUVEN_ENV, 4);
  EXPECT_STREQ(pointer->getTypeName().getName(), "QUVENTestRecorder");
  QUVENLocal<QUVENObject> local(QUVEN_ENV);
  local = quvenMake<QUVENTestDerivedRecorder>(QUVEN_ENV, 5);
  EXPECT_EQ(inUse(), Recorder::bytes + static_cast<std::int64_t>(sizeof(QUVENTestDerivedRecorder)));
  QUVEN_DELETE(local);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, GivesTheBytesBackToTheAccountThatWasCharged) {
  // Both environments are active on this thread, and the thread's own is the second.
  QUVENEnv second;
  second.activate();
  const QUVENEnvHandle inSecond(second, __FILE__, __LINE__, __func__);
  Pointer fromFirst = make(1);
  Pointer pointer(inSecond);
  pointer = std::move(fromFirst);
  pointer = quvenMake<Recorder>(inSecond, 2);
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(second.getBytesInUse(), Recorder::bytes);

  Pointer withoutPlace;
  withoutPlace = make(3);
  withoutPlace = std::move(pointer);
  EXPECT_EQ(inUse(), 0);
  withoutPlace = Pointer();
  EXPECT_EQ(second.getBytesInUse(), 0);

  Pointer first = make(5);
  Pointer moved = std::move(first);
  moved = Pointer();
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(second.getBytesInUse(), 0);

  Pointer assigned;
  assigned.assign(make(4).detach(), QUVEN_ENV);
  assigned = Pointer();
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(second.getBytesInUse(), 0);
}

TEST_F(QUVENOwnPtrTest, EmptyHandleReleasesInTheEnvironmentOfTheThread) {
  Pointer pointer = make(1);
  pointer.reset(QUVENEnvHandle(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__));
  EXPECT_EQ(inUse(), 0);
}

TEST_F(QUVENOwnPtrTest, ObjectWhoseReleaseThrowsEndsOnce) {
  Pointer pointer = make(1);
  pointer->throwsWhenDestroyed = true;
  takeRecord();
  EXPECT_TRUE(capturedRun([&] { QUVEN_DELETE(pointer); }).threwLibraryException);
  EXPECT_EQ(takeRecord(), (Lines{"1 sizeOf 1000", "1 destroyPrimitive 0", "1 destructor 0"}));
  EXPECT_EQ(pointer, nullptr);
}

TEST_F(QUVENOwnPtrTest, NewObjectIsInPlaceWhenTheReleaseOfTheOldOneThrows) {
  Pointer pointer = make(1);
  pointer->throwsWhenDestroyed = true;
  Recorder* second = make(2).detach();
  EXPECT_TRUE(capturedRun([&] { pointer.assign(second, QUVEN_ENV); }).threwLibraryException);
  ASSERT_EQ(pointer.get(), second);
  pointer->throwsWhenDestroyed = true;
  EXPECT_TRUE(capturedRun([&] { pointer = make(3); }).threwLibraryException);
  ASSERT_NE(pointer.get(), nullptr);
  EXPECT_EQ(pointer->number, 3);
  QUVEN_DELETE(pointer);
}

TEST_F(QUVENOwnPtrTest, CopiesWhatAnotherPointerHolds) {
  auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
  node->ivOwned = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  node->ivOwned->ivNumber = 4;
  const std::int64_t bytes = inUse();
  QUVENOwnPtr<QUVENTestNode> copy(QUVEN_ENV);
  copy.copyFrom(node, QUVEN_ENV);
  EXPECT_EQ(inUse(), 2 * bytes);
  EXPECT_EQ(copy->ivOwned->ivNumber, 4);
  EXPECT_NE(copy->ivOwned.get(), node->ivOwned.get());

  const QUVENTestNode* held = copy.get();
  const auto& same = copy;
  copy.copyFrom(same, QUVEN_ENV);
  EXPECT_EQ(copy.get(), held);
  copy.copyFrom(QUVENOwnPtr<QUVENTestNode>(), QUVEN_ENV);
  EXPECT_EQ(copy, nullptr);
  QUVEN_DELETE(node);
}

TEST_F(QUVENOwnPtrTest, ArraysMoveTheirPointersWhenTheyGrow) {
  QUVENXaRay<Pointer, 0> array;
  std::vector<const Recorder*> objects;
  for (int i = 1; i <= 20; ++i) {
    array.append(make(i), QUVEN_ENV);
    objects.push_back(array[i].get());
  }
  for (const std::string& line : takeRecord()) EXPECT_THAT(line, testing::Not(testing::HasSubstr("destr")));
  for (int i = 1; i <= 20; ++i) EXPECT_EQ(array[i].get(), objects[static_cast<std::size_t>(i - 1)]);
  EXPECT_EQ(inUse(), 20 * Recorder::bytes + array.getCapacity() * static_cast<std::int64_t>(sizeof(Pointer)));

  array.setSize(18, QUVEN_ENV);
  EXPECT_EQ(Recorder::cvAlive, 18);
  QUVEN_DELETE(array);
  EXPECT_EQ(Recorder::cvAlive, 0);
  EXPECT_EQ(inUse(), 0);
}

TEST_F(QUVENOwnPtrTest, ArraysCopyTheObjectsOfTheirPointers) {
  using Leaves = QUVENXaRay<QUVENOwnPtr<QUVENTestLeaf>, 0>;
  Leaves array;
  array.setSize(3, QUVEN_ENV);
  array[1] = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  array[3] = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  array[3]->ivNumber = 3;
  const std::int64_t bytes = inUse();
  Leaves copy;
  copy.copyFrom(array, QUVEN_ENV);
  EXPECT_EQ(inUse(), 2 * bytes);
  EXPECT_EQ(copy[2], nullptr);
  EXPECT_EQ(copy[3]->ivNumber, 3);
  EXPECT_STREQ(copy[3]->getTypeName().getName(), "QUVENTestDerived");
  EXPECT_NE(copy[1].get(), array[1].get());
  QUVEN_DELETE(array);
  EXPECT_EQ(inUse(), bytes);
  QUVEN_DELETE(copy);
}

TEST_F(QUVENOwnPtrTest, DeleteEmptiesPointersLocalsArraysAndTables) {
  Pointer pointer = make(1);
  QUVENLocal<Recorder> local(QUVEN_ENV);
  local = make(2);
  QUVENXaRay<Pointer, 0> array;
  array.append(make(3), QUVEN_ENV);
  QUVENObjectIndexXAshTable<QUVENStringWithHash> set;
  set.insert(QUVENStringWithHash("key"), QUVEN_ENV);
  QUVENKeyValueXAshTable<std::int64_t, Pointer> table;
  table.put(4, make(4), QUVEN_ENV);
  EXPECT_EQ(Recorder::cvAlive, 4);

  QUVEN_DELETE(pointer);
  EXPECT_EQ(pointer, nullptr);
  QUVEN_DELETE(local);
  EXPECT_EQ(local, nullptr);
  QUVEN_DELETE(array);
  EXPECT_TRUE(array.isEmpty());
  QUVEN_DELETE(set);
  QUVEN_DELETE(table);
  EXPECT_EQ(table.getLiveCount(), 0);
  EXPECT_EQ(Recorder::cvAlive, 0);
  EXPECT_EQ(inUse(), 0);
}
