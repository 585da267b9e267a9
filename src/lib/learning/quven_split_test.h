#ifndef QUVEN_SPLIT_TEST_H
#define QUVEN_SPLIT_TEST_H

// How a feature transform finds the segment of a record: by an interval of numbers or by a group of categories.

#include <cstdint>
#include <vector>

#include "kernel/quven_field_name_map.h"
#include "kernel/quven_num_field_dist.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

class QUVENCatField;
class QUVENNumField;

/// What one segment holds, for reports. A segment for missing values holds rare categories as well if the test was made
/// with few missing values.
struct QUVENSegmentDescription {
  std::int32_t segment = 0;
  bool isInterval = false;
  double from = 0;  ///< the interval from < x <= to; infinite ends are open
  double to = 0;
  std::vector<std::int32_t> categories;  ///< ascending, but QUVENField::DefaultValueIndex comes last
  bool isMissing = false;
};

/// Finds the segment of the present record by the value of one field.
///
/// Shapes:   segments run 1..getNumSegments().
/// Lifetime: the field is referred to.
class QUVENSplitTest : public QUVENObjectOf<QUVENSplitTest, QUVENObject> {
 public:
  /// Makes the test of a field from its distribution. Each segment gets at least minRecords records where the values
  /// allow it.
  /// Errors: a field that is neither categorical nor numeric is the fatal report "Invalid field type".
  static void createSplitTest(QUVENOwnPtr<QUVENSplitTest>& result, QUVENField* field, double minRecords,
                              const QUVENEnvHandle& env);

  virtual std::int32_t getNumSegments() const = 0;
  virtual std::int32_t getMissingSegment() const = 0;
  /// The segment of the field's value for a channel. A value that is missing, absent or NaN is of the missing segment.
  virtual std::int32_t getSegment(long channel, const QUVENEnvHandle& env) const = 0;
  /// Gives every segment s the number map[s].
  /// Requires: map has the segments 1..getNumSegments() of before, and its numbers run from 1 without a gap.
  virtual void mapSegments(const QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env) = 0;
  /// Whether the segment can differ between the channels of the present record.
  virtual bool hasValuePerChannel() const = 0;
  /// The segments in the order of the axis, or of their first category; the missing segment comes last.
  virtual std::vector<QUVENSegmentDescription> describeSegments(const QUVENEnvHandle& env) const = 0;

 protected:
  QUVENSplitTest() = default;
};

/// Segments that are intervals of the numbers, and one for missing values.
///
/// Shapes: n boundaries make n + 1 intervals; interval i holds x with boundary i-1 < x <= boundary i.
class QUVENNumericSplit : public QUVENObjectOf<QUVENNumericSplit, QUVENSplitTest> {
 public:
  /// Cuts the numbers at ends of bins. Without bins there is one interval.
  void open(QUVENNumField* field, double minRecords, const QUVENEnvHandle& env);

  const QUVENXaRay<double>& getBoundaries() const { return ivBoundaryVec; }

  /// Rebuilds what no stream carries.
  /// Errors: boundaries that do not ascend, or a segment that is not there, is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  std::int32_t getNumSegments() const override { return ivNumSegments; }
  std::int32_t getMissingSegment() const override { return ivMissingSegment; }
  std::int32_t getSegment(long channel, const QUVENEnvHandle& env) const override;
  void mapSegments(const QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env) override;
  bool hasValuePerChannel() const override;
  std::vector<QUVENSegmentDescription> describeSegments(const QUVENEnvHandle& env) const override;

 private:
  /// So many boundaries are counted one by one, which reads less memory than a search.
  static constexpr long MostCounted = 16;

  QUVEN_MEMBER(ivFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivBoundaryVec, QUVENXaRay<double>);
  QUVEN_MEMBER(ivSegmentVec, QUVENXaRay<std::int32_t>);  // by interval
  QUVEN_MEMBER(ivMissingSegment, std::int32_t) = 0;
  QUVEN_MEMBER(ivNumSegments, std::int32_t) = 0;
  QUVEN_STATE(ends, QUVENBinLimits);  // of ivBoundaryVec
};

/// Segments that are groups of categories.
///
/// Rare categories, the default one and those with an index above the last frequent one share a segment. It takes the
/// missing values as well if they are fewer than minRecords.
class QUVENCategoricalSplit : public QUVENObjectOf<QUVENCategoricalSplit, QUVENSplitTest> {
 public:
  /// Gives each category of at least minRecords records a segment of its own, in the order of the categories.
  void open(QUVENCatField* field, double minRecords, const QUVENEnvHandle& env);

  std::int32_t getSegmentOfCategory(std::int32_t category) const;

  /// Errors: a segment that is not there is an assertion failure.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

  std::int32_t getNumSegments() const override { return ivNumSegments; }
  std::int32_t getMissingSegment() const override { return ivMissingSegment; }
  std::int32_t getSegment(long channel, const QUVENEnvHandle& env) const override;
  void mapSegments(const QUVENXaRay<std::int32_t>& map, const QUVENEnvHandle& env) override;
  bool hasValuePerChannel() const override { return false; }
  std::vector<QUVENSegmentDescription> describeSegments(const QUVENEnvHandle& env) const override;

 private:
  QUVEN_MEMBER(ivFieldPtr, QUVENField*) = nullptr;
  QUVEN_MEMBER(ivSegmentVec, QUVENXaRay<std::int32_t>);  // cell i + 1 is of category i
  QUVEN_MEMBER(ivMissingSegment, std::int32_t) = 0;
  QUVEN_MEMBER(ivNumSegments, std::int32_t) = 0;
};

#endif  // QUVEN_SPLIT_TEST_H
