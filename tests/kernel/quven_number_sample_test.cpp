#include "kernel/quven_number_sample.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kernel/quven_cat_field_dist.h"
#include "kernel_fixture.h"
#include "util/quven_registration.h"
#include "util/quven_text_obj_writer.h"

/// An object with a sample in it, for streams.
class QUVENTestSampled : public QUVENObjectOf<QUVENTestSampled, QUVENObject> {
 public:
  QUVEN_MEMBER(ivSample, QUVENNumberSample);
  QUVEN_MEMBER(ivTexts, QUVENXaRay<QUVENStringPQElement, 0>);
};
/// The same member as an array of objects, each of which is written and read member by member.
class QUVENTestElements : public QUVENObjectOf<QUVENTestElements, QUVENObject> {
 public:
  QUVEN_MEMBER(ivSample, QUVENXaRay<QUVENRealPQElement, 0>);
  QUVEN_MEMBER(ivTexts, QUVENXaRay<QUVENStringPQElement, 0>);
};

QUVEN_REGISTER(QUVENTestSampled);
QUVEN_REGISTER(QUVENTestElements);

namespace {

using Element = std::pair<std::uint32_t, double>;

class QUVENNumberSampleTest : public KernelTest {
 protected:
  void TearDown() override {
    sample.deleteMemory(QUVEN_ENV);
    KernelTest::TearDown();
  }
  void add(std::uint32_t priority, double value) {
    sample.add(QUVENSampledNumber(value, priority), capacity, QUVEN_ENV);
  }
  static std::vector<Element> elementsOf(const QUVENNumberSample& looked) {
    std::vector<Element> list;
    for (const QUVENSampledNumber& number : looked) list.emplace_back(number.getPriority(), number.getValue());
    return list;
  }
  /// What adding the elements one by one to a heap leaves: the lowest element is first.
  std::vector<Element> heapOf(const std::vector<Element>& added) const {
    std::vector<Element> heap;
    const auto lower = [](const Element& a, const Element& b) { return b < a; };
    for (const Element& element : added) {
      heap.push_back(element);
      std::push_heap(heap.begin(), heap.end(), lower);
      if (static_cast<long>(heap.size()) > capacity) {
        std::pop_heap(heap.begin(), heap.end(), lower);
        heap.pop_back();
      }
    }
    std::sort(heap.begin(), heap.end());
    return heap;
  }

  QUVENNumberSample sample;
  long capacity = 100;
};

TEST_F(QUVENNumberSampleTest, KeepsTheElementsOfTheHighestPriorities) {
  std::mt19937 random(3);
  for (const unsigned priorities : {7U, 1'000'000U}) {  // with many ties, which values decide, and with few
    for (const long count : {1L, 99L, 100L, 101L, 400L, 5000L}) {
      SCOPED_TRACE(count);
      std::vector<Element> added;
      sample.clear(QUVEN_ENV);
      for (long i = 0; i < count; ++i) {
        added.emplace_back(random() % priorities, static_cast<double>(random() % 50));
        add(added.back().first, added.back().second);
        // Looking changes nothing, at whatever time.
        if (random() % 64 == 0) {
          ASSERT_EQ(sample.getSize(), static_cast<long>(elementsOf(sample).size()));
        }
      }
      std::vector<Element> kept = elementsOf(sample);
      if (sample.getSize() == capacity) {
        EXPECT_EQ(sample[1].getPriority(), std::min_element(kept.begin(), kept.end())->first);
      }
      std::sort(kept.begin(), kept.end());
      EXPECT_EQ(kept, heapOf(added));
    }
  }
}

TEST_F(QUVENNumberSampleTest, TheOrderOfElementsDoesNotDependOnWhenItIsLookedAt) {
  QUVENNumberSample looked;
  std::mt19937 random(4);
  for (int i = 0; i < 3000; ++i) {
    const QUVENSampledNumber number(i, static_cast<std::uint32_t>(random()));
    sample.add(number, capacity, QUVEN_ENV);
    looked.add(number, capacity, QUVEN_ENV);
    ASSERT_FALSE(elementsOf(looked).empty());
  }
  EXPECT_EQ(elementsOf(sample), elementsOf(looked));
  looked.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENNumberSampleTest, KeepsNothingWithoutCapacity) {
  capacity = 0;
  add(5, 1);
  EXPECT_TRUE(sample.isEmpty());
  EXPECT_EQ(sample.getCapacity(), 0);
}

TEST_F(QUVENNumberSampleTest, AMergedSampleIsTheSampleOfAll) {
  QUVENNumberSample other;
  std::mt19937 random(5);
  std::vector<Element> added;
  for (int i = 0; i < 3000; ++i) {
    added.emplace_back(random(), i);
    (random() % 3 == 0 ? other : sample).add(QUVENSampledNumber(i, added.back().first), capacity, QUVEN_ENV);
  }
  sample.addAll(other, capacity, QUVEN_ENV);
  std::vector<Element> kept = elementsOf(sample);
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(kept, heapOf(added));
  other.deleteMemory(QUVEN_ENV);
}

TEST_F(QUVENNumberSampleTest, SortsByValueAndCopies) {
  for (int i = 0; i < 500; ++i) add(static_cast<std::uint32_t>(i * 7919 % 1000), 500 - i);
  QUVENNumberSample copy;
  copy.copyFrom(sample, QUVEN_ENV);
  EXPECT_EQ(elementsOf(copy), elementsOf(sample));
  copy.add(QUVENSampledNumber(7, 4'000'000'000U), capacity, QUVEN_ENV);
  EXPECT_NE(elementsOf(copy), elementsOf(sample));
  copy.deleteMemory(QUVEN_ENV);
  sample.sortByValue(QUVEN_ENV);
  const std::vector<Element> sorted = elementsOf(sample);
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(),
                             [](const Element& a, const Element& b) { return a.second < b.second; }));
}

class QUVENNumberSampleStreamTest : public QUVENNumberSampleTest {
 protected:
  QUVENNumberSampleStreamTest() {
    sampled = make<QUVENTestSampled>();
    elements = make<QUVENTestElements>();
    for (int i = 0; i < 300; ++i) {
      const std::uint32_t priority = hashBytes(&i, sizeof i, 0) >> (i % 32);
      sampled->ivSample.add(QUVENSampledNumber(i * 0.5 - 7, priority), 1000, QUVEN_ENV);
      elements->ivSample.append(QUVENRealPQElement(i * 0.5 - 7, priority), QUVEN_ENV);
    }
  }
  void TearDown() override {
    sampled.reset(QUVEN_ENV);
    elements.reset(QUVEN_ENV);
    QUVENNumberSampleTest::TearDown();
  }
  /// An image under the name of the class with a sample.
  std::string asSampled(std::string image) {
    const std::string name = "QUVENTestElements";
    image.replace(image.find(name), name.size(), "QUVENTestSampled");
    image[image.find("QUVENTestSampled") - 1] -= 1;  // the length of the name
    return image;
  }

