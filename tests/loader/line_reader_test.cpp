#include "line_reader.h"

#include "loader_fixture.h"

namespace vesk_loader::testing {
namespace {

using Result = LineReader::Result;

struct Reading {
  std::vector<std::string> lines;
  Result end = Result::Line;
};

class LineReaderTest : public LoaderTest {
 protected:
  Reading read(const std::string& bytes, std::size_t blockSize) {
    const std::string path = folder.write("records", bytes);
    LineReader reader(blockSize);
    Reading reading;
    if (!reader.open(path)) return reading;
    Line line;
    while ((reading.end = reader.next(line)) == Result::Line) reading.lines.emplace_back(line.text, line.length);
    return reading;
  }

  // The same whatever the blocks: every block border falls everywhere.
  void expectReading(const std::string& bytes, const std::vector<std::string>& lines, Result end) {
    for (const std::size_t blockSize :
         {1UL, 2UL, 3UL, 5UL, 7UL, 64UL, 9999UL, 10000UL, 10001UL, LineReader::blockSize}) {
      const Reading reading = read(bytes, blockSize);
      EXPECT_EQ(reading.lines, lines) << "blocks of " << blockSize;
      EXPECT_EQ(reading.end, end) << "blocks of " << blockSize;
    }
  }
};

TEST_F(LineReaderTest, GivesEachLineWithoutItsLineFeed) {
  expectReading("ab\nc\n\nd\n", {"ab", "c", "", "d"}, Result::End);
}

TEST_F(LineReaderTest, DropsALastLineWithoutALineFeed) {
  expectReading("ab\ncd", {"ab"}, Result::End);
  expectReading("cd", {}, Result::End);
  expectReading("", {}, Result::End);
}

TEST_F(LineReaderTest, TakesLinesUpTo9999Characters) {
  const std::string longest(9999, 'x');
  expectReading("a\n" + longest + "\nb\n", {"a", longest, "b"}, Result::End);
}

TEST_F(LineReaderTest, FailsAtALineOf10000Characters) {
  expectReading("a\n" + std::string(10000, 'x') + "\nb\n", {"a"}, Result::Failure);
  expectReading("a\n" + std::string(20000, 'x') + "\nb\n", {"a"}, Result::Failure);
}

TEST_F(LineReaderTest, FailsAtATailOf10000CharactersAndDropsAShorterOne) {
  expectReading("a\n" + std::string(9999, 'x'), {"a"}, Result::End);
  expectReading("a\n" + std::string(10000, 'x'), {"a"}, Result::Failure);
}

TEST_F(LineReaderTest, EndsTheTextOfALineAtANulAndSkipsItsRest) {
  using namespace std::string_literals;
  expectReading("ab\0cd\nef\n\0\nghi\0"s, {"ab", "ef", ""}, Result::End);
  expectReading("ab\0"s + std::string(9996, 'x') + "\nb\n", {"ab", "b"}, Result::End);
  expectReading("ab\0"s + std::string(9997, 'x') + "\nb\n", {}, Result::Failure);
}

TEST_F(LineReaderTest, KeepsCarriageReturns) { expectReading("ab\r\ncd\r\n", {"ab\r", "cd\r"}, Result::End); }

TEST_F(LineReaderTest, ReadsManyLinesOverManyBlocks) {
  std::string bytes;
  std::vector<std::string> lines;
  for (int i = 0; i < 70000; ++i) {
    lines.push_back(std::string(static_cast<std::size_t>(i % 53), 'y') + std::to_string(i));
    bytes += lines.back() + "\n";
  }
  const Reading reading = read(bytes, LineReader::blockSize);
  EXPECT_EQ(reading.lines, lines);
  EXPECT_EQ(read(bytes, 4096).lines, lines);
}

TEST_F(LineReaderTest, DoesNotOpenADirectoryOrWhatIsNotThere) {
  LineReader reader;
  EXPECT_FALSE(reader.open(folder.path()));
  EXPECT_FALSE(reader.open(folder.path("nothing")));
}

}  // namespace
}  // namespace vesk_loader::testing
