#include "util/quven_stream_values.h"

#include "stream_language.h"

namespace {

constexpr const char* readError = "BLOB Binary I/O Read Error";

enum class Colour : std::int16_t { Red = -1, Blue = 7 };
enum Plain : std::uint8_t { PlainValue = 200 };

class QUVENStreamValuesTest : public ObjectStreamTest {
 protected:
  template <class T>
  std::string valueHex(const T& value) {
    return hexOf(valueImage(value));
  }
  template <class T>
  T valueFrom(std::string_view text, T value = {}) {
    EXPECT_FALSE(readValue(bytesOf(text), value).threwLibraryException) << text;
    return value;
  }

  /// An array of numbers of one type is written, read and compared, at the sizes around the chunks of conversion.
  template <class T>
  void expectArraysTravel() {
    for (const long size : {0, 1, 255, 256, 257, 511, 512, 513, 5000}) {
      std::mt19937_64 random(static_cast<std::uint64_t>(size));
      QUVENXaRay<T> array;
      array.setSize(size, QUVEN_ENV);
      for (T& element : array) element = static_cast<T>(random() >> (random() % 64));
      // The image by hand: frame, count, each element as if it stood alone, frame.
      std::string expected = bytesOf("c4") + valueImage<std::int64_t>(size);
      for (const T element : array) expected += valueImage<T>(element);
      expected += bytesOf("c5");
      const std::string bytes = valueImage(array);
      EXPECT_TRUE(bytes == expected) << size;
      QUVENXaRay<T> read;
      read.append(T{}, QUVEN_ENV);  // gone when the array is set to its size
      EXPECT_FALSE(readValue(bytes, read).threwLibraryException);
      EXPECT_EQ(std::vector<T>(read.begin(), read.end()), std::vector<T>(array.begin(), array.end())) << size;
      QUVEN_DELETE(read);
      QUVEN_DELETE(array);
    }
  }

  template <class Array>
  std::string arrayReport(std::string_view text) {
    Array array;
    const std::string report = fatalReport(
        bytesOf(text), [&](QUVENObjReader& reader) { QUVENStreamValue<Array>::read(reader, array, QUVEN_ENV); });
    QUVEN_DELETE(array);
    return report;
  }
};

}  // namespace

TEST_F(QUVENStreamValuesTest, NumbersGoInTheFormOfTheirKind) {
  EXPECT_EQ(valueHex(std::int8_t{-1}), "ff");
  EXPECT_EQ(valueHex('A'), "41");
  EXPECT_EQ(valueHex(std::uint8_t{200}), "c8");
  EXPECT_EQ(valueHex(true), "01");
  EXPECT_EQ(valueHex(false), "00");
  EXPECT_EQ(valueHex(std::int16_t{64}), "00 81");
  EXPECT_EQ(valueHex(std::uint16_t{64}), "c0");
  EXPECT_EQ(valueHex(64), "00 81");
  EXPECT_EQ(valueHex(64U), "c0");
  EXPECT_EQ(valueHex(std::int64_t{-65}), "40 81");
  EXPECT_EQ(valueHex(128ULL), "00 81");
  EXPECT_EQ(valueHex(1.0F), "00 00 00 00 00 00 f0 3f");
  EXPECT_EQ(valueHex(0.1F), hexOf(rawDouble(static_cast<double>(0.1F))));
  EXPECT_EQ(valueHex(0.1), hexOf(rawDouble(0.1)));
}

TEST_F(QUVENStreamValuesTest, EnumerationsGoAsTheirNumber) {
  EXPECT_EQ(valueHex(Colour::Red), "c0");
  EXPECT_EQ(valueHex(PlainValue), "c8");
  EXPECT_EQ(valueFrom<Colour>("87"), Colour::Blue);
  EXPECT_EQ(valueFrom<Plain>("c8"), PlainValue);
  EXPECT_EQ(QUVENStreamValue<Colour>::describe().describe(), "16-bit integer");
}

