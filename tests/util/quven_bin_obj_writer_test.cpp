#include "util/quven_bin_obj_writer.h"

#include "stream_language.h"

namespace {

class QUVENBinObjWriterTest : public ObjectStreamTest {
 protected:
  template <class Action>
  std::string writtenHex(Action&& action) {
    return hexOf(written(std::forward<Action>(action)));
  }
};

constexpr double infinity = std::numeric_limits<double>::infinity();

}  // namespace

TEST_F(QUVENBinObjWriterTest, WritesItems) {
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeSignedByte(-2, QUVEN_ENV); }), "fe");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeUnsignedByte(200, QUVEN_ENV); }), "c8");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeSignedVarint(-65, QUVEN_ENV); }), "40 81");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeUnsignedVarint(128, QUVEN_ENV); }), "00 81");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeDouble(1.0, QUVEN_ENV); }), "00 00 00 00 00 00 f0 3f");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeDouble(-2.5, QUVEN_ENV); }), "00 00 00 00 00 00 04 c0");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.writeDouble(infinity, QUVEN_ENV); }), "00 00 00 00 00 00 f0 7f");
}

TEST_F(QUVENBinObjWriterTest, WritesStringsWithTheirLength) {
  const auto stringHex = [&](std::string_view text) {
    return writtenHex([&](QUVENObjWriter& w) { w.writeString(text, QUVEN_ENV); });
  };
  EXPECT_EQ(stringHex(""), "80");
  EXPECT_EQ(stringHex("abc"), hexOfText("83 'abc'"));
  EXPECT_EQ(stringHex(std::string_view("a\0b", 3)), "83 61 00 62");
  EXPECT_EQ(stringHex(std::string(63, 'x')), hexOf("\xbf" + std::string(63, 'x')));
  EXPECT_EQ(stringHex(std::string(64, 'x')), hexOf(bytesOf("00 81") + std::string(64, 'x')));
  EXPECT_EQ(stringHex(std::string(8192, 'x')), hexOf(bytesOf("00 00 81") + std::string(8192, 'x')));
}

TEST_F(QUVENBinObjWriterTest, WritesKeywordsByTheirCodeAndNamesAsText) {
  const auto keywordHex = [&](const QUVENKeyword& keyword) {
    return writtenHex([&](QUVENObjWriter& w) { w.writeKeyword(keyword, QUVEN_ENV); });
  };
  EXPECT_EQ(keywordHex(QUVEN_KWD(BeginObject)), "c0");
  EXPECT_EQ(keywordHex(QUVEN_KWD(BeginObjectType)), "c1");
  EXPECT_EQ(keywordHex(QUVEN_KWD(EndObject)), "c2");
  EXPECT_EQ(keywordHex(QUVEN_KWD(BeginArray)), "c3");
  EXPECT_EQ(keywordHex(QUVEN_KWD(BeginArraySize)), "c4");
  EXPECT_EQ(keywordHex(QUVEN_KWD(EndArray)), "c5");
  EXPECT_EQ(keywordHex(QUVENKeyword("ivFirst", 1, 1, QUVEN_KWD(EndArray))), "c6");
  EXPECT_EQ(keywordHex(QUVENKeyword("ivOf64", 1, 58, QUVEN_KWD(EndArray))), "ff");
  EXPECT_EQ(keywordHex(QUVENKeyword("ivOf65", 1, 59, QUVEN_KWD(EndArray))), "40 81");
  EXPECT_EQ(keywordHex(QUVENKeyword::name("ScanResult")), hexOfText("8a 'ScanResult'"));
}

TEST_F(QUVENBinObjWriterTest, WritesTheFramesOfObjectsAndArrays) {
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.beginObject(QUVEN_ENV); }), "c0");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.beginObjectType("T", QUVEN_ENV); }), "c1 81 54");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.beginArray(64, QUVEN_ENV); }), "c4 00 81");
  EXPECT_EQ(writtenHex([&](QUVENObjWriter& w) { w.beginItem(QUVEN_ENV); }), "");
}

TEST_F(QUVENBinObjWriterTest, WritesObjects) {
  EXPECT_EQ(hexOf(imageOf(nullptr)), "c1 80");
  QUVENObject plain;
  EXPECT_EQ(hexOf(imageOf(&plain)), hexOfText("c1 8b 'QUVENObject' c2"));
  QUVENTestLeaf leaf;
  leaf.ivNumber = 64;
  leaf.ivText = "ab";
  EXPECT_EQ(hexOf(imageOf(&leaf)), hexOfText("c1 8d 'QUVENTestLeaf' c6 00 81 c7 82 'ab' c2"));
}

