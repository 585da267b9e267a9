#include "files/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "support/temporary_folder.h"

namespace vesk_files {
namespace {

// The examples of FIPS 180-2, appendix B, and the hash of no bytes.
const std::string ofNothing = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
const std::string ofAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
const std::string ofTwoBlocks = "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1";
const std::string ofMillionLetters = "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";

TEST(Sha256, OfKnownTexts) {
  EXPECT_EQ(sha256OfText(""), ofNothing);
  EXPECT_EQ(sha256OfText("abc"), ofAbc);
  EXPECT_EQ(sha256OfText("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"), ofTwoBlocks);
  EXPECT_EQ(sha256OfText(std::string(1000000, 'a')), ofMillionLetters);
}

TEST(Sha256, OfPiecesIsThatOfTheWhole) {
  Sha256 hash;
  for (int i = 0; i < 1000000;) {
    const int size = i % 999 + 1;
    const std::string piece(static_cast<std::size_t>(std::min(size, 1000000 - i)), 'a');
    hash.update(piece.data(), piece.size());
    i += static_cast<int>(piece.size());
  }
  EXPECT_EQ(hash.finish(), ofMillionLetters);
}

TEST(Sha256, StartsAnewAfterItsEnd) {
  Sha256 hash;
  hash.update("abc", 3);
  EXPECT_EQ(hash.finish(), ofAbc);
  EXPECT_EQ(hash.finish(), ofNothing);
  hash.update("abc", 3);
  Sha256 moved = std::move(hash);
  EXPECT_EQ(moved.finish(), ofAbc);
}

TEST(Sha256, OfAFileIsThatOfItsBytes) {
  const TemporaryFolder folder;
  EXPECT_EQ(sha256OfFile(folder.write("abc", "abc")), ofAbc);
  EXPECT_EQ(sha256OfFile(folder.write("empty", "")), ofNothing);
  std::string large(3 * (std::size_t{1} << 20) + 1, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 7 % 251);
  EXPECT_EQ(sha256OfFile(folder.write("large", large)), sha256OfText(large));
}

TEST(Sha256, OfAFileThatCannotBeReadNamesIt) {
  const TemporaryFolder folder;
  for (const std::string& path : {folder.path("none"), folder.path()}) {
    try {
      sha256OfFile(path);
      ADD_FAILURE() << path;
    } catch (const std::runtime_error& error) {
      EXPECT_TRUE(std::string(error.what()).starts_with(path + ": cannot ")) << error.what();
    }
  }
}

TEST(Sha256, IsKnownByItsForm) {
  EXPECT_TRUE(isSha256(ofAbc));
  EXPECT_FALSE(isSha256(""));
  EXPECT_FALSE(isSha256(ofAbc.substr(1)));
  EXPECT_FALSE(isSha256(ofAbc + "0"));
  for (const char wrong : {'A', 'g', ' ', '/', ':', '`', '\0'}) {
    std::string text = ofAbc;
    text[63] = wrong;
    EXPECT_FALSE(isSha256(text)) << wrong;
  }
}

}  // namespace
}  // namespace vesk_files
