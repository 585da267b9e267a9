#include "recording_object.h"
#include "support/captured_run.h"
#include "util/quven_own_ptr.h"

// What owning pointers and arrays say when they end while they hold something.

namespace {

class QUVENOwnPtrGuard : public RecordedEnvironment {
 protected:
  using Lines = std::vector<std::string>;
  using Pointer = QUVENOwnPtr<QUVENTestRecorder>;

  const QUVENEnvHandle place{environment, "/home/build/lib/quven_thing.cpp", 12, "doThing"};

  /// A pointer made at the place ends with an object.
  void endHeld() const {
    Pointer pointer(place);
    pointer = quvenMake<Recorder>(QUVEN_ENV, 1);
    Recorder::cvRecord.clear();
  }
  void endHeldLocal() const {
    const QUVENLocal<Recorder> local(new Recorder(1), place);
    Recorder::cvRecord.clear();
  }
};

const std::string constructedText =
    " QUVENOwnPtr destructor called while holding an object\n"
    "QUVENOwnPtr was constructed in function doThing at line 12 in file quven_thing.cpp\n";
const std::string localText =
    " QUVENLocal destructor called without calling a reset() function or applying the QUVEN_DELETE() macro\n";
const std::string arrayText = " destructor called without resetting array\n";

}  // namespace

TEST_F(QUVENOwnPtrGuard, HeldPointerReportsReleasesAndSetsTheErrorWord) {
  const CapturedRun run = capturedRun([&] { endHeld(); });
  EXPECT_EQ(run.out, "\n*** ERROR" + constructedText);
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(takeRecord(), (Lines{"1 sizeOf 1000", "1 destroyPrimitive 0", "1 destructor 0"}));
  EXPECT_FALSE(run.threwLibraryException);
}

TEST_F(QUVENOwnPtrGuard, ExpectedReportLeavesTheErrorWordAlone) {
  quvenDebugWords.expected = 1;
  EXPECT_EQ(capturedRun([&] { endHeld(); }).out, "\n    Expected Error" + constructedText);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENOwnPtrGuard, SimulatedReportLeavesTheErrorWordAlone) {
  quvenDebugWords.simulated = 1;
  EXPECT_EQ(capturedRun([&] { endHeld(); }).out, "\n    Simulated Error" + constructedText);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENOwnPtrGuard, QuietReportStillSetsTheErrorWord) {
  quvenDebugWords.quiet = 1;
  EXPECT_EQ(capturedRun([&] { endHeld(); }).out, "");
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENOwnPtrGuard, PointerMadeFromAnotherOneNamesThePlaceOfTheFirst) {
  const CapturedRun run = capturedRun([&] {
    Pointer first(new Recorder(1), place);
    Pointer second = std::move(first);
    const Pointer third = std::move(second);
  });
  EXPECT_EQ(run.out,
            "\n*** ERROR QUVENOwnPtr destructor called while holding an object\n"
            "QUVENOwnPtr was copy-constructed from another QUVENOwnPtr\n"
            "that was originally constructed in function doThing at line 12 in file quven_thing.cpp\n");
  EXPECT_EQ(quvenDebugWords.error, 1);
}

TEST_F(QUVENOwnPtrGuard, EmptyPointersAndLocalsSayNothing) {
  const CapturedRun run = capturedRun([&] {
    Pointer pointer(new Recorder(1), place);
    Pointer taker = std::move(pointer);
    pointer.assign(taker.detach(), place);  // NOLINT(bugprone-use-after-move): it is empty
    QUVENLocal<Recorder> local(place);
    local = std::move(pointer);
    pointer.assign(local.detach(), place);
    pointer.reset(place);
  });
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENOwnPtrGuard, HeldLocalReportsReleasesAndSetsTheErrorWord) {
  const CapturedRun run = capturedRun([&] { endHeldLocal(); });
  EXPECT_EQ(run.out, "\n*** ERROR" + localText);
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(takeRecord(), (Lines{"1 sizeOf 1000", "1 destroyPrimitive 0", "1 destructor 0"}));
}

TEST_F(QUVENOwnPtrGuard, ExpectedReportOfALocalLeavesTheErrorWordAlone) {
  quvenDebugWords.expected = 1;
  EXPECT_EQ(capturedRun([&] { endHeldLocal(); }).out, "\n    Expected Error" + localText);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENOwnPtrGuard, HeldArrayReportsOnceAndReleasesItsPointers) {
  const auto end = [&] {
    QUVENXaRay<Pointer, 0> array;
    array.append(quvenMake<Recorder>(QUVEN_ENV, 1), QUVEN_ENV);
    array.append(quvenMake<Recorder>(QUVEN_ENV, 2), QUVEN_ENV);
  };
  EXPECT_EQ(capturedRun(end).out, "\n*** ERROR" + arrayText);
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(Recorder::cvAlive, 0);

  quvenDebugWords = QUVENDebugWords{.expected = 1};
  EXPECT_EQ(capturedRun(end).out, "\n    Expected Error" + arrayText);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENOwnPtrGuard, ReleasesSilentlyWhileAnExceptionUnwindsTheStack) {
  const CapturedRun run = capturedRun([&] {
    const Pointer pointer(new Recorder(1), place);
    const QUVENLocal<Recorder> local(new Recorder(2), place);
    QUVENXaRay<Pointer, 0> array;
    array.append(quvenMake<Recorder>(QUVEN_ENV, 3), QUVEN_ENV);
    EXPECT_EQ(Recorder::cvAlive, 3);
    throw 0;
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(quvenDebugWords.error, 0);
  EXPECT_EQ(Recorder::cvAlive, 0);
}

TEST_F(QUVENOwnPtrGuard, ReleaseThatThrowsInADestructorFailsTheRunAtItsEnd) {
  quvenDebugWords.expected = 1;  // the report itself leaves the word alone
  const CapturedRun run = capturedRun([&] {
    Pointer pointer(place);
    pointer = quvenMake<Recorder>(QUVEN_ENV, 1);
    pointer->throwsWhenDestroyed = true;
  });
  EXPECT_FALSE(run.threwLibraryException);
  EXPECT_EQ(run.out, "\n    Expected Error" + constructedText);
  EXPECT_EQ(quvenDebugWords.error, 1);
  EXPECT_EQ(Recorder::cvAlive, 0);
}

TEST_F(QUVENOwnPtrGuard, HeldPointerWithoutAPlaceReleasesInTheEnvironmentOfTheObject) {
  QUVENEnv second;
  second.activate();
  const CapturedRun run = capturedRun([&] {
    Pointer cell;
    cell = quvenMake<Recorder>(QUVEN_ENV, 1);
    EXPECT_EQ(inUse(), Recorder::bytes);
  });
  EXPECT_EQ(run.out,
            "\n*** ERROR QUVENOwnPtr destructor called while holding an object\n"
            "QUVENOwnPtr was constructed in function  at line 0 in file \n");
  EXPECT_EQ(inUse(), 0);
  EXPECT_EQ(second.getBytesInUse(), 0);
}
