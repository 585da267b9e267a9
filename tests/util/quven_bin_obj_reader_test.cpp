#include "util/quven_bin_obj_reader.h"

#include <cmath>

#include "stream_language.h"

namespace {

constexpr const char* readError = "BLOB Binary I/O Read Error";
constexpr const char* integerKeyword = "Syntax Error: Reserved(integer) keyword expected";
constexpr const char* stringKeyword = "Syntax Error: Reserved(string) keyword expected";

class QUVENBinObjReaderTest : public ObjectStreamTest {
 protected:
  /// What an action reads from bytes, all of which it has to take.
  template <class Action>
  auto readFrom(std::string_view text, Action&& action) {
    const std::string bytes = bytesOf(text);
    QUVENViewBlobIO blob({bytes.data(), bytes.size()});
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    auto value = action(reader);
    EXPECT_EQ(blob.getRemaining(), 0U) << text;
    return value;
  }
  std::string stringFrom(QUVENObjReader& reader) {
    std::string value = "old";
    reader.readString(value, QUVEN_ENV);
    return value;
  }
  /// How each kind of value ends on these bytes.
  std::vector<std::string> reportsOfEachKind(std::string_view text) {
    const std::string bytes = bytesOf(text);
    return {fatalReport(bytes, [&](QUVENObjReader& r) { r.readSignedByte(QUVEN_ENV); }),
            fatalReport(bytes, [&](QUVENObjReader& r) { r.readUnsignedByte(QUVEN_ENV); }),
            fatalReport(bytes, [&](QUVENObjReader& r) { stringFrom(r); }),
            fatalReport(bytes, [&](QUVENObjReader& r) { r.readUnsignedVarint(QUVEN_ENV); }),
            fatalReport(bytes, [&](QUVENObjReader& r) { r.readSignedVarint(QUVEN_ENV); }),
            fatalReport(bytes, [&](QUVENObjReader& r) { r.readDouble(QUVEN_ENV); })};
  }
};

}  // namespace

TEST_F(QUVENBinObjReaderTest, ReadsItems) {
  EXPECT_EQ(readFrom("fe", [&](QUVENObjReader& r) { return r.readSignedByte(QUVEN_ENV); }), -2);
  EXPECT_EQ(readFrom("c8", [&](QUVENObjReader& r) { return r.readUnsignedByte(QUVEN_ENV); }), 200);
  EXPECT_EQ(readFrom("40 81", [&](QUVENObjReader& r) { return r.readSignedVarint(QUVEN_ENV); }), -65);
  EXPECT_EQ(readFrom("00 81", [&](QUVENObjReader& r) { return r.readUnsignedVarint(QUVEN_ENV); }), 128U);
  EXPECT_EQ(readFrom("00 00 00 00 00 00 04 c0", [&](QUVENObjReader& r) { return r.readDouble(QUVEN_ENV); }), -2.5);
  EXPECT_EQ(readFrom("83 'abc'", [&](QUVENObjReader& r) { return stringFrom(r); }), "abc");
  EXPECT_EQ(readFrom("80", [&](QUVENObjReader& r) { return stringFrom(r); }), "");
}

TEST_F(QUVENBinObjReaderTest, SaturatesInfinityAndKeepsNaN) {
  const auto doubleOf = [&](const char* text) {
    return readFrom(text, [&](QUVENObjReader& r) { return r.readDouble(QUVEN_ENV); });
  };
  EXPECT_EQ(doubleOf("00 00 00 00 00 00 f0 7f"), std::numeric_limits<double>::max());
  EXPECT_EQ(doubleOf("00 00 00 00 00 00 f0 ff"), std::numeric_limits<double>::lowest());
  EXPECT_TRUE(std::isnan(doubleOf("00 00 00 00 00 00 f8 7f")));
}

