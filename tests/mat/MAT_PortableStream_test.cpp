#include "mat/MAT_PortableStream.h"

#include <cmath>
#include <limits>
#include <sstream>

#include "mat/MAT_MDArray.h"
#include "support/formats_page.h"
#include "support/internal_error.h"
#include "support/stream_text.h"
#include "support/temporary_folder.h"

namespace {

template <class... Values>
std::string written(const Values&... values) {
  std::ostringstream stream;
  MAT_PortableWriter writer(stream);
  (writer.write(values), ...);
  return stream.str();
}

std::string saved(const Saveable& object) {
  std::ostringstream stream;
  MAT_PortableWriter writer(stream);
  object.save(writer);
  return stream.str();
}

void loadFrom(Saveable& object, const std::string& bytes) {
  std::istringstream stream(bytes);
  MAT_PortableReader reader(stream);
  object.load(reader);
  reader.expectEnd();
}

[[noreturn]] void loadArray(const std::string& bytes) {
  MDArray<double> array;
  loadFrom(array, bytes);
  std::exit(0);
}

MDArray<double> sparseExample() {
  MDArray<double> array({2, 3}, 0.0);
  array.set({1, 2}, 0.5);
  array.set({0, 1}, -2.0);
  return array;
}

MDArray<double> denseExample() { return {DimensionSizes{2}, std::vector{1.0, 0.1}}; }

std::string printed(const Printable& object) {
  std::ostringstream out;
  out << object;
  return out.str();
}

}  // namespace

TEST(PortableStream, WritesTheHighestByteFirst) {
  EXPECT_EQ(hexOf(written(std::uint32_t{0x01020304})), "01 02 03 04");
  EXPECT_EQ(hexOf(written(1.0)), "3f f0 00 00 00 00 00 00");
  EXPECT_EQ(hexOf(written(-0.1)), "bf b9 99 99 99 99 99 9a");
  EXPECT_EQ(hexOf(written(std::string_view("ab"))), "00 00 00 02 61 62");
  EXPECT_EQ(hexOf(written(std::string_view())), "00 00 00 00");
}

TEST(PortableStream, ReadsWhatWasWritten) {
  const std::string longText(10000, 'x');
  std::istringstream stream(written(std::uint32_t{4294967295}, std::string_view("a\0b", 3), -1.5e-300,
                                    std::string_view(longText), std::numeric_limits<double>::infinity(), std::nan("")));
  MAT_PortableReader reader(stream);
  EXPECT_EQ(reader.readInteger(), 4294967295U);
  EXPECT_EQ(reader.readString(), std::string("a\0b", 3));
  EXPECT_EQ(reader.readDouble(), -1.5e-300);
  EXPECT_EQ(reader.readString(), longText);
  EXPECT_EQ(reader.readDouble(), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(reader.readDouble()));
  reader.expectEnd();
}

TEST(PortableStream, StringThatClaimsMoreThanIsThereIsCut) {
  // 4 GiB are claimed, 2 bytes are there.
  std::istringstream stream(bytesOf("ff ff ff ff 'ab'"));
  MAT_PortableReader reader(stream);
  EXPECT_USER_ERROR(reader.readString(), "Array file is cut");
}

TEST(PortableStream, StreamThatTakesNoMoreEndsTheProcess) {
  std::ostringstream stream;
  stream.setstate(std::ios::badbit);
  MAT_PortableWriter writer(stream);
  EXPECT_USER_ERROR(writer.write(1.0), "Array file could not be written");
}

TEST(PortableStream, ArraysOfIntegersTravel) {
  EXPECT_EQ(hexOf(saved(Indexes{3, 258})), "00 00 00 02 00 00 00 03 00 00 01 02");
  Indexes indexes{9};
  loadFrom(indexes, saved(Indexes{3, 258}));
  EXPECT_EQ(indexes, (Indexes{3, 258}));
  DimensionSizes sizes;
  loadFrom(sizes, saved(DimensionSizes{3, 5}));
  EXPECT_EQ(sizes, (DimensionSizes{3, 5}));
  EXPECT_EQ(sizes.getNumElements(), 15U);
}

TEST(PortableStream, ArraysAreThoseOfTheFormatsPage) {
  const auto blocks = page_blocks();
  EXPECT_EQ(hexOf(saved(denseExample())), hexOf(bytes_of(blocks.at("hex dense-array"))));
  EXPECT_EQ(hexOf(saved(sparseExample())), hexOf(bytes_of(blocks.at("hex sparse-array"))));
}

TEST(PortableStream, LoadedArrayIsTheSavedOne) {
  for (const MDArray<double>& array : {sparseExample(), denseExample(), MDArray<double>({2, 3}, 1.25),
                                       MDArray<double>({}, 4.0), MDArray<double>({0, 7}, 1.0)}) {
    MDArray<double> loaded({1}, 3.0);
    loadFrom(loaded, saved(array));
    EXPECT_EQ(loaded.getDimensionSizes(), array.getDimensionSizes());
    EXPECT_EQ(printed(loaded), printed(array));
    EXPECT_EQ(hexOf(saved(loaded)), hexOf(saved(array)));
  }
}

