#include "util/quven_obj_reader.h"

#include <deque>

#include "stream_language.h"

namespace {

constexpr const char* unexpectedKeyword = "Input keyword does not match expected keyword(s)";

/// A keyword in one of the forms that a stream may have it in.
struct Item {
  enum Form { Code, LevelAndOrdinal, Name } form;
  std::int64_t first = 0;
  std::int32_t second = 0;
  std::string text = {};
};

Item code(std::int64_t number) { return {Item::Code, number}; }
Item level(int classLevel, int ordinal) { return {Item::LevelAndOrdinal, classLevel, ordinal}; }
Item name(const char* text) { return {Item::Name, 0, 0, text}; }

const Item endObject = name("EndObject");
const Item endArray = level(0, 6);

/// A reader of a form that the tests write as they need it: a list of keywords, one of numbers and one of texts.
class ListReader : public QUVENObjReader {
 public:
  ListReader(std::initializer_list<Item> someKeywords, const QUVENEnvHandle& env)
      : QUVENObjReader(env), keywords(someKeywords) {}

  void readNextKeyword(const QUVENEnvHandle& env) override {
    if (keywords.empty()) return bufferEnd();
    const Item item = keywords.front();
    keywords.pop_front();
    if (item.form == Item::Code) {
      bufferCode(item.first);
    } else if (item.form == Item::LevelAndOrdinal) {
      bufferLevelAndOrdinal(static_cast<std::int32_t>(item.first), item.second);
    } else {
      bufferName(item.text, QUVEN_ENV);
    }
  }
  std::int64_t nextNumber() {
    const std::int64_t number = numbers.at(0);
    numbers.pop_front();
    return number;
  }
  std::int8_t readSignedByte(const QUVENEnvHandle&) override { return static_cast<std::int8_t>(nextNumber()); }
  std::uint8_t readUnsignedByte(const QUVENEnvHandle&) override { return static_cast<std::uint8_t>(nextNumber()); }
  std::uint64_t readUnsignedVarint(const QUVENEnvHandle&) override { return static_cast<std::uint64_t>(nextNumber()); }
  std::int64_t readSignedVarint(const QUVENEnvHandle&) override { return nextNumber(); }
  double readDouble(const QUVENEnvHandle&) override { return static_cast<double>(nextNumber()); }
  void readString(std::string& value, const QUVENEnvHandle&) override {
    value = texts.at(0);
    texts.pop_front();
  }
  const QUVENStringWithHash& readObjectType(const QUVENEnvHandle& env) override {
    std::string text;
    readString(text, QUVEN_ENV);
    type.assign(text);
    return type;
  }
  void expectBeginObject(const QUVENEnvHandle&) override {}
  std::int64_t expectBeginArraySize(const QUVENEnvHandle&) override { return nextNumber(); }
  bool atArrayEnd(const QUVENEnvHandle& env) override {
    if (elements < 0) return QUVENObjReader::atArrayEnd(QUVEN_ENV);
    return elements-- == 0;
  }
  void reportUnexpectedKeyword(const QUVENEnvHandle& env) override {
    ++unexpected;
    if (!skipsUnknown) QUVENObjReader::reportUnexpectedKeyword(QUVEN_ENV);
  }
  using QUVENObjReader::Buffered;
  using QUVENObjReader::NothingBuffered;

  std::deque<Item> keywords;
  std::deque<std::int64_t> numbers;
  std::deque<std::string> texts;
  int elements = -1;  // of an array of unknown length
  bool skipsUnknown = false;
  int unexpected = 0;

 private:
  QUVENStringWithHash type;
};

/// Counts how often it is asked to take a member.
class CountingLeaf : public QUVENTestLeaf {
 public:
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override {
    QUVENTestLeaf::readPrimitive(reader, QUVEN_ENV);
    ++asked;
  }
  int asked = 0;
};

class QUVENObjReaderTest : public ObjectStreamTest {
 protected:
  bool matches(const Item& item, const QUVENKeyword& keyword) {
    ListReader reader({item}, QUVEN_ENV);
    return reader.keywordMatches(keyword, QUVEN_ENV);
  }
  const QUVENKeyword& leafNumber = QUVENTestLeaf::keywords()[0];
  const QUVENKeyword& leafText = QUVENTestLeaf::keywords()[1];
  const QUVENKeyword& weight = QUVENTestDerived::keywords()[0];
  const QUVENKeyword mark = QUVENKeyword::name("ScanResult");
};

}  // namespace

