#include "simple_algorithm/quven_sparse_rows.h"

#include "util/quven_debug.h"

long QUVENSparseRows::insert(SampleNumber sample, const QUVENEnvHandle& env) {
  const long index = samples.insert(sample, QUVEN_ENV);
  if (index <= starts.getSize()) return index;
  starts.append(values.getSize(), QUVEN_ENV);
  lengths.append(0, QUVEN_ENV);
  gaps.append(0, QUVEN_ENV);
  return index;
}

/// Makes a position one of the row, which lies behind all others then.
void QUVENSparseRows::extend(long index, long position, const QUVENEnvHandle& env) {
  const long length = lengths[index];
  if (starts[index] + length != values.getSize()) {
    const long start = values.getSize();
    values.autoExtend(start + length, QUVEN_ENV);
    std::copy_n(values.begin() + starts[index], length, values.begin() + start);
    starts[index] = start;
  }
  if (position > length + 1) gaps[index] = 1;
  values.autoExtend(starts[index] + position, QUVEN_ENV);
  lengths[index] = static_cast<std::int32_t>(position);
}

void QUVENSparseRows::set(long index, long position, double value, const QUVENEnvHandle& env) {
  QUVEN_ASSERT(1 <= position && position <= MaxPosition);
  const bool isBehindEnd = position > lengths[index];
  if (value == 0) {
    if (isBehindEnd) return;  // there is a 0
    gaps[index] = 1;
  } else if (isBehindEnd) {
    extend(index, position, QUVEN_ENV);
  }
  values.begin()[starts[index] + position - 1] = value;
}

void QUVENSparseRows::copyFrom(const QUVENSparseRows& other, const QUVENEnvHandle& env) {
  samples.copyFrom(other.samples, QUVEN_ENV);
  starts.copyFrom(other.starts, QUVEN_ENV);
  lengths.copyFrom(other.lengths, QUVEN_ENV);
  gaps.copyFrom(other.gaps, QUVEN_ENV);
  values.copyFrom(other.values, QUVEN_ENV);
}

void QUVENSparseRows::swap(QUVENSparseRows& other) noexcept {
  samples.swap(other.samples);
  starts.swap(other.starts);
  lengths.swap(other.lengths);
  gaps.swap(other.gaps);
  values.swap(other.values);
}

void QUVENSparseRows::deleteMemory(const QUVENEnvHandle& env) {
  samples.deleteMemory(QUVEN_ENV);
  starts.deleteMemory(QUVEN_ENV);
  lengths.deleteMemory(QUVEN_ENV);
  gaps.deleteMemory(QUVEN_ENV);
  values.deleteMemory(QUVEN_ENV);
}
