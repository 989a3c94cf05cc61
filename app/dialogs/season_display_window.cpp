#include "app/dialogs/season_display_window.h"

#include <QBrush>
#include <QColor>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <string_view>
#include <utility>

#include "season/season_standings.h"

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// The grid's widths were set in twips at 15 to the pixel: 1500 for names, 750 for a race.
constexpr int kNameWidth = 100;
constexpr int kRaceWidth = 50;
const QColor kComputerRow(192, 192, 192);

class SeasonDisplayWindow : public QDialog {
 public:
  SeasonDisplayWindow(const SeasonFileData& season, const std::string& tracksFolder, bool raceStored, QWidget* parent)
      : QDialog(parent), standings_(BuildSeasonStandings(season, tracksFolder)) {
    setObjectName(QStringLiteral("frmSeasonDisplay"));
    setWindowTitle(QStringLiteral("Season Standings"));
    auto* column = new QVBoxLayout(this);
    caption_ = new QLabel(Q(standings_.Caption));
    caption_->setObjectName(QStringLiteral("lblSeasonName"));
    QFont bold = caption_->font();
    bold.setBold(true);
    caption_->setFont(bold);
    column->addWidget(caption_);
    column->addLayout(BuildTypeRow());
    grid_ = BuildGrid();
    column->addWidget(grid_, 1);
    column->addLayout(BuildCommands(season, raceStored));
    ShowGrid(SeasonGridType::Driver);
    resize(720, 420);
  }

  bool started = false;
  std::function<void(int)> openRaceReport;
  QPushButton* save_ = nullptr;
  std::function<void()> saveStandings;

 private:
  QLayout* BuildTypeRow() {
    auto* row = new QHBoxLayout;
    type_ = new QComboBox;
    type_->setObjectName(QStringLiteral("cmbType"));
    for (int t = 0; t < kSeasonGridTypes; ++t) type_->addItem(Q(SeasonGridTypeName(static_cast<SeasonGridType>(t))));
    connect(type_, &QComboBox::currentIndexChanged, this,
            [this](int index) { ShowGrid(static_cast<SeasonGridType>(index)); });
    auto* label = new QLabel(QStringLiteral("S&how:"));
    label->setBuddy(type_);
    row->addWidget(label);
    row->addWidget(type_);
    row->addStretch();
    return row;
  }

  QTableWidget* BuildGrid() {
    auto* grid = new QTableWidget;
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->setSelectionMode(QAbstractItemView::SingleSelection);
    grid->setSelectionBehavior(QAbstractItemView::SelectItems);
    grid->setTabKeyNavigation(false);
    grid->verticalHeader()->setVisible(false);
    connect(grid, &QTableWidget::cellDoubleClicked, this, [this](int, int column) { AskReport(column); });
    connect(grid, &QTableWidget::currentCellChanged, this, [this](int, int column) { EnableReport(column); });
    return grid;
  }

  QLayout* BuildCommands(const SeasonFileData& season, bool raceStored) {
    auto* row = new QHBoxLayout;
    report_ = new QPushButton(QStringLiteral("&Race Report"));
    report_->setObjectName(QStringLiteral("Command2"));
    report_->setAutoDefault(false);
    connect(report_, &QPushButton::clicked, this, [this] { AskReport(grid_->currentColumn()); });
    start_ = new QPushButton(raceStored ? QStringLiteral("Resume Current Race") : QStringLiteral("Start Next Race"));
    start_->setObjectName(QStringLiteral("Command3"));
    start_->setDefault(true);
    start_->setVisible(season.NextRace <= season.Races);
    connect(start_, &QPushButton::clicked, this, [this] {
      started = true;
      accept();
    });
    auto* close = new QPushButton(QStringLiteral("Close"));
    close->setObjectName(QStringLiteral("Command4"));
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    // The standings printed as a report, when the program offers it.
    save_ = new QPushButton(QStringLiteral("&Save Standings..."));
    save_->setObjectName(QStringLiteral("mnuFileSaveBoxScore"));
    save_->setAutoDefault(false);
    save_->setVisible(false);
    connect(save_, &QPushButton::clicked, this, [this] {
      if (saveStandings) saveStandings();
    });
    row->addWidget(report_);
    row->addWidget(save_);
    row->addStretch();
    row->addWidget(start_);
    row->addWidget(close);
    return row;
  }