TEST_F(QUVENStreamValuesTest, StringsGoWithTheirLength) {
  EXPECT_EQ(valueHex(std::string("ab")), hexOfText("82 'ab'"));
  EXPECT_EQ(valueHex(QUVENStringWithHash("ab")), hexOfText("82 'ab'"));
  EXPECT_EQ(valueHex(std::string()), "80");
  EXPECT_EQ(valueFrom<std::string>("82 'ab'", "old"), "ab");
  EXPECT_EQ(valueFrom<std::string>("80", "old"), "");
  QUVENStringWithHash text("old");
  EXPECT_NE(text.hash(), QUVENStringWithHash::hashOf("ab"));
  readValue(bytesOf("82 'ab'"), text);
  EXPECT_EQ(text.hash(), QUVENStringWithHash::hashOf("ab"));  // that of the new text
}

TEST_F(QUVENStreamValuesTest, NarrowNumbersSaturateOnTheirWayBack) {
  EXPECT_EQ(valueFrom<std::int32_t>("00 00 00 00 90"), 2147483647);       // 2^31
  EXPECT_EQ(valueFrom<std::int32_t>("40 00 00 00 90"), -2147483647 - 1);  // -2^31 - 1
  EXPECT_EQ(valueFrom<std::int16_t>("00 00 84"), 32767);                  // 2^15
  EXPECT_EQ(valueFrom<std::uint32_t>("7f 7f 7f 7f 7f 7f 7f 7f 7f 81"), 4294967295U);
  EXPECT_EQ(valueFrom<std::uint16_t>("00 00 84"), 65535U);  // 2^16
  EXPECT_EQ(valueFrom<float>("00 00 00 00 00 00 f0 7f"), std::numeric_limits<float>::max());
  EXPECT_EQ(valueFrom<bool>("02"), true);
}

TEST_F(QUVENStreamValuesTest, NarrowElementsSaturateAlike) {
  QUVENXaRay<std::int64_t> wide;
  for (const std::int64_t number : {std::int64_t{1} << 40, -(std::int64_t{1} << 40), std::int64_t{5}}) {
    wide.append(number, QUVEN_ENV);
  }
  QUVENXaRay<std::int32_t> narrow;
  readValue(valueImage(wide), narrow);
  EXPECT_EQ(std::vector<int>(narrow.begin(), narrow.end()), (std::vector<int>{2147483647, -2147483647 - 1, 5}));
  QUVEN_DELETE(wide);
  QUVEN_DELETE(narrow);
}

TEST_F(QUVENStreamValuesTest, ArraysOfNumbersTravelAtAllSizes) {
  expectArraysTravel<std::int8_t>();
  expectArraysTravel<std::uint8_t>();
  expectArraysTravel<char>();
  expectArraysTravel<bool>();
  expectArraysTravel<std::int16_t>();
  expectArraysTravel<std::uint16_t>();
  expectArraysTravel<std::int32_t>();
  expectArraysTravel<std::uint32_t>();
  expectArraysTravel<std::int64_t>();
  expectArraysTravel<std::uint64_t>();
  expectArraysTravel<long long>();
  expectArraysTravel<float>();
  expectArraysTravel<double>();
}

TEST_F(QUVENStreamValuesTest, ArraysOfStringsTravel) {
  for (const int size : {0, 1, 2, 300}) {
    QUVENXaRay<std::string, 0> array;
    std::string expected = bytesOf("c4") + valueImage(size);
    for (int i = 1; i <= size; ++i) {
      const std::string text(static_cast<std::size_t>(i % 70), 'x');
      array.append(text, QUVEN_ENV);
      expected += valueImage(text);
    }
    EXPECT_TRUE(valueImage(array) == expected + bytesOf("c5"));
    QUVENXaRay<std::string, 0> read;
    readValue(valueImage(array), read);
    EXPECT_TRUE(std::equal(read.begin(), read.end(), array.begin(), array.end()));
    QUVEN_DELETE(array);
    QUVEN_DELETE(read);
  }
}

TEST_F(QUVENStreamValuesTest, ArraysOfArraysTravel) {
  QUVENXaRay<QUVENXaRay<std::int32_t>, 0> table;
  table.setSize(3, QUVEN_ENV);
  table[1].append(1, QUVEN_ENV);
  table[3].append(2, QUVEN_ENV);
  table[3].append(64, QUVEN_ENV);
  const std::string bytes = valueImage(table);
  EXPECT_EQ(hexOf(bytes), "c4 83 c4 81 81 c5 c4 80 c5 c4 82 82 00 81 c5 c5");
  QUVENXaRay<QUVENXaRay<std::int32_t>, 0> read;
  readValue(bytes, read);
  EXPECT_EQ(valueImage(read), bytes);
  EXPECT_EQ((QUVENStreamValue<QUVENXaRay<QUVENXaRay<std::int32_t>, 0>>::describe().describe()),
            "array of array of 32-bit integer");
  QUVEN_DELETE(table);
  QUVEN_DELETE(read);
}

