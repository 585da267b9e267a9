#ifndef QUVEN_ROW_FILE_H
#define QUVEN_ROW_FILE_H

#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "control/quven_result_file.h"
#include "passes/quven_worker_transport.h"

/// A text file that all ranks write, each a run of whole rows: the rows of a lower rank come first.
///
/// Rank 0 writes into the result file, the others into NAME.partial<process>.rows<rank> beside it, which commit appends
/// at the place where it belongs. The file appears under its name when it is complete.
///
/// Collective: construction and commit.
/// Errors:     what cannot be opened or written is the terminating report 2302 with the name; every rank ends with it.
/// Lifetime:   without commit the destructor of any rank removes the files of all ranks, because a rank that fails ends
///             the processes of the others. The ranks see the same folder.
class QUVENRowFile {
 public:
  QUVENRowFile(const std::string& resultPath, const QUVENWorkerTransport& workerTransport, const QUVENEnvHandle& env);
  ~QUVENRowFile();
  QUVENRowFile(const QUVENRowFile&) = delete;
  QUVENRowFile& operator=(const QUVENRowFile&) = delete;

  /// Adds a row without its line end.
  void write(std::string_view row, const QUVENEnvHandle& env);
  void commit(const QUVENEnvHandle& env);

 private:
  [[noreturn]] void fail(const QUVENEnvHandle& env) const;
  void agree(bool isGood, const QUVENEnvHandle& env) const;
  std::string partOf(int rank) const {
    return path + ".partial" + std::to_string(run) + ".rows" + std::to_string(rank);
  }
  bool append(const std::string& part);

  std::string path;
  const QUVENWorkerTransport& transport;
  std::int32_t run;  // the process id of rank 0: two runs with one result name do not disturb each other
  std::unique_ptr<QUVENResultFile> result;  // of rank 0
  std::ofstream part;                       // of the others
  bool committed = false;
};

#endif  // QUVEN_ROW_FILE_H
