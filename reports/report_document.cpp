#include "reports/report_document.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "core/text_encoding.h"
#include "core/textfile.h"

namespace vm {

namespace {

constexpr const char* kTextFace = "Times New Roman";
constexpr const char* kTableFace = "Courier New";
constexpr const char* kBlack = "#000000";
constexpr const char* kWhite = "#FFFFFF";

// The page's font tag: face quoted, size and colour bare, as every font tag of the report is made.
std::string FontTag(const char* face, int size, const char* colour) {
  return std::string("<FONT FACE = \"") + face + "\" SIZE =" + std::to_string(size) + " COLOR =" + colour + ">";
}

std::string TableTag(int border, int padding) {
  return "<TABLE BORDER=" + std::to_string(border) +
         " WIDTH=100%  CELLSPACING=0 CELLPADDING=" + std::to_string(padding) + ">\n";
}

// Bytes of one UTF-8 sequence led by `lead`; the text is valid UTF-8 by then.
size_t SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xF0) return 4;
  if (lead >= 0xE0) return 3;
  return 2;
}

char32_t DecodeAt(const std::string& s, size_t at, size_t length) {
  const auto byte = [&](size_t k) { return static_cast<char32_t>(static_cast<unsigned char>(s[at + k])); };
  if (length == 1) return byte(0);
  if (length == 2) return ((byte(0) & 0x1F) << 6) | (byte(1) & 0x3F);
  if (length == 3) return ((byte(0) & 0x0F) << 12) | ((byte(1) & 0x3F) << 6) | (byte(2) & 0x3F);
  return ((byte(0) & 0x07) << 18) | ((byte(1) & 0x3F) << 12) | ((byte(2) & 0x3F) << 6) | (byte(3) & 0x3F);
}

// RTF's \uN takes a signed 16-bit number, with '?' as the stand-in for readers without Unicode.
void AppendRtfUnit(std::string& out, unsigned unit) {
  out += "\\u" + std::to_string(static_cast<int16_t>(static_cast<uint16_t>(unit))) + "?";
}

// A picture the rich text can carry: the data in hex, its kind and its size in pixels.
struct RtfPicture {
  const char* Kind = "";
  int Width = 0;
  int Height = 0;
  std::string_view Data;
};

uint32_t LittleEndian32(const std::string& s, size_t at) {
  uint32_t v = 0;
  for (size_t k = 0; k < 4; ++k) v |= static_cast<uint32_t>(static_cast<unsigned char>(s[at + k])) << (8 * k);
  return v;
}

uint32_t BigEndian32(const std::string& s, size_t at) {
  uint32_t v = 0;
  for (size_t k = 0; k < 4; ++k) v = (v << 8) | static_cast<unsigned char>(s[at + k]);
  return v;
}

// A BMP goes in as its device-independent bitmap (the file without its 14-byte head), a PNG as it is.
std::optional<RtfPicture> RecognisePicture(const std::string& file) {
  RtfPicture p;
  if (file.size() > 54 && file.compare(0, 2, "BM") == 0) {
    const auto height = static_cast<int32_t>(LittleEndian32(file, 22));
    p = {"\\dibitmap0", static_cast<int32_t>(LittleEndian32(file, 18)), height < 0 ? -height : height,
         std::string_view(file).substr(14)};
  } else if (file.size() > 24 && file.compare(0, 8, "\x89PNG\r\n\x1A\n") == 0) {
    p = {"\\pngblip", static_cast<int>(BigEndian32(file, 16)), static_cast<int>(BigEndian32(file, 20)), file};
  } else {
    return std::nullopt;
  }
  if (p.Width <= 0 || p.Height <= 0 || p.Width > 10000 || p.Height > 10000) return std::nullopt;
  return p;
}

std::string RtfPictureGroup(const RtfPicture& p) {
  static constexpr char kHex[] = "0123456789abcdef";
  // Twips at 96 pixels to the inch.
  std::string out = std::string("{\\pict") + p.Kind + "\\picw" + std::to_string(p.Width) + "\\pich" +
                    std::to_string(p.Height) + "\\picwgoal" + std::to_string(p.Width * 15) + "\\pichgoal" +
                    std::to_string(p.Height * 15) + "\n";
  out.reserve(out.size() + p.Data.size() * 2 + p.Data.size() / 64 + 8);
  for (size_t i = 0; i < p.Data.size(); ++i) {
    const auto b = static_cast<unsigned char>(p.Data[i]);
    out += kHex[b >> 4];
    out += kHex[b & 0x0F];
    if (i % 64 == 63) out += '\n';
  }
  out += "}\\par\n";
  return out;
}

