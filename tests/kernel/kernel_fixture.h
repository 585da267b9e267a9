#ifndef TESTS_KERNEL_KERNEL_FIXTURE_H
#define TESTS_KERNEL_KERNEL_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/captured_run.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_env_aux.h"
#include "util/quven_stream_values.h"

/// An environment of its own for a test, whose account must be empty at the end, and streams as strings of bytes.
class KernelTest : public testing::Test {
 protected:
  KernelTest() { environment.activate(); }
  void SetUp() override { quvenDebugWords = QUVENDebugWords(); }
  void TearDown() override {
    EXPECT_EQ(quvenDebugWords.error, 0);
    environment.getAux().deleteMemory(QUVEN_ENV);  // the tables of the scans and fields
    EXPECT_EQ(environment.getBytesInUse(), 0);
    quvenDebugWords = QUVENDebugWords();
  }

  /// What an action with a writer puts into a stream.
  template <class Action>
  std::string written(std::int32_t mode, Action&& action) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    action(writer);
    EXPECT_EQ(writer.getDepth(), 0);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    blob.deleteMemory(QUVEN_ENV);
    return bytes;
  }

  std::string imageOf(const QUVENObject& object, std::int32_t mode = QUVENObjWriter::Save) {
    return written(mode, [&](QUVENObjWriter& writer) { quvenWriteObject(writer, object, QUVEN_ENV); });
  }

  /// Hands a reader of bytes to an action, and gives what is left of them.
  template <class Action>
  std::uint64_t readFrom(const std::string& bytes, Action&& action) {
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    action(reader);
    return blob.getRemaining();
  }

  template <class T>
  void readImage(const std::string& bytes, QUVENOwnPtr<T>& object) {
    EXPECT_EQ(
        readFrom(bytes, [&](QUVENObjReader& reader) { quvenReadObject(reader, object, T::typeName(), QUVEN_ENV); }),
        0U);
  }

  template <class T>
  QUVENOwnPtr<T> objectOf(const std::string& bytes) {
    QUVENOwnPtr<T> object(QUVEN_ENV);
    readImage(bytes, object);
    return object;
  }

  /// Checks that an action fails with a report of these words, in this order.
  template <class Action>
  void expectFailure(Action&& action, const std::string& words, const std::string& moreWords = "") {
    const CapturedRun run = capturedRun(std::forward<Action>(action));
    EXPECT_TRUE(run.threwLibraryException);
    const std::size_t place = run.out.find(words);
    ASSERT_NE(place, std::string::npos) << run.out;
    EXPECT_NE(run.out.find(moreWords, place), std::string::npos) << run.out;
    quvenDebugWords.error = 0;
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;

  template <class T>
  QUVENOwnPtr<T> make() {
    return quvenMake<T>(QUVEN_ENV);
  }
};

inline const std::string unreachableText = "Program control should never reach this point";
inline const std::string notImplementedText = "Function/Feature not yet implemented";

#endif  // TESTS_KERNEL_KERNEL_FIXTURE_H
