#include "kernel/quven_cat_field_dist.h"

#include "kernel/quven_cat_field.h"
#include "util/quven_debug.h"
#include "util/quven_element_frame.h"
#include "util/quven_heap.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENStringPQElement);
QUVEN_REGISTER(QUVENCatFieldCat);
QUVEN_REGISTER(QUVENCatFieldDist);

namespace {

const QUVENElementFrame& frameOfTexts() {
  static const QUVENElementFrame frame(QUVENStringPQElement::typeName().getName(), QUVENStringPQElement::keywords());
  return frame;
}

struct ByPriority {
  bool operator()(const QUVENStringPQElement& a, const QUVENStringPQElement& b) const { return a.leavesBefore(b); }
};
struct ByFallingPriority {
  bool operator()(const QUVENStringPQElement& a, const QUVENStringPQElement& b) const { return b.leavesBefore(a); }
};
struct ByFallingCount {
  bool operator()(const QUVENCatFieldCat& a, const QUVENCatFieldCat& b) const {
    return a.getCurrCount() > b.getCurrCount();
  }
};

}  // namespace

void QUVENStreamValue<QUVENStringPQElement>::write(QUVENObjWriter& writer, const QUVENStringPQElement& element,
                                                   const QUVENEnvHandle& env) {
  const QUVENElementFrame& frame = frameOfTexts();
  const std::string_view text = element.getValue();
  if (char* place = writer.roomForBytes(frame.size() + text.size() + 2 * quvenMaxVarintBytes)) {
    QUVENImageFiller image(place);
    image.add(frame.head);
    image.addSigned(static_cast<std::int64_t>(text.size()));
    image.add(text);
    image.add(frame.middle);
    image.addUnsigned(element.getPriority());
    image.add(frame.tail);
    return writer.commitBytes(image.getCount());
  }
  quvenWriteObject(writer, element, QUVEN_ENV);
}

void QUVENStreamValue<QUVENStringPQElement>::read(QUVENObjReader& reader, QUVENStringPQElement& element,
                                                  const QUVENEnvHandle& env) {
  const QUVENElementFrame& frame = frameOfTexts();
  QUVENImageParser image(reader.getBytesAhead());
  std::string_view text;
  std::uint64_t priority = 0;
  if (image.expect(frame.head) && image.takeText(text) && image.expect(frame.middle) && image.takeUnsigned(priority) &&
      image.expect(frame.tail)) {
    element.set(text, quvenSaturate<std::uint32_t>(priority), QUVEN_ENV);
    return reader.skipBytes(image.getCount());
  }
  quvenReadObject(reader, element, QUVEN_ENV);
}

bool QUVENStringPQElement::leavesBefore(const QUVENStringPQElement& other) const {
  if (ivPriority != other.ivPriority) return ivPriority < other.ivPriority;
  return ivValue < other.ivValue;
}

void QUVENCatFieldDist::setSampleCapacity(std::int32_t capacity) {
  QUVEN_ASSERT(ivSampleVec.isEmpty());
  ivSampleVecCapacity = capacity;
}

void QUVENCatFieldDist::update(std::uint32_t recordId, const QUVENStringWithHash& value, const QUVENEnvHandle& env) {
  if (isCounting()) return count(getCatIndex(value));
  ivCurrValidCount += 1.0;
  QUVEN_ASSERT(field != nullptr);
  const std::uint32_t priority = hashPair(recordId, field->getName().hash());
  // A full sample rejects most texts by priority: they are not even copied.
  const bool isFull = ivSampleVecCapacity > 0 && ivSampleVec.getSize() >= ivSampleVecCapacity;
  if (isFull && priority < ivSampleVec[1].getPriority()) return;
  addSample(QUVENStringPQElement(value, priority), QUVEN_ENV);
}

void QUVENCatFieldDist::addSample(const QUVENStringPQElement& element, const QUVENEnvHandle& env) {
  const long size = ivSampleVec.getSize();
  if (ivSampleVecCapacity < 1) return;
  QUVENHeap heap(ivSampleVec, ByFallingPriority());
  if (size >= ivSampleVecCapacity) {
    if (!ivSampleVec[1].leavesBefore(element)) return;
    ivSampleVec[1].copyFromPrimitive(&element, QUVEN_ENV);
    heap.siftDown(1, size, QUVEN_ENV);
  } else {
    ivSampleVec.append(QUVENStringPQElement(element.getValue(), element.getPriority()), QUVEN_ENV);
    if (size + 1 == ivSampleVecCapacity) heap.heapify(size + 1, QUVEN_ENV);
  }
}