TEST_F(QUVENBinObjReaderTest, ReadsVarintsAtTheVeryEndAndInTheMiddle) {
  std::vector<std::int64_t> numbers;
  for (int power = 0; power < 64; ++power) {
    numbers.push_back(static_cast<std::int64_t>(std::uint64_t{1} << power));
    numbers.push_back(-static_cast<std::int64_t>(std::uint64_t{1} << power % 63));
  }
  const std::string bytes = written([&](QUVENObjWriter& w) {
    for (const std::int64_t number : numbers) w.writeSignedVarint(number, QUVEN_ENV);
  });
  const CapturedRun run = readBytes(bytes, [&](QUVENObjReader& r) {
    for (const std::int64_t number : numbers) EXPECT_EQ(r.readSignedVarint(QUVEN_ENV), number);
  });
  EXPECT_FALSE(run.threwLibraryException);
}

TEST_F(QUVENBinObjReaderTest, AnInputThatEndsInsideAValueIsAReadError) {
  const std::vector<std::string> all(6, readError);
  EXPECT_EQ(reportsOfEachKind(""), all);
  const auto cut = [&](const char* text, auto action) { return fatalReport(bytesOf(text), action); };
  EXPECT_EQ(cut("00", [&](QUVENObjReader& r) { r.readSignedVarint(QUVEN_ENV); }), readError);
  EXPECT_EQ(cut("00", [&](QUVENObjReader& r) { r.readUnsignedVarint(QUVEN_ENV); }), readError);
  EXPECT_EQ(cut("00 00 00 00 00 00 f0", [&](QUVENObjReader& r) { r.readDouble(QUVEN_ENV); }), readError);
  EXPECT_EQ(cut("83 'ab'", [&](QUVENObjReader& r) { stringFrom(r); }), readError);
  EXPECT_EQ(cut("03", [&](QUVENObjReader& r) { stringFrom(r); }), readError);
}

TEST_F(QUVENBinObjReaderTest, AVarintBeyond64BitsIsAReadError) {
  for (const char* text : {"7f 7f 7f 7f 7f 7f 7f 7f 7f 82", "00 00 00 00 00 00 00 00 00 00 80",
                           "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 80"}) {
    EXPECT_EQ(fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.readSignedVarint(QUVEN_ENV); }), readError);
    EXPECT_EQ(fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.readUnsignedVarint(QUVEN_ENV); }), readError);
    EXPECT_EQ(fatalReport(bytesOf(text), [&](QUVENObjReader& r) { stringFrom(r); }), readError);
    EXPECT_EQ(fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.readNextKeyword(QUVEN_ENV); }), readError);
    EXPECT_EQ(fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.readObjectType(QUVEN_ENV); }), readError);
  }
}

TEST_F(QUVENBinObjReaderTest, ALengthThatIsNegativeOrBeyondTheRestIsAReadError) {
  const auto reportFor = [&](const char* text) {
    return fatalReport(bytesOf(text), [&](QUVENObjReader& r) { stringFrom(r); });
  };
  EXPECT_EQ(reportFor("c0 'abc'"), readError);
  EXPECT_EQ(reportFor("7f 7f 7f 7f 7f 7f 7f 7f 7f 81"), readError);
  EXPECT_EQ(reportFor("3f 7f 7f 7f 7f 7f 7f 7f 7f 81 'abc'"), readError);
  EXPECT_EQ(reportFor("84 'abc'"), readError);
}

TEST_F(QUVENBinObjReaderTest, AClaimedLengthOfAnUnknownRestCostsOnlyWhatArrives) {
  environment.setBytesBudget(1 << 20);
  ScriptedBlobIO blob(bytesOf("3f 7f 7f 7f 7f 7f 7f 7f 7f 81 'abc'"), QUVENBlobIO::EndOfInput);
  const CapturedRun run = capturedRun([&] {
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    stringFrom(reader);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), readError);
}

TEST_F(QUVENBinObjReaderTest, ReadsLongStringsOfAnUnknownRest) {
  const std::string text(3 * 1024 * 1024 + 17, 'x');
  ScriptedBlobIO blob(written([&](QUVENObjWriter& w) { w.writeString(text, QUVEN_ENV); }), QUVENBlobIO::EndOfInput);
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  EXPECT_TRUE(stringFrom(reader) == text);
}

