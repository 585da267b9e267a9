#ifndef TESTS_KERNEL_FIELD_WORKERS_H
#define TESTS_KERNEL_FIELD_WORKERS_H

#include <functional>

#include "kernel/quven_scan_results.h"
#include "kernel_fixture.h"

/// Shows records to a field as a run on several workers does.
class FieldWorkersTest : public KernelTest {
 protected:
  /// Puts the value of a record into a field.
  template <class Field>
  using Setter = std::function<void(Field& field, std::uint32_t recordId)>;

  /// One pass without its end: every worker gets the owner's state by a stream, sees its records, and returns its
  /// result, which are merged in the order of the ranks and read by the owner.
  template <class Field>
  void gather(Field& owner, const std::vector<std::vector<std::uint32_t>>& recordsOfRank, const Setter<Field>& set) {
    const QUVENKeyword& keyword = quvenScanResultKeyword();
    owner.beginDistributionPass(QUVEN_ENV);
    const std::string state = imageOf(owner, QUVENObjWriter::SaveForWorker);
    std::string total;
    for (std::size_t rank = 0; rank < recordsOfRank.size(); ++rank) {
      QUVENOwnPtr<Field> worker = objectOf<Field>(state);
      worker->beginDistributionPass(QUVEN_ENV);
      showRecords(*worker, recordsOfRank[rank], set);
      const std::string part = written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
        quvenWriteScanResults(*worker, writer, keyword, QUVEN_ENV);
      });
      worker.reset(QUVEN_ENV);
      total = rank == 0 ? part : mergedResults(total, part);
    }
    readFrom(total, [&](QUVENObjReader& reader) { quvenReadDataScanResults(reader, keyword, QUVEN_ENV); });
  }

  template <class Field>
  void showRecords(Field& field, const std::vector<std::uint32_t>& records, const Setter<Field>& set) {
    for (const std::uint32_t recordId : records) {
      field.clearValue();
      set(field, recordId);
      field.updateDistribution(recordId, QUVEN_ENV);
    }
  }

  std::string mergedResults(const std::string& a, const std::string& b) {
    QUVENViewBlobIO blobA({a.data(), a.size()});
    QUVENViewBlobIO blobB({b.data(), b.size()});
    QUVENBinObjReader readerA(blobA, QUVEN_ENV);
    QUVENBinObjReader readerB(blobB, QUVEN_ENV);
    return written(QUVENObjWriter::ScanResults, [&](QUVENObjWriter& writer) {
      quvenMergeDataScanResults(readerA, readerB, writer, quvenScanResultKeyword(), QUVEN_ENV);
    });
  }

  /// Checks that the image of what was read from the image of an object is that image.
  template <class T>
  void expectRoundTrip(const T& object) {
    for (const std::int32_t mode : {QUVENObjWriter::Save, QUVENObjWriter::SaveForWorker, QUVENObjWriter::ScanResults}) {
      const std::string image = imageOf(object, mode);
      QUVENOwnPtr<T> read = objectOf<T>(image);
      EXPECT_EQ(imageOf(*read, mode), image) << "mode " << mode;
      QUVENOwnPtr<T> copy = quvenNewCopy(*read, QUVEN_ENV);
      EXPECT_EQ(imageOf(*copy, mode), image) << "mode " << mode;
      copy.reset(QUVEN_ENV);
      read.reset(QUVEN_ENV);
    }
  }
};

#endif  // TESTS_KERNEL_FIELD_WORKERS_H
