#include "util/quven_string.h"

#include <string_view>

TEST(QUVENStringWithHash, RemembersItsHashUntilTheTextChanges) {
  QUVENStringWithHash text("QUVENObject");
  EXPECT_FALSE(text.isHashValid());
  EXPECT_EQ(text.hash(), 74644401U);  // as of hashBytes of the eleven characters
  EXPECT_TRUE(text.isHashValid());
  text.append("x");
  EXPECT_FALSE(text.isHashValid());
  EXPECT_NE(text.hash(), 74644401U);
  text.assign("abc");
  EXPECT_FALSE(text.isHashValid());
  EXPECT_EQ(text.hash(), 85451877U);
  text.clear();
  EXPECT_FALSE(text.isHashValid());
  EXPECT_EQ(text.hash(), 1772156499U);
}

TEST(QUVENStringWithHash, ComparesByText) {
  const QUVENStringWithHash a("a");
  const QUVENStringWithHash b("b");
  EXPECT_EQ(a, QUVENStringWithHash("a"));
  EXPECT_NE(a, b);
  EXPECT_LT(a, b);
  EXPECT_EQ(a, std::string_view("a"));
  EXPECT_STREQ(a.c_str(), "a");
  EXPECT_EQ(a.getLength(), 1);
  EXPECT_TRUE(QUVENStringWithHash().isEmpty());
}

TEST(QUVENStringWithHash, KeepsTheHashInACopy) {
  QUVENStringWithHash text("abc");
  text.hash();
  const QUVENStringWithHash copy = text;
  EXPECT_TRUE(copy.isHashValid());
  EXPECT_EQ(copy.hash(), 85451877U);
}

TEST(QUVENStringWithHash, TakesTheHashAlongWhenItMoves) {
  // The source used to keep the hash of the text that it had lost.
  QUVENStringWithHash text("abc");
  text.hash();
  QUVENStringWithHash moved(std::move(text));
  EXPECT_TRUE(moved.isHashValid());
  EXPECT_EQ(moved, "abc");
  EXPECT_TRUE(text.isEmpty());          // NOLINT(bugprone-use-after-move): empty by contract
  EXPECT_EQ(text.hash(), 1772156499U);  // of the empty text
  text = std::move(moved);
  EXPECT_EQ(text.hash(), 85451877U);
  EXPECT_EQ(moved.hash(), 1772156499U);  // NOLINT(bugprone-use-after-move): empty by contract
  QUVENStringWithHash& self = text;
  text = std::move(self);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(text.hash(), 85451877U);
}
