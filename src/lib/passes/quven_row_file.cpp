#include "passes/quven_row_file.h"

#include <unistd.h>

#include <filesystem>
#include <vector>

#include "util/quven_debug.h"
#include "vesk-common/quven_reports.h"

namespace {

constexpr int OutputUnwritable = 2302;

}  // namespace

QUVENRowFile::QUVENRowFile(const std::string& resultPath, const QUVENWorkerTransport& workerTransport,
                           const QUVENEnvHandle& env)
    : path(resultPath),
      transport(workerTransport),
      run(workerTransport.broadcastWord(static_cast<std::int32_t>(::getpid()))) {
  if (transport.isMaster()) {
    result = std::make_unique<QUVENResultFile>(path);
  } else {
    part.open(partOf(transport.getRank()), std::ios::binary | std::ios::trunc);
  }
  agree(transport.isMaster() ? result->isOpen() : part.is_open(), QUVEN_ENV);
}

QUVENRowFile::~QUVENRowFile() {
  part.close();
  const auto removePart = [this](int rank) {
    std::error_code ignored;  // a file that was never made, or that cannot be removed any more
    std::filesystem::remove(partOf(rank), ignored);
  };
  if (committed) {
    if (!transport.isMaster()) removePart(transport.getRank());
    return;
  }
  // The rank that fails ends the others before they can remove their own files.
  for (int rank = 1; rank < transport.getCount(); ++rank) removePart(rank);
  if (!transport.isMaster()) quvenRemoveIncompleteResult(path, run);
}

void QUVENRowFile::fail(const QUVENEnvHandle& env) const {
  report_error(OutputUnwritable, path, "Unable to write output file", QUVEN_ENV, true);
  quvenUnreachable(QUVEN_ENV);
}

void QUVENRowFile::agree(bool isGood, const QUVENEnvHandle& env) const {
  if (!isGood) fail(QUVEN_ENV);
  // A rank that fails ends the run, so the others need not be told; they wait here until all are good.
  transport.waitForAll();
}

void QUVENRowFile::write(std::string_view row, const QUVENEnvHandle& env) {
  std::ostream& out = transport.isMaster() ? result->getStream() : part;
  out << row << '\n';
  if (!out) fail(QUVEN_ENV);
}

/// Adds the bytes of a part to the result.
bool QUVENRowFile::append(const std::string& partPath) {
  constexpr std::size_t blockBytes = 1 << 20;
  std::vector<char> block(blockBytes);
  std::ifstream in(partPath, std::ios::binary);
  if (!in.is_open()) return false;
  while (in) {
    in.read(block.data(), static_cast<std::streamsize>(block.size()));
    result->getStream().write(block.data(), in.gcount());
    if (!result->getStream()) return false;
  }
  return in.eof();
}

void QUVENRowFile::commit(const QUVENEnvHandle& env) {
  bool isGood = true;
  if (!transport.isMaster()) {
    part.close();
    isGood = !part.fail();
  }
  agree(isGood, QUVEN_ENV);
  if (transport.isMaster()) {
    for (int rank = 1; rank < transport.getCount() && isGood; ++rank) isGood = append(partOf(rank));
    isGood = isGood && result->commit();
  }
  agree(isGood, QUVEN_ENV);
  committed = true;
}
