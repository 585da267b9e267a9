// The two text forms of a tag tree: the one that the parser reads, and the debug listing.

#include <algorithm>
#include <ostream>
#include <vector>

#include "control/quven_XML_tag.h"
#include "kernel/quven_string_manip.h"

namespace {

constexpr int BlanksALevel = 2;

std::string indentation(int level) {
  return std::string(static_cast<std::size_t>(BlanksALevel) * static_cast<std::size_t>(std::max(level, 0)), ' ');
}

std::string outerText(std::string_view text) { return escape_entities(trim(text)); }

/// A tag on the way from the top of a walk to the place where it is, and how many of its children were visited.
struct Open {
  const QUVENXMLTag* tag;
  long visited;
};

/// Visits a tree in document order without a call stack. enter(tag, depth) says whether the children are visited, leave
/// is called after them; the depth of the top is 0.
template <class Enter, class Leave>
void walk(const QUVENXMLTag& top, Enter enter, Leave leave) {
  std::vector<Open> path;
  const auto visit = [&](const QUVENXMLTag& tag) {
    const bool below = enter(tag, static_cast<int>(path.size()));
    path.push_back({&tag, below ? 0 : tag.getChildren().getSize()});
  };
  visit(top);
  while (!path.empty()) {
    Open& last = path.back();
    if (last.visited < last.tag->getChildren().getSize()) {
      visit(last.tag->getChildren()[++last.visited]);
    } else {
      const QUVENXMLTag& tag = *last.tag;
      path.pop_back();
      leave(tag, static_cast<int>(path.size()));
    }
  }
}

}  // namespace

void QUVENXMLTag::writeStart(std::ostream& stream, int level) const {
  stream << indentation(level) << '<' << outerText(ivName);
  for (long i = 1; i <= ivAttrNames.getSize(); ++i) {
    stream << ' ' << outerText(ivAttrNames[i]) << "=\"";
    if (i <= ivAttrVals.getSize()) {
      stream << outerText(ivAttrVals[i]);
    } else {
      stream << "NULL";
    }
    stream << '"';
  }
  stream << '>';
  if (isLeaf()) {
    stream << outerText(ivValue);
  } else {
    stream << '\n';
  }
}

void QUVENXMLTag::writeEnd(std::ostream& stream, int level) const {
  if (!isLeaf()) stream << indentation(level);
  stream << "</" << outerText(ivName) << ">\n";
}

void QUVENXMLTag::write(std::ostream& stream, int level, const QUVENEnvHandle&) const {
  walk(
      *this,
      [&](const QUVENXMLTag& tag, int depth) {
        if (level + depth < 0) return true;
        tag.writeStart(stream, level + depth);
        return !tag.isLeaf();
      },
      [&](const QUVENXMLTag& tag, int depth) {
        if (level + depth >= 0) tag.writeEnd(stream, level + depth);
      });
}

void QUVENXMLTag::printLine(std::ostream& stream, int level) const {
  stream << indentation(level) << '[' << ivName << ']';
  if (isLeaf()) stream << '[' << ivValue << ']';
  stream << " { ";
  for (long i = 1; i <= ivAttrNames.getSize(); ++i) {
    stream << '<' << ivAttrNames[i] << ", " << (i <= ivAttrVals.getSize() ? ivAttrVals[i] : "NULL") << "> ";
  }
  stream << "}\n";
}

void QUVENXMLTag::print(std::ostream& stream, int level, const QUVENEnvHandle&) const {
  walk(
      *this,
      [&](const QUVENXMLTag& tag, int depth) {
        tag.printLine(stream, level + depth);
        if (depth < MaxListingDepth) return true;
        if (tag.ivChildren.getSize() > 0) stream << indentation(level + depth + 1) << "...\n";
        return false;
      },
      [](const QUVENXMLTag&, int) {});
}
