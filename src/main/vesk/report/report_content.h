#ifndef VESK_REPORT_CONTENT_H
#define VESK_REPORT_CONTENT_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ids/id_map.h"
#include "report/energy_curve.h"
#include "report/found_groups.h"
#include "report/level_rows.h"
#include "report/report_charts.h"
#include "report/report_table.h"
#include "report/run_facts.h"

namespace vesk {

/// What the inputs of a report say.
struct ReportFacts {
  std::vector<RunFacts> runs;
  std::optional<FoundGroups> groups;
  std::optional<EnergyCurve> energy;
  std::vector<LevelRow> levels;                  ///< empty for none
  std::map<std::string, std::uint64_t> changes;  ///< events of a comparison with an earlier run, empty for none
  std::vector<std::string> remarks;              ///< doubts about the inputs
};

/// A part of the page with a heading: paragraphs, then pictures beside each other, then tables.
struct ReportSection {
  std::string heading;
  std::vector<std::string> paragraphs;
  std::vector<ReportChart> charts;
  std::vector<ReportTable> tables;
};

struct ReportContent {
  std::string title;
  ReportTable warnings;  ///< by run; without rows for none
  std::vector<ReportSection> sections;
};

/// The tables of the page in its order, those of warnings first if there are any.
std::vector<const ReportTable*> tablesOf(const ReportContent& content);

/// map: the texts of the leaders' ids, null for numbers.
/// Errors: as shownId.
ReportContent makeReportContent(const ReportFacts& facts, const std::string& title, IdMap* map);

}  // namespace vesk

#endif  // VESK_REPORT_CONTENT_H