TEST_F(QUVENStreamValuesTest, ArraysOfOwnedObjectsTravelWithTheirGaps) {
  QUVENXaRay<QUVENOwnPtr<QUVENTestLeaf>, 0> array;
  array.setSize(3, QUVEN_ENV);
  array[2] = quvenMake<QUVENTestLeaf>(QUVEN_ENV);
  const std::string bytes = valueImage(array);
  EXPECT_EQ(hexOf(bytes), hexOfText("c4 83 c1 80 c1 8d 'QUVENTestLeaf' c6 80 c7 80 c2 c1 80 c5"));
  QUVENXaRay<QUVENOwnPtr<QUVENTestLeaf>, 0> read;
  read.append(quvenMake<QUVENTestLeaf>(QUVEN_ENV), QUVEN_ENV);
  readValue(bytes, read);
  ASSERT_EQ(read.getSize(), 3);
  EXPECT_EQ(read[1].get(), nullptr);
  EXPECT_EQ(valueImage(read), bytes);
  QUVEN_DELETE(array);
  QUVEN_DELETE(read);
}

TEST_F(QUVENStreamValuesTest, ACountBeyondTheRestIsAReadErrorBeforeAnyAllocation) {
  environment.setBytesBudget(1);
  EXPECT_EQ(arrayReport<QUVENXaRay<std::uint8_t>>("c4 84 01 02 c5"), readError);
  EXPECT_EQ(arrayReport<QUVENXaRay<std::int32_t>>("c4 85 81 82 83 c5"), readError);
  EXPECT_EQ(arrayReport<QUVENXaRay<double>>("c4 82 00 00 00 00 00 00 00 00 c5"), readError);
  EXPECT_EQ(arrayReport<QUVENXaRay<float>>("c4 82 00 00 00 00 00 00 00 00 c5"), readError);
  EXPECT_EQ((arrayReport<QUVENXaRay<std::string, 0>>("c4 83 80 c5")), readError);
  EXPECT_EQ((arrayReport<QUVENXaRay<QUVENTestLeaf, 0>>("c4 82 c1 81 'Q' c2 c5")), readError);
  EXPECT_EQ((arrayReport<QUVENXaRay<QUVENOwnPtr<QUVENTestLeaf>, 0>>("c4 82 c1 80 c5")), readError);
  EXPECT_EQ((arrayReport<QUVENXaRay<QUVENXaRay<char>, 0>>("c4 82 c4 80 c5 c5")), readError);
  EXPECT_EQ(arrayReport<QUVENXaRay<std::int32_t>>("c4 3f 7f 7f 7f 7f 7f 7f 7f 7f 81 81 c5"), readError);
  environment.setBytesBudget(0);
}

// Of a pipe nobody knows the rest: the whole array was once made on the word of its count.
TEST_F(QUVENStreamValuesTest, ACountOfAnUnknownRestCostsOnlyWhatArrives) {
  environment.setBytesBudget(1 << 20);
  ScriptedBlobIO blob(bytesOf("c4 3f 7f 7f 7f 8f") + rawDouble(1), QUVENBlobIO::EndOfInput);  // 2^31 - 1 of them
  const CapturedRun run = capturedRun([&] {
    QUVENXaRay<double> array;
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    QUVENStreamValue<QUVENXaRay<double>>::read(reader, array, QUVEN_ENV);
  });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), readError);
  environment.setBytesBudget(0);
}

