#ifndef TESTS_UTIL_RECORDING_OBJECT_H
#define TESTS_UTIL_RECORDING_OBJECT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "util/quven_object_of.h"

/// An object that writes down the calls of its life.
///
/// A line of the record is "2 destroyPrimitive 1000 held": the number of the object, the call, the bytes in use in the
/// environment watched and, with a pointer watched, whether that holds an object at this moment.
class QUVENTestRecorder : public QUVENObjectOf<QUVENTestRecorder, QUVENObject> {
 public:
  /// Not the size of the class, so that nobody charges that by mistake.
  static constexpr std::int64_t bytes = 1000;

  QUVENTestRecorder() : QUVENTestRecorder(0) {}
  explicit QUVENTestRecorder(int objectNumber);
  ~QUVENTestRecorder() override;

  std::uint32_t sizeOf() const override;
  void destroyPrimitive(const QUVENEnvHandle& env) override;

  int number;
  bool throwsWhenDestroyed = false;

  static std::vector<std::string> cvRecord;
  static const QUVENEnv* cvEnvironment;
  static const QUVENOwnPtrBase* cvPointer;
  static int cvAlive;

 private:
  void note(const char* call) const;
};

/// A class derived from it that adds nothing but its name.
class QUVENTestDerivedRecorder : public QUVENObjectOf<QUVENTestDerivedRecorder, QUVENTestRecorder> {
 public:
  using Members::QUVENObjectOf;
};

/// An active environment under watch, which must be empty at the end, as must the record of what is alive.
class RecordedEnvironment : public testing::Test {
 protected:
  using Recorder = QUVENTestRecorder;

  void SetUp() override;
  void TearDown() override;

  std::int64_t inUse() const { return environment.getBytesInUse(); }
  /// The record so far; it starts anew.
  static std::vector<std::string> takeRecord() { return std::exchange(Recorder::cvRecord, {}); }

  QUVENEnv environment;
  QUVENEnv* const env = &environment;
};

#endif  // TESTS_UTIL_RECORDING_OBJECT_H
