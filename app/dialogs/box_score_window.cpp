#include "app/dialogs/box_score_window.h"

#include <QActionGroup>
#include <QDesktopServices>
#include <QMenuBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>
#include <utility>

#include "core/paths.h"
#include "core/textfile.h"
#include "ui/console.h"

namespace vm {

namespace {

constexpr std::string_view kHtmlFilter = "HTML (*.html)|*.html";
constexpr std::string_view kPageName = "TempHTML.html";

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

class BoxScoreWindow : public QDialog {
 public:
  BoxScoreWindow(BoxScoreWindowSetup setup, Console& console, QWidget* parent)
      : QDialog(parent), setup_(std::move(setup)), console_(console) {
    setObjectName(Q(setup_.FormName));
    setWindowTitle(Q(setup_.Caption));
    auto* column = new QVBoxLayout(this);
    column->setMenuBar(BuildMenu());
    view_ = new QTextBrowser;
    view_->setObjectName(QStringLiteral("rtbBoxScore"));
    view_->setOpenLinks(false);
    column->addWidget(view_, 1);
    auto* ok = new QPushButton(QStringLiteral("OK"));
    ok->setObjectName(QStringLiteral("cmdOK"));
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    column->addWidget(ok, 0, Qt::AlignRight);
    resize(900, 700);
    Rebuild();
  }

  bool SavesHtml() const { return html_->isChecked(); }

 private:
  QMenuBar* BuildMenu() {
    auto* bar = new QMenuBar(this);
    QMenu* file = bar->addMenu(QStringLiteral("&File"));
    QAction* save = file->addAction(QStringLiteral("&Save Box Score..."), this, &BoxScoreWindow::Save);
    save->setObjectName(QStringLiteral("mnuFileSaveBoxScore"));
    save->setShortcut(QKeySequence::Save);
    QAction* browse = file->addAction(QStringLiteral("Open in &Browser"), this, &BoxScoreWindow::OpenInBrowser);
    browse->setObjectName(QStringLiteral("mnuFileOpenInBrowser"));
    QMenu* format = bar->addMenu(QStringLiteral("F&ormat"));
    auto* formats = new QActionGroup(this);
    rtf_ = format->addAction(QStringLiteral("&RTF"));
    html_ = format->addAction(QStringLiteral("&HTML"));
    rtf_->setObjectName(QStringLiteral("mnuFormatRTF"));
    html_->setObjectName(QStringLiteral("mnuFormatHTML"));
    for (QAction* a : {rtf_, html_}) {
      a->setCheckable(true);
      formats->addAction(a);
    }
    rtf_->setChecked(true);
    QMenu* view = bar->addMenu(QStringLiteral("&View"));
    lapByLap_ = view->addAction(QStringLiteral("&Lap By Lap Standings"));
    lapByLap_->setObjectName(QStringLiteral("mnuViewLapByLap"));
    tables_ = view->addAction(QStringLiteral("Results &Tables Used"));
    tables_->setObjectName(QStringLiteral("mnuViewResultTables"));
    lapByLap_->setCheckable(true);
    tables_->setCheckable(true);
    lapByLap_->setChecked(setup_.Options.LapByLap);
    tables_->setChecked(setup_.Options.ResultTables);
    // A view switch builds the report again, with or without its long section.
    connect(lapByLap_, &QAction::toggled, this, &BoxScoreWindow::Rebuild);
    connect(tables_, &QAction::toggled, this, &BoxScoreWindow::Rebuild);
    return bar;
  }

  void Rebuild() {
    setup_.Options.LapByLap = lapByLap_->isChecked();
    setup_.Options.ResultTables = tables_->isChecked();
    report_ = setup_.Build ? setup_.Build(setup_.Options) : BoxScore{};
    const int scrolled = view_->verticalScrollBar() != nullptr ? view_->verticalScrollBar()->value() : 0;
    // The window's own view draws no SVG and would print the charts' words as text: the charts
    // are for the browser ("Open in Browser").
    QString shown = Q(report_.Html);
    static const QRegularExpression kCharts(
        QStringLiteral("<svg.*?</svg>"),
        QRegularExpression::DotMatchesEverythingOption | QRegularExpression::CaseInsensitiveOption);
    shown.remove(kCharts);
    view_->setHtml(shown);
    view_->verticalScrollBar()->setValue(scrolled);
  }

  void Save() {
    const bool html = SavesHtml();
    const FileDialogRequest ask{true,
                                "Save Box Score",
                                std::string(html ? kHtmlFilter : setup_.SaveFilter),
                                html ? ".html" : ".rtf",
                                setup_.ReportsFolder,
                                ""};
    const std::optional<std::string> file = console_.ChooseFile(ask);
    if (!file) return;
    if (std::optional<FileError> e = WriteFileAtomic(*file, html ? report_.Html : report_.Rtf))
      console_.ShowMessage("The report could not be saved: " + e->Describe(), "Save Box Score", MessageKind::Critical);
  }

  void OpenInBrowser() {
    const std::string page = JoinPath(setup_.ReportsFolder, kPageName);
    if (std::optional<FileError> e = WriteFileAtomic(page, report_.Html)) {
      console_.ShowMessage("The page could not be written: " + e->Describe(), "Open in Browser", MessageKind::Critical);
      return;
    }
    if (setup_.OpenPage)
      setup_.OpenPage(page);
    else
      QDesktopServices::openUrl(QUrl::fromLocalFile(Q(page)));
  }

  BoxScoreWindowSetup setup_;
  Console& console_;
  QTextBrowser* view_ = nullptr;
  QAction *rtf_ = nullptr, *html_ = nullptr, *lapByLap_ = nullptr, *tables_ = nullptr;
  BoxScore report_;
};

}  // namespace

std::unique_ptr<QDialog> MakeBoxScoreWindow(BoxScoreWindowSetup setup, Console& console, QWidget* parent) {
  return std::make_unique<BoxScoreWindow>(std::move(setup), console, parent);
}

bool BoxScoreWindowSavesHtml(const QDialog& window) {
  const auto* w = dynamic_cast<const BoxScoreWindow*>(&window);
  return w != nullptr && w->SavesHtml();
}

}  // namespace vm
