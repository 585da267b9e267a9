#ifndef QUVEN_CAT_FIELD_DIST_H
#define QUVEN_CAT_FIELD_DIST_H

// The distribution of a column of texts: the most frequent ones of a sample of the first pass, counted afterwards.

#include <cstdint>
#include <utility>

#include "util/quven_keyvalue_xashtable.h"
#include "util/quven_object_of.h"
#include "util/quven_stream_values.h"
#include "util/quven_string.h"
#include "util/quven_xaray.h"

class QUVENCatField;

/// A text of a sample with its priority.
class QUVENStringPQElement : public QUVENObjectOf<QUVENStringPQElement, QUVENObject> {
 public:
  QUVENStringPQElement() = default;
  QUVENStringPQElement(const QUVENStringWithHash& value, std::uint32_t priority)
      : ivValue(value), ivPriority(priority) {}

  void set(std::string_view value, std::uint32_t priority, const QUVENEnvHandle& env) {
    quvenAssignText(ivValue, value, QUVEN_ENV);
    ivPriority = priority;
  }
  const QUVENStringWithHash& getValue() const { return ivValue; }
  std::uint32_t getPriority() const { return ivPriority; }
  /// The order in which elements leave a full sample: by priority, and of one priority by text.
  bool leavesBefore(const QUVENStringPQElement& other) const;
  /// A heap exchanges elements at each of its levels; no text is copied for it.
  void swap(QUVENStringPQElement& other) noexcept {
    ivValue.swap(other.ivValue);
    std::swap(ivPriority, other.ivPriority);
  }

 private:
  QUVEN_MEMBER(ivValue, QUVENStringWithHash);
  QUVEN_MEMBER(ivPriority, std::uint32_t) = 0;
};

/// A text of a sample goes as the image of its object, in one step where the stream has bytes at hand.
template <>
struct QUVENStreamValue<QUVENStringPQElement> {
  static constexpr std::uint64_t fewestBytes = 4;  // keyword, length and text of the type, keyword

  static void write(QUVENObjWriter& writer, const QUVENStringPQElement& element, const QUVENEnvHandle& env);
  static void read(QUVENObjReader& reader, QUVENStringPQElement& element, const QUVENEnvHandle& env);
  static QUVENMemberType describe() { return {QUVENValueKind::ObjectByValue, 0, 0, &QUVENStringPQElement::typeName}; }
};

/// A category and how often it was seen: in the last finished pass and in the current one.
class QUVENCatFieldCat : public QUVENObjectOf<QUVENCatFieldCat, QUVENObject> {
 public:
  QUVENCatFieldCat() = default;
  explicit QUVENCatFieldCat(const QUVENStringWithHash& value) : ivValue(value) {}

  const QUVENStringWithHash& getValue() const { return ivValue; }
  double getCount() const { return ivCount; }
  double getCurrCount() const { return ivCurrCount; }
  void addToCurrCount(double count) { ivCurrCount += count; }
  void startPass() { ivCurrCount = 0; }
  void finishPass() {
    ivCount = ivCurrCount;
    ivCurrCount = 0;
  }

 private:
  QUVEN_MEMBER(ivValue, QUVENStringWithHash);
  QUVEN_MEMBER(ivCount, double) = 0;
  QUVEN_MEMBER(ivCurrCount, double) = 0;
};

/// The distribution of a categorical field.
///
/// The first pass takes a sample as QUVENNumFieldDist does; its end makes the most frequent texts of it, within two
/// limits, the categories. Every other text, the empty one always, is of the default category. Merging goes before the
/// end of a pass here as well.
/// Shapes:   the categories run 1..getNumCats() by falling counts of the sample.
/// Lifetime: owned by its field, which it points back to.
class QUVENCatFieldDist : public QUVENObjectOf<QUVENCatFieldDist, QUVENObject> {
 public:
  void setField(const QUVENCatField* itsField) { field = itsField; }
  /// Requires: no sample was begun.
  void setSampleCapacity(std::int32_t capacity);
  /// The most categories that are kept.
  void setMaxCatsAllowed(std::int32_t maxCats) { ivMaxCatsAllowed = maxCats; }
  /// A text that the sample has fewer times is not kept.
  void setMinCatOccuranceThreshold(std::int32_t minOccurance) { ivMinCatOccuranceThreshold = minOccurance; }