TEST_F(QUVENObjReaderTest, MatchesByTheFormOfTheKeyword) {
  EXPECT_TRUE(matches(code(7), leafNumber));
  EXPECT_FALSE(matches(code(8), leafNumber));
  EXPECT_TRUE(matches(code(9), weight));
  EXPECT_TRUE(matches(level(1, 2), leafText));
  EXPECT_FALSE(matches(level(1, 1), leafText));
  EXPECT_TRUE(matches(level(2, 1), weight));
  EXPECT_FALSE(matches(level(1, 1), weight));
  EXPECT_TRUE(matches(name("ivNumber"), leafNumber));
  EXPECT_FALSE(matches(name("ivnumber"), leafNumber));
  EXPECT_TRUE(matches(name("weight"), weight));
  EXPECT_FALSE(matches(name("ivWeight"), weight));
  EXPECT_TRUE(matches(name("ScanResult"), mark));
  EXPECT_TRUE(matches(code(3), QUVEN_KWD(EndObject)));
  EXPECT_TRUE(matches(level(0, 3), QUVEN_KWD(EndObject)));
  EXPECT_FALSE(matches(code(std::int64_t{3} << 32), QUVEN_KWD(EndObject)));
  EXPECT_FALSE(matches(code((std::int64_t{1} << 32) + 3), QUVEN_KWD(EndObject)));
}

// A foreign stream may hold the integer 0; it is no name.
TEST_F(QUVENObjReaderTest, TheCodeZeroIsNoName) { EXPECT_FALSE(matches(code(0), mark)); }

TEST_F(QUVENObjReaderTest, AMismatchLeavesTheKeywordForTheNextTest) {
  ListReader reader({code(8), code(7)}, QUVEN_ENV);
  EXPECT_TRUE(reader.isKeywordTaken());
  EXPECT_FALSE(reader.keywordMatches(leafNumber, QUVEN_ENV));
  EXPECT_FALSE(reader.isKeywordTaken());
  EXPECT_FALSE(reader.keywordMatches(QUVEN_KWD(EndObject), QUVEN_ENV));
  EXPECT_TRUE(reader.keywordMatches(leafText, QUVEN_ENV));
  EXPECT_EQ(reader.getKeywordsRead(), 1);
}

TEST_F(QUVENObjReaderTest, AMatchedKeywordStaysUntilItIsTaken) {
  ListReader reader({code(8), code(7)}, QUVEN_ENV);
  EXPECT_TRUE(reader.keywordMatches(leafText, QUVEN_ENV));
  EXPECT_FALSE(reader.isKeywordTaken());
  EXPECT_TRUE(reader.keywordMatches(leafText, QUVEN_ENV));
  EXPECT_FALSE(reader.keywordMatches(leafNumber, QUVEN_ENV));
  // From now on the names count: the keyword of another class with this name matches.
  const QUVENKeyword ofAnotherClass("ivText", 5, 9, QUVEN_KWD(EndArray));
  EXPECT_TRUE(reader.keywordMatches(ofAnotherClass, QUVEN_ENV));
  EXPECT_TRUE(reader.keywordMatches(leafText, QUVEN_ENV));
  EXPECT_EQ(reader.getKeywordsRead(), 1);
  reader.takeKeyword();
  EXPECT_TRUE(reader.isKeywordTaken());
  EXPECT_TRUE(reader.keywordMatches(leafNumber, QUVEN_ENV));
  EXPECT_EQ(reader.getKeywordsRead(), 2);
}

TEST_F(QUVENObjReaderTest, NothingMatchesAtTheEnd) {
  ListReader reader({}, QUVEN_ENV);
  EXPECT_FALSE(reader.isAtEnd());
  EXPECT_FALSE(reader.keywordMatches(QUVEN_KWD(EndObject), QUVEN_ENV));
  EXPECT_TRUE(reader.isAtEnd());
  EXPECT_FALSE(reader.isKeywordTaken());
  EXPECT_FALSE(reader.keywordMatches(mark, QUVEN_ENV));
  EXPECT_EQ(reader.getKeywordsRead(), 1);
}

TEST_F(QUVENObjReaderTest, AMemberIsReadWhenItsKeywordComes) {
  ListReader reader({code(8), code(7)}, QUVEN_ENV);
  reader.numbers = {5};
  reader.texts = {"text"};
  std::int32_t number = -1;
  std::string text;
  EXPECT_FALSE(quvenRead(reader, leafNumber, number, QUVEN_ENV));
  EXPECT_TRUE(quvenRead(reader, leafText, text, QUVEN_ENV));
  EXPECT_TRUE(reader.isKeywordTaken());
  EXPECT_TRUE(quvenRead(reader, leafNumber, number, QUVEN_ENV));
  EXPECT_EQ(number, 5);
  EXPECT_EQ(text, "text");
}

