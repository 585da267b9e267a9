#include "util/quven_object_root.h"

#include <optional>

#include "object_examples.h"
#include "support/captured_run.h"
#include "support/failing_allocation.h"
#include "util/quven_debug.h"
#include "util/quven_env.h"
#include "xrt/xrt_exception.h"

// The debugging root is in every build; these tests derive from it directly.

namespace {

struct Watched : QUVENObjectDebugCode {
  int value = 0;
};
struct WithMember : QUVENObjectDebugCode {
  Watched member;
};
struct ThrowsWhenMade : QUVENObjectDebugCode {
  ThrowsWhenMade() { throw 0; }
};

class QUVENObjectRootTest : public testing::Test {
 protected:
  void SetUp() override { quvenDebugWords = QUVENDebugWords(); }
  void TearDown() override {
    EXPECT_EQ(QUVENEnv::getGlobalBytesInUse(), before);
    quvenDebugWords = QUVENDebugWords();
  }

  static std::int64_t records(int count) { return count * static_cast<std::int64_t>(sizeof(QUVENObjectStatus)); }
  std::int64_t recordBytes() const { return QUVENEnv::getGlobalBytesInUse() - before; }

  /// What an owning pointer does with an object on the heap.
  static void release(Watched* object, const QUVENEnvHandle& env) {
    object->beginDeletion(env);
    object->enterDeletion();
    delete object;
  }

  QUVENEnv environment;
  const QUVENEnvHandle place{environment, "/home/build/lib/quven_thing.cpp", 12, "doThing"};
  const std::int64_t before = QUVENEnv::getGlobalBytesInUse();
};

const std::string deletedText =
    " Attempt to access a deleted object\n"
    "Object was deleted in function doThing at line 12 in file quven_thing.cpp\n";

/// A fatal report at the place with a text of the catalogue.
std::string fatalReport(const std::string& text) {
  return "\n*** ERROR in function doThing at line 12 in file quven_thing.cpp\n    " + text + "\n";
}

}  // namespace

TEST_F(QUVENObjectRootTest, ReleaseRootHasNoDataAndItsChecksDoNothing) {
  EXPECT_EQ(sizeof(QUVENObjectReleaseCode), sizeof(void*));
  QUVENObjectReleaseCode object;
  object.beginDeletion(place);
  object.enterDeletion();
  object.checkAccess(place);
  object.checkAssignable(place);
  EXPECT_EQ(recordBytes(), 0);
}

TEST_F(QUVENObjectRootTest, ObjectsAddNoDataToTheRootOfTheBuild) {
  EXPECT_EQ(sizeof(QUVENObjectDebugCode), 2 * sizeof(void*));
  EXPECT_EQ(sizeof(QUVENObject), sizeof(QUVENObjectRoot));
  EXPECT_EQ((std::is_same_v<QUVENObjectRoot, QUVENObjectDebugCode>), QUVEN_DEBUG_OBJECTS != 0);
  EXPECT_TRUE((std::is_base_of_v<QUVENObjectReleaseCode, QUVENObjectDebugCode>));
}

TEST_F(QUVENObjectRootTest, RecordStartsAliveWithOneReferenceAndNoPlace) {
  const Watched object;
  const QUVENObjectStatus& status = *object.getStatus();
  EXPECT_EQ(status.link, 0);
  EXPECT_EQ(status.state, 1);
  EXPECT_EQ(status.referenceCount, 1);
  EXPECT_EQ(status.fileName, nullptr);
  EXPECT_EQ(status.line, 0);
  EXPECT_EQ(status.functionName, nullptr);
  EXPECT_EQ(recordBytes(), records(1));
  object.checkAccess(place);
}

TEST_F(QUVENObjectRootTest, FieldsStandInTheirOrder) {
  const QUVENObjectStatus status;
  const auto at = [&](const void* field) {
    return static_cast<const char*>(field) - static_cast<const char*>(static_cast<const void*>(&status));
  };
  EXPECT_EQ(at(&status.link), 0);
  EXPECT_EQ(at(&status.state), 8);
  EXPECT_EQ(at(&status.referenceCount), 12);
  EXPECT_EQ(at(&status.fileName), 16);
  EXPECT_EQ(at(&status.line), 24);
  EXPECT_EQ(at(&status.functionName), 32);
}

