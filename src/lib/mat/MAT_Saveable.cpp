#include "mat/MAT_Saveable.h"

#include <fstream>

#include "base/BASE_Exception.h"

namespace {

constexpr const char* reportedFile = "src/lib/mat/MAT_Saveable";

template <class Stream>
Stream openFile(const std::string& fileName) {
  Stream stream(fileName, std::ios::binary);
  if (!stream) {
    BASE_StopOnUserError("Array file '" + fileName + "' could not be opened", reportedFile, __LINE__);
  }
  return stream;
}

}  // namespace

void Saveable::saveFile(const std::string& fileName) const {
  auto stream = openFile<std::ofstream>(fileName);
  MAT_PortableWriter writer(stream);
  save(writer);
  if (!stream.flush()) BASE_StopOnUserError("Array file could not be written", reportedFile, __LINE__);
}

void Saveable::loadFile(const std::string& fileName) {
  auto stream = openFile<std::ifstream>(fileName);
  MAT_PortableReader reader(stream);
  load(reader);
  reader.expectEnd();
}
