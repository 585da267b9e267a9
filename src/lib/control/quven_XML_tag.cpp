#include "control/quven_XML_tag.h"

#include <charconv>
#include <cmath>
#include <utility>
#include <vector>

#include "kernel/quven_string_manip.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"

QUVEN_REGISTER(QUVENXMLTag);

namespace {

/// The names of a path. An empty name stays in the list, because no tag can have it.
std::vector<std::string> splitPath(std::string_view path, const QUVENEnvHandle& env) {
  std::vector<std::string> names;
  for (std::size_t position = 0; position < path.size(); ++position) {  // ++ steps over the "/"
    std::string name;
    const bool found = scan_token(path, position, ScanDroppingBlanks, name, "/", WantToken, QUVEN_ENV);
    names.push_back(name);
    if (!found) break;  // no walk gets past it
  }
  return names;
}

// Numbers of this size are written in plain notation: who reads a whole number as an integer finds all of it.
constexpr double SmallestPlain = 1e-5;
constexpr double LargestPlain = 1e16;  // this one itself is not plain any more

std::string textOf(double value) {
  const double size = std::fabs(value);
  const bool plain = value == 0 || (size >= SmallestPlain && size < LargestPlain);
  char text[64];
  const auto result =
      std::to_chars(text, text + sizeof text, value, plain ? std::chars_format::fixed : std::chars_format::scientific);
  return std::string(text, result.ptr);
}

[[noreturn]] void reportMissing(std::string_view operation, std::string_view what, const std::string& parent,
                                const QUVENEnvHandle& env) {
  std::string text = "QUVENXMLTag::";
  text.append(operation).append(", there is no [").append(what).append("] in the tag [").append(parent).append("]");
  quvenFatalReport(text, QUVEN_ENV);
}

long findText(const QUVENXaRay<std::string, 0>& texts, std::string_view wanted) {
  for (long i = 1; i <= texts.getSize(); ++i) {
    if (texts[i] == wanted) return i;
  }
  return 0;
}

}  // namespace

QUVENXMLTag& QUVENXMLTag::addTag(std::string_view name, bool leaf, const QUVENEnvHandle& env) {
  // The copy comes first: the name may be that of a child, which moves, and without memory no child is added.
  std::string storedName(trim(name));
  const long index = ivChildren.getSize() + 1;
  ivChildren.autoExtend(index, QUVEN_ENV);
  QUVENXMLTag& child = ivChildren[index];
  child.ivIsLeaf = leaf ? 1 : 0;
  child.ivName = std::move(storedName);
  return child;
}

QUVENXMLTag& QUVENXMLTag::addLeafTag(std::string_view name, const QUVENEnvHandle& env) {
  return addTag(name, true, QUVEN_ENV);
}

QUVENXMLTag& QUVENXMLTag::addBranchTag(std::string_view name, const QUVENEnvHandle& env) {
  return addTag(name, false, QUVEN_ENV);
}

QUVENXMLTag& QUVENXMLTag::addTagPath(std::string_view path, bool leaf, const QUVENEnvHandle& env) {
  const std::vector<std::string> names = splitPath(path, QUVEN_ENV);
  if (!names.empty() && names.back().empty()) {
    quvenFatalReport("QUVENXMLTag::addTagPath, empty name in the path [" + std::string(path) + "]", QUVEN_ENV);
  }
  QUVENXMLTag* tag = this;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const long index = tag->findChild(names[i]);
    const bool last = i + 1 == names.size();
    tag = index != 0 ? &tag->ivChildren[index] : &tag->addTag(names[i], leaf && last, QUVEN_ENV);
  }
  return *tag;
}

QUVENXMLTag& QUVENXMLTag::addLeafTagPath(std::string_view path, const QUVENEnvHandle& env) {
  return addTagPath(path, true, QUVEN_ENV);
}

QUVENXMLTag& QUVENXMLTag::addBranchTagPath(std::string_view path, const QUVENEnvHandle& env) {
  return addTagPath(path, false, QUVEN_ENV);
}

