#ifndef MAT_SAVEABLE_H
#define MAT_SAVEABLE_H

#include <string>

#include "mat/MAT_PortableStream.h"

/// What writes itself to a file, in the form of the portable stream.
class Saveable {
 public:
  virtual ~Saveable() = default;
  virtual void save(MAT_PortableWriter& writer) const = 0;
  /// Takes the place of what the object was. Errors: those of the reader.
  virtual void load(MAT_PortableReader& reader) = 0;

  /// The object alone in a file, which is written anew.
  /// Errors: "Array file '", the name, "' could not be opened"; "Array file could not be written".
  void saveFile(const std::string& fileName) const;
  /// Errors: the file cannot be opened, those of the reader, and anything behind the object.
  void loadFile(const std::string& fileName);
};

#endif  // MAT_SAVEABLE_H
