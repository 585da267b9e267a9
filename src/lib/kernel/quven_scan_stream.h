#ifndef QUVEN_SCAN_STREAM_H
#define QUVEN_SCAN_STREAM_H

// How owned scans come out of a stream: by the serial number of the scan that was written, never by position.

#include <utility>

#include "kernel/quven_data_scan.h"
#include "util/quven_stream_values.h"

/// The image of one scan, read as far as its type and the serial number of the scan that it was written from.
///
/// A copy of a scan takes images of that scan only, so what no stream carries stays with the right scan when scans are
/// added, dropped or reordered. An object that is no copy yet (getMergeWithSerialNumber() is 0) takes the first image
/// of its type that it is offered. Lifetime: readInto is called once, before anything else is read; not for an image of
/// no object.
class QUVENScanImage {
 public:
  /// Errors: those of quvenReadObject.
  QUVENScanImage(QUVENObjReader& objectReader, const QUVENEnvHandle& env);

  /// Whether it is the image of no object.
  bool isNull() const { return typeName.isEmpty(); }
  /// Whether the object is a copy of the scan that was written.
  bool isOf(const QUVENDataScan* held) const;
  /// Whether the image can be read into the object: it is a copy of the same scan, or of none.
  bool fits(const QUVENDataScan* held) const;
  /// Reads the rest of the image into the object of the pointer if it fits, else into a new one.
  void readInto(QUVENOwnPtrBase& pointer, const QUVENTypeName& expected, const QUVENEnvHandle& env);

 private:
  QUVENObjReader& reader;
  QUVENStringWithHash typeName;
  std::int32_t serialNumber = 0;  // 0 for an image that does not begin with it
};

/// An owned scan keeps its object only while the image is of the same scan.
template <std::derived_from<QUVENDataScan> T>
struct QUVENStreamValue<QUVENOwnPtr<T>> {
  static constexpr std::uint64_t fewestBytes = 2;

  static void write(QUVENObjWriter& writer, const QUVENOwnPtr<T>& value, const QUVENEnvHandle& env) {
    quvenWriteObject(writer, value.getObject(), env);
  }
  static void read(QUVENObjReader& reader, QUVENOwnPtr<T>& value, const QUVENEnvHandle& env) {
    QUVENScanImage image(reader, env);
    if (image.isNull()) return value.reset(env);
    image.readInto(value, T::typeName(), env);
  }
  static QUVENMemberType describe() { return {QUVENValueKind::OwnedObject, 0, 0, &T::typeName}; }
};

/// An array of owned scans: an object keeps its scan when the scan changes its place, and ends when its scan is gone.
template <std::derived_from<QUVENDataScan> T, int kind>
struct QUVENStreamValue<QUVENXaRay<QUVENOwnPtr<T>, kind>> : QUVENArrayValue<QUVENOwnPtr<T>, kind> {
  using Array = QUVENXaRay<QUVENOwnPtr<T>, kind>;
  using Element = QUVENStreamValue<QUVENOwnPtr<T>>;

  static void read(QUVENObjReader& reader, Array& array, const QUVENEnvHandle& env) {
    const std::int64_t size = reader.expectBeginArraySize(env);
    reader.beginArrayElements();
    if (size >= 0) reader.checkCount(static_cast<std::uint64_t>(size), Element::fewestBytes, env);
    long done = 0;
    while (size >= 0 ? done < size : !reader.atArrayEnd(env)) {
      const long place = ++done;
      array.autoExtend(place, env);
      QUVENScanImage image(reader, env);
      bringTo(place, image, array, env);
      if (image.isNull()) {
        array[place].reset(env);
      } else {
        image.readInto(array[place], T::typeName(), env);
      }
    }
    array.setSize(done, env);
    reader.endArrayElements(env);
  }

 private:
  /// Exchanges the object at a place for the copy of the scan in the image, which no earlier place can hold. Without
  /// such a copy an object that is a copy of another scan moves behind the others, because a later image may be of it.
  static void bringTo(long place, const QUVENScanImage& image, Array& array, const QUVENEnvHandle& env) {
    for (long i = place; i <= array.getSize(); ++i) {
      if (!image.isOf(array[i].get())) continue;
      std::swap(array[i], array[place]);
      return;
    }
    if (array[place] == nullptr || image.fits(array[place].get())) return;
    array.append(QUVENOwnPtr<T>(std::move(array[place])), env);
  }
};

#endif  // QUVEN_SCAN_STREAM_H