void QUVENXMLTag::setValue(std::string_view value, const QUVENEnvHandle&) { ivValue = trim(value); }

void QUVENXMLTag::setValue(int value, const QUVENEnvHandle& env) { setValue(std::to_string(value), QUVEN_ENV); }

void QUVENXMLTag::setValue(double value, const QUVENEnvHandle& env) { setValue(textOf(value), QUVEN_ENV); }

void QUVENXMLTag::setValue(bool value, const QUVENEnvHandle& env) { setValue(value ? "True" : "False", QUVEN_ENV); }

void QUVENXMLTag::addAttributeName(std::string_view name, const QUVENEnvHandle& env) {
  ivAttrNames.append(std::string(trim(name)), QUVEN_ENV);
}

void QUVENXMLTag::addAttributeValue(std::string_view value, const QUVENEnvHandle& env) {
  ivAttrVals.append(std::string(trim(value)), QUVEN_ENV);
}

void QUVENXMLTag::setName(std::string_view name, const QUVENEnvHandle&) { ivName = trim(name); }

void QUVENXMLTag::removeAllChildren(const QUVENEnvHandle& env) {
  destroyTags(ivChildren, QUVEN_ENV);
  ivIsLeaf = 1;
}

void QUVENXMLTag::clear(const QUVENEnvHandle& env) {
  if (isLeaf()) return;
  destroyPrimitive(QUVEN_ENV);
}

void QUVENXMLTag::becomeEmptyBranch(const QUVENEnvHandle& env) {
  clear(QUVEN_ENV);
  removeAllChildren(QUVEN_ENV);
  ivValue.clear();
  becomeBranch();
}

QUVENXMLTag& QUVENXMLTag::addNumberedLeaf(long number, const QUVENEnvHandle& env) {
  return addLeafTag(std::string("v").append(std::to_string(number)), QUVEN_ENV);
}

long QUVENXMLTag::findChild(std::string_view name) const {
  for (long i = 1; i <= ivChildren.getSize(); ++i) {
    if (ivChildren[i].ivName == name) return i;
  }
  return 0;
}

long QUVENXMLTag::findAttribute(std::string_view name) const { return findText(ivAttrNames, name); }

const QUVENXMLTag* QUVENXMLTag::findTag(std::string_view path, const QUVENEnvHandle& env) const {
  const QUVENXMLTag* tag = this;
  for (const std::string& name : splitPath(path, QUVEN_ENV)) {
    const long index = name.empty() ? 0 : tag->findChild(name);
    if (index == 0) return nullptr;
    tag = &tag->ivChildren[index];
  }
  return tag;
}

bool QUVENXMLTag::hasTag(std::string_view path, const QUVENEnvHandle& env) const {
  return findTag(path, QUVEN_ENV) != nullptr;
}

const QUVENXMLTag& QUVENXMLTag::getTag(std::string_view path, const QUVENEnvHandle& env) const {
  const QUVENXMLTag* tag = findTag(path, QUVEN_ENV);
  if (tag == nullptr) reportMissing("getTag", path, ivName, QUVEN_ENV);
  return *tag;
}

QUVENXMLTag& QUVENXMLTag::getTag(std::string_view path, const QUVENEnvHandle& env) {
  return const_cast<QUVENXMLTag&>(static_cast<const QUVENXMLTag*>(this)->getTag(path, QUVEN_ENV));
}

bool QUVENXMLTag::hasChild(std::string_view name, const QUVENEnvHandle&) const { return findChild(name) != 0; }

const QUVENXMLTag& QUVENXMLTag::getChild(std::string_view name, const QUVENEnvHandle& env) const {
  const long index = findChild(name);
  if (index == 0) reportMissing("getChild", name, ivName, QUVEN_ENV);
  return ivChildren[index];
}

QUVENXMLTag& QUVENXMLTag::getChild(std::string_view name, const QUVENEnvHandle& env) {
  return const_cast<QUVENXMLTag&>(static_cast<const QUVENXMLTag*>(this)->getChild(name, QUVEN_ENV));
}

