// Streams of scans and distributions that were changed at random: reading ends in a report or in objects that work.

#include <cmath>
#include <random>

#include "kernel/quven_cat_field.h"
#include "kernel/quven_data_point.h"
#include "kernel/quven_field_name_map.h"
#include "kernel/quven_model_outputs.h"
#include "kernel/quven_num_field.h"
#include "kernel_fixture.h"
#include "scan_examples.h"

namespace {

constexpr int rounds = 1000;

class QUVENDamagedScanStreamsTest : public KernelTest {
 protected:
  static constexpr std::int32_t capacity = 30;

  /// A data point with a number and a text, after some passes over 60 records.
  QUVENOwnPtr<QUVENDataPoint> pointAfter(int passes) {
    auto point = make<QUVENDataPoint>();
    auto number = make<QUVENNumField>();
    number->setName(QUVENStringWithHash("n"));
    number->setSampleCapacity(capacity, QUVEN_ENV);
    number->setSampleFlag(true, QUVEN_ENV);
    auto text = make<QUVENCatField>();
    text->setName(QUVENStringWithHash("t"));
    text->setSampleCapacity(capacity, QUVEN_ENV);
    text->setSampleFlag(true, QUVEN_ENV);
    point->addField(std::move(number), QUVEN_ENV);
    point->addField(std::move(text), QUVEN_ENV);
    for (int pass = 0; pass <= passes; ++pass) {
      for (long i = 1; i <= 2; ++i) point->getField(i).beginDistributionPass(QUVEN_ENV);
      show(*point, 60);
      if (pass == passes) break;
      for (long i = 1; i <= 2; ++i) point->getField(i).endDistributionPass(QUVEN_ENV);
    }
    return point;
  }
  void show(QUVENDataPoint& point, std::uint32_t records) {
    for (long i = 1; i <= point.getNumFields(); ++i) {
      QUVENField& field = point.getField(i);
      for (std::uint32_t record = 0; record < records; ++record) {
        if (field.isNumeric()) {
          field.setNumValue(record % 17 - 4.0);
        } else {
          field.setCatValue(std::to_string(record % 7));
        }
        field.updateDistribution(record, QUVEN_ENV);
      }
    }
  }
  /// Uses what was read as a pass does.
  void use(QUVENDataPoint& point, const std::string& good) {
    show(point, 50);
    auto other = objectOf<QUVENDataPoint>(good);
    for (long i = 1; i <= std::min(point.getNumFields(), other->getNumFields()); ++i) {
      if (point.getField(i).getTypeName() == other->getField(i).getTypeName()) {
        static_cast<void>(point.getField(i).merge(&other->getField(i), QUVEN_ENV));
      }
    }
    other.reset(QUVEN_ENV);
    static_cast<void>(imageOf(point));
    for (long i = 1; i <= point.getNumFields(); ++i) {
      point.getField(i).endDistributionPass(QUVEN_ENV);
      point.getField(i).sampleFromDistribution(7, QUVEN_ENV);
    }
    show(point, 10);
  }
  template <class Action>
  static CapturedRun quietRun(Action&& action) {
    quvenDebugWords.quiet = 1;
    CapturedRun run;
    try {
      action();
    } catch (int payload) {
      EXPECT_EQ(payload, 0);
      run.threwLibraryException = true;
    } catch (const std::bad_alloc&) {
      run.threwMemoryException = true;
    }
    return run;
  }
  static std::string damaged(std::string bytes, std::mt19937& random) {
    const unsigned changes = 1 + random() % 2;
    for (unsigned i = 0; i < changes && !bytes.empty(); ++i) {
      const std::size_t at = random() % bytes.size();
      switch (random() % 8) {
        case 0:
          bytes[at] = static_cast<char>(random());
          break;
        case 1:
        case 5:
        case 6:
          bytes[at] = static_cast<char>(bytes[at] ^ (1 << (random() % 8)));
          break;
        case 2:
          bytes.erase(at, 1 + random() % 40);
          break;
        case 3:
          bytes.insert(at, bytes.substr(random() % bytes.size(), 1 + random() % 120));
          break;
        default:
          bytes[at] = static_cast<char>(0x80 | random() % 128);
          break;
      }
    }
    return bytes;
  }
};

TEST_F(QUVENDamagedScanStreamsTest, ReadingEndsInAReportOrInFieldsThatWork) {
  std::mt19937 random(20);
  for (const int passes : {0, 1}) {
    auto source = pointAfter(passes);
    const std::string good = imageOf(*source, QUVENObjWriter::SaveForWorker);
    source.reset(QUVEN_ENV);
    int read = 0;
    for (int round = 0; round < rounds; ++round) {
      const std::string bytes = damaged(good, random);
      quvenDebugWords = QUVENDebugWords();
      static_cast<void>(quietRun([&] {
        QUVENOwnPtr<QUVENDataPoint> point(QUVEN_ENV);
        try {
          if (round % 2 == 0) readImage(good, point);
          QUVENViewBlobIO blob({bytes.data(), bytes.size()});
          QUVENBinObjReader reader(blob, QUVEN_ENV);
          quvenReadObject(reader, point, QUVENDataPoint::typeName(), QUVEN_ENV);
          ++read;
          if (point) use(*point, good);
        } catch (...) {
          point.reset(QUVEN_ENV);
          throw;
        }
        point.reset(QUVEN_ENV);
      }));
    }
    EXPECT_GT(read, 0);
  }
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENDamagedScanStreamsTest, ArraysOfScans) {
  std::mt19937 random(21);
  auto parent = make<QUVENTestScan>();
  for (int i = 0; i < 4; ++i) parent->addChild(QUVEN_ENV).addChild(QUVEN_ENV);
  const std::string good = imageOf(*parent, QUVENObjWriter::SaveForWorker);
  parent.reset(QUVEN_ENV);
  int read = 0;
  for (int round = 0; round < rounds * 2; ++round) {
    quvenDebugWords = QUVENDebugWords();
    static_cast<void>(quietRun([&] {
      QUVENOwnPtr<QUVENTestScan> scan(QUVEN_ENV);
      try {
        readImage(good, scan);
        for (int again = 0; again < 3; ++again) {
          const std::string bytes = damaged(good, random);
          QUVENViewBlobIO blob({bytes.data(), bytes.size()});
          QUVENBinObjReader reader(blob, QUVEN_ENV);
          quvenReadObject(reader, scan, QUVENTestScan::typeName(), QUVEN_ENV);
          ++read;
        }
      } catch (...) {
        scan.reset(QUVEN_ENV);
        throw;
      }
      scan.reset(QUVEN_ENV);
    }));
  }
  EXPECT_GT(read, 0);
  quvenDebugWords = QUVENDebugWords();
}

TEST_F(QUVENDamagedScanStreamsTest, NameMapsAndOutputs) {
  std::mt19937 random(22);
  auto target = make<QUVENNumField>();
  target->setName(QUVENStringWithHash("y"));
  auto map = make<QUVENFieldNameMap>();
  map->addReference(target.get(), QUVEN_ENV);
  auto outputs = make<QUVENModelOutputs>();
  for (const char* suffix : {"", "a", "b"}) outputs->addOutput(target.get(), 1, suffix, *map, QUVEN_ENV);
  const std::string good = written(QUVENObjWriter::SaveForWorker, [&](QUVENObjWriter& writer) {
    quvenWriteObject(writer, *map, QUVEN_ENV);
    quvenWriteObject(writer, *outputs, QUVEN_ENV);
  });
  outputs.reset(QUVEN_ENV);
  map.reset(QUVEN_ENV);
  int read = 0;
  for (int round = 0; round < rounds; ++round) {
    quvenDebugWords = QUVENDebugWords();
    static_cast<void>(quietRun([&] {
      QUVENOwnPtr<QUVENFieldNameMap> copy = make<QUVENFieldNameMap>();
      QUVENOwnPtr<QUVENModelOutputs> records = make<QUVENModelOutputs>();
      copy->addReference(target.get(), QUVEN_ENV);
      copy->setMirror(round % 3 != 0);
      const auto end = [&] {
        for (const auto& field : copy->getOwnedFields()) {
          if (field) static_cast<void>(copy->find(field->getName()));
        }
        records.reset(QUVEN_ENV);
        copy.reset(QUVEN_ENV);
      };
      try {
        for (int again = 0; again < 3; ++again) {
          const std::string bytes = again == 0 && round % 2 == 0 ? good : damaged(good, random);
          QUVENViewBlobIO blob({bytes.data(), bytes.size()});
          QUVENBinObjReader reader(blob, QUVEN_ENV);
          quvenReadObject(reader, *copy, QUVEN_ENV);
          quvenReadObject(reader, *records, QUVEN_ENV);
          ++read;
          for (const auto& record : records->getResultFields()) {
            if (record && record->getField() != nullptr) record->getField()->setNumValue(1);
          }
        }
      } catch (...) {
        end();
        throw;
      }
      end();
    }));
  }
  EXPECT_GT(read, 0);
  quvenDebugWords = QUVENDebugWords();
  target.reset(QUVEN_ENV);
}

}  // namespace
