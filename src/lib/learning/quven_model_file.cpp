#include "learning/quven_model_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "control/quven_result_file.h"
#include "util/quven_bin_obj_reader.h"
#include "util/quven_bin_obj_writer.h"
#include "util/quven_blob_io.h"
#include "util/quven_debug.h"
#include "util/quven_registration.h"
#include "vesk-common/quven_reports.h"

QUVEN_REGISTER(QUVENTrainingFacts);

namespace {

constexpr int FileUnusable = 2302;
constexpr const char* notWhole = "the file is cut, or is no model file";

/// While one lives, fatal reports print nothing: a file that is refused gets one line, in other words.
class SilentReports {
 public:
  SilentReports() : before(quvenDebugWords.quiet) { quvenDebugWords.quiet = 1; }
  ~SilentReports() { quvenDebugWords.quiet = before; }
  SilentReports(const SilentReports&) = delete;
  SilentReports& operator=(const SilentReports&) = delete;

 private:
  int before;
};

}  // namespace

QUVENFoldDealing QUVENTrainingFacts::getDealing() const {
  return {.testPercent = ivTestPercent, .heldOutPercent = ivHeldOutPercent, .numFolds = ivNumFolds, .seed = ivFoldSeed};
}

void QUVENTrainingFacts::setDealing(const QUVENFoldDealing& dealing) {
  ivTestPercent = dealing.testPercent;
  ivHeldOutPercent = dealing.heldOutPercent;
  ivNumFolds = dealing.numFolds;
  ivFoldSeed = dealing.seed;
}

void QUVENTrainingFacts::addInput(const QUVENField& field, const QUVENEnvHandle& env) {
  ivInputNames.append(field.getName().str(), QUVEN_ENV);
  ivInputTypes.append(static_cast<std::int32_t>(field.getType()), QUVEN_ENV);
}

void QUVENTrainingFacts::addLabel(const std::string& column, double code, const std::string& text,
                                  const QUVENEnvHandle& env) {
  ivLabelColumns.append(column, QUVEN_ENV);
  ivLabelCodes.append(code, QUVEN_ENV);
  ivLabelTexts.append(text, QUVEN_ENV);
}

bool quvenWriteModelFile(const std::string& path, const QUVENXaRay<QUVENField*>& fields, const QUVENModel& model,
                         const QUVENTrainingFacts& facts, const QUVENEnvHandle& env) {
  auto names = quvenMake<QUVENFieldNameMap>(QUVEN_ENV);
  for (const QUVENField* field : fields) names->addOwned(quvenNewCopy(*field, QUVEN_ENV), QUVEN_ENV);
  QUVENMemoryBlobIO blob;
  QUVENBinObjWriter writer(blob, QUVENObjWriter::Save);
  writer.numberScansAnew();
  quvenWriteObject(writer, *names, QUVEN_ENV);
  quvenWriteObject(writer, model, QUVEN_ENV);
  quvenWriteObject(writer, facts, QUVEN_ENV);
  names.reset(QUVEN_ENV);
  QUVENResultFile file(path);
  const std::span<const char> bytes = blob.getBytes();
  if (file.isOpen()) file.getStream().write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  blob.deleteMemory(QUVEN_ENV);
  return file.isOpen() && file.commit();
}

QUVENModelFile::QUVENModelFile(std::string filePath, const QUVENEnvHandle& env)
    : path(std::move(filePath)), fields(QUVEN_ENV), facts(QUVEN_ENV) {}

void QUVENModelFile::refuse(const char* text, const QUVENEnvHandle& env) const {
  report_error(FileUnusable, path, text, QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);
}

/// Runs an action on a reader of the bytes, and on the bytes themselves. Every report of the reader means that the file
/// is not whole.
template <class Action>
void QUVENModelFile::read(Action action, const QUVENEnvHandle& env) {
  bool isWhole = false;
  try {
    const SilentReports silent;
    QUVENViewBlobIO blob(bytes);
    QUVENBinObjReader reader(blob, QUVEN_ENV);
    action(reader, blob);
    isWhole = true;
  } catch (int) {  // the library exception
  }
  if (!isWhole) refuse(notWhole, QUVEN_ENV);
}

const QUVENTrainingFacts& QUVENModelFile::readFacts(const QUVENEnvHandle& env) {
  std::error_code unknown;  // then the file cannot be opened
  std::ifstream file(path, std::ios::binary);
  if (!file || std::filesystem::is_directory(path, unknown)) refuse("Unable to read model file", QUVEN_ENV);
  bytes.assign(std::istreambuf_iterator<char>(file), {});
  if (file.bad()) refuse("Unable to read model file", QUVEN_ENV);
  const auto readAll = [&](QUVENObjReader& reader, const QUVENBlobIO& blob) {
    QUVENOwnPtr<QUVENFieldNameMap> names(env);
    QUVENOwnPtr<QUVENModel> model(env);
    quvenReadObject(reader, names, QUVENFieldNameMap::typeName(), env);
    quvenReadObject(reader, model, QUVENModel::typeName(), env);
    quvenReadObject(reader, facts, QUVENTrainingFacts::typeName(), env);
    QUVEN_ASSERT(names.get() != nullptr && model.get() != nullptr && facts.get() != nullptr);
    QUVEN_ASSERT_CAUSE(blob.getRemaining() == 0, "Bytes behind the last object");
    QUVEN_ASSERT(facts->ivInputNames.getSize() == facts->ivInputTypes.getSize());
    QUVEN_ASSERT(facts->ivLabelColumns.getSize() == facts->ivLabelCodes.getSize());
    QUVEN_ASSERT(facts->ivLabelColumns.getSize() == facts->ivLabelTexts.getSize());
    model.reset(env);
    names.reset(env);
  };
  read(readAll, QUVEN_ENV);
  if (facts->ivForm != QUVENTrainingFacts::CurrentForm) {
    refuse("the model file is of another version of this program", QUVEN_ENV);
  }
  if (!facts->getDealing().isLegal()) refuse(notWhole, QUVEN_ENV);
  return *facts;
}

const QUVENFieldNameMap& QUVENModelFile::readFields(const QUVENEnvHandle& env) {
  fields.reset(QUVEN_ENV);
  const auto readFieldsOnly = [&](QUVENObjReader& reader, const QUVENBlobIO&) {
    quvenReadObject(reader, fields, QUVENFieldNameMap::typeName(), env);
  };
  read(readFieldsOnly, QUVEN_ENV);
  return *fields;
}

QUVENOwnPtr<QUVENModel> QUVENModelFile::readModel(QUVENFieldNameMap& names, const QUVENEnvHandle& env) {
  QUVENOwnPtr<QUVENModel> model(QUVEN_ENV);
  const auto readModelOnly = [&](QUVENObjReader& reader, const QUVENBlobIO&) {
    QUVENOwnPtr<QUVENFieldNameMap> ownNames(env);
    quvenReadObject(reader, ownNames, QUVENFieldNameMap::typeName(), env);
    names.putInto(reader, env);
    quvenReadObject(reader, model, QUVENModel::typeName(), env);
    ownNames.reset(env);
  };
  read(readModelOnly, QUVEN_ENV);
  return model;
}

void QUVENModelFile::release(const QUVENEnvHandle& env) {
  fields.reset(QUVEN_ENV);
  facts.reset(QUVEN_ENV);
}
