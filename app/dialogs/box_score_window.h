// The report windows: the final standings of a race (frmFinalStandings), the practice results
// (frmPracticeResults) and the report of an earlier season race (frmArchiveBoxscore). Each shows
// its box score, rebuilt when a view switch changes, saves it as rich text or HTML, and opens the
// page in the user's browser.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <string>

#include "reports/box_score.h"

namespace vm {

class Console;

struct BoxScoreWindowSetup {
  std::string FormName;       // "frmFinalStandings", "frmPracticeResults", "frmArchiveBoxscore"
  std::string Caption;        // the window's title
  std::string SaveFilter;     // the rich text's save filter: "Rich Text File (*.rtf)|*.rtf"
  std::string ReportsFolder;  // where the save dialog starts, and where the page is put for the browser
  BoxScoreOptions Options;    // the view switches start from these
  std::function<BoxScore(const BoxScoreOptions&)> Build;
  // Shows a page file in the browser; the desktop's own browser when unset.
  std::function<void(const std::string& file)> OpenPage;
};

std::unique_ptr<QDialog> MakeBoxScoreWindow(BoxScoreWindowSetup setup, Console& console, QWidget* parent);

// Whether the page or the rich text is saved (mnuFormatHTML / mnuFormatRTF); the screen shows
// the page either way.
bool BoxScoreWindowSavesHtml(const QDialog& window);

}  // namespace vm
