#ifndef QUVEN_NUMBER_SAMPLE_H
#define QUVEN_NUMBER_SAMPLE_H

// The sample of a column of numbers: those with the highest priorities.

#include <cstdint>

#include "util/quven_object_of.h"
#include "util/quven_stream_values.h"
#include "util/quven_xaray.h"

/// A number of a sample with its priority: plain data, which a stream carries as the image of a QUVENRealPQElement.
class QUVENSampledNumber {
 public:
  QUVENSampledNumber() = default;
  QUVENSampledNumber(double itsValue, std::uint32_t itsPriority) : value(itsValue), priority(itsPriority) {}

  double getValue() const { return value; }
  std::uint32_t getPriority() const { return priority; }
  /// The order in which elements leave a full sample: by priority, and of one priority by value.
  ///
  /// The second key is there for the channels of a record, which share a priority: what a sample keeps must not depend
  /// on the order in which it met them.
  bool leavesBefore(const QUVENSampledNumber& other) const {
    return priority != other.priority ? priority < other.priority : hasLowerValueThan(other);
  }

 private:
  bool hasLowerValueThan(const QUVENSampledNumber& other) const;

  double value = 0;
  std::uint32_t priority = 0;
};

/// The form of a sampled number in a stream.
class QUVENRealPQElement : public QUVENObjectOf<QUVENRealPQElement, QUVENObject> {
 public:
  QUVENRealPQElement() = default;
  QUVENRealPQElement(double value, std::uint32_t priority) : ivValue(value), ivPriority(priority) {}

  double getValue() const { return ivValue; }
  std::uint32_t getPriority() const { return ivPriority; }

 private:
  QUVEN_MEMBER(ivValue, double) = 0;
  QUVEN_MEMBER(ivPriority, std::uint32_t) = 0;
};

/// The numbers with the highest priorities of those that were added, at most as many as a capacity.
///
/// Shapes:   elements run 1..getSize(), in the order of arrival while there is room, and as a heap when the sample is
///           full: the first leaves first. In a stream they are an array of QUVENRealPQElement.
/// Memory:   16 bytes per element, and 4 KB when the sample is full.
/// Cost:     a full sample drops a number of low priority by one comparison. The others wait in a small array and enter
///           the heap together, because the heaps of many columns do not fit into the caches of a processor. A call
///           that looks at the elements lets them enter first.
/// Lifetime: deleteMemory(env) before it ends, as of every array.
class QUVENNumberSample {
 public:
  void add(const QUVENSampledNumber& number, long capacity, const QUVENEnvHandle& env) {
    if (numbers.getSize() < capacity) return addWithRoom(number, capacity, env);
    if (capacity < 1 || number.getPriority() < lowestPriority) return;
    addToFull(number, env);
  }
  /// Adds the elements of another sample in their order.
  void addAll(const QUVENNumberSample& other, long capacity, const QUVENEnvHandle& env);
  void sortByValue(const QUVENEnvHandle& env);
  /// Empties the sample; its block stays.
  void clear(const QUVENEnvHandle& env);

  long getSize() const { return numbers.getSize(); }
  long getCapacity() const { return numbers.getCapacity(); }
  bool isEmpty() const { return numbers.isEmpty(); }
  const QUVENSampledNumber& operator[](long index) const { return settled()[index]; }
  const QUVENSampledNumber* begin() const { return settled().begin(); }
  const QUVENSampledNumber* end() const { return settled().end(); }

  void copyFrom(const QUVENNumberSample& other, const QUVENEnvHandle& env);
  void deleteMemory(const QUVENEnvHandle& env);
  void swap(QUVENNumberSample& other) noexcept;

 private:
  friend struct QUVENStreamValue<QUVENNumberSample>;
  using Numbers = QUVENXaRay<QUVENSampledNumber>;
  static constexpr long MostWaiting = 256;

  void addWithRoom(const QUVENSampledNumber& number, long capacity, const QUVENEnvHandle& env);
  void addToFull(const QUVENSampledNumber& number, const QUVENEnvHandle& env);
  /// Puts what waits into the heap. It allocates nothing and cannot fail.
  void settle() const;
  const Numbers& settled() const {
    if (!waiting.isEmpty()) settle();
    return numbers;
  }

  // mutable: a const look first moves the waiting numbers into the heap.
  mutable Numbers numbers;
  mutable Numbers waiting;                   // numbers for a full heap, in the order of arrival
  mutable std::uint32_t lowestPriority = 0;  // of the heap when numbers entered it last
};

/// A number of a sample goes as the image of an object.
template <>
struct QUVENStreamValue<QUVENSampledNumber> {
  static constexpr std::uint64_t fewestBytes = QUVENStreamValue<QUVENRealPQElement>::fewestBytes;

  static void write(QUVENObjWriter& writer, const QUVENSampledNumber& number, const QUVENEnvHandle& env);
  static void read(QUVENObjReader& reader, QUVENSampledNumber& number, const QUVENEnvHandle& env);
  static QUVENMemberType describe() { return QUVENStreamValue<QUVENRealPQElement>::describe(); }
};

template <>
struct QUVENStreamValue<QUVENNumberSample> {
  using Numbers = QUVENStreamValue<QUVENXaRay<QUVENSampledNumber>>;
  static constexpr std::uint64_t fewestBytes = Numbers::fewestBytes;

  static void write(QUVENObjWriter& writer, const QUVENNumberSample& sample, const QUVENEnvHandle& env);
  static void read(QUVENObjReader& reader, QUVENNumberSample& sample, const QUVENEnvHandle& env);
  static QUVENMemberType describe() { return Numbers::describe(); }
};

#endif  // QUVEN_NUMBER_SAMPLE_H
