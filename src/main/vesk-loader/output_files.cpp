#include "output_files.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <vector>

#include "control/quven_file_formats.h"
#include "loader_common.h"
#include "output_rows.h"
#include "output_text.h"

namespace vesk_loader {

namespace {

using Triple = std::array<double, sparse_format::columns>;

void put_triple(BlockWriter& file, const Triple& triple) { file.put(std::span<const double>(triple)); }

/// Carries out writes of rows in a binary form. Errors: 1320 (sparse) or 1321 (dense) for any failure.
template <class Writes>
void write_binary(bool sparse, Writes&& writes) {
  try {
    writes();
  } catch (...) {
    if (sparse) report_error(1320, "writeFeaturesToSparse: Unexpected exception occured (probably io)");
    report_error(1321, "writeFeaturesToDense: Unexpected exception occured");
  }
}

/// How the rows of one output get into its files.
class RowFiles {
 public:
  virtual ~RowFiles() = default;

  /// False if a file cannot be opened.
  [[nodiscard]] virtual bool open() = 0;
  virtual void write(const OutputRow& row) = 0;
  /// Writes what stands behind the last row.
  virtual void finish() {}
  virtual void close() = 0;
};

/// The binary form: the main file and one file for each payload column.
class BinaryFiles : public RowFiles {
 public:
  BinaryFiles(std::string stem_, const LoaderSettings& settings_, std::size_t width_, std::size_t tableSize_)
      : stem(std::move(stem_)), settings(settings_), width(width_), tableSize(tableSize_) {}

  bool open() override {
    payloads.resize(settings.payloadInputs.size());
    for (std::size_t i = 0; i < payloads.size(); ++i) {
      if (!payloads[i].open(stem + "_payload_" + std::to_string(i + 1))) return false;
    }
    return main.open(stem);
  }

  void write(const OutputRow& row) override {
    writeRow(main, row.key, row.values, row.pairSum ? &row.weights : nullptr);
    for (std::size_t i = 0; i < payloads.size(); ++i) {
      const auto column =
          i < row.payloads.size() ? std::span<const double>(row.payloads[i]) : std::span<const double>();
      writeRow(payloads[i], row.key, column, nullptr);
    }
  }

  // The last block still holds rows: if it cannot be written, the code is the same as for an earlier block.
  void close() override {
    write_binary(settings.sparse != 0, [this] {
      main.close();
      for (BlockWriter& file : payloads) file.close();
    });
  }

 private:
  void writeRow(BlockWriter& file, double key, std::span<const double> row, const std::span<const double>* weights) {
    if (settings.sparse != 0) {
      writeFeaturesToSparse(file, key, row, width, weights);
    } else {
      writeFeaturesToDense(file, key, row, tableSize);
    }
  }

  std::string stem;
  const LoaderSettings& settings;
  std::size_t width;
  std::size_t tableSize;
  BlockWriter main;
  std::vector<BlockWriter> payloads;
};

/// A form for people: one text file.
template <class Form>
class TextFile : public RowFiles {
 public:
  TextFile(std::string name_, Form form_) : name(std::move(name_)), form(std::move(form_)) {}

  bool open() override {
    if (!file.open(name)) return false;
    form.begin(file);
    return true;
  }
  void write(const OutputRow& row) override { form.row(file, row); }
  void finish() override { form.end(file); }
  void close() override { file.close(); }

