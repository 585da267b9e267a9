#include "records/input_list.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "command.h"
#include "files/printable.h"

namespace vesk {

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
  throw CommandFailure(Status::Data, vesk_files::printable(path) + ": " + what);
}

[[noreturn]] void refuseBySystem(const std::string& path, const std::string& what) {
  refuse(path, what + ": " + std::strerror(errno));
}

InputFile describe(const std::string& path, const std::string& name, const struct stat& status) {
  return {path,
          name,
          static_cast<std::uint64_t>(status.st_size),
          status.st_mtim.tv_sec * 1000000000LL + status.st_mtim.tv_nsec,
          status.st_dev,
          status.st_ino};
}

// The programs here and usual copying tools write under such a name first.
bool isUnfinished(const std::string& name) {
  for (const std::string_view ending : {".partial", ".part", ".tmp", ".filepart"}) {
    const std::size_t place = name.rfind(ending);
    if (place != std::string::npos &&
        name.find_first_not_of("0123456789", place + ending.size()) == std::string::npos) {
      return true;
    }
  }
  return false;
}

InputFile entryOf(const std::string& folder, const std::string& name) {
  const std::string path = folder + (folder.ends_with('/') ? "" : "/") + name;
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) refuseBySystem(path, "cannot read what it is");
  if (S_ISLNK(status.st_mode)) refuse(path, "a symbolic link; put the file itself into the input");
  if (S_ISDIR(status.st_mode))
    refuse(path, "a folder inside the input; give it as an input of its own, or move it away");
  if (!S_ISREG(status.st_mode)) refuse(path, "no regular file; move it out of the input");
  if (isUnfinished(name)) refuse(path, "a file that was not finished; remove it, or wait until it has its own name");
  return describe(path, name, status);
}

std::vector<std::string> namesIn(const std::string& folder) {
  const std::unique_ptr<DIR, CloseFolder> listing(::opendir(folder.c_str()));
  if (!listing) refuseBySystem(folder, "cannot list the input folder");
  std::vector<std::string> names;
  while (true) {
    errno = 0;
    const dirent* const entry = ::readdir(listing.get());
    if (entry == nullptr) break;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) refuseBySystem(folder, "cannot list the input folder");
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

std::vector<InputFile> listInput(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) refuseBySystem(path, "there is no such input");
  if (S_ISREG(status.st_mode)) return {describe(path, path.substr(path.find_last_of('/') + 1), status)};
  if (!S_ISDIR(status.st_mode)) refuse(path, "the input is neither a folder nor a regular file");
  std::vector<InputFile> files;
  for (const std::string& name : namesIn(path)) files.push_back(entryOf(path, name));
  if (files.empty()) refuse(path, "the input folder is empty");
  return files;
}

vesk_files::Descriptor openInput(const InputFile& file) {
  // What was a regular file can be a pipe by now: opening must not wait for its other end.
  const int descriptor = ::open(file.path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) refuseBySystem(file.path, "cannot open the record file");
  vesk_files::Descriptor open(descriptor, vesk_files::printable(file.path));
  requireUnchanged(file, open);
  return open;
}

void requireUnchanged(const InputFile& file, const vesk_files::Descriptor& open) {
  struct stat status {};
  if (::fstat(open.get(), &status) != 0) refuseBySystem(file.path, "cannot read what it is");
  const InputFile now = describe(file.path, file.name, status);
  if (!S_ISREG(status.st_mode) || now.device != file.device || now.inode != file.inode || now.bytes != file.bytes ||
      now.changed != file.changed) {
    refuse(file.path, "the file changed while it was read; run again when it is complete");
  }
}

}  // namespace vesk
