#ifndef VESK_TABLE_FILES_H
#define VESK_TABLE_FILES_H

#include <span>
#include <string>
#include <vector>

#include "control/quven_dataset_info.h"
#include "control/quven_result_file.h"
#include "control/quven_table_labels.h"

namespace vesk {

/// A result file that is open.
///
/// Errors: std::runtime_error with the file and the system's reason, from the constructor.
class OpenResultFile : public QUVENResultFile {
 public:
  explicit OpenResultFile(const std::string& name);
};

/// The three files of a table: NAME, NAME.info and NAME.labels. They get their final names when all are complete.
///
/// Errors: std::runtime_error with the file and the system's reason, from every operation.
class TableFiles {
 public:
  /// Refuses names if one of the files would overwrite the input.
  static void refuseInput(const std::string& name, const std::string& input);

  explicit TableFiles(const std::string& name);

  void writeRecord(std::span<const double> record);
  void complete(const std::vector<dataset_info::Column>& description, const QUVENTableLabels& labels);

 private:
  void writeBlock();

  OpenResultFile data;
  OpenResultFile info;
  OpenResultFile labelsFile;
  std::vector<double> block;
};

}  // namespace vesk

#endif  // VESK_TABLE_FILES_H