TEST_F(QUVENObjectRootTest, DeletionGoesThroughItsStates) {
  auto* object = new Watched;
  const QUVENObjectStatus& status = *object->getStatus();
  std::optional<QUVENObjectWatch> watch(std::in_place, *object);
  EXPECT_EQ(status.referenceCount, 2);

  object->beginDeletion(place);
  EXPECT_EQ(status.state, 4);
  EXPECT_STREQ(status.fileName, "/home/build/lib/quven_thing.cpp");
  EXPECT_EQ(status.line, 12);
  EXPECT_STREQ(status.functionName, "doThing");
  object->enterDeletion();
  EXPECT_EQ(status.state, 5);
  delete object;
  EXPECT_EQ(status.state, 6);
  EXPECT_EQ(status.referenceCount, 1);
  EXPECT_EQ(recordBytes(), records(1));
  watch.reset();
  EXPECT_EQ(recordBytes(), 0);
}

TEST_F(QUVENObjectRootTest, WatchThatEndsFirstLeavesTheRecordToTheObject) {
  const Watched object;
  { const QUVENObjectWatch watch(object); }
  EXPECT_EQ(object.getStatus()->referenceCount, 1);
  EXPECT_EQ(recordBytes(), records(1));
}

TEST_F(QUVENObjectRootTest, AccessToADeletedObjectReportsItsDeletionAndThrows) {
  auto* object = new Watched;
  const QUVENObjectWatch watch(*object);
  watch.checkAccess(place);
  release(object, place);
  const CapturedRun run = capturedRun([&] { watch.checkAccess(place); });
  EXPECT_EQ(run.out, "\n*** ERROR" + deletedText);
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENObjectRootTest, AccessDuringTheDeletionIsReportedAsWell) {
  auto* object = new Watched;
  object->beginDeletion(place);
  EXPECT_EQ(capturedRun([&] { object->checkAccess(place); }).out, "\n*** ERROR" + deletedText);
  object->enterDeletion();
  EXPECT_EQ(capturedRun([&] { object->checkAccess(place); }).out, "\n*** ERROR" + deletedText);
  delete object;
}

TEST_F(QUVENObjectRootTest, ExpectedReportThrowsAndLeavesTheErrorWordAlone) {
  auto* object = new Watched;
  const QUVENObjectWatch watch(*object);
  release(object, place);
  quvenDebugWords.expected = 1;
  const CapturedRun run = capturedRun([&] { watch.checkAccess(place); });
  EXPECT_EQ(run.out, "\n    Expected Error" + deletedText);
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENObjectRootTest, ObjectWithoutMemoryForItsRecordFails) {
  const CapturedRun run = capturedRun([&] {
    try {
      const FailingAllocation failure(0);
      const Watched object;
    } catch (const XRTMemoryException& exception) {
      EXPECT_EQ(exception.getBytesAsked(), records(1));
      throw;
    }
  });
  EXPECT_THAT(run.out, testing::HasSubstr(" in file quven_object_root.cpp\n    Cannot allocate object memory\n"));
  EXPECT_TRUE(run.threwMemoryException);
  EXPECT_EQ(quvenDebugWords.memoryFailed, 1);
  EXPECT_EQ(recordBytes(), 0);
}

TEST_F(QUVENObjectRootTest, ObjectWithoutMemoryForTheNoteOfItsBlockIsNull) {
  for (const long allowed : {0, 1}) {
    const FailingAllocation failure(allowed);
    EXPECT_EQ(new (std::nothrow) Watched, nullptr);
  }
}

TEST_F(QUVENObjectRootTest, HeapObjectIsAssignable) {
  auto* object = new (std::nothrow) Watched;
  object->checkAssignable(place);
  release(object, place);
}

TEST_F(QUVENObjectRootTest, ReleasedHeapObjectEndsWithoutAReport) {
  const CapturedRun run = capturedRun([&] { release(new Watched, place); });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENObjectRootTest, HeapObjectThatNobodyReleasedIsReported) {
  auto* object = new Watched;
  EXPECT_EQ(capturedRun([&] { delete object; }).out,
            "\n*** ERROR Heap object deleted via standard delete instead of DeletePtr\n");
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENObjectRootTest, ObjectsOnTheStackEndWithoutAReport) {
  const CapturedRun run = capturedRun([] { const WithMember object; });
  EXPECT_EQ(run.out, "");
}

