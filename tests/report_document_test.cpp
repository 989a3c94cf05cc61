#include "reports/report_document.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "core/race_state.h"
#include "report_test_support.h"
#include "reports/race_charts.h"
#include "temp_dir.h"

namespace vm {
namespace {

using testing_support::Count;
using testing_support::ExpectContains;
using testing_support::ThreeCarRace;

// Every opened tag of the page is closed.
void ExpectBalanced(const std::string& html) {
  for (const std::string tag : {"TABLE", "TR", "TD", "TH", "FONT", "B", "HTML", "HEAD", "BODY", "TITLE"})
    EXPECT_EQ(Count(html, "<" + tag + ">") + Count(html, "<" + tag + " "), Count(html, "</" + tag + ">")) << tag;
}

TEST(ReportEscape, HtmlAndRtfTakeHostileText) {
  EXPECT_EQ(HtmlEscape("Tom & \"Jerry\" <b>"), "Tom &amp; &quot;Jerry&quot; &lt;b&gt;");
  EXPECT_EQ(RtfEscape("C:\\Cars {new} M\xC3\xBCller"), "C:\\\\Cars \\{new\\} M\\u252?ller");
  // Beyond 32767 the number goes negative; beyond the 16-bit plane it takes two halves.
  EXPECT_EQ(RtfEscape("\xE2\x82\xAC \xEF\xBF\xBD \xF0\x9F\x98\x80"), "\\u8364? \\u-3? \\u-10179?\\u-8704?");
  // A Latin-1 name from an old file is read as such, not as broken UTF-8.
  EXPECT_EQ(RtfEscape("M\xFCller"), "M\\u252?ller");
  EXPECT_EQ(HtmlEscape("M\xFCller"), "M\xC3\xBCller");
  EXPECT_EQ(RtfEscape("a\tb\nc\x01"), "a\\tab b\\line c");
}

TEST(ReportEscape, FixedColumnsCountCharactersNotBytes) {
  EXPECT_EQ(FixedColumn("M\xC3\xBCller", 8, false), "M\xC3\xBCller  ");
  EXPECT_EQ(FixedColumn("7", 3, true), "  7");
  EXPECT_EQ(FixedColumn("\xC3\x85ngstr\xC3\xB6m-\xC3\x85lund", 10, false), "\xC3\x85ngstr\xC3\xB6m-\xC3\x85");
  EXPECT_EQ(FixedColumn("abc", 0, true), "");
}

ReportDocument Standings() {
  ReportDocument doc("Velomark 2007 - Race Results");
  doc.Title("Single Race");
  doc.Section("Final Standings:");
  doc.BeginTable({{"Pos", "Pos", 4, true}, {"Driver", "Driver", 10, false}, {"Time", "Time", 9, true}});
  doc.Row({"1", "M\xC3\xBCller", "1:02:03"}, RowMark::Winner);
  doc.Row({"2", "<Ann & \"Bo\">", "+4.50"}, RowMark::Points);
  doc.Row({"3"});
  doc.EndTable();
  doc.Subsection("Race Setup");
  doc.Line("Cars: 3");
  doc.Line("{Bold} \\ line", true);
  doc.HtmlOnly("<svg><title>chart marker</title></svg>");
  return doc;
}

TEST(ReportPage, HeadSectionsAndRowsAsTheReportMarksThem) {
  const std::string html = Standings().Html();
  EXPECT_EQ(html.rfind("<!DOCTYPE html>\n<HTML><HEAD>\n<META charset=\"utf-8\">\n<TITLE>Velomark 2007 - Race "
                       "Results</TITLE>\n</HEAD>\n<BODY>\n",
                       0),
            0u);
  EXPECT_EQ(html.substr(html.size() - 16), "</BODY>\n</HTML>\n");
  const std::string font = "<FONT FACE = \"Courier New\" SIZE =2 COLOR =#000000>";
  ExpectContains(
      html,
      {// The heading is the first row of its table, spanning its three columns.
       "<TABLE BORDER=1 WIDTH=100%  CELLSPACING=0 CELLPADDING=2>\n<TR><TD bgcolor=#003366 COLSPAN=3><B><FONT FACE = "
       "\"Times New Roman\" SIZE =4 COLOR =#FFFFFF>Final Standings:</FONT></B></TD></TR>\n<TR><TD ALIGN=CENTER><B>",
       "<TR bgcolor=#FFFF66><TD ALIGN=CENTER>" + font + "1</FONT></TD><TD>" + font +
           "M\xC3\xBCller</FONT></TD><TD ALIGN=CENTER>" + font + "1:02:03</FONT></TD></TR>",
       "<TR bgcolor=#FFFFCC><TD ALIGN=CENTER>" + font + "2</FONT></TD><TD>" + font +
           "&lt;Ann &amp; &quot;Bo&quot;&gt;</FONT></TD>",
       "<TR><TD ALIGN=CENTER>" + font + "3</FONT></TD><TD>" + font + "&nbsp;</FONT></TD>",
       // A subsection followed by lines stands in a table of its own.
       "<TABLE BORDER=0 WIDTH=100%  CELLSPACING=0 CELLPADDING=2>\n<TR><TD bgcolor=#CCCCCC COLSPAN=1><B><FONT FACE = "
       "\"Times New Roman\" SIZE =3 COLOR =#000000>Race Setup</FONT></B></TD></TR>\n</TABLE>\n<FONT FACE = \"Times "
       "New Roman\" SIZE =3 COLOR =#000000>Cars: 3</FONT><BR>",
       "<svg><title>chart marker</title></svg>"});
  ExpectBalanced(html);
}

TEST(ReportPage, TakenMidTableOrTwiceStaysWhole) {
  ReportDocument doc("T");
  doc.Section("Lap By Lap Standings:");
  doc.Subsection("Lap: 1");
  EXPECT_NE(doc.Html().find("COLSPAN=1"), std::string::npos);  // headings with nothing under them yet
  doc.BeginTable({{"Driver", "Driver", 10, false}});
  doc.Row({"A", "extra cell"});
  const std::string first = doc.Html();
  EXPECT_EQ(first, doc.Html());
  ExpectBalanced(first);
  EXPECT_NE(first.find("bgcolor=#CCCCCC COLSPAN=1><B>"), std::string::npos);
  doc.Row({"B"});  // the table goes on after the page was taken
  EXPECT_EQ(Count(doc.Html(), "<TABLE"), 1u);
}

TEST(ReportRichText, FixedColumnsBoldHeadingsAndNoPageMarkup) {
  const std::string rtf = Standings().Rtf();
  EXPECT_EQ(rtf.rfind("{\\rtf1\\ansi", 0), 0u);
  EXPECT_EQ(rtf.substr(rtf.size() - 2), "}\n");
  ExpectContains(
      rtf, {"{\\fonttbl{\\f0\\froman\\fcharset0 Times New Roman;}{\\f1\\fmodern\\fcharset0 Courier New;}}",
            "{\\b\\fs32 Single Race}\\par\n", "{\\b\\fs28 Final Standings:}\\par\n", "{\\b\\fs24 Race Setup}\\par\n",
            // Four-wide right-set place, ten-wide name, nine-wide right-set time, one blank between.
            "{\\f1\\fs18\\b  Pos Driver          Time}\\par\n", "{\\f1\\fs18    1 M\\u252?ller       1:02:03}\\par\n",
            "{\\f1\\fs18    2 <Ann & \"Bo     +4.50}\\par\n", "{\\f1\\fs18    3}\\par\n",
            "Cars: 3\\par\n{\\b \\{Bold\\} \\\\ line}\\par\n"});
  EXPECT_EQ(rtf.find("marker"), std::string::npos);
  // Unescaped braces pair up.
  int depth = 0;
  for (size_t i = 0; i < rtf.size(); ++i) {
    if (rtf[i] == '\\')
      ++i;  // an escaped brace is text
    else
      depth += rtf[i] == '{' ? 1 : rtf[i] == '}' ? -1 : 0;
    ASSERT_GE(depth, 0);
  }
  EXPECT_EQ(depth, 0);
}

TEST(ReportRichText, LogoEmbeddedWhenItIsAPicture) {
  testing_support::TempDir dir;
  // A 2 x 1 24-bit BMP: 14-byte file head, 40-byte DIB head, one row of 6 bytes padded to 8,
  // all as little-endian words.
  std::string bmp = "BM";
  for (const uint32_t v : {62u, 0u, 54u, 40u, 2u, 1u, 0x180001u, 0u, 8u, 0u, 0u, 0u, 0u, 0xFFu, 0xFF00u})
    for (int k = 0; k < 4; ++k) bmp += static_cast<char>((v >> (8 * k)) & 0xFF);
  ReportDocument doc("T");
  doc.Logo(dir.Add("logo dir/logo.bmp", bmp));
  EXPECT_NE(
      doc.Rtf().find("{\\pict\\dibitmap0\\picw2\\pich1\\picwgoal30\\pichgoal15\n28000000020000000100000001001800"),
      std::string::npos);
  EXPECT_NE(doc.Html().find("<TR><TH><IMG SRC=\"file://" + dir.Root() + "/logo%20dir/logo.bmp\" ALT=\"Velomark\">"),
            std::string::npos);

  ReportDocument other("T");
  other.Logo(dir.Add("notes.bmp", "not a picture"));
  other.Logo(dir.File("missing.bmp"));
  EXPECT_EQ(other.Rtf().find("\\pict"), std::string::npos);
  EXPECT_EQ(Count(other.Html(), "<IMG"), 2u);
}

TEST(RaceCharts, LapChartPlacesWorkedByHand) {
  auto rs = ThreeCarRace();
  rs->DriverName[1] = "M\xC3\xBCller & Sons";
  const std::string svg = LapChartSvg(*rs);
  EXPECT_EQ(svg.rfind("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 720 480\"", 0), 0u);
  EXPECT_EQ(svg.substr(svg.size() - 6), "</svg>");
  // Laps 0, 1, 2 at x 80, 380, 680; places 1, 2, 3 at y 40, 220, 400.
  ExpectContains(svg, {"<title>Lap Chart</title>", ">Lap</text>", ">Place</text>",
                       "<title>Car 1: M\xC3\xBCller &amp; Sons</title><polyline fill=\"none\" stroke-width=\"2\" "
                       "points=\"80,40 380,220 680,400\"/><text x=\"74\" y=\"44\" text-anchor=\"end\" "
                       "stroke=\"none\">1</text><text x=\"686\" y=\"404\" text-anchor=\"start\" "
                       "stroke=\"none\">1</text></g>",
                       "points=\"80,220 380,40 680,40\"", "points=\"80,400 380,400 680,220\""});
  // Car 3 out of the race in lap 2: its line ends at lap 1, numbered there.
  rs->LapSpeedMph[2][3] = 0;
  rs->LapOrder[2] = {0, 2, 1, 3};
  EXPECT_NE(LapChartSvg(*rs).find("points=\"80,400 380,400\"/><text x=\"74\" y=\"404\" text-anchor=\"end\" "
                                  "stroke=\"none\">3</text><text x=\"386\" y=\"404\" text-anchor=\"start\" "
                                  "stroke=\"none\">3</text>"),
            std::string::npos);
}

TEST(RaceCharts, GapChartSecondsBehindTheLeader) {
  auto rs = ThreeCarRace();
  rs->LapGap[2][2] = 0.5;  // whatever the table holds, the lap's leader stands at 0
  // Laps 1, 2 at x 80, 680; the largest gap is 3.5 s, so the scale runs 0..4 over y 40..400.
  ExpectContains(GapChartSvg(*rs), {"<title>Gap Chart</title>", ">Seconds behind the leader</text>",
                                    "points=\"80,175 680,355\"", "points=\"80,40 680,40\"", "points=\"80,310 680,175\"",
                                    "<text x=\"44\" y=\"404\" text-anchor=\"end\">4</text>",
                                    "<text x=\"686\" y=\"359\" text-anchor=\"start\" stroke=\"none\">1</text>"});
}

TEST(RaceCharts, NoLapNoChart) {
  auto rs = std::make_unique<RaceState>();
  rs->CarCount = 3;
  rs->RaceLaps = 5;
  rs->LapOrder[0] = {0, 1, 2, 3};
  EXPECT_EQ(LapChartSvg(*rs), "");
  EXPECT_EQ(GapChartSvg(*rs), "");
  rs->RaceLaps = 0;
  rs->LapOrder[1] = {0, 1, 2, 3};
  EXPECT_EQ(LapChartSvg(*rs), "");
}

TEST(RaceCharts, FortyCarsOverAHundredLapsEachHaveTheirLine) {
  auto rs = std::make_unique<RaceState>();
  rs->CarCount = kMaxCars;
  rs->RaceLaps = kMaxLaps;
  for (int lap = 0; lap <= kMaxLaps; ++lap)
    for (int place = 1; place <= kMaxCars; ++place) {
      const int car = (place - 1 + lap) % kMaxCars + 1;
      rs->LapOrder[lap][place] = car;
      rs->LapGap[lap][car] = (place - 1) * 1.37 + lap * 0.01;
      rs->LapSpeedMph[lap][car] = 150;
    }
  // How fast they are drawn is the box score benchmark's business; here, that every car is drawn.
  const std::string lapChart = LapChartSvg(*rs);
  EXPECT_EQ(Count(lapChart, "<polyline"), 40u);
  EXPECT_EQ(Count(GapChartSvg(*rs), "<polyline"), 40u);
  EXPECT_EQ(Count(lapChart, "stroke-dasharray=\"8 3\""), 10u);  // cars 11..20 share colours with 1..10
}

}  // namespace
}  // namespace vm
