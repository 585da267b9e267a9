#ifndef MAT_PORTABLE_STREAM_H
#define MAT_PORTABLE_STREAM_H

#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>

/// The portable binary form: 32-bit integers in network byte order, a string as its length and bytes, a double as its
/// 8 bytes, the highest first. It has nothing to do with object streams.
class MAT_PortableWriter {
 public:
  /// The stream is the caller's and outlives the writer.
  explicit MAT_PortableWriter(std::ostream& stream);

  /// Errors, of all three: "Array file could not be written".
  void write(std::uint32_t value);
  void write(double value);
  void write(std::string_view text);

 private:
  void writeBytes(const char* bytes, std::size_t size);

  std::ostream& out;
  bool reversesDoubles;
};

/// Reads what MAT_PortableWriter has written.
///
/// Errors: an error of the user that ends the process with status 1: "Array file is cut" where the stream ends early,
///         and what the classes that read find wrong.
class MAT_PortableReader {
 public:
  /// The stream is the caller's and outlives the reader.
  explicit MAT_PortableReader(std::istream& stream);

  std::uint32_t readInteger();
  double readDouble();
  /// Memory grows with the bytes that are there, not with the length that the stream claims.
  std::string readString();

  /// As readInteger or readDouble, by the type of the target.
  void read(std::uint32_t& value) { value = readInteger(); }
  void read(double& value) { value = readDouble(); }

  /// Errors: "Array file goes on behind its end".
  void expectEnd();
  /// Ends the process: "Array file is damaged: " and the reason.
  [[noreturn]] static void refuse(std::string_view reason);

 private:
  void readBytes(char* bytes, std::size_t size);

  std::istream& in;
  bool reversesDoubles;
};

#endif  // MAT_PORTABLE_STREAM_H