TEST_F(QUVENStreamValuesTest, ArraysOfAnUnknownRestTravelAtAllSizes) {
  for (const long size : {0, 1, 4095, 4096, 4097, 8192, 8193, 30000}) {
    QUVENXaRay<std::int32_t> numbers;
    QUVENXaRay<std::string, 0> texts;
    for (long i = 1; i <= size; ++i) {
      numbers.append(static_cast<std::int32_t>(i * 7919), QUVEN_ENV);
      texts.append(std::to_string(i), QUVEN_ENV);
    }
    for (const long before : {0, 5000, 40000}) {
      QUVENXaRay<std::int32_t> numbersRead;
      QUVENXaRay<std::string, 0> textsRead;
      numbersRead.setSize(before, QUVEN_ENV);
      textsRead.setSize(before, QUVEN_ENV);
      ScriptedBlobIO blob(valueImage(numbers) + valueImage(texts), QUVENBlobIO::EndOfInput);
      QUVENBinObjReader reader(blob, QUVEN_ENV);
      QUVENStreamValue<QUVENXaRay<std::int32_t>>::read(reader, numbersRead, QUVEN_ENV);
      QUVENStreamValue<QUVENXaRay<std::string, 0>>::read(reader, textsRead, QUVEN_ENV);
      EXPECT_TRUE(valueImage(numbersRead) == valueImage(numbers)) << size << " over " << before;
      EXPECT_TRUE(valueImage(textsRead) == valueImage(texts)) << size << " over " << before;
      QUVEN_DELETE(numbersRead);
      QUVEN_DELETE(textsRead);
    }
    QUVEN_DELETE(numbers);
    QUVEN_DELETE(texts);
  }
}

TEST_F(QUVENStreamValuesTest, ANegativeCountIsNotImplemented) {
  EXPECT_EQ(arrayReport<QUVENXaRay<std::int32_t>>("c4 c0 81 c5"), "Function/Feature not yet implemented");
  EXPECT_EQ(arrayReport<QUVENXaRay<double>>("c4 7f 7f 7f 7f 7f 7f 7f 7f 7f 81 c5"),
            "Function/Feature not yet implemented");
}

TEST_F(QUVENStreamValuesTest, AnArrayWithoutItsEndIsAnAssertionFailure) {
  for (const char* text : {"c4 81 81 81 c5", "c4 80 81 'x'", "c4 80 c2", "c4 80"}) {
    quvenDebugWords = QUVENDebugWords();
    QUVENXaRay<std::int32_t> array;
    const CapturedRun run = readValue(bytesOf(text), array);
    EXPECT_TRUE(run.threwLibraryException) << text;
    EXPECT_TRUE(reportOf(run).ends_with("Syntax Error: EndArray keyword expected")) << text;
    EXPECT_EQ(quvenDebugWords.error, 1);
    QUVEN_DELETE(array);
  }
}

TEST_F(QUVENStreamValuesTest, TheFrameOfAnArrayMayComeAsText) {
  QUVENXaRay<std::int32_t> array;
  EXPECT_FALSE(readValue(bytesOf("8e 'BeginArraySize' 81 85 88 'EndArray'"), array).threwLibraryException);
  EXPECT_EQ(array[1], 5);
  QUVEN_DELETE(array);
}

TEST_F(QUVENStreamValuesTest, DescribesItsTypes) {
  EXPECT_EQ(QUVENStreamValue<bool>::describe().describe(), "boolean byte");
  EXPECT_EQ(QUVENStreamValue<char>::describe().describe(), "8-bit integer");
  EXPECT_EQ(QUVENStreamValue<std::uint8_t>::describe().describe(), "unsigned 8-bit integer");
  EXPECT_EQ(QUVENStreamValue<std::int64_t>::describe().describe(), "64-bit integer");
  EXPECT_EQ(QUVENStreamValue<float>::describe().describe(), "float");
  EXPECT_EQ(QUVENStreamValue<double>::describe().describe(), "double");
  EXPECT_EQ(QUVENStreamValue<std::string>::describe().describe(), "string");
  EXPECT_EQ(QUVENStreamValue<QUVENStringWithHash>::describe().describe(), "string");
  EXPECT_EQ(QUVENStreamValue<QUVENTestLeaf>::describe().describe(), "QUVENTestLeaf");
  EXPECT_EQ(QUVENStreamValue<QUVENOwnPtr<QUVENTestLeaf>>::describe().describe(), "owned QUVENTestLeaf");
  EXPECT_EQ((QUVENStreamValue<QUVENXaRay<QUVENTestLeaf, 0>>::describe().describe()), "array of QUVENTestLeaf");
  EXPECT_EQ(QUVENMemberType().describe(), "not in streams");
  EXPECT_EQ((QUVENMemberType{QUVENValueKind::Reference, 0, 1, nullptr}.describe()), "array of reference by name");
}