  /// Whether texts are counted by category; otherwise they are sampled.
  bool isCounting() const { return !ivCatsVec.isEmpty() || ivScansDone != 0; }
  /// Counts a text of a category. Requires: isCounting(), and an index that getCatIndex gave.
  void count(std::int32_t index) {
    ivCurrValidCount += 1.0;
    if (index == 0) {  // QUVENField::DefaultValueIndex
      ivCurrDefaultCount += 1.0;
    } else {
      ivCatsVec[index].addToCurrCount(1.0);
    }
  }
  /// Counts a text and shows it to the sample or to the categories.
  void update(std::uint32_t recordId, const QUVENStringWithHash& value, const QUVENEnvHandle& env);
  void updateMissing() { ivCurrMissingCount += 1.0; }
  /// Drops what an unfinished pass has gathered.
  void beginPass(const QUVENEnvHandle& env);
  void endPass(const QUVENEnvHandle& env);
  /// Folds in what another distribution of the same field has gathered in the same pass.
  void merge(const QUVENCatFieldDist& other, const QUVENEnvHandle& env);

  /// The category of a text, QUVENField::DefaultValueIndex for one that is not kept.
  std::int32_t getCatIndex(const QUVENStringWithHash& text) const;
  long getNumCats() const { return ivCatsVec.getSize(); }
  const QUVENCatFieldCat& getCat(long index) const { return ivCatsVec.at(index); }
  const QUVENXaRay<QUVENStringPQElement, 0>& getSample() const { return ivSampleVec; }
  std::int32_t getSampleCapacity() const { return ivSampleVecCapacity; }
  std::int32_t getMaxCatsAllowed() const { return ivMaxCatsAllowed; }
  std::int32_t getMinCatOccuranceThreshold() const { return ivMinCatOccuranceThreshold; }
  std::int32_t getScansDone() const { return ivScansDone; }
  double getValidCount() const { return ivValidCount; }
  double getMissingCount() const { return ivMissingCount; }
  double getDefaultCount() const { return ivDefaultCount; }
  double getCurrValidCount() const { return ivCurrValidCount; }
  double getCurrMissingCount() const { return ivCurrMissingCount; }
  double getCurrDefaultCount() const { return ivCurrDefaultCount; }

  /// Rebuilds what no stream carries.
  void postReadPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;

 private:
  void addSample(const QUVENStringPQElement& element, const QUVENEnvHandle& env);
  void makeCategories(const QUVENEnvHandle& env);
  void countSample(QUVENXaRay<QUVENCatFieldCat, 0>& counted, const QUVENEnvHandle& env);
  void rebuildTable(const QUVENEnvHandle& env);

  QUVEN_MEMBER(ivSampleVec, QUVENXaRay<QUVENStringPQElement, 0>);  // a heap when it is full, the first leaves first
  QUVEN_MEMBER(ivSampleVecCapacity, std::int32_t) = 0;
  QUVEN_MEMBER(ivCatsVec, QUVENXaRay<QUVENCatFieldCat, 0>);
  QUVEN_MEMBER(ivMaxCatsAllowed, std::int32_t) = 0;
  QUVEN_MEMBER(ivMinCatOccuranceThreshold, std::int32_t) = 0;
  QUVEN_MEMBER(ivScansDone, std::int32_t) = 0;
  QUVEN_MEMBER(ivValidCount, double) = 0;
  QUVEN_MEMBER(ivMissingCount, double) = 0;
  QUVEN_MEMBER(ivDefaultCount, double) = 0;
  QUVEN_MEMBER(ivCurrValidCount, double) = 0;
  QUVEN_MEMBER(ivCurrMissingCount, double) = 0;
  QUVEN_MEMBER(ivCurrDefaultCount, double) = 0;

  QUVEN_STATE(catTable, QUVENKeyValueXAshTable<QUVENStringWithHash, std::int32_t>);  // text to index of ivCatsVec
  const QUVENCatField* field = nullptr;                                              // the owner's
};

#endif  // QUVEN_CAT_FIELD_DIST_H
