#ifndef TESTS_UTIL_STREAM_LANGUAGE_H
#define TESTS_UTIL_STREAM_LANGUAGE_H

// The small language of the stream tests. Bytes stand as text: two hexadecimal digits a byte, texts in quotes, blanks
// anywhere; "c1 8d 'QUVENTestLeaf' c2" is the image of an object.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "object_examples.h"
#include "support/captured_run.h"
#include "support/stream_text.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_stream_values.h"

/// The eight bytes of a double as they stand in memory.
inline std::string rawDouble(double value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

/// The text of a report: what stands indented below its place.
inline std::string reportOf(const CapturedRun& run) {
  const std::size_t place = run.out.find(" in file ");
  const std::size_t start = place == std::string::npos ? place : run.out.find("\n    ", place);
  if (start == std::string::npos) return run.out;
  std::string text = run.out.substr(start + 5);
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

/// A byte stream that does what a test wants: gives so many bytes of a text, then a status.
class ScriptedBlobIO : public QUVENBlobIO {
 public:
  ScriptedBlobIO() = default;
  ScriptedBlobIO(std::string input, Status statusBehind) : text(std::move(input)), behind(statusBehind) {}

  std::string text;            ///< what is read, or was written
  Status behind = EndOfInput;  ///< the status once more is asked for than there is
  std::size_t bytesUntilFailure = std::numeric_limits<std::size_t>::max();  ///< of a write

 private:
  void writeBlock(const void* bytes, std::size_t count, const QUVENEnvHandle&) override {
    if (text.size() + count > bytesUntilFailure) {
      status = behind;
    } else {
      text.append(static_cast<const char*>(bytes), count);
    }
  }
  std::size_t readBlock(void* bytes, std::size_t count, const QUVENEnvHandle&) override {
    const std::size_t taken = text.copy(static_cast<char*>(bytes), count, position);
    position += taken;
    if (taken < count) status = behind;
    return taken;
  }

  std::size_t position = 0;
};

class ObjectStreamTest : public testing::Test {
 protected:
  ObjectStreamTest() { environment.activate(); }
  void SetUp() override { quvenDebugWords = QUVENDebugWords(); }
  void TearDown() override {
    EXPECT_EQ(environment.getBytesInUse(), 0);
    quvenDebugWords = QUVENDebugWords();
  }

  /// What an action with a writer puts into a stream.
  template <class Action>
  std::string written(Action&& action, std::int32_t mode = QUVENObjWriter::Save) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    action(writer);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    blob.deleteMemory(QUVEN_ENV);
    return bytes;
  }

  std::string imageOf(const QUVENObject* object, std::int32_t mode = QUVENObjWriter::Save) {
    return written([&](QUVENObjWriter& writer) { quvenWriteObject(writer, object, QUVEN_ENV); }, mode);
  }

  /// The image of a value of a member.
  template <class T>
  std::string valueImage(const T& value) {
    return written([&](QUVENObjWriter& writer) { QUVENStreamValue<T>::write(writer, value, QUVEN_ENV); });
  }

  /// Reads bytes with an action that gets a reader, and gives what came of it.
  template <class Action>
  CapturedRun readBytes(std::string_view bytes, Action&& action) {
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    return capturedRun([&] {
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      action(reader);
    });
  }

  template <class T>
  CapturedRun readValue(std::string_view bytes, T& value) {
    return readBytes(bytes, [&](QUVENObjReader& reader) { QUVENStreamValue<T>::read(reader, value, QUVEN_ENV); });
  }

  /// The report that reading ends in; the debug words tell that it was a fatal one and no failed assertion.
  template <class Action>
  std::string fatalReport(std::string_view bytes, Action&& action) {
    quvenDebugWords = QUVENDebugWords();
    const CapturedRun run = readBytes(bytes, std::forward<Action>(action));
    EXPECT_TRUE(run.threwLibraryException) << hexOf(bytes);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
    EXPECT_EQ(quvenDebugWords.error, 0);
    EXPECT_EQ(quvenDebugWords.memoryFailed, 0);
    return reportOf(run);
  }

  /// The report of reading an object into a pointer, which is released then.
  template <class T>
  std::string fatalReport(std::string_view bytes) {
    QUVENOwnPtr<T> pointer(QUVEN_ENV);
    std::string report = fatalReport(
        bytes, [&](QUVENObjReader& reader) { QUVENStreamValue<QUVENOwnPtr<T>>::read(reader, pointer, QUVEN_ENV); });
    QUVEN_DELETE(pointer);
    return report;
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
};

#endif  // TESTS_UTIL_STREAM_LANGUAGE_H