TEST(PortableStream, LoadTakesThePlaceOfASharedArray) {
  MDArray<double> array({1}, 3.0);
  const MDArray<double> sharer = array;
  loadFrom(array, saved(denseExample()));
  EXPECT_EQ(array.getReferenceCount(), 1);
  EXPECT_EQ(sharer.getReferenceCount(), 1);
  EXPECT_EQ(sharer.get(0), 3.0);
  EXPECT_EQ(array.get(1), 0.1);
}

TEST(PortableStream, ArrayThatIsCutAnywhereIsRefused) {
  for (const std::string& bytes : {saved(sparseExample()), saved(denseExample())}) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      SCOPED_TRACE(size);
      EXPECT_USER_ERROR(loadArray(bytes.substr(0, size)), "Array file is cut");
    }
  }
}

TEST(PortableStream, ForeignArraysAreRefused) {
  const std::string mark = "00 00 00 07 'MDArray'";
  const auto refused = [](const std::string& reason) { return "Array file is damaged: " + reason; };
  EXPECT_USER_ERROR(loadArray(bytesOf("00 00 00 02 'no'")), refused("no array"));
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 03 00 00 00 00")), refused("an array of unknown form"));
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 00 00 00 00 00")), refused("an array of unknown form"));
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 01 00 00 00 03 ff ff ff ff ff ff ff ff ff ff ff ff")),
                    refused("an array of too many elements"));
  EXPECT_USER_ERROR(loadArray(saved(denseExample()) + "x"), "Array file goes on behind its end");
}

TEST(PortableStream, SizesAndCountsOfAFileAreClaims) {
  const std::string mark = "00 00 00 07 'MDArray'";
  // 2 to the 62 elements, 4 billion sizes, 2 to the 60 entries; next to nothing is there.
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 01 00 00 00 02 80 00 00 00 80 00 00 00 3f")),
                    "Array file is cut");
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 01 ff ff ff ff 00 00 00 01")), "Array file is cut");
  EXPECT_USER_ERROR(loadArray(bytesOf(mark + "00 00 00 02 00 00 00 01 ff ff ff ff 00 00 00 00 00 00 00 00"
                                             "10 00 00 00 00 00 00 00")),
                    "Array file is cut");
}

TEST(PortableStream, EntriesAscendInsideTheArray) {
  const std::string start = "00 00 00 07 'MDArray' 00 00 00 02 00 00 00 01 00 00 00 03 00 00 00 00 00 00 00 00";
  const std::string one = "3f f0 00 00 00 00 00 00";
  const auto entry = [&](const std::string& position) { return "00 00 00 00 00 00 00 " + position + one; };
  const std::string outOfPlace = "Array file is damaged: an entry out of its place";
  MDArray<double> array;
  loadFrom(array, bytesOf(start + "00 00 00 00 00 00 00 02" + entry("01") + entry("02")));
  EXPECT_EQ(printed(array), "0 1 1\n");
  EXPECT_USER_ERROR(loadArray(bytesOf(start + "00 00 00 00 00 00 00 02" + entry("01") + entry("01"))), outOfPlace);
  EXPECT_USER_ERROR(loadArray(bytesOf(start + "00 00 00 00 00 00 00 02" + entry("02") + entry("01"))), outOfPlace);
  EXPECT_USER_ERROR(loadArray(bytesOf(start + "00 00 00 00 00 00 00 01" + entry("03"))), outOfPlace);
  EXPECT_USER_ERROR(loadArray(bytesOf(start + "00 00 00 00 00 00 00 01 00 00 00 01 00 00 00 00" + one)), outOfPlace);
  EXPECT_USER_ERROR(loadArray(bytesOf(start + "00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 01"
                                              "00 00 00 00 00 00 00 00")),
                    "Array file is damaged: an entry of the default value");
}

TEST(PortableStream, PositionsOfLargeArraysAreLong) {
  MDArray<double> array({4294967295, 3}, 0.0);
  array.set(12884901884, 2.0);
  MDArray<double> loaded;
  loadFrom(loaded, saved(array));
  EXPECT_EQ(loaded.get({4294967294, 2}), 2.0);
  EXPECT_EQ(loaded.sum(), 2.0);
}

TEST(PortableStream, FilesHoldOneObject) {
  const TemporaryFolder folder;
  const std::string file = folder.path("array");
  sparseExample().saveFile(file);
  EXPECT_EQ(hexOf(folder.read("array")), hexOf(saved(sparseExample())));
  MDArray<double> loaded;
  loaded.loadFile(file);
  EXPECT_EQ(printed(loaded), printed(sparseExample()));

  folder.write("long", saved(denseExample()) + "x");
  EXPECT_USER_ERROR(loaded.loadFile(folder.path("long")), "Array file goes on behind its end");
  EXPECT_USER_ERROR(loaded.loadFile("/no/such/file"), "Array file '/no/such/file' could not be opened");
  EXPECT_USER_ERROR(loaded.saveFile("/no/such/file"), "Array file '/no/such/file' could not be opened");
  EXPECT_USER_ERROR(loaded.saveFile("/dev/full"), "Array file could not be written");
}
