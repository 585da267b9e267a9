#ifndef VESK_FILES_DESCRIPTOR_H
#define VESK_FILES_DESCRIPTOR_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vesk_files {

/// "FILE: cannot WHAT: REASON" for the error number of the last system call.
std::string systemFailure(const std::string& path, const std::string& what);

/// An open file with its name for messages; closed at the end of its life, and never inherited by a child process.
/// Errors: every operation throws std::runtime_error with the file's name and the system's reason.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes the ownership of an open descriptor.
  Descriptor(int descriptor, std::string name);
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept;
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  static Descriptor openToRead(const std::string& path);
  /// Opens a regular file. A symbolic link, a pipe or a device is an error before its first byte is read.
  static Descriptor openRegular(const std::string& path);
  /// Makes a new file or replaces the content of an old one; does not follow a symbolic link at `path`.
  static Descriptor openToWrite(const std::string& path, unsigned permissions = 0666);

  /// Makes a new file without a name in a folder, to be written and read; it ends with its last descriptor unless
  /// giveName is called. Not open when the file system or the system does not have such files. `name` is for messages.
  static Descriptor openUnnamed(const std::string& folder, std::string name, unsigned permissions);
  /// Gives the file of openUnnamed a name. Returns false when there is a file of that name.
  bool giveName(const std::string& path) const;

  int get() const { return descriptor; }
  bool isOpen() const { return descriptor >= 0; }
  const std::string& getName() const { return name; }

  /// Reads up to `size` bytes; 0 at the end.
  std::size_t read(char* data, std::size_t size) const;
  /// Writes all bytes.
  void write(std::string_view bytes) const;
  /// Waits until the bytes are on the disk.
  void sync() const;
  void close();
  std::uint64_t sizeBytes() const;

 private:
  int descriptor = -1;
  std::string name;
};

/// The content of a file. A file of more than `limitBytes` is an error.
std::string readWholeFile(const std::string& path, std::uint64_t limitBytes = std::uint64_t{1} << 30);

/// The same for a file that is open, from its position on.
std::string readWhole(const Descriptor& file, std::uint64_t limitBytes = std::uint64_t{1} << 30);

/// Writes a file so that at any moment the old or the new content is there: a temporary file beside it is written,
/// synced and renamed, then the folder is synced. A failure removes the temporary file.
void replaceFile(const std::string& path, std::string_view content, unsigned permissions = 0666);

/// Makes the entries of a folder last.
void syncFolder(const std::string& path);

}  // namespace vesk_files

#endif  // VESK_FILES_DESCRIPTOR_H
