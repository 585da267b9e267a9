#include "control/quven_multifileoutput.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "kernel/quven_worker.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENMultifileOutput);

std::string QUVENMultifileOutput::pathOf(std::string_view name, int rank) {
  std::string result(name);
  const std::size_t point = result.rfind('.');
  result.insert(point == std::string::npos ? result.size() : point, "_worker_" + std::to_string(rank));
  return result;
}

int QUVENMultifileOutput::open(const std::string& name, const QUVENEnvHandle& env) {
  close(QUVEN_ENV);
  path = pathOf(name, quvenWorkerRank());
  constexpr int mode = MPI_MODE_CREATE | MPI_MODE_WRONLY;
  // The mode keeps the content of a file that is there already.
  if (!fileHandle.open(MPI_COMM_SELF, path, mode) || !fileHandle.clear()) {
    quvenFatalReport("Failed to open output file " + path, QUVEN_ENV);
  }
  return 1;
}

void QUVENMultifileOutput::flush(const QUVENEnvHandle& env) {
  const bool isWritten = unwritten.empty() || fileHandle.write(unwritten);
  unwritten.clear();
  if (!isWritten) quvenFatalReport("Failed to write output file " + path, QUVEN_ENV);
}

int QUVENMultifileOutput::close(const QUVENEnvHandle& env) {
  flush(QUVEN_ENV);
  if (!fileHandle.close()) quvenFatalReport("Failed to close output file " + path, QUVEN_ENV);
  return 1;
}

int QUVENMultifileOutput::writeLine(const QUVENXaRay<double>& numbers, const QUVENEnvHandle& env) {
  const long size = numbers.getSize();
  for (long i = 1; i <= size; ++i) {
    const bool isWhole = std::floor(numbers[i]) == numbers[i];
    const long double number = numbers[i];
    std::array<char, 512> text;  // the longest double has 309 digits before the point
    int length = 0;
    if (i < size) {
      length = std::snprintf(text.data(), text.size(), isWhole ? "%15.0Lf,\t" : "%15.6Lf,\t", number);
    } else {
      length = std::snprintf(text.data(), text.size(), isWhole ? "%15.0Lf\n" : "%15.6Lf\n", number);
    }
    writeString({text.data(), static_cast<std::size_t>(length)}, QUVEN_ENV);
  }
  return 1;
}

int QUVENMultifileOutput::writeString(std::string_view text, const QUVENEnvHandle& env) {
  QUVEN_ASSERT_CAUSE(fileHandle.isOpen(), "No output file is open");
  constexpr std::size_t blockBytes = 1 << 16;
  unwritten += text;
  if (unwritten.size() >= blockBytes) flush(QUVEN_ENV);
  return 1;
}

int QUVENMultifileOutput::writeStringLine(const QUVENXaRay<std::string, 0>& texts, const QUVENEnvHandle& env) {
  const long size = texts.getSize();
  for (long i = 1; i <= size; ++i) writeString(texts[i] + (i < size ? ",\t" : "\n"), QUVEN_ENV);
  return 1;
}

void QUVENMultifileOutput::copyFromPrimitive(const QUVENObject*, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENMultifileOutput::transferFromPrimitive(QUVENObject*, const QUVENEnvHandle& env) {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENMultifileOutput::readPrimitive(QUVENObjReader&, const QUVENEnvHandle& env) { quvenNotImplemented(QUVEN_ENV); }

void QUVENMultifileOutput::writePrimitive(QUVENObjWriter&, const QUVENEnvHandle& env) const {
  quvenNotImplemented(QUVEN_ENV);
}

void QUVENMultifileOutput::destroyPrimitive(const QUVENEnvHandle& env) {
  Members::destroyPrimitive(QUVEN_ENV);
  unwritten.clear();
  static_cast<void>(fileHandle.close());  // an owner that cares has closed it
}