 private:
  std::string name;
  Form form;
  BlockWriter file;
};

std::unique_ptr<RowFiles> make_files(const std::string& stem, const LoaderSettings& settings, std::size_t width,
                                     std::size_t tableSize) {
  switch (settings.outputFormat) {
    case OutputFormat::XML:
      return std::make_unique<TextFile<XmlForm>>(stem, XmlForm(settings.tagPrefix, settings.outputNamespace));
    case OutputFormat::CSV:
      return std::make_unique<TextFile<CsvForm>>(stem, CsvForm(tableSize, settings.payloadInputs.size()));
    case OutputFormat::Binary:
      break;
  }
  return std::make_unique<BinaryFiles>(stem, settings, width, tableSize);
}

void write_info(const std::string& name, bool sparse, std::size_t lastColumn) {
  BlockWriter file;
  if (!file.open(name)) throw exception_loader();
  if (sparse) {
    file.put("Col1 Numeric LineNumber\nCol2 Numeric Explanatory\nCol3 Numeric Explanatory\n");
  } else {
    for (std::size_t column = 0; column <= lastColumn; ++column) {
      file.put("Col" + std::to_string(column) + " Numeric Explanatory\n");
    }
  }
  file.close();
}

int write_output(const std::string& stem, LoaderTables& tables, const LoaderSettings& settings) {
  report_log(0, ">>> VESK loader: starting write_pml_file, file = " + stem);
  const bool binary = settings.outputFormat == OutputFormat::Binary;
  const bool sparse = binary && settings.sparse != 0;
  if (tables.pairs != nullptr && !sparse && settings.outputFormat != OutputFormat::XML) {
    report_error(1106,
                 "write_pml_file: Pairsum is supported in sparse binary and XML formats only (code should not "
                 "got here)");
  }
  const std::size_t tableSize = tables.keys->getShape().tableSize;
  OutputRows rows(tables, settings.sortCyclicTable);
  const auto files = make_files(stem, settings, rows.width(), tableSize);
  if (!files->open()) return 0;

  OutputRow row;
  std::size_t recordCount = 0;
  std::size_t longest = 0;
  for (std::size_t place = 0; place < rows.order().size(); ++place) {
    const OutputRows::Result result = rows.make(place, row);
    if (result == OutputRows::Result::Skipped) continue;
    if (result == OutputRows::Result::ReorderFailed) {
      files->close();  // what was written stays; without its end or description it does not pass for an output
      return 0;
    }
    ++recordCount;
    files->write(row);
    longest = std::max(longest, row.values.size());
  }
  files->finish();
  files->close();

  std::string notes;
  if (binary) {
    const std::string info = stem + ".info";
    notes += "Writing .info file." + info + "\n";
    write_info(info, sparse, tableSize > 0 ? tableSize : longest);
    notes += "Writing .info file is done." + info + "\n";
  }
  report_log(1, ">>> VESK loader: Writing output file \n" + notes + ">>> VESK loader: Writing output file is done. " +
                    std::to_string(recordCount) + "records are written into the .bin file.");
  report_log(0, ">>> VESK loader: write_pml_file is done");
  return 1;
}

}  // namespace

void writeFeaturesToSparse(BlockWriter& file, double key, std::span<const double> row, std::size_t width,
                           const std::span<const double>* weights) {
  write_binary(true, [&] {
    const auto widthValue = static_cast<double>(width);
    put_triple(file, {key, sparse_format::headerPosition, widthValue});
    if (weights != nullptr) {
      for (std::size_t i = 0; i < row.size(); ++i) put_triple(file, {key, row[i], (*weights)[i]});
      put_triple(file, {key, sparse_format::headerPosition, sparse_format::pairSumFooterMark});
      return;
    }
    for (std::size_t i = 0; i < row.size(); ++i) put_triple(file, {key, static_cast<double>(i + 1), row[i]});
    put_triple(file, {key, widthValue + 1.0, sparse_format::footerValue});
  });
}

void writeFeaturesToDense(BlockWriter& file, double key, std::span<const double> row, std::size_t tableSize) {
  write_binary(false, [&] {
    file.put(key);
    file.put(row);
    for (std::size_t i = row.size(); i < tableSize; ++i) file.put(0.0);
  });
}

int write_pml_file(const std::string& outputStem, LoaderTables& tables, const LoaderSettings& settings) {
  try {
    return write_output(outputStem, tables, settings);
  } catch (const std::bad_alloc&) {
    report_error(1311, "write_pml_file: Unexpected memory exception");
  } catch (...) {
    report_error(1325, "write_pml_file: Unexpected exception occured (check io and memory)");
  }
}

}  // namespace vesk_loader
