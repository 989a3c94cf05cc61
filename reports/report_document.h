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
  std::string Html;    // the heading in the page
  std::string Rtf;     // the heading in the rich text (often the same)
  int Width = 10;      // characters of the rich text's fixed column; one blank parts it from the next
  bool Right = false;  // figures: set to the right in the rich text, centred in the page
};

class ReportDocument {
 public:
  // `title` is the page's <TITLE> ("Velomark 2007 - Race Results").
  explicit ReportDocument(std::string title);

  // The logo at the head of the page (a picture path; the rich text embeds a BMP or PNG and
  // leaves anything else out).
  void Logo(const std::string& picturePath);
  // A title line in bold, and plain lines under it.
  void Title(std::string_view text);
  void Line(std::string_view text, bool bold = false);
  // A main section heading (dark ground in the page) and a subsection heading (grey ground). In the
  // page a heading becomes the first row of the table that follows it, or a table of its own.
  void Section(std::string_view heading);
  void Subsection(std::string_view heading);
  // A table: its columns, then its rows, then its end. Missing cells are blank; anything else
  // added before EndTable ends the table first.
  void BeginTable(const std::vector<ReportColumn>& columns);
  void Row(const std::vector<std::string>& cells, RowMark mark = RowMark::Plain);
  void EndTable();
  // Markup for the page alone (the charts), placed as it stands; the rich text skips it.
  void HtmlOnly(std::string_view markup);

  // The finished forms. Both may be taken any number of times.
  std::string Rtf() const;
  std::string Html() const;

 private:
  struct Heading {
    std::string Text;
    bool Main = true;
  };
  // Ends an open table and writes waiting headings as a table of their own, before other content.
  void CloseBlock();
  std::string HeadingRows(int span) const;
  std::string WaitingHeadings() const;

  std::string title_;
  std::string rtf_;
  std::string html_;
  std::vector<ReportColumn> columns_;
  std::vector<Heading> waiting_;  // headings not yet written to the page
  bool inTable_ = false;
};

// Text made safe for each form: HTML's & < > " and RTF's \ { } and characters beyond ASCII.
std::string HtmlEscape(std::string_view text);
std::string RtfEscape(std::string_view text);

// A cell set in a fixed column of `width` characters (not bytes): cut when longer, padded with
// blanks on the right, or on the left when `right`. The result is UTF-8, not yet escaped.
std::string FixedColumn(std::string_view text, int width, bool right);

}  // namespace vm
