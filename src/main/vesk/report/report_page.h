#ifndef VESK_REPORT_PAGE_H
#define VESK_REPORT_PAGE_H

#include <iosfwd>
#include <string>
#include <vector>

#include "report/report_content.h"

namespace vesk {

/// Writes the page: HTML that is also well-formed XML, without scripts and without other files.
/// csvFiles: the name of the CSV file of each table, in the order of the tables.
void writeReportPage(const ReportContent& content, const std::vector<std::string>& csvFiles, std::ostream& out);

}  // namespace vesk

#endif  // VESK_REPORT_PAGE_H
