#ifndef QUVEN_XML_HANDLER_H
#define QUVEN_XML_HANDLER_H

// The owner of one tag tree, which reads it from a file and writes it to one.

#include <iosfwd>
#include <string>
#include <string_view>

#include "control/quven_XML_tag.h"
#include "util/quven_env.h"
#include "util/quven_object_of.h"

/// A tag tree with its root, and the files it comes from and goes to.
///
/// The root is named RootName and is not part of a file: the top element of a file is a child of it. The order of calls
/// of a parameter reader is resetTree, readXMLFile, then hasTag and getTag with paths from the top element on.
///
/// Requires: resetTree before anything else, a fatal report otherwise.
/// Lifetime: the tree goes when the handler is released. That happens in the environment in which the tree was made, or
///           else the bytes of the tags go back to another.
class QUVENXMLHandler : public QUVENObjectOf<QUVENXMLHandler, QUVENObject> {
 public:
  static constexpr const char* RootName = "__XMLRoot__";

  /// A handler has no tree.
  QUVENXMLHandler() = default;

  /// Errors: "Cannot allocate object memory" and XRTMemoryException.
  [[nodiscard]] static QUVENOwnPtr<QUVENXMLHandler> create(const QUVENEnvHandle& env);

  /// Replaces the tree by a new root, which is a leaf until it gets a child.
  ///
  /// Errors: "Cannot allocate object memory" and XRTMemoryException; the old tree stays then.
  void resetTree(const QUVENEnvHandle& env);

  /// Parses the file into the current root. The result is 1 if the whole file was read, else 0.
  ///
  /// Errors: a file that cannot be opened is 0 without a word. A text that does not parse is 0; what is wrong, the open
  ///         tags and a listing of the partial tree go to standard output, and the partial tree stays. A file that
  ///         opens and cannot be read, such as a directory, is the error report 2100, which ends the run.
  [[nodiscard]] int readXMLFile(const std::string& fileName, const QUVENEnvHandle& env);

  /// The same from a text that is open already.
  [[nodiscard]] int readXMLStream(std::istream& stream, const QUVENEnvHandle& env);

  /// Writes the tree to the file, replacing what was there. The result is 1, or 0 after a line on standard output if
  /// the file cannot be opened or written.
  [[nodiscard]] int writeXMLFile(const std::string& fileName, const QUVENEnvHandle& env) const;

  /// The path walk of the tag from the root on. Entities in the path are decoded; a path that does not decode is no
  /// tag.
  [[nodiscard]] bool hasTag(std::string_view path, const QUVENEnvHandle& env) const;

  /// Requires: hasTag of the path, a fatal report otherwise. An empty path is the root.
  QUVENXMLTag& getTag(std::string_view path, const QUVENEnvHandle& env);
  const QUVENXMLTag& getTag(std::string_view path, const QUVENEnvHandle& env) const;

  /// For debugging: lists the tree on standard output, clears the root, and lists it again.
  void dumpAndClear(const QUVENEnvHandle& env);

 private:
  QUVENXMLTag& getRoot(const QUVENEnvHandle& env) const;

  QUVEN_MEMBER_AS("root", ivRoot, QUVENOwnPtr<QUVENXMLTag>);
};

#endif  // QUVEN_XML_HANDLER_H
