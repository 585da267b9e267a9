#include "record_scan.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <new>

#include "line_scan.h"
#include "loader_common.h"

namespace vesk_loader {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

void scan_file(const std::string& path, LineReader& reader, LineScan& scan) {
  Line line;
  while (true) {
    const LineReader::Result result = reader.next(line);
    if (result == LineReader::Result::End) break;
    scan.countLine();
    if (result == LineReader::Result::Failure) {
      scan.countLine();
      report_log(2, format_text("Vesk Loader, update_map: reading failure in line %u", scan.lineCount()));
      throw exception_loader();
    }
    scan.scanLine(path, line);
  }
  scan.finish();
  report_log(1, format_text("cdr file scan completed: %u lines are scanned\n>>> VESK loader: update map is done.",
                            scan.lineCount()));
  scan_statistics().current().linesScanned = scan.lineCount();
}

}  // namespace

int list_directory_files(const std::string& directory, const std::string& filter, std::vector<std::string>& names) {
  const std::unique_ptr<DIR, CloseDirectory> listing(::opendir(directory.c_str()));
  if (!listing) {
    print_line(format_text("Error: Invalid file handle. Error is %d", errno));
    return -1;
  }
  while (true) {
    errno = 0;
    const dirent* const entry = ::readdir(listing.get());
    if (entry == nullptr) break;
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || (!filter.empty() && name != filter)) continue;
    names.push_back(name);
    print_line(name);
  }
  if (errno != 0) {
    print_line(format_text("FindNextFile error. Error is %u.", static_cast<unsigned>(errno)));
    return -1;
  }
  return names.empty() ? 0 : 1;
}

int update_process_file(const std::string& directory, const std::string& singleFile, LoaderTables& tables,
                        const LoaderSettings& settings, const ScanScope& scope) {
  report_log(0, ">>> VESK loader: update_process_file ");
  std::vector<std::string> names;
  if (list_directory_files(directory, singleFile, names) == 0) {
    report_error(1200, format_text("update_process_file: Cannot open directory %s", directory.c_str()));
  }
  for (const std::string& name : names) {
    const std::string path = directory + "/" + name;
    print_line("Processing " + path);
    update_map(path, tables, settings, scope);
  }
  return 1;
}

void update_map(const std::string& path, LoaderTables& tables, const LoaderSettings& settings, const ScanScope& scope) {
  std::uint32_t lastLine = 0;
  try {
    report_log(0, ">>> VESK loader: staring update_map, file = " + path);
    LineReader reader;
    if (!reader.open(path)) {
      report_warning(format_text("update_map: cannot open file %s, ignoring", path.c_str()));
      return;
    }
    start_new_file_statistics(scan_statistics(), path, settings.operationNames);
    scan_statistics().current().tableRun = settings.cyclicTableSize > 0;
    report_log(1, ">>> VESK loader: updating map, file = " + path + format_text(", partition = %u", scope.partition));
    if (settings.cyclicTableSize == 0 && settings.dateField != -1) {
      report_error(1350, "update map: loader does not support date field in non table operations (fix ldr file)");
    }
    flush_reports();
    LineScan scan(tables, settings, scope, lastLine);
    scan_file(path, reader, scan);
  } catch (const std::bad_alloc&) {
    report_error(1311, format_text("update map: Unexpected memory exception. It is likely that the loader ran out of "
                                   "memory. Last line read = %u",
                                   lastLine));
  } catch (...) {
    report_error(1351, format_text("%u", lastLine),
                 format_text("update map: Unexpected error occured: last line read = %u", lastLine));
  }
}

}  // namespace vesk_loader
