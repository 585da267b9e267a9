#include "report/report_page.h"

#include <ostream>

#include "page/html_table.h"
#include "page/html_text.h"
#include "page/page_style.h"
#include "report/report_style.h"

namespace vesk {

namespace {

using vesk_page::htmlText;

void writeParagraph(const std::string& text, std::ostream& out) { out << "<p>" << htmlText(text) << "</p>\n"; }

void writeWarnings(const ReportTable& warnings, std::ostream& out) {
  if (warnings.rows.empty()) return;
  out << "<section class=\"warnings\">\n<h2>" << htmlText(warnings.caption) << "</h2>\n<ul>\n";
  for (const std::vector<ReportCell>& row : warnings.rows) {
    out << "<li>" << htmlText(row[0].onPage()) << ": " << htmlText(row[1].onPage()) << "</li>\n";
  }
  out << "</ul>\n</section>\n";
}

void writeSection(const ReportSection& section, int& numCharts, std::ostream& out) {
  out << "<section>\n<h2>" << htmlText(section.heading) << "</h2>\n";
  for (const std::string& paragraph : section.paragraphs) writeParagraph(paragraph, out);
  if (!section.charts.empty()) out << "<div class=\"pair\">\n";
  for (const ReportChart& chart : section.charts) {
    out << "<figure>\n<figcaption>" << htmlText(chart.title) << "</figcaption>\n";
    chart.picture.write(out, "chart-" + std::to_string(++numCharts), chart.title, chart.description);
    out << "</figure>\n";
  }
  if (!section.charts.empty()) out << "</div>\n";
  out << "<div class=\"tables\">\n";
  for (const ReportTable& table : section.tables) writeHtmlTable(table, out);
  out << "</div>\n";
  out << "</section>\n";
}

/// Which CSV file has the numbers of which table.
void writeFiles(const ReportContent& content, const std::vector<std::string>& csvFiles, std::ostream& out) {
  out << "<section>\n<h2>Files</h2>\n";
  writeParagraph(
      "Each number on this page is in one of these CSV files, with all of its digits. They are beside the page.", out);
  vesk_page::HtmlTable table(out, {{"table", false, true}, {"file", false}}, "CSV files");
  auto file = csvFiles.begin();
  for (const ReportTable* each : tablesOf(content)) table.addRow({each->caption, *file++});
  table.close();
  out << "</section>\n";
}

}  // namespace

void writeReportPage(const ReportContent& content, const std::vector<std::string>& csvFiles, std::ostream& out) {
  const std::string title = htmlText(content.title);
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\"/>\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\"/>\n<title>"
      << title << "</title>\n<style>" << vesk_page::pageStyle << reportStyle
      << "</style>\n</head>\n<body>\n<main>\n<h1>" << title << "</h1>\n";
  writeWarnings(content.warnings, out);
  int numCharts = 0;
  for (const ReportSection& section : content.sections) writeSection(section, numCharts, out);
  writeFiles(content, csvFiles, out);
  out << "</main>\n</body>\n</html>\n";
}

}  // namespace vesk
