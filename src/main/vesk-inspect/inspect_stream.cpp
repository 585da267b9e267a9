#include "inspect_stream.h"

#include <filesystem>
#include <ostream>
#include <stdexcept>

#include "util/quven_bin_obj_reader.h"
#include "util/quven_object.h"
#include "util/quven_text_obj_writer.h"

namespace vesk_inspect {

namespace {

/// The objects of one file, one after the other.
class StreamListing {
 public:
  StreamListing(const StreamOptions& streamOptions, QUVENEnv& environment, std::ostream& text)
      : options(streamOptions),
        out(text),
        fileBytes(sizeOfFile(streamOptions.path)),
        file(streamOptions.path, QUVENFileBlobIO::Mode::Read),
        handle(environment, __FILE__, __LINE__, __func__),
        reader(file, handle) {
    if (file.getStatus() != QUVENBlobIO::Good) fail();
  }

  ~StreamListing() {
    const QUVENEnvHandle& env = handle;
    while (!objects.isEmpty()) objects.setSize(objects.getSize() - 1, QUVEN_ENV);  // the last refers to the others
    objects.deleteMemory(QUVEN_ENV);
  }
  StreamListing(const StreamListing&) = delete;
  StreamListing& operator=(const StreamListing&) = delete;

  bool print() {
    try {
      while (printNext()) continue;
    } catch (int) {  // the library exception: its report was printed where it was raised
      if (file.getStatus() == QUVENBlobIO::Failed) fail();
      out << options.path << " is cut, or is no object stream: stopped at byte " << getPosition() << " of " << fileBytes
          << ", behind " << numObjects << (numObjects == 1 ? " whole object\n" : " whole objects\n");
      return false;
    }
    if (numObjects == 0) out << options.path << " holds no object\n";
    return numObjects > 0;
  }

 private:
  static std::uint64_t sizeOfFile(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) throw std::runtime_error(path + " is a directory");
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) throw std::runtime_error("cannot open " + path + ": " + error.message());
    return size;
  }

  [[noreturn]] void fail() { throw std::runtime_error("cannot read " + options.path + ": " + file.getErrorText()); }

  std::uint64_t getPosition() const { return fileBytes - std::min<std::uint64_t>(fileBytes, file.getRemaining()); }

  /// Prints the next mark or object; false at the end of the stream.
  bool printNext() {
    const QUVENEnvHandle& env = handle;
    if (reader.keywordMatches(QUVEN_KWD(BeginObjectType), QUVEN_ENV)) {
      reader.takeKeyword();
      printObject();
      return true;
    }
    if (reader.isAtEnd()) return false;
    if (reader.getBufferedName().empty()) reader.reportUnexpectedKeyword(QUVEN_ENV);
    out << "mark ";  // in quotes: its text may hold anything, line breaks too
    QUVENTextObjWriter(out, QUVENObjWriter::Save).writeString(reader.getBufferedName(), QUVEN_ENV);
    out << '\n';
    reader.takeKeyword();
    return true;
  }

  void printObject() {
    const QUVENEnvHandle& env = handle;
    QUVENStringWithHash typeName;
    std::string text;
    reader.readString(text, QUVEN_ENV);
    typeName.assign(text);
    QUVENOwnPtr<QUVENObject> object(QUVEN_ENV);
    quvenReadObjectOfType(reader, typeName, object, QUVENObject::typeName(), QUVEN_ENV);
    reader.takeKeyword();
    ++numObjects;
    QUVENTextObjWriter writer(out, QUVENObjWriter::Save,
                              options.elements == 0 ? QUVENTextObjWriter::AllElements : options.elements);
    quvenWriteObject(writer, object.get(), QUVEN_ENV);
    out << '\n';
    objects.append(std::move(object), QUVEN_ENV);
  }

  const StreamOptions& options;
  std::ostream& out;
  std::uint64_t fileBytes;
  QUVENFileBlobIO file;
  QUVENEnvHandle handle;
  QUVENBinObjReader reader;
  QUVENXaRay<QUVENOwnPtr<QUVENObject>, 0> objects;  // later ones may refer to them
  long numObjects = 0;
};

}  // namespace

bool inspectStream(const StreamOptions& options, std::ostream& out) {
  QUVENEnv environment;
  environment.activate();
  return StreamListing(options, environment, out).print();
}

}  // namespace vesk_inspect