// An absolute path as a file URL, so the page finds the picture wherever the page itself is kept.
std::string PictureUrl(const std::string& path) {
  if (path.empty() || path.front() != '/') return path;
  std::string url = "file://";
  for (const char c : path) {
    const auto b = static_cast<unsigned char>(c);
    if (b <= 0x20 || b >= 0x7F || c == '%' || c == '#' || c == '?' || c == '"') {
      char buf[4];
      std::snprintf(buf, sizeof buf, "%%%02X", b);
      url += buf;
    } else {
      url += c;
    }
  }
  return url;
}

}  // namespace

std::string HtmlEscape(std::string_view text) {
  const std::string utf8 = DecodeFileText(text);
  std::string out;
  out.reserve(utf8.size() + 16);
  for (const char c : utf8) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string RtfEscape(std::string_view text) {
  const std::string utf8 = DecodeFileText(text);
  std::string out;
  out.reserve(utf8.size() + 16);
  for (size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    const size_t length = SequenceLength(lead);
    const char32_t cp = DecodeAt(utf8, i, length);
    i += length;
    if (cp == '\\' || cp == '{' || cp == '}') {
      out += '\\';
      out += static_cast<char>(cp);
    } else if (cp == '\n') {
      out += "\\line ";
    } else if (cp == '\t') {
      out += "\\tab ";
    } else if (cp < 0x20 || cp == 0x7F) {
      // Other control characters have no place in a report line.
    } else if (cp < 0x80) {
      out += static_cast<char>(cp);
    } else if (cp <= 0xFFFF) {
      AppendRtfUnit(out, cp);
    } else {
      const char32_t v = cp - 0x10000;
      AppendRtfUnit(out, 0xD800 + (v >> 10));
      AppendRtfUnit(out, 0xDC00 + (v & 0x3FF));
    }
  }
  return out;
}

std::string FixedColumn(std::string_view text, int width, bool right) {
  const std::string utf8 = DecodeFileText(text);
  const size_t room = static_cast<size_t>(std::max(width, 0));
  size_t chars = 0, cut = 0;
  while (cut < utf8.size() && chars < room) {
    cut += SequenceLength(static_cast<unsigned char>(utf8[cut]));
    ++chars;
  }
  const std::string pad(room - chars, ' ');
  const std::string kept = utf8.substr(0, std::min(cut, utf8.size()));
  return right ? pad + kept : kept + pad;
}

ReportDocument::ReportDocument(std::string title) : title_(std::move(title)) {}

void ReportDocument::CloseBlock() {
  if (inTable_) {
    html_ += "</TABLE>\n";
    inTable_ = false;
    columns_.clear();
  }
  html_ += WaitingHeadings();
  waiting_.clear();
}

// White is for the dark ground of a main section; a subsection's light grey takes black, to be read.
std::string ReportDocument::HeadingRows(int span) const {
  std::string rows;
  for (const Heading& h : waiting_) {
    rows += std::string("<TR><TD bgcolor=") + (h.Main ? "#003366" : "#CCCCCC") + " COLSPAN=" + std::to_string(span) +
            "><B>" + FontTag(kTextFace, h.Main ? 4 : 3, h.Main ? kWhite : kBlack) + HtmlEscape(h.Text) +
            "</FONT></B></TD></TR>\n";
  }
  return rows;
}

std::string ReportDocument::WaitingHeadings() const {
  if (waiting_.empty()) return {};
  return TableTag(0, 2) + HeadingRows(1) + "</TABLE>\n";
}

void ReportDocument::Logo(const std::string& picturePath) {
  CloseBlock();
  html_ += TableTag(0, 0) + "<TR><TH><IMG SRC=\"" + HtmlEscape(PictureUrl(picturePath)) +
           "\" ALT=\"Velomark\"></TH></TR>\n</TABLE>\n";
  const std::optional<std::string> file = ReadWholeFile(picturePath);
  if (!file) return;
  if (const std::optional<RtfPicture> picture = RecognisePicture(*file)) rtf_ += RtfPictureGroup(*picture);
}

void ReportDocument::Title(std::string_view text) {
  CloseBlock();
  html_ += FontTag(kTextFace, 5, kBlack) + "<B>" + HtmlEscape(text) + "</B></FONT><BR>\n";
  rtf_ += "{\\b\\fs32 " + RtfEscape(text) + "}\\par\n";
}

void ReportDocument::Line(std::string_view text, bool bold) {
  CloseBlock();
  const std::string html = HtmlEscape(text);
  html_ += FontTag(kTextFace, 3, kBlack) + (bold ? "<B>" + html + "</B>" : html) + "</FONT><BR>\n";
  rtf_ += (bold ? "{\\b " + RtfEscape(text) + "}" : RtfEscape(text)) + "\\par\n";
}

void ReportDocument::Section(std::string_view heading) {
  if (inTable_) CloseBlock();
  waiting_.push_back({std::string(heading), true});
  rtf_ += "\\par\n{\\b\\fs28 " + RtfEscape(heading) + "}\\par\n";
}

void ReportDocument::Subsection(std::string_view heading) {
  if (inTable_) CloseBlock();
  waiting_.push_back({std::string(heading), false});
  rtf_ += "{\\b\\fs24 " + RtfEscape(heading) + "}\\par\n";
}

void ReportDocument::BeginTable(const std::vector<ReportColumn>& columns) {
  if (inTable_) CloseBlock();
  columns_ = columns;
  inTable_ = true;
  html_ += TableTag(1, 2) + HeadingRows(static_cast<int>(std::max<size_t>(columns.size(), 1)));
  waiting_.clear();
  if (columns.empty()) return;
  std::string head = "<TR>", line;
  for (const ReportColumn& c : columns) {
    head += std::string(c.Right ? "<TD ALIGN=CENTER>" : "<TD>") + "<B>" + FontTag(kTextFace, 2, kBlack) +
            HtmlEscape(c.Html) + "</FONT></B></TD>";
    line += FixedColumn(c.Rtf, c.Width, c.Right) + " ";
  }
  html_ += head + "</TR>\n";
  line.erase(line.find_last_not_of(' ') + 1);
  rtf_ += "{\\f1\\fs18\\b " + RtfEscape(line) + "}\\par\n";
}

void ReportDocument::Row(const std::vector<std::string>& cells, RowMark mark) {
  if (!inTable_) BeginTable({});
  const char* opening = mark == RowMark::Winner   ? "<TR bgcolor=#FFFF66>"
                        : mark == RowMark::Points ? "<TR bgcolor=#FFFFCC>"
                                                  : "<TR>";
  std::string html = opening, line;
  const size_t n = std::max(cells.size(), columns_.size());
  for (size_t i = 0; i < n; ++i) {
    static const ReportColumn kLoose;  // a cell beyond the table's columns
    const ReportColumn& column = i < columns_.size() ? columns_[i] : kLoose;
    const std::string_view text = i < cells.size() ? std::string_view(cells[i]) : std::string_view();
    html += std::string(column.Right ? "<TD ALIGN=CENTER>" : "<TD>") + FontTag(kTableFace, 2, kBlack) +
            (text.empty() ? "&nbsp;" : HtmlEscape(text)) + "</FONT></TD>";
    line += FixedColumn(text, column.Width, column.Right) + " ";
  }
  html_ += html + "</TR>\n";
  line.erase(line.find_last_not_of(' ') + 1);
  rtf_ += "{\\f1\\fs18 " + RtfEscape(line) + "}\\par\n";
}

void ReportDocument::EndTable() {
  if (inTable_) CloseBlock();
}

void ReportDocument::HtmlOnly(std::string_view markup) {
  CloseBlock();
  html_.append(markup);
  html_ += '\n';
}

std::string ReportDocument::Rtf() const {
  std::string out =
      "{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1\n"
      "{\\fonttbl{\\f0\\froman\\fcharset0 Times New Roman;}{\\f1\\fmodern\\fcharset0 Courier New;}}\n"
      "{\\info{\\title " +
      RtfEscape(title_) + "}}\n\\pard\\plain\\f0\\fs20\n";
  out.reserve(out.size() + rtf_.size() + 4);
  out += rtf_;
  out += "}\n";
  return out;
}

std::string ReportDocument::Html() const {
  std::string out = "<!DOCTYPE html>\n<HTML><HEAD>\n<META charset=\"utf-8\">\n<TITLE>" + HtmlEscape(title_) +
                    "</TITLE>\n</HEAD>\n<BODY>\n";
  out.reserve(out.size() + html_.size() + 64);
  out += html_;
  if (inTable_) out += "</TABLE>\n";
  out += WaitingHeadings();
  out += "</BODY>\n</HTML>\n";
  return out;
}

}  // namespace vm