void QUVENCatFieldDist::beginPass(const QUVENEnvHandle& env) {
  ivCurrValidCount = ivCurrMissingCount = ivCurrDefaultCount = 0;
  ivSampleVec.setSize(0, QUVEN_ENV);
  for (QUVENCatFieldCat& category : ivCatsVec) category.startPass();
}

void QUVENCatFieldDist::endPass(const QUVENEnvHandle& env) {
  if (!isCounting()) makeCategories(QUVEN_ENV);
  ++ivScansDone;
  ivValidCount = ivCurrValidCount;
  ivMissingCount = ivCurrMissingCount;
  ivDefaultCount = ivCurrDefaultCount;
  ivCurrValidCount = ivCurrMissingCount = ivCurrDefaultCount = 0;
  for (QUVENCatFieldCat& category : ivCatsVec) category.finishPass();
}

/// The distinct texts of the sample in the order of their first appearance, with their counts.
void QUVENCatFieldDist::countSample(QUVENXaRay<QUVENCatFieldCat, 0>& counted, const QUVENEnvHandle& env) {
  // Where a heap has its elements depends on the order of the records; this order does not, and with it the order of
  // categories with the same count.
  QUVENHeap(ivSampleVec, ByPriority()).heapSort(ivSampleVec.getSize(), QUVEN_ENV);
  QUVENObjectIndexXAshTable<QUVENStringWithHash> indices;
  for (const QUVENStringPQElement& element : ivSampleVec) {
    const long index = indices.insert(element.getValue(), QUVEN_ENV);
    if (index > counted.getSize()) counted.append(QUVENCatFieldCat(element.getValue()), QUVEN_ENV);
    counted[index].addToCurrCount(1.0);
  }
  indices.deleteMemory(QUVEN_ENV);
}

void QUVENCatFieldDist::makeCategories(const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENCatFieldCat, 0> counted;
  countSample(counted, QUVEN_ENV);
  QUVENHeap(counted, ByFallingCount()).heapSort(counted.getSize(), QUVEN_ENV);
  bool keeping = true;
  for (const QUVENCatFieldCat& category : counted) {
    keeping = keeping && category.getCurrCount() >= ivMinCatOccuranceThreshold && getNumCats() < ivMaxCatsAllowed;
    // The empty text is of the default category whatever its count, and takes no place.
    if (keeping && !category.getValue().isEmpty()) {
      ivCatsVec.append(QUVENCatFieldCat(category.getValue()), QUVEN_ENV);
      ivCatsVec[getNumCats()].addToCurrCount(category.getCurrCount());
    } else {
      ivCurrDefaultCount += category.getCurrCount();
    }
  }
  counted.deleteMemory(QUVEN_ENV);
  rebuildTable(QUVEN_ENV);
  ivSampleVec.deleteMemory(QUVEN_ENV);
  ivSampleVecCapacity = 0;
}

void QUVENCatFieldDist::merge(const QUVENCatFieldDist& other, const QUVENEnvHandle& env) {
  // Both are made from the same sample.
  QUVEN_ASSERT(ivCatsVec.getSize() == other.ivCatsVec.getSize());
  ivCurrValidCount += other.ivCurrValidCount;
  ivCurrMissingCount += other.ivCurrMissingCount;
  ivCurrDefaultCount += other.ivCurrDefaultCount;
  for (const QUVENStringPQElement& element : other.ivSampleVec) addSample(element, QUVEN_ENV);
  for (long i = 1; i <= ivCatsVec.getSize(); ++i) ivCatsVec[i].addToCurrCount(other.ivCatsVec[i].getCurrCount());
}

std::int32_t QUVENCatFieldDist::getCatIndex(const QUVENStringWithHash& text) const {
  const std::int32_t* index = catTable.find(text);
  return index == nullptr ? QUVENField::DefaultValueIndex : *index;
}

void QUVENCatFieldDist::rebuildTable(const QUVENEnvHandle& env) {
  catTable.clear(QUVEN_ENV);
  for (long i = 1; i <= ivCatsVec.getSize(); ++i) {
    const QUVENStringWithHash& text = ivCatsVec[i].getValue();
    if (!text.isEmpty() && catTable.find(text) == nullptr) {
      catTable.put(text, static_cast<std::int32_t>(i), QUVEN_ENV);
    }
  }
}

void QUVENCatFieldDist::postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) {
  Members::postReadPrimitive(reader, QUVEN_ENV);
  rebuildTable(QUVEN_ENV);
}
