#include "control/quven_dataset_buffer.h"

#include <algorithm>

#include "control/quven_mpi_file.h"
#include "util/quven_debug.h"
#include "util/quven_memory.h"

void QUVENDatasetBuffer::reset() {
  bufferFirstByte = bufferLastByte = 0;
  data.reset();
  currentPart = 0;
  openWorld = 0;
}

void QUVENDatasetBuffer::refill(const QUVENDatasetSpan& span, const QUVENEnvHandle& env) {
  bufferFirstByte = bufferLastByte = 0;
  if (data == nullptr) {
    data.reset(static_cast<char*>(std::malloc(BlockBytes)));
    if (data == nullptr) quvenMemoryFailure("Cannot allocate array memory", BlockBytes, QUVEN_ENV);
  }

  const std::int64_t wanted = std::min(BlockBytes, span.endByte - span.firstByte);
  QUVENMPIFile file;
  const bool opened = file.open(openWorld == 1 ? MPI_COMM_WORLD : MPI_COMM_SELF, span.fileName, MPI_MODE_RDONLY);
  const std::int64_t count = opened ? file.read(span.fileOffset, data.get(), static_cast<int>(BlockBytes)) : -1;
  if (!file.close() || count < 0) quvenFatalReport("Failed to read input data file " + span.fileName, QUVEN_ENV);
  if (count < wanted) quvenFatalReport("Input data file is shorter than it was: " + span.fileName, QUVEN_ENV);

  bufferFirstByte = span.firstByte;
  bufferLastByte = span.firstByte + wanted - 1;
}
