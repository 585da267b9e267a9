#ifndef QUVEN_MULTIFILEOUTPUT_H
#define QUVEN_MULTIFILEOUTPUT_H

#include <string>
#include <string_view>

#include "control/quven_mpi_file.h"
#include "util/quven_object_of.h"
#include "util/quven_xaray.h"

/// A worker's share of a result: each worker writes a file of its own.
///
/// Requires: MPI runs.
/// Errors:   a file that cannot be opened or written is a fatal report naming it. What is written goes to the file in
///           blocks, the last one when it is closed. A file that is open at the end of the object's life is closed
///           without its last block and without a word; close tells what the system says.
class QUVENMultifileOutput : public QUVENObjectOf<QUVENMultifileOutput, QUVENObject> {
 public:
  QUVENMultifileOutput() = default;
  QUVENMultifileOutput(QUVENMultifileOutput&&) = delete;
  QUVENMultifileOutput& operator=(QUVENMultifileOutput&&) = delete;
  ~QUVENMultifileOutput() override = default;

  /// The path of a worker: "_worker_" and its rank before the last "." of the name, wherever that stands, or else at
  /// the end.
  static std::string pathOf(std::string_view name, int rank);
  const std::string& getPath() const { return path; }

  /// Opens this worker's file of a base name and replaces what was there. Returns 1, as all of these.
  virtual int open(const std::string& name, const QUVENEnvHandle& env);
  virtual int close(const QUVENEnvHandle& env);
  /// Writes numbers in columns of 15 with ",\t" between them and a line end behind the last; no number, no line end.
  /// Whole numbers have no decimals, others six.
  virtual int writeLine(const QUVENXaRay<double>& numbers, const QUVENEnvHandle& env);
  /// Writes a text as it stands.
  virtual int writeString(std::string_view text, const QUVENEnvHandle& env);
  /// Writes texts with ",\t" between them and a line end behind the last.
  virtual int writeStringLine(const QUVENXaRay<std::string, 0>& texts, const QUVENEnvHandle& env);

  // It is not saved, copied or moved: "Function/Feature not yet implemented".
  void copyFromPrimitive(const QUVENObject* source, const QUVENEnvHandle& env) override;
  void transferFromPrimitive(QUVENObject* source, const QUVENEnvHandle& env) override;
  void readPrimitive(QUVENObjReader& reader, const QUVENEnvHandle& env) override;
  void writePrimitive(QUVENObjWriter& writer, const QUVENEnvHandle& env) const override;
  void destroyPrimitive(const QUVENEnvHandle& env) override;

 private:
  void flush(const QUVENEnvHandle& env);

  QUVENMPIFile fileHandle;
  std::string path;
  std::string unwritten;  // so that a line is no call of the system
};

#endif  // QUVEN_MULTIFILEOUTPUT_H
