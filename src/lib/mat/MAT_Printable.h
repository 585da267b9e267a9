#ifndef MAT_PRINTABLE_H
#define MAT_PRINTABLE_H

#include <ostream>

/// What prints itself on a stream.
class Printable {
 public:
  virtual ~Printable() = default;
  virtual void print(std::ostream& out) const = 0;
};

inline std::ostream& operator<<(std::ostream& out, const Printable& object) {
  object.print(out);
  return out;
}

#endif  // MAT_PRINTABLE_H
