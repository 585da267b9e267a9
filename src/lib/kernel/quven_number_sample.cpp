#include "kernel/quven_number_sample.h"

#include <compare>

#include "util/quven_element_frame.h"
#include "util/quven_heap.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENRealPQElement);

namespace {

const QUVENElementFrame& frameOfNumbers() {
  static const QUVENElementFrame frame(QUVENRealPQElement::typeName().getName(), QUVENRealPQElement::keywords());
  return frame;
}

struct ByFallingPriority {
  bool operator()(const QUVENSampledNumber& a, const QUVENSampledNumber& b) const { return b.leavesBefore(a); }
};
struct ByValue {
  bool operator()(const QUVENSampledNumber& a, const QUVENSampledNumber& b) const {
    return a.getValue() < b.getValue();
  }
};

}  // namespace

bool QUVENSampledNumber::hasLowerValueThan(const QUVENSampledNumber& other) const {
  return std::strong_order(value, other.value) < 0;
}

void QUVENNumberSample::addWithRoom(const QUVENSampledNumber& number, long capacity, const QUVENEnvHandle& env) {
  numbers.append(number, QUVEN_ENV);
  if (numbers.getSize() < capacity) return;
  QUVENHeap(numbers, ByFallingPriority()).heapify(numbers.getSize(), QUVEN_ENV);
  lowestPriority = numbers[1].getPriority();
}

void QUVENNumberSample::addToFull(const QUVENSampledNumber& number, const QUVENEnvHandle& env) {
  if (waiting.getCapacity() == 0) waiting.setSizeCapacity(0, MostWaiting, QUVEN_ENV);
  waiting.append(number, QUVEN_ENV);
  if (waiting.getSize() == MostWaiting) settle();
}

void QUVENNumberSample::settle() const {
  const QUVENEnvHandle env(static_cast<QUVENEnv*>(nullptr), __FILE__, __LINE__, __func__);
  QUVENHeap heap(numbers, ByFallingPriority());
  for (const QUVENSampledNumber& number : waiting) {
    if (!numbers[1].leavesBefore(number)) continue;
    numbers[1] = number;
    heap.siftDown(1, numbers.getSize(), QUVEN_ENV);
  }
  waiting.setSize(0, QUVEN_ENV);
  lowestPriority = numbers[1].getPriority();
}

void QUVENNumberSample::addAll(const QUVENNumberSample& other, long capacity, const QUVENEnvHandle& env) {
  // By index: the other sample may be this one.
  const long size = other.getSize();
  for (long i = 1; i <= size; ++i) add(QUVENSampledNumber(other[i]), capacity, QUVEN_ENV);
}

void QUVENNumberSample::sortByValue(const QUVENEnvHandle& env) {
  if (!waiting.isEmpty()) settle();
  QUVENHeap(numbers, ByValue()).heapSort(numbers.getSize(), QUVEN_ENV);
}

void QUVENNumberSample::clear(const QUVENEnvHandle& env) {
  numbers.setSize(0, QUVEN_ENV);
  waiting.setSize(0, QUVEN_ENV);
  lowestPriority = 0;
}

void QUVENNumberSample::copyFrom(const QUVENNumberSample& other, const QUVENEnvHandle& env) {
  if (&other == this) return;
  numbers.copyFrom(other.settled(), QUVEN_ENV);
  waiting.setSize(0, QUVEN_ENV);
  lowestPriority = other.lowestPriority;
}

void QUVENNumberSample::deleteMemory(const QUVENEnvHandle& env) {
  numbers.deleteMemory(QUVEN_ENV);
  waiting.deleteMemory(QUVEN_ENV);
  lowestPriority = 0;
}

void QUVENNumberSample::swap(QUVENNumberSample& other) noexcept {
  numbers.swap(other.numbers);
  waiting.swap(other.waiting);
  std::swap(lowestPriority, other.lowestPriority);
}

void QUVENStreamValue<QUVENSampledNumber>::write(QUVENObjWriter& writer, const QUVENSampledNumber& number,
                                                 const QUVENEnvHandle& env) {
  const QUVENElementFrame& frame = frameOfNumbers();
  if (char* place = writer.roomForBytes(frame.size() + sizeof(double) + quvenMaxVarintBytes)) {
    QUVENImageFiller image(place);
    image.add(frame.head);
    image.addDouble(number.getValue());
    image.add(frame.middle);
    image.addUnsigned(number.getPriority());
    image.add(frame.tail);
    return writer.commitBytes(image.getCount());
  }
  quvenWriteObject(writer, QUVENRealPQElement(number.getValue(), number.getPriority()), QUVEN_ENV);
}

void QUVENStreamValue<QUVENSampledNumber>::read(QUVENObjReader& reader, QUVENSampledNumber& number,
                                                const QUVENEnvHandle& env) {
  const QUVENElementFrame& frame = frameOfNumbers();
  QUVENImageParser image(reader.getBytesAhead());
  double value = 0;
  std::uint64_t priority = 0;
  if (image.expect(frame.head) && image.takeDouble(value) && image.expect(frame.middle) &&
      image.takeUnsigned(priority) && image.expect(frame.tail)) {
    number = QUVENSampledNumber(value, quvenSaturate<std::uint32_t>(priority));
    return reader.skipBytes(image.getCount());
  }
  // What an image does not mention stays as it was.
  QUVENRealPQElement element(number.getValue(), number.getPriority());
  quvenReadObject(reader, element, QUVEN_ENV);
  number = QUVENSampledNumber(element.getValue(), element.getPriority());
}

void QUVENStreamValue<QUVENNumberSample>::write(QUVENObjWriter& writer, const QUVENNumberSample& sample,
                                                const QUVENEnvHandle& env) {
  Numbers::write(writer, sample.settled(), QUVEN_ENV);
}

void QUVENStreamValue<QUVENNumberSample>::read(QUVENObjReader& reader, QUVENNumberSample& sample,
                                               const QUVENEnvHandle& env) {
  sample.waiting.setSize(0, QUVEN_ENV);
  sample.lowestPriority = 0;  // every number waits until the heap has said its lowest priority
  Numbers::read(reader, sample.numbers, QUVEN_ENV);
}