  void ShowGrid(SeasonGridType type) {
    shown_ = type;
    const SeasonGrid& g = standings_.Grid(type);
    grid_->setObjectName(Q(g.Name));
    grid_->clear();
    grid_->setColumnCount(static_cast<int>(g.Columns.size()));
    grid_->setRowCount(static_cast<int>(g.Rows.size()));
    QStringList heads;
    for (const std::string& c : g.Columns) heads << Q(c);
    grid_->setHorizontalHeaderLabels(heads);
    for (int r = 0; r < static_cast<int>(g.Rows.size()); ++r) {
      const SeasonGridRow& row = g.Rows[static_cast<size_t>(r)];
      for (int c = 0; c < static_cast<int>(row.Cells.size()) && c < grid_->columnCount(); ++c) {
        QString text = Q(row.Cells[static_cast<size_t>(c)]);
        // Computer cars are marked in words as well as in colour.
        if (c == 0 && row.Grey) text += QStringLiteral(" (AI)");
        auto* item = new QTableWidgetItem(text);
        if (RaceOfColumn(g, c) > 0) item->setTextAlignment(Qt::AlignCenter);
        if (row.Grey) {
          item->setBackground(kComputerRow);
          item->setForeground(QBrush(Qt::black));
        }
        grid_->setItem(r, c, item);
      }
    }
    grid_->resizeColumnsToContents();
    for (int c = 0; c < grid_->columnCount(); ++c) {
      const int least = RaceOfColumn(g, c) > 0 ? kRaceWidth : (c < 2 ? kNameWidth : 0);
      if (grid_->columnWidth(c) < least) grid_->setColumnWidth(c, least);
    }
    EnableReport(grid_->currentColumn());
  }

  void EnableReport(int column) { report_->setEnabled(RaceOfColumn(standings_.Grid(shown_), column) > 0); }

  // Only the driver and team grids have race columns; elsewhere the request means nothing.
  void AskReport(int column) {
    const int race = RaceOfColumn(standings_.Grid(shown_), column);
    if (race > 0 && openRaceReport) openRaceReport(race);
  }

  const SeasonStandings standings_;
  SeasonGridType shown_ = SeasonGridType::Driver;
  QLabel* caption_ = nullptr;
  QComboBox* type_ = nullptr;
  QTableWidget* grid_ = nullptr;
  QPushButton* report_ = nullptr;
  QPushButton* start_ = nullptr;
};

}  // namespace

std::unique_ptr<QDialog> MakeSeasonDisplayWindow(const SeasonFileData& season, const std::string& tracksFolder,
                                                 bool raceStored, QWidget* parent) {
  return std::make_unique<SeasonDisplayWindow>(season, tracksFolder, raceStored, parent);
}

bool SeasonStartPressed(const QDialog& window) {
  const auto* w = dynamic_cast<const SeasonDisplayWindow*>(&window);
  return w != nullptr && w->started;
}

void SetOpenRaceReport(QDialog& window, std::function<void(int race)> openRaceReport) {
  if (auto* w = dynamic_cast<SeasonDisplayWindow*>(&window)) w->openRaceReport = std::move(openRaceReport);
}

void SetSaveStandings(QDialog& window, std::function<void()> save) {
  if (auto* w = dynamic_cast<SeasonDisplayWindow*>(&window)) {
    w->saveStandings = std::move(save);
    w->save_->setVisible(w->saveStandings != nullptr);
  }
}

}  // namespace vm