TEST_F(QUVENBinObjReaderTest, AStreamThatFailsIsAReadError) {
  for (const char* text : {"", "00", "c1", "c1 85 'QU'"}) {
    const std::function<void(QUVENObjReader&)> actions[] = {[&](QUVENObjReader& r) { r.readDouble(QUVEN_ENV); },
                                                            [&](QUVENObjReader& r) { r.readObjectType(QUVEN_ENV); }};
    for (const auto& action : actions) {
      ScriptedBlobIO blob(bytesOf(text), QUVENBlobIO::Failed);
      const CapturedRun run = capturedRun([&] {
        QUVENBinObjReader reader(blob, QUVEN_ENV);
        action(reader);
      });
      EXPECT_TRUE(run.threwLibraryException);
      EXPECT_EQ(reportOf(run), readError) << text;
    }
  }
  ScriptedBlobIO blob("", QUVENBlobIO::Failed);
  const CapturedRun run = capturedRun([&] {
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    reader.keywordMatches(QUVEN_KWD(EndObject), QUVEN_ENV);
  });
  EXPECT_EQ(reportOf(run), readError);  // the end may come at a keyword, a failure may not
}

TEST_F(QUVENBinObjReaderTest, AShortReadWithAGoodStatusIsAnAssertionFailure) {
  const std::function<void(QUVENObjReader&)> actions[] = {
      [&](QUVENObjReader& r) { r.readSignedByte(QUVEN_ENV); },
      [&](QUVENObjReader& r) { r.readUnsignedByte(QUVEN_ENV); },
      [&](QUVENObjReader& r) { stringFrom(r); },
      [&](QUVENObjReader& r) { r.readSignedVarint(QUVEN_ENV); },
      [&](QUVENObjReader& r) { r.readUnsignedVarint(QUVEN_ENV); },
      [&](QUVENObjReader& r) { r.readDouble(QUVEN_ENV); },
      [&](QUVENObjReader& r) { r.readNextKeyword(QUVEN_ENV); },
      [&](QUVENObjReader& r) { r.readObjectType(QUVEN_ENV); },
  };
  for (const auto& action : actions) {
    quvenDebugWords = QUVENDebugWords();
    ScriptedBlobIO blob("", QUVENBlobIO::Good);
    const CapturedRun run = capturedRun([&] {
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      action(reader);
    });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_EQ(reportOf(run), "ASSERTION FAILED (read == size)");
    EXPECT_EQ(quvenDebugWords.error, 1);
  }
}

TEST_F(QUVENBinObjReaderTest, ExpectsReservedKeywordsByCodeOrText) {
  const auto typeOf = [&](QUVENObjReader& r) { return r.readObjectType(QUVEN_ENV).str(); };
  const auto sizeOf = [&](QUVENObjReader& r) { return r.expectBeginArraySize(QUVEN_ENV); };
  const auto begun = [&](QUVENObjReader& r) { return r.expectBeginObject(QUVEN_ENV), true; };
  EXPECT_EQ(readFrom("c1 82 'Ab'", typeOf), "Ab");
  EXPECT_EQ(readFrom("8f 'BeginObjectType' 82 'Ab'", typeOf), "Ab");
  EXPECT_EQ(readFrom("c1 80", typeOf), "");
  EXPECT_EQ(readFrom("c4 00 81", sizeOf), 64);
  EXPECT_EQ(readFrom("c4 c0", sizeOf), -1);
  EXPECT_EQ(readFrom("8e 'BeginArraySize' 83", sizeOf), 3);
  EXPECT_TRUE(readFrom("c0", begun));
  EXPECT_TRUE(readFrom("8b 'BeginObject'", begun));
}

