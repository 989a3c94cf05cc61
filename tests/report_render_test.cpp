// The two forms of a report opened by real readers: the rich text by LibreOffice, the page by
// Chromium. Each part is skipped where its program is not installed.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "core/race_state.h"
#include "reports/race_charts.h"
#include "reports/report_document.h"
#include "temp_dir.h"

namespace vm {
namespace {

bool Installed(const std::string& program) {
  return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command; its exit status, or -1 when it did not exit by itself.
int RunShell(const std::string& command) {
  const int status = std::system(command.c_str());
  return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteAll(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// A short race's report with every kind of content, names that need escaping, and both charts.
ReportDocument SampleReport() {
  auto rs = std::make_unique<RaceState>();
  rs->CarCount = 3;
  rs->RaceLaps = 2;
  rs->DriverName = {"", "M\xC3\xBCller", "Ann & Bo", "{Curly}"};
  rs->LapOrder[0] = {0, 1, 2, 3};
  rs->LapOrder[1] = {0, 2, 1, 3};
  rs->LapOrder[2] = {0, 2, 3, 1};
  rs->LapGap[1] = {0, 1.5, 0, 3};
  rs->LapGap[2] = {0, 4, 0, 2};
  for (int lap : {1, 2})
    for (int car : {1, 2, 3}) rs->LapSpeedMph[lap][car] = 150;

  ReportDocument doc("Velomark 2007 - Race Results");
  doc.Logo(std::string(VELOMARK_DATA) + "/Reports/VMR2007.bmp");
  doc.Title("Single Race");
  doc.Section("Race Information");
  doc.Line("Oval <Test> & Co", true);
  doc.Subsection("Race Setup");
  doc.Line("Cars: 3");
  doc.Section("Final Standings:");
  doc.BeginTable({{"Pos", "Pos", 4, true}, {"Driver", "Driver", 12, false}, {"Time", "Time", 9, true}});
  doc.Row({"1", "Ann & Bo", "1:02:03"}, RowMark::Winner);
  doc.Row({"2", "{Curly}", "+2.00"}, RowMark::Points);
  doc.Row({"3", "M\xC3\xBCller", "+4.00"});
  doc.EndTable();
  doc.HtmlOnly(LapChartSvg(*rs));
  doc.HtmlOnly(GapChartSvg(*rs));
  return doc;
}

TEST(ReportRender, LibreOfficeReadsTheRichText) {
  if (!Installed("soffice")) GTEST_SKIP() << "LibreOffice is not installed";
  testing_support::TempDir dir;
  const std::string rtf = dir.File("report.rtf");
  WriteAll(rtf, SampleReport().Rtf());
  // A profile of its own, so a running LibreOffice or another test does not hold the lock.
  const std::string command = "timeout 120 soffice --headless --convert-to pdf --outdir " + Quoted(dir.Root()) + " " +
                              Quoted(rtf) + " -env:UserInstallation=file://" + dir.Root() + "/profile >/dev/null 2>&1";
  ASSERT_EQ(RunShell(command), 0);
  const std::string pdf = dir.File("report.pdf");
  ASSERT_TRUE(std::filesystem::exists(pdf));
  if (!Installed("pdftotext")) GTEST_SKIP() << "pdftotext is not installed";
  ASSERT_EQ(RunShell("timeout 60 pdftotext " + Quoted(pdf) + " " + Quoted(dir.File("report.txt"))), 0);
  const std::string text = ReadAll(dir.File("report.txt"));
  EXPECT_NE(text.find("Final Standings:"), std::string::npos);
  EXPECT_NE(text.find("Oval <Test> & Co"), std::string::npos);
  EXPECT_NE(text.find("{Curly}"), std::string::npos);
  EXPECT_NE(text.find("M\xC3\xBCller"), std::string::npos);
  EXPECT_EQ(text.find("\\u252"), std::string::npos);
}

TEST(ReportRender, ChromiumReadsThePage) {
  std::string chromium;
  for (const char* name : {"chromium", "chromium-browser"})
    if (chromium.empty() && Installed(name)) chromium = name;
  if (chromium.empty()) GTEST_SKIP() << "Chromium is not installed";
  testing_support::TempDir dir;
  const std::string page = dir.File("report.html");
  WriteAll(page, SampleReport().Html());
  const std::string dom = dir.File("dom.html");
  const std::string flags =
      " --headless --no-sandbox --disable-gpu --disable-background-networking --disable-component-update"
      " --disable-sync --no-first-run --user-data-dir=" +
      Quoted(dir.File("profile"));
  ASSERT_EQ(RunShell("timeout 60 " + chromium + flags + " --dump-dom " + Quoted("file://" + page) + " >" + Quoted(dom) +
                     " 2>/dev/null"),
            0);
  const std::string text = ReadAll(dom);
  // The page read as UTF-8, its tables and both charts in the document as written.
  EXPECT_NE(text.find("M\xC3\xBCller"), std::string::npos);
  EXPECT_NE(text.find("Oval &lt;Test&gt; &amp; Co"), std::string::npos);
  EXPECT_NE(text.find("Final Standings:"), std::string::npos);
  EXPECT_NE(text.find("<title>Lap Chart</title>"), std::string::npos);
  EXPECT_NE(text.find("<title>Gap Chart</title>"), std::string::npos);
  EXPECT_NE(text.find("80,40 380,220 680,400"), std::string::npos);

  ASSERT_EQ(RunShell("timeout 60 " + chromium + flags + " --screenshot=" + Quoted(dir.File("shot.png")) +
                     " --window-size=1024,2000 " + Quoted("file://" + page) + " >/dev/null 2>&1"),
            0);
  EXPECT_GT(std::filesystem::file_size(dir.File("shot.png")), 1000u);
}

}  // namespace
}  // namespace vm
