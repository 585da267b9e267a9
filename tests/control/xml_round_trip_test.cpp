// Random trees, written and read back: the tree is the same, and so is what is written from it.

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "control/quven_XML_handler.h"
#include "xml_text.h"

namespace {

using xml_text::childrenNotation;

/// Draws texts and trees that the written form keeps.
class TreeMaker {
 public:
  TreeMaker(unsigned seed, QUVENEnv& ofTree) : random(seed), environment(ofTree) {}

  void addChildren(QUVENXMLTag& tag, int depth) {
    QUVENEnv& env = environment;
    tag.becomeBranch();
    const unsigned count = below(6) + 1;
    for (unsigned i = 1; i <= count; ++i) {
      QUVENXMLTag& child = tag.addLeafTag(uniqueName(i, "/"), QUVEN_ENV);
      addAttributes(child);
      if (depth > 0 && below(3) == 0) {
        addChildren(child, depth - 1);
      } else if (below(4) != 0) {
        child.setValue(text(0), QUVEN_ENV);
      }
    }
  }

 private:
  void addAttributes(QUVENXMLTag& tag) {
    QUVENEnv& env = environment;
    const unsigned count = below(4);
    for (unsigned i = 1; i <= count; ++i) {
      tag.addAttributeName(uniqueName(i, "="), QUVEN_ENV);
      tag.addAttributeValue(text(1), QUVEN_ENV);  // an empty one would not be read
    }
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random() % limit); }

  char printable() { return static_cast<char>(33 + below(127 - 33 + 1)); }  // without the blank, with DEL

  /// A name with a number, so that its siblings differ from it. Any printable character but these may stand in it.
  std::string uniqueName(unsigned number, const std::string& without) {
    std::string name(1, static_cast<char>('a' + number));
    for (unsigned left = below(6); left > 0; --left) {
      const char character = printable();
      if (without.find(character) == std::string::npos) name += character;
    }
    return name;
  }

  std::string text(unsigned shortest) {
    std::string all;
    const unsigned length = shortest + below(12);
    for (unsigned i = 0; i < length; ++i) {
      const bool blank = i > 0 && i + 1 < length && below(5) == 0;
      all += blank ? ' ' : printable();
    }
    return all;
  }

  std::mt19937_64 random;
  QUVENEnv& environment;
};

TEST(XmlRoundTrip, ARandomTreeReadsBackAsItWasWritten) {
  const TemporaryFolder folder;
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    QUVENEnv environment;
    environment.activate();
    QUVENEnv* env = &environment;
    auto first = QUVENXMLHandler::create(QUVEN_ENV);
    first->resetTree(QUVEN_ENV);
    TreeMaker(seed, environment).addChildren(first->getTag("", QUVEN_ENV), 5);
    ASSERT_EQ(first->writeXMLFile(folder.path("first.xml"), QUVEN_ENV), 1);

    auto second = QUVENXMLHandler::create(QUVEN_ENV);
    second->resetTree(QUVEN_ENV);
    ASSERT_EQ(second->readXMLFile(folder.path("first.xml"), QUVEN_ENV), 1) << folder.read("first.xml");
    ASSERT_EQ(childrenNotation(second->getTag("", QUVEN_ENV)), childrenNotation(first->getTag("", QUVEN_ENV)));
    ASSERT_EQ(second->writeXMLFile(folder.path("second.xml"), QUVEN_ENV), 1);
    ASSERT_EQ(folder.read("second.xml"), folder.read("first.xml"));
    QUVEN_DELETE(first);
    QUVEN_DELETE(second);
    ASSERT_EQ(environment.getBytesInUse(), 0);
  }
}

}  // namespace
