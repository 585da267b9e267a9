#ifndef VESK_FILES_SHA256_H
#define VESK_FILES_SHA256_H

#include <cstddef>
#include <memory>
#include <string>

namespace vesk_files {

class Descriptor;

/// SHA-256 of bytes that arrive in pieces.
class Sha256 {
 public:
  /// Errors: std::runtime_error, here and below, when the cryptographic library fails.
  Sha256();
  ~Sha256();
  Sha256(Sha256&&) noexcept;
  Sha256& operator=(Sha256&&) noexcept;

  void update(const void* data, std::size_t size);

  /// The hash of all bytes as 64 lower-case hexadecimal digits. Afterwards the object is as new.
  std::string finish();

 private:
  struct Context;
  std::unique_ptr<Context> context;
};

/// The hash of a file's bytes. Errors: std::runtime_error with the file's name.
std::string sha256OfFile(const std::string& path);

/// The hash of what is left to read of an open file.
std::string sha256Of(const Descriptor& file);

std::string sha256OfText(const std::string& text);

/// Whether the text has the form that finish gives.
bool isSha256(const std::string& text);

}  // namespace vesk_files

#endif  // VESK_FILES_SHA256_H
