// The two forms of a report opened by real readers: the rich text by LibreOffice, the page by
// Chromium. Each part is skipped where its program is not installed.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "report_test_support.h"
#include "reports/race_charts.h"
#include "reports/report_document.h"
#include "temp_dir.h"

namespace vm {
namespace {

using testing_support::ExpectContains;

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
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// A short race's report with every kind of content, names that need escaping, and both charts.
ReportDocument SampleReport() {
  auto rs = testing_support::ThreeCarRace();
  rs->DriverName = {"", "M\xC3\xBCller", "Ann & Bo", "{Curly}"};
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
  const std::string rtf = dir.Add("report.rtf", SampleReport().Rtf());
  // A profile of its own, so a running LibreOffice or another test does not hold the lock.
  ASSERT_EQ(RunShell("timeout 120 soffice --headless --convert-to pdf --outdir " + Quoted(dir.Root()) + " " +
                     Quoted(rtf) + " -env:UserInstallation=file://" + dir.Root() + "/profile >/dev/null 2>&1"),
            0);
  const std::string pdf = dir.File("report.pdf");
  ASSERT_TRUE(std::filesystem::exists(pdf));
  if (!Installed("pdftotext")) GTEST_SKIP() << "pdftotext is not installed";
  ASSERT_EQ(RunShell("timeout 60 pdftotext " + Quoted(pdf) + " " + Quoted(dir.File("report.txt"))), 0);
  const std::string text = ReadAll(dir.File("report.txt"));
  ExpectContains(text, {"Final Standings:", "Oval <Test> & Co", "{Curly}", "M\xC3\xBCller"});
  EXPECT_EQ(text.find("\\u252"), std::string::npos);
}

TEST(ReportRender, ChromiumReadsThePage) {
  std::string chromium;
  for (const char* name : {"chromium", "chromium-browser"})
    if (chromium.empty() && Installed(name)) chromium = name;
  if (chromium.empty()) GTEST_SKIP() << "Chromium is not installed";
  testing_support::TempDir dir;
  const std::string page = Quoted("file://" + dir.Add("report.html", SampleReport().Html()));
  const std::string flags =
      " --headless --no-sandbox --disable-gpu --disable-background-networking --disable-component-update"
      " --disable-sync --no-first-run --user-data-dir=" +
      Quoted(dir.File("profile"));
  const std::string dom = dir.File("dom.html");
  ASSERT_EQ(RunShell("timeout 60 " + chromium + flags + " --dump-dom " + page + " >" + Quoted(dom) + " 2>/dev/null"),
            0);
  // The page read as UTF-8, its tables and both charts in the document as written.
  ExpectContains(ReadAll(dom), {"M\xC3\xBCller", "Oval &lt;Test&gt; &amp; Co", "Final Standings:",
                                "<title>Lap Chart</title>", "<title>Gap Chart</title>", "80,40 380,220 680,400"});
  ASSERT_EQ(RunShell("timeout 60 " + chromium + flags + " --screenshot=" + Quoted(dir.File("shot.png")) +
                     " --window-size=1024,2000 " + page + " >/dev/null 2>&1"),
            0);
  EXPECT_GT(std::filesystem::file_size(dir.File("shot.png")), 1000u);
}

}  // namespace
}  // namespace vm