  QUVENOwnPtr<QUVENTestSampled> sampled;
  QUVENOwnPtr<QUVENTestElements> elements;
};

TEST_F(QUVENNumberSampleStreamTest, TheImageIsThatOfObjects) {
  EXPECT_EQ(imageOf(*sampled), asSampled(imageOf(*elements)));
  std::ostringstream text;
  QUVENTextObjWriter writer(text, QUVENObjWriter::Save);
  quvenWriteObject(writer, *sampled, QUVEN_ENV);
  EXPECT_THAT(text.str(), testing::HasSubstr("QUVENRealPQElement {"));
  EXPECT_THAT(text.str(), testing::HasSubstr("ivValue = -6.5"));
}

TEST_F(QUVENNumberSampleStreamTest, ReadsWhatItWrites) {
  QUVENOwnPtr<QUVENTestSampled> read = objectOf<QUVENTestSampled>(imageOf(*sampled));
  EXPECT_EQ(elementsOf(read->ivSample), elementsOf(sampled->ivSample));
  read.reset(QUVEN_ENV);
}

/// A stream without bytes at hand: each element is read member by member.
class BlobWithoutWindow : public QUVENBlobIO {
 public:
  explicit BlobWithoutWindow(std::string itsBytes) : bytes(std::move(itsBytes)) {}
  std::uint64_t getRemaining() const override { return bytes.size() - done; }

 private:
  void writeBlock(const void*, std::size_t, const QUVENEnvHandle&) override { status = Failed; }
  std::size_t readBlock(void* target, std::size_t count, const QUVENEnvHandle&) override {
    const std::size_t taken = std::min(count, bytes.size() - done);
    std::memcpy(target, bytes.data() + done, taken);
    done += taken;
    if (taken < count) status = EndOfInput;
    return taken;
  }

  std::string bytes;
  std::size_t done = 0;
};

// In one step or member by member, any bytes are the same elements or the same failure.
TEST_F(QUVENNumberSampleStreamTest, DamagedImagesAreReadAsMemberByMember) {
  sampled->ivSample.clear(QUVEN_ENV);
  for (int i = 0; i < 3; ++i) sampled->ivSample.add(QUVENSampledNumber(i, 5'000'000U + i), 10, QUVEN_ENV);
  sampled->ivTexts.append(QUVENStringPQElement(QUVENStringWithHash("red"), 300), QUVEN_ENV);
  sampled->ivTexts.append(QUVENStringPQElement(QUVENStringWithHash(""), 0), QUVEN_ENV);
  const std::string image = imageOf(*sampled);
  const auto outcome = [&](QUVENBlobIO& blob) {
    QUVENOwnPtr<QUVENTestSampled> read(QUVEN_ENV);
    const CapturedRun run = capturedRun([&] {
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      quvenReadObject(reader, read, QUVENTestSampled::typeName(), QUVEN_ENV);
    });
    quvenDebugWords.error = 0;
    std::string text = run.threwLibraryException || run.threwMemoryException ? "failed" : imageOf(*read);
    read.reset(QUVEN_ENV);
    return text;
  };
  int readable = 0;
  for (std::size_t place = 0; place < image.size(); ++place) {
    for (const int change : {1, 2, 8, 64, 128, 255}) {
      std::string damaged = image;
      damaged[place] = static_cast<char>(damaged[place] ^ change);
      QUVENViewBlobIO view({damaged.data(), damaged.size()});
      BlobWithoutWindow bytewise(damaged);
      const std::string expected = outcome(bytewise);
      ASSERT_EQ(outcome(view), expected) << place << " " << change;
      readable += expected == "failed" ? 0 : 1;
    }
  }
  EXPECT_GT(readable, 100);
  for (std::size_t size = 0; size < image.size(); ++size) {
    QUVENViewBlobIO view({image.data(), size});
    EXPECT_EQ(outcome(view), "failed") << size;
  }
}

}  // namespace
