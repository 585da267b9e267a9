#ifndef QUVEN_XML_TAG_H
#define QUVEN_XML_TAG_H

// One node of the tree that holds a parameter file or a result description.

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "util/quven_env.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// A named tag with either a text value (a leaf) or children (a branch), and with attributes.
///
/// Simpler than XML: no mixed content, and the names of the children of one tag differ, so that a path of names such as
/// "InputParameters/MinClusterSize" is one tag. Names compare byte by byte; every name, value and attribute text is
/// trimmed when it is stored. Blanks inside and around the names of a path vanish, and a "/" at its end changes
/// nothing.
///
/// In a stream a tag carries its children by value, each as an object of its own. A tag that is read from one is as the
/// stream says: nothing is trimmed, and nobody looks for names that stand twice.
///
/// Shapes:   children and attributes run 1..n in document order.
/// Errors:   a tree deeper than quvenMaxObjectDepth does not go through a stream, a fatal report.
/// Lifetime: the arrays of a tag and of all that is below it are released by destroyPrimitive, which the owner of the
///           tag calls before the tag goes. A reference to a child is valid until its parent gets another child.
/// Cost:     a child is found by a linear search: parameter trees are small. Walks over a tree need no call stack, so
///           its depth is bounded by memory alone, but in a stream.
class QUVENXMLTag : public QUVENObjectOf<QUVENXMLTag, QUVENObject> {
 public:
  QUVENXMLTag() = default;
  QUVENXMLTag(QUVENXMLTag&&) noexcept = default;
  QUVENXMLTag& operator=(QUVENXMLTag&&) noexcept = default;

  /// Appends a child without value, attributes and children. Looks for no child of that name, and leaves this tag the
  /// leaf or branch that it is.
  QUVENXMLTag& addLeafTag(std::string_view name, const QUVENEnvHandle& env);
  QUVENXMLTag& addBranchTag(std::string_view name, const QUVENEnvHandle& env);

  /// Creates what is missing of a path, branches with a leaf (a branch) at its end, and returns the tag at its end.
  /// A path that exists already is returned as it is.
  ///
  /// Requires: no empty name in the path, a fatal report otherwise.
  QUVENXMLTag& addLeafTagPath(std::string_view path, const QUVENEnvHandle& env);
  QUVENXMLTag& addBranchTagPath(std::string_view path, const QUVENEnvHandle& env);

  /// Stores the text, trimmed. A number is stored as the decimal text that reads back to the same value, with as few
  /// digits as that takes; a boolean as "True" or "False".
  void setValue(std::string_view value, const QUVENEnvHandle& env);
  void setValue(const char* value, const QUVENEnvHandle& env) { setValue(std::string_view(value), QUVEN_ENV); }
  void setValue(const std::string& value, const QUVENEnvHandle& env) { setValue(std::string_view(value), QUVEN_ENV); }
  void setValue(int value, const QUVENEnvHandle& env);
  void setValue(double value, const QUVENEnvHandle& env);
  void setValue(bool value, const QUVENEnvHandle& env);

  /// Makes this tag a branch whose children are leaves named "v1", "v2", ... with the numbers as their values. What the
  /// tag held before is gone, but for the attributes of a leaf.
  template <class Number>
  void setFromVector(const QUVENXaRay<Number>& values, const QUVENEnvHandle& env);

  void addAttributeName(std::string_view name, const QUVENEnvHandle& env);
  void addAttributeValue(std::string_view value, const QUVENEnvHandle& env);

  void setName(std::string_view name, const QUVENEnvHandle& env);

  /// From now on the tag may hold children and is written with them.
  void becomeBranch() { ivIsLeaf = 0; }

  /// Empties the children and makes the tag a leaf.
  void removeAllChildren(const QUVENEnvHandle& env);

  /// Empties attributes and children of a branch, which stays a branch. A leaf stays as it is.
  void clear(const QUVENEnvHandle& env);

  /// The path walk. An empty path is this tag; a name that is empty or not there ends the walk with false.
  [[nodiscard]] bool hasTag(std::string_view path, const QUVENEnvHandle& env) const;

  /// Requires: hasTag of the path, a fatal report otherwise.
  QUVENXMLTag& getTag(std::string_view path, const QUVENEnvHandle& env);
  const QUVENXMLTag& getTag(std::string_view path, const QUVENEnvHandle& env) const;