TEST_F(QUVENBinObjReaderTest, RefusesOtherKeywordsInTheirWords) {
  const auto typeReport = [&](const char* text) {
    return fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.readObjectType(QUVEN_ENV); });
  };
  const auto arrayReport = [&](const char* text) {
    return fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.expectBeginArraySize(QUVEN_ENV); });
  };
  const auto objectReport = [&](const char* text) {
    return fatalReport(bytesOf(text), [&](QUVENObjReader& r) { r.expectBeginObject(QUVEN_ENV); });
  };
  EXPECT_EQ(typeReport(""), "Syntax Error: BeginObjectType keyword expected");
  EXPECT_EQ(arrayReport(""), "Syntax Error: BeginArray or BeginArraySize keyword expected");
  EXPECT_EQ(objectReport(""), "Syntax Error: BeginObject keyword expected");
  for (const char* code : {"80", "c0", "c2", "c3", "c6", "7f 7f 7f 7f 7f 7f 7f 7f 7f 81"}) {
    EXPECT_EQ(typeReport(code), integerKeyword) << code;
  }
  for (const char* code : {"80", "c3 83", "c5", "c1"}) EXPECT_EQ(arrayReport(code), integerKeyword) << code;
  for (const char* code : {"80", "c1", "c2"}) EXPECT_EQ(objectReport(code), integerKeyword) << code;
  EXPECT_EQ(typeReport("8b 'BeginObject'"), stringKeyword);
  EXPECT_EQ(typeReport("90 'BeginObjectType' 00"), stringKeyword);
  EXPECT_EQ(arrayReport("8a 'BeginArray' 83"), stringKeyword);
  EXPECT_EQ(objectReport("8f 'BeginObjectType'"), stringKeyword);
  EXPECT_EQ(typeReport("8f 'Begin'"), readError);
  EXPECT_EQ(typeReport("c1"), readError);
  EXPECT_EQ(arrayReport("c4"), readError);
}

TEST_F(QUVENBinObjReaderTest, ReadsBlocksOfNumbersAsTheirElements) {
  for (const std::size_t count : {1, 2, 9, 10, 11, 511, 512, 513, 5000}) {
    std::mt19937_64 random(count);
    std::vector<std::int64_t> numbers(count);
    for (std::int64_t& number : numbers) number = static_cast<std::int64_t>(random() >> (random() % 64));
    const std::string bytes =
        written([&](QUVENObjWriter& w) { w.writeNumbers(std::span<const std::int64_t>(numbers), QUVEN_ENV); });
    std::vector<std::int64_t> atOnce(count);
    std::vector<std::int64_t> inTurn(count);
    readBytes(bytes, [&](QUVENObjReader& r) { r.readNumbers(std::span(atOnce), QUVEN_ENV); });
    readBytes(bytes, [&](QUVENObjReader& r) { r.QUVENObjReader::readNumbers(std::span(inTurn), QUVEN_ENV); });
    EXPECT_EQ(atOnce, numbers);
    EXPECT_EQ(inTurn, numbers);
    // Without a window, byte by byte.
    ScriptedBlobIO scripted(bytes, QUVENBlobIO::EndOfInput);
    QUVENBinObjReader reader(scripted, QUVEN_ENV);
    std::vector<std::int64_t> slowly(count);
    reader.readNumbers(std::span(slowly), QUVEN_ENV);
    EXPECT_EQ(slowly, numbers);
    if (count > 600) continue;
    for (std::size_t length = 0; length < bytes.size(); length += 1 + length / 16) {
      EXPECT_EQ(
          fatalReport(bytes.substr(0, length), [&](QUVENObjReader& r) { r.readNumbers(std::span(atOnce), QUVEN_ENV); }),
          readError);
    }
  }
}

TEST_F(QUVENBinObjReaderTest, LeavesWhatFollowsTheLastObject) {
  const std::string bytes = bytesOf("c1 8b 'QUVENObject' c2 'rest'");
  QUVENViewBlobIO blob({bytes.data(), bytes.size()});
  QUVENBinObjReader reader(blob, QUVEN_ENV);
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV);
  EXPECT_EQ(blob.getRemaining(), 4U);
  EXPECT_EQ(blob.getStatus(), QUVENBlobIO::Good);
  QUVEN_DELETE(object);
}