// The members of the base come first, and codes run on along the chain.
TEST_F(QUVENBinObjWriterTest, WritesDerivedObjects) {
  QUVENTestPlain plain;
  plain.ivNumber = -1;
  EXPECT_EQ(hexOf(imageOf(&plain)), hexOfText("c1 8e 'QUVENTestPlain' c6 c0 c7 80"
                                              "c8 00 00 00 00 00 00 f0 3f c9 85 ca 80 cb 80 c2"));
  plain.ivWeight = -1;  // without the member that needs a weight
  EXPECT_EQ(hexOf(imageOf(&plain)), hexOfText("c1 8e 'QUVENTestPlain' c6 c0 c7 80"
                                              "c8 00 00 00 00 00 00 f0 bf c9 85 cb 80 c2"));
  EXPECT_EQ(hexOf(imageOf(&plain, QUVENObjWriter::SaveForWorker)), hexOf(imageOf(&plain)));
  EXPECT_EQ(hexOf(imageOf(&plain, QUVENObjWriter::ScanResults)),
            hexOfText("c1 8e 'QUVENTestPlain' c6 c0 c7 80 c8 00 00 00 00 00 00 f0 bf cb 80 c2"));
}

TEST_F(QUVENBinObjWriterTest, WritesEveryKindOfMember) {
  auto node = quvenMake<QUVENTestNode>(QUVEN_ENV);
  node->ivSignedByte = -1;
  node->ivUnsignedByte = 255;
  node->ivBoolean = true;
  node->ivShort = -65;
  node->ivUnsignedShort = 128;
  node->ivInt = 64;
  node->ivUnsigned = 127;
  node->ivLong = std::numeric_limits<std::int64_t>::min();
  node->ivUnsignedLong = std::numeric_limits<std::uint64_t>::max();
  node->ivFloat = 1;
  node->ivDouble = -2.5;
  node->ivText = "text";
  node->ivName.assign("name");
  node->ivBytes.append(200, QUVEN_ENV);
  node->ivChars.append('c', QUVEN_ENV);
  node->ivBooleans.append(true, QUVEN_ENV);
  node->ivBooleans.append(false, QUVEN_ENV);
  node->ivInts.append(-2, QUVEN_ENV);
  node->ivLongs.append(8192, QUVEN_ENV);
  node->ivUnsignedLongs.append(16384, QUVEN_ENV);
  node->ivFloats.append(1, QUVEN_ENV);
  node->ivDoubles.append(-2.5, QUVEN_ENV);
  node->ivTexts.append("", QUVEN_ENV);
  node->ivTexts.append("t", QUVEN_ENV);
  node->ivLeaf.ivNumber = 5;
  node->ivLeaves.append(QUVENTestLeaf(), QUVEN_ENV);
  node->ivOwned = quvenMake<QUVENTestDerived>(QUVEN_ENV);
  node->ivChildren.append(QUVENOwnPtr<QUVENTestNode>(), QUVEN_ENV);
  const std::string leaf = "c1 8d 'QUVENTestLeaf' c6 80 c7 80 c2";
  EXPECT_EQ(hexOf(imageOf(node.get())),
            hexOfText("c1 8d 'QUVENTestNode'"
                      "c6 ff c7 ff c8 01 c9 40 81 ca 00 81 cb 00 81 cc ff"
                      "cd 7f 7f 7f 7f 7f 7f 7f 7f 7f 81 ce 7f 7f 7f 7f 7f 7f 7f 7f 7f 81"
                      "cf 00 00 00 00 00 00 f0 3f d0 00 00 00 00 00 00 04 c0"
                      "d1 84 'text' d2 84 'name'"
                      "d3 c4 81 c8 c5 d4 c4 81 'c' c5 d5 c4 82 01 00 c5"
                      "d6 c4 81 c1 c5 d7 c4 81 00 00 81 c5 d8 c4 81 00 00 81 c5"
                      "d9 c4 81 00 00 00 00 00 00 f0 3f c5 da c4 81 00 00 00 00 00 00 04 c0 c5"
                      "db c4 82 80 81 't' c5"
                      "dc c1 8d 'QUVENTestLeaf' c6 85 c7 80 c2"
                      "dd c4 81 " +
                      leaf +
                      "c5"
                      "de c1 90 'QUVENTestDerived' c6 80 c7 80 c8 00 00 00 00 00 00 f0 3f c9 85 ca 80 cb 80 c2"
                      "df c4 81 c1 80 c5"
                      "e0 c1 80 c2"));
  QUVEN_DELETE(node);
}

TEST_F(QUVENBinObjWriterTest, CountsTheDepthOfObjects) {
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::ScanResults);
  EXPECT_TRUE(writer.isOk());
  EXPECT_EQ(writer.getWriterMode(), 2);
  EXPECT_EQ(writer.getDepth(), 0);
  writer.raiseDepth(QUVEN_ENV);
  EXPECT_EQ(writer.getDepth(), 1);
  writer.lowerDepth();
  QUVENTestNode node;
  quvenWriteObject(writer, node, QUVEN_ENV);
  EXPECT_EQ(writer.getDepth(), 0);
  QUVEN_DELETE(blob);
}