  /// The direct children. Here a name is taken as it stands, blanks and "/" included.
  [[nodiscard]] bool hasChild(std::string_view name, const QUVENEnvHandle& env) const;

  /// Requires: hasChild of the name, a fatal report otherwise.
  QUVENXMLTag& getChild(std::string_view name, const QUVENEnvHandle& env);
  const QUVENXMLTag& getChild(std::string_view name, const QUVENEnvHandle& env) const;

  [[nodiscard]] bool hasAttribute(std::string_view name, const QUVENEnvHandle& env) const;

  /// Requires: an attribute of that name with a value, a fatal report otherwise.
  const std::string& getAttribute(std::string_view name, const QUVENEnvHandle& env) const;

  [[nodiscard]] bool isLeaf() const { return ivIsLeaf != 0; }
  const std::string& getName() const { return ivName; }
  const std::string& getValue() const { return ivValue; }
  const QUVENXaRay<std::string, 0>& getAttributeNames() const { return ivAttrNames; }
  const QUVENXaRay<std::string, 0>& getAttributeValues() const { return ivAttrVals; }
  const QUVENXaRay<QUVENXMLTag, 0>& getChildren() const { return ivChildren; }

  /// Writes the tag as a text that the parser reads, indented by two blanks a level. Below level 0 only the children
  /// are written, each one level up.
  void write(std::ostream& stream, int level, const QUVENEnvHandle& env) const;

  /// Writes the debug listing, one line a tag. The children of a tag that lies MaxListingDepth below this one are left
  /// out, with a line "..." in their place: the indentation of a deep tree would drown everything else.
  void print(std::ostream& stream, int level, const QUVENEnvHandle& env) const;

  static constexpr int MaxListingDepth = 200;

  /// The source may be a tag below this one. A transfer is from a tag of another tree only.
  /// Errors: an allocation that fails is XRTMemoryException or std::bad_alloc; this tag is unchanged then.
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  /// The source may be a tag below this one; it goes with the other children then.
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  /// Releases the arrays of the tag and of all tags below it. Allocates nothing.
  void destroyPrimitive(const QUVENEnvHandle& env) override;

 private:
  QUVENXMLTag& addTag(std::string_view name, bool leaf, const QUVENEnvHandle& env);
  QUVENXMLTag& addTagPath(std::string_view path, bool leaf, const QUVENEnvHandle& env);
  long findChild(std::string_view name) const;  // its index, 0 without one
  long findAttribute(std::string_view name) const;
  const QUVENXMLTag* findTag(std::string_view path, const QUVENEnvHandle& env) const;
  void becomeEmptyBranch(const QUVENEnvHandle& env);
  QUVENXMLTag& addNumberedLeaf(long number, const QUVENEnvHandle& env);
  static void destroyTags(QUVENXaRay<QUVENXMLTag, 0>& tags, const QUVENEnvHandle& env);
  void copyTree(const QUVENXMLTag& source, const QUVENEnvHandle& env);
  void writeStart(std::ostream& stream, int level) const;
  void writeEnd(std::ostream& stream, int level) const;
  void printLine(std::ostream& stream, int level) const;

  QUVEN_MEMBER(ivIsLeaf, std::int32_t) = 1;
  QUVEN_MEMBER(ivName, std::string);
  QUVEN_MEMBER(ivValue, std::string);  // empty for a branch
  QUVEN_MEMBER(ivAttrNames, QUVENXaRay<std::string, 0>);
  QUVEN_MEMBER(ivAttrVals, QUVENXaRay<std::string, 0>);  // at the index of its name; the last may still be missing
  QUVEN_MEMBER(ivChildren, QUVENXaRay<QUVENXMLTag, 0>);
};

template <class Number>
void QUVENXMLTag::setFromVector(const QUVENXaRay<Number>& values, const QUVENEnvHandle& env) {
  static_assert(std::is_arithmetic_v<Number>);
  becomeEmptyBranch(QUVEN_ENV);
  for (long i = 1; i <= values.getSize(); ++i) {
    QUVENXMLTag& child = addNumberedLeaf(i, QUVEN_ENV);
    if constexpr (std::is_floating_point_v<Number>) {
      child.setValue(static_cast<double>(values[i]), QUVEN_ENV);
    } else {
      child.setValue(std::to_string(values[i]), QUVEN_ENV);
    }
  }
}

#endif  // QUVEN_XML_TAG_H
