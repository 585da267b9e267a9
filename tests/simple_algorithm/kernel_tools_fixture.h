#ifndef TESTS_SIMPLE_ALGORITHM_KERNEL_TOOLS_FIXTURE_H
#define TESTS_SIMPLE_ALGORITHM_KERNEL_TOOLS_FIXTURE_H

// What the tests of the kernel and of its tools share: an account that has to be empty at the end, vectors, streams.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "support/captured_run.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_debug.h"
#include "util/quven_own_ptr.h"
#include "util/quven_text_obj_writer.h"
#include "util/quven_xaray.h"

class KernelToolsTest : public ::testing::Test {
 protected:
  using Vector = QUVENXaRay<double>;

  KernelToolsTest() { environment.activate(); }
  void SetUp() override { quvenDebugWords = QUVENDebugWords(); }
  void TearDown() override {
    x.deleteMemory(QUVEN_ENV);
    y.deleteMemory(QUVEN_ENV);
    EXPECT_EQ(environment.getBytesInUse(), 0);
    quvenDebugWords = QUVENDebugWords();
  }

  template <class T>
  void fill(QUVENXaRay<T>& array, const std::vector<T>& values) {
    array.fromZeroBased(values, QUVEN_ENV);
  }
  template <class T>
  static std::vector<T> listOf(const QUVENXaRay<T>& array) {
    return {array.begin(), array.end()};
  }

  std::string imageOf(const QUVENObject& object, std::int32_t mode = QUVENObjWriter::Save) {
    QUVENMemoryBlobIO blob;
    QUVENBinObjWriter writer(blob, mode);
    quvenWriteObject(writer, object, QUVEN_ENV);
    std::string bytes(blob.getBytes().begin(), blob.getBytes().end());
    blob.deleteMemory(QUVEN_ENV);
    return bytes;
  }
  /// Into the object that is there, if there is one.
  template <class T>
  void readInto(QUVENOwnPtr<T>& object, const std::string& bytes) {
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    quvenReadObject(reader, object, T::typeName(), QUVEN_ENV);
    EXPECT_EQ(blob.getRemaining(), 0U);
  }
  /// What a stream carries, for reading.
  std::string textOf(const QUVENObject& object, std::int32_t mode = QUVENObjWriter::Save) {
    std::ostringstream text;
    QUVENTextObjWriter writer(text, mode);
    quvenWriteObject(writer, object, QUVEN_ENV);
    return text.str();
  }
  /// The report line of an error in an output, or all of it.
  static std::string reportIn(const std::string& out) {
    const std::size_t start = out.rfind("Error;|");
    return start == std::string::npos ? out : out.substr(start, out.find('\n', start) - start);
  }
  static std::string log(int level, const std::string& text) {
    return "Log;|" + std::to_string(level) + ";|" + text + ";|LogEnd\n";
  }

  QUVENEnv environment;
  QUVENEnv* env = &environment;
  CapturedRun run;
  Vector x;
  Vector y;
};

#endif  // TESTS_SIMPLE_ALGORITHM_KERNEL_TOOLS_FIXTURE_H
