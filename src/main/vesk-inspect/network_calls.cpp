#include "network_calls.h"

#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "control/quven_dataset_parts.h"
#include "control/quven_file_formats.h"
#include "dataset_form.h"
#include "dataset_report.h"
#include "defect_list.h"
#include "number_format.h"
#include "sparse_check.h"

namespace vesk_inspect {

namespace {

/// Reads one file of the dataset.
class CallFile {
 public:
  CallFile(const std::string& filePath, SparseKind sparseKind)
      : path(filePath), kind(sparseKind), defects(1), check(sparseKind, defects) {}

  void read(const std::function<void(const NetworkCall&)>& take) {
    RecordFile file(path, sparse_format::columns);
    TripleRole role = TripleRole::Footer;
    while (file.next()) {
      const std::vector<double>& values = file.values();
      const Triple triple{values[0], values[1], values[2]};
      role = check.take(triple);
      if (role == TripleRole::Entry) take(callOf(triple, file));
      refuseDefects();
    }
    checkSize(file, sparse_format::columns, defects);
    if (role != TripleRole::Footer) defects.add("the file ends within a row");
    refuseDefects();
  }

 private:
  NetworkCall callOf(const Triple& triple, const RecordFile& file) {
    const bool isPairSum = kind == SparseKind::PairSum;
    NetworkCall call;
    call.caller = subscriberOf(triple.key, file);
    call.callee = subscriberOf(isPairSum ? triple.position : triple.value, file);
    if (!isPairSum) return call;
    call.weight = triple.value;
    if (!std::isfinite(call.weight) || call.weight < 0.0) {
      addDefect(file, "the weight " + formatNumber(call.weight) + " is not a number of at least 0");
    }
    return call;
  }

  std::uint64_t subscriberOf(double number, const RecordFile& file) {
    if (number >= 0.0 && number < 0x1p64 && number == std::trunc(number)) return static_cast<std::uint64_t>(number);
    addDefect(file, formatNumber(number) + " is no subscriber");
    return 0;
  }

  void addDefect(const RecordFile& file, const std::string& text) {
    defects.add(file.getCount(), file.beginBytes(), text);
  }

  void refuseDefects() const {
    if (defects.getCount() > 0) throw std::runtime_error(path + ": " + defects.getFirst());
  }

  const std::string& path;
  SparseKind kind;
  DefectList defects;
  SparseCheck check;
};

}  // namespace

void forEachCall(const std::string& name, const std::function<void(const NetworkCall&)>& take) {
  const QUVENDatasetFiles files = quvenFindDatasetFiles(name);
  if (!files.wrongFile.empty()) throw std::runtime_error(files.wrongFile + ": " + files.mistake);
  std::optional<SparseKind> kindOfAll;
  for (const std::string& path : files.paths) {
    const DatasetShape shape = findDatasetShape(path, std::nullopt, std::nullopt);
    if (shape.form != DatasetForm::Sparse) throw std::runtime_error(path + " is not sparse by " + shape.source);
    const SparseKind kind = findSparseKind(path);
    if (std::filesystem::file_size(path) == 0) continue;  // a part without callers has no kind
    if (kindOfAll.value_or(kind) != kind) throw std::runtime_error(path + " is of another kind than the parts before");
    kindOfAll = kind;
    CallFile(path, kind).read(take);
  }
}

}  // namespace vesk_inspect