TEST_F(QUVENObjectRootTest, MemberOfAHeapObjectIsNoHeapObject) {
  auto* object = new WithMember;
  const CapturedRun assigned = capturedRun([&] { object->member.checkAssignable(place); });
  EXPECT_EQ(assigned.out, fatalReport("A non-heap object was assigned to a smart pointer"));
  EXPECT_TRUE(assigned.threwLibraryException);
  object->checkAssignable(place);
  object->beginDeletion(place);
  object->enterDeletion();
  EXPECT_EQ(capturedRun([&] { delete object; }).out, "");
}

TEST_F(QUVENObjectRootTest, ObjectWhoseConstructorThrowsEndsWithoutAReport) {
  const CapturedRun run = capturedRun([] { delete new ThrowsWhenMade; });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out, "");
}

TEST_F(QUVENObjectRootTest, ArrayThatIsDeletedIsReported) {
  auto* array = new Watched[3];
  EXPECT_EQ(recordBytes(), records(3));
  EXPECT_EQ(capturedRun([&] { delete[] array; }).out, "\n*** ERROR Array object deleted via standard delete\n");
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENObjectRootTest, NoMemberOfAnArrayIsAssignable) {
  quvenDebugWords.quiet = 0;
  auto* array = new Watched[3];
  for (int i = 0; i < 3; ++i) {
    const CapturedRun run = capturedRun([&] { array[i].checkAssignable(place); });
    EXPECT_EQ(run.out, fatalReport("An array member was assigned to a smart pointer")) << i;
    EXPECT_TRUE(run.threwLibraryException);
  }
  quvenDebugWords.quiet = 1;
  delete[] array;
}

TEST_F(QUVENObjectRootTest, ObjectOnTheStackIsNotAssignable) {
  const Watched object;
  const CapturedRun run = capturedRun([&] { object.checkAssignable(place); });
  EXPECT_EQ(run.out, fatalReport("A non-heap object was assigned to a smart pointer"));
  EXPECT_TRUE(run.threwLibraryException);
}

TEST_F(QUVENObjectRootTest, DyingObjectIsNotAssignable) {
  auto* object = new Watched;
  object->beginDeletion(place);
  const CapturedRun run = capturedRun([&] { object->checkAssignable(place); });
  EXPECT_EQ(run.out, fatalReport("An object in the process of being deleted was assigned to a smart pointer"));
  EXPECT_TRUE(run.threwLibraryException);
  object->enterDeletion();
  EXPECT_TRUE(capturedRun([&] { object->checkAssignable(place); }).threwLibraryException);
  delete object;
}

TEST_F(QUVENObjectRootTest, MoveHandsTheRecordOver) {
  Watched first;
  const QUVENObjectStatus* status = first.getStatus();
  const Watched second = std::move(first);
  EXPECT_EQ(second.getStatus(), status);
  EXPECT_EQ(first.getStatus(), nullptr);  // NOLINT(bugprone-use-after-move): what a move leaves behind
  first.checkAccess(place);
  EXPECT_EQ(recordBytes(), records(1));
}

TEST_F(QUVENObjectRootTest, MoveAssignmentKeepsTheRecordOfTheTarget) {
  Watched first;
  Watched second;
  const QUVENObjectStatus* status = second.getStatus();
  second = std::move(first);
  EXPECT_EQ(second.getStatus(), status);
  EXPECT_EQ(recordBytes(), records(2));
}

#if QUVEN_DEBUG_OBJECTS

TEST_F(QUVENObjectRootTest, OwningPointersDriveTheRecord) {
  environment.activate();
  auto leaf = quvenMake<QUVENTestLeaf>(place);
  const QUVENObjectWatch watch(*leaf);
  leaf.reset(place);
  EXPECT_EQ(capturedRun([&] { watch.checkAccess(place); }).out, "\n*** ERROR" + deletedText);

  QUVENTestLeaf onStack;
  EXPECT_EQ(capturedRun([&] { const QUVENOwnPtr<QUVENTestLeaf> pointer(&onStack, place); }).out,
            fatalReport("A non-heap object was assigned to a smart pointer"));
  EXPECT_EQ(capturedRun([&] { leaf.assign(&onStack, place); }).out,
            fatalReport("A non-heap object was assigned to a smart pointer"));
  EXPECT_EQ(environment.getBytesInUse(), 0);
}

#endif
