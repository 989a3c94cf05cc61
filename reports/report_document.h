// A report written once and produced in two forms at the same time: rich text (RTF) for the
// screen and the RTF file, and an HTML page for the browser. Sections, subsections, lines and
// tables are told once; each form lays them out its own way (fixed Courier columns in the rich
// text, tables in the page).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vm {

// How a table row is shown in the page: the winner's row, a row that earned points, or plain.
enum class RowMark { Plain, Winner, Points };

struct ReportColumn {
  std::string Html;  // the heading in the page
  std::string Rtf;   // the heading in the rich text (often the same)
  int Width = 10;    // characters of the rich text's fixed column
  bool Right = false;  // figures are set to the right
};

class ReportDocument {
 public:
  // `title` is the page's <TITLE> ("Velomark 2007 - Race Results").
  explicit ReportDocument(std::string title);

  // The logo at the head of the page (a picture path; the rich text leaves it out when it cannot
  // embed it).
  void Logo(const std::string& picturePath);
  // A title line in bold, and plain lines under it.
  void Title(std::string_view text);
  void Line(std::string_view text, bool bold = false);
  // A main section heading (dark ground in the page) and a subsection heading (grey ground).
  void Section(std::string_view heading);
  void Subsection(std::string_view heading);
  // A table: its columns, then its rows, then its end.
  void BeginTable(const std::vector<ReportColumn>& columns);
  void Row(const std::vector<std::string>& cells, RowMark mark = RowMark::Plain);
  void EndTable();
  // Markup for the page alone (the charts), placed as it stands; the rich text skips it.
  void HtmlOnly(std::string_view markup);

  // The finished forms. Both may be taken any number of times.
  std::string Rtf() const;
  std::string Html() const;

 private:
  std::string title_;
  std::string rtf_;
  std::string html_;
  std::vector<ReportColumn> columns_;
};

// Text made safe for each form: HTML's & < > " and RTF's \ { } and characters beyond ASCII.
std::string HtmlEscape(std::string_view text);
std::string RtfEscape(std::string_view text);

}  // namespace vm