TEST_F(QUVENObjReaderTest, ReadsABodyInAnyOrderAndForm) {
  ListReader reader({level(2, 4), name("weight"), code(8), level(1, 1), code(7), endObject}, QUVEN_ENV);
  reader.numbers = {44, 2, 5, 6};
  reader.texts = {"text"};
  QUVENTestDerived object;
  reader.readObjectBody(object, QUVEN_ENV);
  EXPECT_EQ(object.ivLast, 44U);
  EXPECT_EQ(object.ivWeight, 2);
  EXPECT_EQ(object.ivText, "text");
  EXPECT_EQ(object.ivNumber, 6);  // the last one wins
  EXPECT_EQ(object.ivLimit, 5);
  EXPECT_EQ(object.postReads, 1);
  EXPECT_EQ(reader.getDepth(), 0);
  EXPECT_EQ(reader.getKeywordsRead(), 6);
}

TEST_F(QUVENObjReaderTest, ABodyWithoutMembersIsReadOnce) {
  ListReader reader({endObject}, QUVEN_ENV);
  QUVENTestDerived object;
  reader.readObjectBody(object, QUVEN_ENV);
  EXPECT_EQ(object.postReads, 1);
  EXPECT_EQ(reader.getKeywordsRead(), 1);
}

TEST_F(QUVENObjReaderTest, AnUnknownKeywordOrTheEndInABodyIsFatal) {
  for (const auto& keywords : std::initializer_list<std::initializer_list<Item>>{
           {code(99), endObject}, {code(7), code(13), endObject}, {name("ivOther"), endObject}, {}, {code(7)}}) {
    ListReader reader(keywords, QUVEN_ENV);
    reader.numbers = {1};
    QUVENTestDerived object;
    const CapturedRun run = capturedRun([&] { reader.readObjectBody(object, QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_EQ(reportOf(run), unexpectedKeyword);
    EXPECT_EQ(reader.unexpected, 1);
    EXPECT_EQ(object.postReads, 0);
    EXPECT_EQ(quvenDebugWords.error, 0);
  }
}

// The test for the end has read the keyword in the first round, so that only the second one sees that nobody took it.
TEST_F(QUVENObjReaderTest, AnUnknownKeywordIsReportedInItsSecondRound) {
  ListReader reader({code(7), code(99), endObject}, QUVEN_ENV);
  reader.numbers = {1};
  CountingLeaf object;
  EXPECT_TRUE(capturedRun([&] { reader.readObjectBody(object, QUVEN_ENV); }).threwLibraryException);
  EXPECT_EQ(object.asked, 3);
}

TEST_F(QUVENObjReaderTest, AFormMaySkipUnknownKeywords) {
  ListReader reader({code(99), code(7), name("ivOther"), code(98), endObject}, QUVEN_ENV);
  reader.skipsUnknown = true;
  reader.numbers = {3};
  QUVENTestLeaf object;
  reader.readObjectBody(object, QUVEN_ENV);
  EXPECT_EQ(object.ivNumber, 3);
  EXPECT_EQ(reader.unexpected, 3);
  EXPECT_FALSE(reader.canSkipUnknown());
}

// A form that skips what it does not know once went round and round at the end of its input.
TEST_F(QUVENObjReaderTest, NoFormSkipsTheEndOfItsInput) {
  ListReader reader({code(99)}, QUVEN_ENV);
  reader.skipsUnknown = true;
  QUVENTestLeaf object;
  const CapturedRun run = capturedRun([&] { reader.readObjectBody(object, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), unexpectedKeyword);
  EXPECT_EQ(reader.unexpected, 2);
}

TEST_F(QUVENObjReaderTest, ReadsAnArrayOfKnownLength) {
  ListReader reader({endArray}, QUVEN_ENV);
  reader.numbers = {3, 7, 8, 9};
  QUVENXaRay<std::int32_t> array;
  QUVENStreamValue<QUVENXaRay<std::int32_t>>::read(reader, array, QUVEN_ENV);
  EXPECT_EQ(std::vector<int>(array.begin(), array.end()), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(reader.getDepth(), 0);
  QUVEN_DELETE(array);
}

TEST_F(QUVENObjReaderTest, ReadsAnArrayOfUnknownLengthUntilItsEnd) {
  for (const int length : {0, 1, 5}) {
    ListReader reader({endArray}, QUVEN_ENV);
    reader.numbers = {-1, 7, 8, 9, 10, 11};
    reader.elements = length;
    QUVENXaRay<std::int32_t> array;
    for (int i = 1; i <= 3; ++i) array.append(-i, QUVEN_ENV);
    QUVENStreamValue<QUVENXaRay<std::int32_t>>::read(reader, array, QUVEN_ENV);
    std::vector<int> expected = {7, 8, 9, 10, 11};
    expected.resize(static_cast<std::size_t>(length));
    EXPECT_EQ(std::vector<int>(array.begin(), array.end()), expected);
    QUVEN_DELETE(array);
  }
}

TEST_F(QUVENObjReaderTest, AnArrayOfUnknownLengthIsNotInEveryForm) {
  ListReader reader({endArray}, QUVEN_ENV);
  reader.numbers = {-1, 7};
  QUVENXaRay<std::int32_t> array;
  const CapturedRun run =
      capturedRun([&] { QUVENStreamValue<QUVENXaRay<std::int32_t>>::read(reader, array, QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "Function/Feature not yet implemented");
  EXPECT_EQ(quvenDebugWords.error, 0);
}

TEST_F(QUVENObjReaderTest, AnArrayWithoutItsEndIsAnAssertionFailure) {
  for (const auto& keywords : std::initializer_list<std::initializer_list<Item>>{{}, {code(3)}, {name("ivNumber")}}) {
    quvenDebugWords = QUVENDebugWords();
    ListReader reader(keywords, QUVEN_ENV);
    reader.beginArrayElements();
    EXPECT_EQ(reader.getDepth(), 1);
    const CapturedRun run = capturedRun([&] { reader.endArrayElements(QUVEN_ENV); });
    EXPECT_TRUE(run.threwLibraryException);
    EXPECT_EQ(reportOf(run),
              "ASSERTION FAILED (reader.keywordMatches (QUVEN_KWD(EndArray), QUVEN_ENV))\n"
              "    PROBABLE CAUSE: Syntax Error: EndArray keyword expected");
    EXPECT_EQ(quvenDebugWords.error, 1);
  }
}

TEST_F(QUVENObjReaderTest, AFactoryThatMakesNothingIsAnAssertionFailure) {
  const QUVENTypeName nothing("QUVENTestNothing", [](QUVENOwnPtr<QUVENObject>&, const QUVENEnvHandle&) {});
  ListReader reader({endObject}, QUVEN_ENV);
  reader.texts = {"QUVENTestNothing"};
  QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { quvenReadObject(reader, object, QUVENObject::typeName(), QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "ASSERTION FAILED (objPtr != 0)");
  EXPECT_TRUE(object == nullptr);
}

TEST_F(QUVENObjReaderTest, AnUnknownTypeIsFatal) {
  ListReader reader({}, QUVEN_ENV);
  const CapturedRun run = capturedRun([&] { reader.reportUnknownObjectType(QUVEN_ENV); });
  EXPECT_TRUE(run.threwLibraryException);
  EXPECT_EQ(reportOf(run), "Input object type does not match known object types");
}

TEST_F(QUVENObjReaderTest, GivesBackWhatWasNotedUnderAName) {
  const QUVENStringWithHash first("First");
  const QUVENStringWithHash second("Second");
  ListReader reader({}, QUVEN_ENV);
  int one = 1;
  int two = 2;
  int* found = &one;
  reader.getBackPointer(found, first);
  EXPECT_EQ(found, nullptr);
  reader.putBackPointer(first, &one, QUVEN_ENV);
  reader.putBackPointer(second, &two, QUVEN_ENV);
  reader.getBackPointer(found, first);
  EXPECT_EQ(found, &one);
  reader.getBackPointer(found, QUVENStringWithHash("Second"));
  EXPECT_EQ(found, &two);
  reader.putBackPointer(first, &two, QUVEN_ENV);
  reader.getBackPointer(found, first);
  EXPECT_EQ(found, &two);
  reader.putBackPointer(first, nullptr, QUVEN_ENV);
  reader.getBackPointer(found, first);
  EXPECT_EQ(found, nullptr);
  EXPECT_GT(environment.getBytesInUse(), 0);
}

// The table was charged to the environment of the call and given back to that of the reader.
TEST_F(QUVENObjReaderTest, KeepsItsTableInTheEnvironmentOfItsConstruction) {
  QUVENEnv other;
  other.activate();
  {
    ListReader reader({}, QUVEN_ENV);
    int one = 1;
    reader.putBackPointer(QUVENStringWithHash("First"), &one, QUVENEnvHandle(other, __FILE__, __LINE__, __func__));
    EXPECT_EQ(other.getBytesInUse(), 0);
    EXPECT_GT(environment.getBytesInUse(), 0);
  }
  EXPECT_EQ(other.getBytesInUse(), 0);
}