TEST_F(QUVENBinObjWriterTest, RefusesToNestTooDeep) {
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  for (int i = 1; i <= quvenMaxObjectDepth; ++i) writer.raiseDepth(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { writer.raiseDepth(QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "Objects nested deeper than 1000 levels");
  EXPECT_EQ(writer.getDepth(), quvenMaxObjectDepth);
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENBinObjWriterTest, EveryFailedWriteIsAReportAndClearsOk) {
  const std::string text(100, 'x');
  const QUVENKeyword& keyword = QUVEN_KWD(EndArray);
  const std::vector<double> doubles(3, 1.0);
  const std::vector<std::int64_t> longs(3, 1);
  const std::vector<std::uint64_t> unsignedLongs(3, 1);
  const std::vector<std::int8_t> signedBytes(3, 1);
  const std::vector<std::uint8_t> unsignedBytes(3, 1);
  const std::function<void(QUVENObjWriter&)> actions[] = {
      [&](QUVENObjWriter& w) { w.writeKeyword(keyword, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeKeyword(QUVENKeyword::name("N"), QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeSignedByte(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeUnsignedByte(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeString("", QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeString(text, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeUnsignedVarint(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeSignedVarint(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeDouble(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.beginObjectType("", QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.beginObject(QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.beginArray(1, QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeNumbers(std::span(doubles), QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeNumbers(std::span(longs), QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeNumbers(std::span(unsignedLongs), QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeNumbers(std::span(signedBytes), QUVEN_ENV); },
      [&](QUVENObjWriter& w) { w.writeNumbers(std::span(unsignedBytes), QUVEN_ENV); },
  };
  for (const QUVENBlobIO::Status status : {QUVENBlobIO::EndOfInput, QUVENBlobIO::Failed}) {
    for (const auto& action : actions) {
      ScriptedBlobIO blob("", status);
      blob.bytesUntilFailure = 0;
      QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
      const CapturedRun run = capturedRun([&] { action(writer); });
      EXPECT_TRUE(run.threwLibraryException);
      EXPECT_EQ(reportOf(run), "BLOB I/O Write Error");
      EXPECT_FALSE(writer.isOk());
      EXPECT_EQ(quvenDebugWords.exceptionThrown, 1);
      EXPECT_EQ(quvenDebugWords.error, 0);
    }
  }
}

TEST_F(QUVENBinObjWriterTest, AnObjectThatDoesNotFitIsAReportWhereverItEnds) {
  QUVENTestLeaf leaf;
  leaf.ivText = "text";
  const std::string whole = imageOf(&leaf);
  for (std::size_t room = 0; room <= whole.size(); ++room) {
    ScriptedBlobIO blob("", QUVENBlobIO::Failed);
    blob.bytesUntilFailure = room;
    QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
    const CapturedRun run = capturedRun([&] { quvenWriteObject(writer, leaf, QUVEN_ENV); });
    EXPECT_EQ(run.threwLibraryException, room < whole.size());
    EXPECT_EQ(writer.isOk(), room == whole.size());
    EXPECT_EQ(blob.text, whole.substr(0, blob.text.size()));
  }
}

TEST_F(QUVENBinObjWriterTest, BlocksOfNumbersAreTheirElementsInTurn) {
  for (const std::size_t count : {0, 1, 2, 511, 512, 513, 1024, 1025}) {
    std::mt19937_64 random(count);
    std::vector<std::int64_t> numbers(count);
    for (std::int64_t& number : numbers) number = static_cast<std::int64_t>(random() >> (random() % 64));
    const std::vector<std::uint64_t> unsignedNumbers(numbers.begin(), numbers.end());
    const std::vector<double> doubles(numbers.begin(), numbers.end());
    std::vector<std::int8_t> bytes;
    for (const std::int64_t number : numbers) bytes.push_back(static_cast<std::int8_t>(number));
    const std::vector<std::uint8_t> unsignedBytes(bytes.begin(), bytes.end());
    const auto atOnce = [&](const auto& values) {
      return written([&](QUVENObjWriter& w) { w.writeNumbers(std::span(values), QUVEN_ENV); });
    };
    const auto inTurn = [&](const auto& values) {  // by the base class
      return written([&](QUVENObjWriter& w) { w.QUVENObjWriter::writeNumbers(std::span(values), QUVEN_ENV); });
    };
    EXPECT_EQ(atOnce(numbers), inTurn(numbers)) << count;
    EXPECT_EQ(atOnce(unsignedNumbers), inTurn(unsignedNumbers)) << count;
    EXPECT_EQ(atOnce(doubles), inTurn(doubles)) << count;
    EXPECT_EQ(atOnce(bytes), inTurn(bytes)) << count;
    EXPECT_EQ(atOnce(unsignedBytes), inTurn(unsignedBytes)) << count;
    EXPECT_EQ(atOnce(doubles).size(), count * sizeof(double));
  }
}