bool QUVENXMLTag::hasAttribute(std::string_view name, const QUVENEnvHandle&) const { return findAttribute(name) != 0; }

const std::string& QUVENXMLTag::getAttribute(std::string_view name, const QUVENEnvHandle& env) const {
  const long index = findAttribute(name);
  if (index == 0 || index > ivAttrVals.getSize()) reportMissing("getAttribute", name, ivName, QUVEN_ENV);
  return ivAttrVals[index];
}

/// Takes trees down from their last tag to their first, without a call stack and without an allocation: it runs while
/// an exception says that memory has run out. While the children of a tag are at hand, the tag itself keeps the way
/// back: the array around its own.
void QUVENXMLTag::destroyTags(QUVENXaRay<QUVENXMLTag, 0>& tags, const QUVENEnvHandle& env) {
  QUVENXaRay<QUVENXMLTag, 0> current = std::move(tags);
  QUVENXaRay<QUVENXMLTag, 0> outer;  // the array around current; its last tag is the parent of current
  for (;;) {
    if (!current.isEmpty()) {
      QUVENXMLTag& last = current[current.getSize()];
      if (last.ivChildren.isEmpty()) {
        current.setSize(current.getSize() - 1, QUVEN_ENV);
      } else {
        outer.swap(last.ivChildren);
        outer.swap(current);
      }
    } else {
      current.deleteMemory(QUVEN_ENV);
      if (outer.isEmpty()) return;
      current.swap(outer);
      outer.swap(current[current.getSize()].ivChildren);
    }
  }
}

void QUVENXMLTag::destroyPrimitive(const QUVENEnvHandle& env) {
  // Apart from this tag, because Members would go down to them with a call a level.
  QUVENXaRay<QUVENXMLTag, 0> children = std::move(ivChildren);
  Members::destroyPrimitive(QUVEN_ENV);
  destroyTags(children, QUVEN_ENV);
}

/// Copies into a tag that holds nothing. What an exception leaves of a copy can be released.
void QUVENXMLTag::copyTree(const QUVENXMLTag& source, const QUVENEnvHandle& env) {
  struct Copy {
    const QUVENXMLTag* from;
    QUVENXMLTag* to;  // stays where it is: its array has all its cells
  };
  std::vector<Copy> waiting = {{&source, this}};
  while (!waiting.empty()) {
    const auto [from, to] = waiting.back();
    waiting.pop_back();
    to->ivIsLeaf = from->ivIsLeaf;
    to->ivName = from->ivName;
    to->ivValue = from->ivValue;
    to->ivAttrNames.copyFrom(from->ivAttrNames, QUVEN_ENV);
    to->ivAttrVals.copyFrom(from->ivAttrVals, QUVEN_ENV);
    const long count = from->ivChildren.getSize();
    to->ivChildren.setSize(count, QUVEN_ENV);
    for (long i = 1; i <= count; ++i) waiting.push_back({&from->ivChildren[i], &to->ivChildren[i]});
  }
}

void QUVENXMLTag::copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) {
  // Not that of Members, which goes down with a call a level.
  QUVENObject::copyFromPrimitive(source, QUVEN_ENV);  // NOLINT(bugprone-parent-virtual-call)
  if (source == nullptr || source == this) return;
  QUVEN_ASSERT(source->isA(typeName()));
  QUVENLocal<QUVENXMLTag> copy(QUVEN_ENV);
  copy = quvenMake<QUVENXMLTag>(QUVEN_ENV);
  copy->copyTree(static_cast<const QUVENXMLTag&>(*source), QUVEN_ENV);
  Members::transferFromPrimitive(copy.get(), QUVEN_ENV);
  QUVEN_DELETE(copy);
}

void QUVENXMLTag::transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) {
  if (source == nullptr || source == this) return;
  QUVEN_ASSERT(source->isA(typeName()));
  // The old children go last, because the source may be among them or below one.
  QUVENXaRay<QUVENXMLTag, 0> oldChildren = std::move(ivChildren);
  Members::transferFromPrimitive(source, QUVEN_ENV);
  destroyTags(oldChildren, QUVEN_ENV);
}
