#include "app/race/panel_boards.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <vector>

#include "app/race/dashboard_parts.h"
#include "engine/laps.h"
#include "rules/pit_stops.h"

namespace vm {

using dash::Q;

namespace {

QTableWidget* Table(const char* name, const QStringList& columns, QWidget* parent) {
  auto* t = new QTableWidget(0, static_cast<int>(columns.size()), parent);
  t->setObjectName(QString::fromLatin1(name));
  t->setHorizontalHeaderLabels(columns);
  t->verticalHeader()->setVisible(false);
  t->verticalHeader()->setDefaultSectionSize(20);
  t->setEditTriggers(QAbstractItemView::NoEditTriggers);
  t->setSelectionMode(QAbstractItemView::NoSelection);
  t->setFocusPolicy(Qt::NoFocus);
  // Columns are fitted once per redraw (Fitted), not by the header after every cell: that would
  // measure the whole column again for each of a leaderboard's two hundred cells.
  t->horizontalHeader()->setStretchLastSection(true);
  return t;
}

// Writes a row in place; returns whether anything changed, so an unchanged board costs no layout.
bool SetRow(QTableWidget* t, int row, const QStringList& cells, bool bold = false) {
  bool changed = false;
  for (int c = 0; c < cells.size(); ++c) {
    QTableWidgetItem* item = t->item(row, c);
    if (item == nullptr) {
      item = new QTableWidgetItem;
      t->setItem(row, c, item);
    }
    if (item->text() != cells[c]) {
      item->setText(cells[c]);
      changed = true;
    }
    if (item->font().bold() != bold) {
      QFont f = item->font();
      f.setBold(bold);
      item->setFont(f);
      changed = true;
    }
  }
  return changed;
}

// Row counts are set first by the caller; a changed count or changed cell fits the columns again.
class Fitted {
 public:
  Fitted(QTableWidget* t, int rows) : t_(t), changed_(t->rowCount() != rows) { t_->setRowCount(rows); }
  ~Fitted() {
    if (changed_) t_->resizeColumnsToContents();
  }
  Fitted(const Fitted&) = delete;
  Fitted& operator=(const Fitted&) = delete;
  void Row(int row, const QStringList& cells, bool bold = false) { changed_ |= SetRow(t_, row, cells, bold); }

 private:
  QTableWidget* t_;
  bool changed_;
};

QString Gap(double seconds) { return QStringLiteral("+") + Q(FormatTimeMS(seconds)); }

// A running car's gap as the line last timed it; a car a whole lap or more behind the leader by
// distance shows the laps instead, and a car that has not yet finished a lap shows none.
QString RunningGap(const RaceState& rs, int car, int leader) {
  const int length = rs.track.TrackLength;
  if (IsCarNumber(leader) && length > 0) {
    const int down = (rs.CarRaceDistance[leader] - rs.CarRaceDistance[car]) / length;
    if (down >= 1) return QStringLiteral("+%1 Lap%2").arg(down).arg(down == 1 ? "" : "s");
  }
  const int timed = std::min(rs.CarLap[car] - 1, kMaxLaps);
  if (timed < 1 || rs.LapGap[timed][car] <= 0) return QStringLiteral("-");
  return Gap(rs.LapGap[timed][car]);
}

}  // namespace

RaceBoards::RaceBoards(QWidget* parent) : QTabWidget(parent) {
  setObjectName(QStringLiteral("tabBoards"));
  setFocusPolicy(Qt::NoFocus);
  leaderboard_ = Table("fgLeaderBoard",
                       {QStringLiteral("Pos"), QStringLiteral("Car"), QStringLiteral("Driver"), QStringLiteral("Lap"),
                        QStringLiteral("Gap")},
                       this);
  addTab(leaderboard_, QStringLiteral("Leaderboard"));

  auto* historyPage = new QWidget(this);
  historyCar_ = new QComboBox(historyPage);
  historyCar_->setObjectName(QStringLiteral("cmbLapHistoryCar"));
  historyCar_->setFocusPolicy(Qt::NoFocus);
  history_ = Table("fgLapHistory",
                   {QStringLiteral("Lap"), QStringLiteral("Time"), QStringLiteral("Speed"), QStringLiteral("Pos"),
                    QStringLiteral("Gap")},
                   historyPage);
  auto* historyColumn = new QVBoxLayout(historyPage);
  historyColumn->setContentsMargins(2, 2, 2, 2);
  historyColumn->addWidget(historyCar_);
  historyColumn->addWidget(history_);
  addTab(historyPage, QStringLiteral("Lap History"));
  connect(historyCar_, &QComboBox::currentIndexChanged, this, [this] {
    if (shown_ != nullptr) ShowLapHistory(*shown_);
  });

  auto* pitPage = new QWidget(this);
  pitHead_ = new QLabel(pitPage);
  pitHead_->setObjectName(QStringLiteral("lblPitLane"));
  pitHead_->setWordWrap(true);
  pitLane_ = Table("fgPitLane", {}, pitPage);
  auto* pitColumn = new QVBoxLayout(pitPage);
  pitColumn->setContentsMargins(2, 2, 2, 2);
  pitColumn->addWidget(pitHead_);
  pitColumn->addWidget(pitLane_);
  addTab(pitPage, QStringLiteral("Pit Lane"));

  highlights_ = new QListWidget(this);
  highlights_->setObjectName(QStringLiteral("lstHighlights"));
  highlights_->setFocusPolicy(Qt::NoFocus);
  highlights_->setWordWrap(true);
  addTab(highlights_, QStringLiteral("Highlights"));
}

void RaceBoards::Show(const RaceState& rs, int currentCar) {
  shown_ = &rs;
  ShowLeaderboard(rs, currentCar);
  ShowLapHistory(rs);
  ShowPitLane(rs);
  ShowHighlights(rs);
}

void RaceBoards::ShowLeaderboard(const RaceState& rs, int currentCar) {
  // The finishers in their order, then the cars on the track in running order.
  std::vector<int> order;
  auto add = [&order](int car) {
    if (IsCarNumber(car) && std::find(order.begin(), order.end(), car) == order.end()) order.push_back(car);
  };
  for (int place = 1; place <= rs.FinishOrderCount; ++place) add(rs.FinishOrder[place]);
  for (int pos = 1; pos <= rs.CarCount - rs.CarsFinished; ++pos) add(rs.RunningOrder[pos]);
  Fitted board(leaderboard_, static_cast<int>(order.size()));
  const int leader = RaceLeader(rs);
  for (size_t k = 0; k < order.size(); ++k) {
    const int car = order[k];
    const bool finished = rs.CarLap[car] > rs.RaceLaps && rs.RaceLaps > 0;
    QString status;
    if (finished)
      status = QStringLiteral("Finished");
    else if (rs.CarOutOfRace[car])
      status = QStringLiteral("Out");
    else if (rs.CarInPit[car])
      status = QStringLiteral("In Pit");
    else if (car == leader && rs.CarsFinished == 0)
      status = QStringLiteral("Leader");
    else
      status = RunningGap(rs, car, leader);
    const int lap = std::clamp(rs.CarLap[car], 0, std::max(rs.RaceLaps, 0));
    board.Row(static_cast<int>(k),
              {QString::number(k + 1), QString::number(car), Q(rs.DriverName[car]), QString::number(lap), status},
              car == currentCar);
  }
}

int RaceBoards::HistoryCar(const RaceState& rs, int chosen) {
  if (IsCarNumber(chosen) && chosen <= rs.CarCount) return chosen;
  if (rs.FinishOrderCount > 0 && IsCarNumber(rs.FinishOrder[1])) return rs.FinishOrder[1];
  return RaceLeader(rs);
}

void RaceBoards::ShowLapHistory(const RaceState& rs) {
  // The choice: the leader first, then every car of the race by number.
  if (shownCars_ != rs.CarCount) {
    const QSignalBlocker quiet(historyCar_);
    historyCar_->clear();
    historyCar_->addItem(QStringLiteral("Leader"), 0);
    for (int car = 1; car <= rs.CarCount && car <= kMaxCars; ++car)
      historyCar_->addItem(QStringLiteral("#%1 %2").arg(car).arg(Q(rs.DriverName[car])), car);
    shownCars_ = rs.CarCount;
  }
  const int car = HistoryCar(rs, historyCar_->currentData().toInt());
  const int laps = IsCarNumber(car) ? std::clamp(rs.CarLap[car] - 1, 0, std::min(rs.RaceLaps, kMaxLaps)) : 0;
  Fitted board(history_, laps);
  // The newest lap on top, where it is seen without scrolling.
  for (int lap = laps, row = 0; lap >= 1; --lap, ++row) {
    const double mph = rs.LapSpeedMph[lap][car];
    const double seconds = mph > 0 ? rs.track.RacingLineSpaces * 90.0 / mph : 0;
    int pos = 0;
    for (int k = 1; k <= kMaxCars && pos == 0; ++k)
      if (rs.LapOrder[lap][k] == car) pos = k;
    const double gap = rs.LapGap[lap][car];
    board.Row(row, {QString::number(lap), mph > 0 ? Q(FormatTimeMS(seconds)) : QStringLiteral("-"),
                    mph > 0 ? Q(FormatMph(mph)) : QStringLiteral("-"), pos ? QString::number(pos) : QStringLiteral("-"),
                    gap > 0 ? Gap(gap) : QStringLiteral("-")});
  }
}

void RaceBoards::ShowPitLane(const RaceState& rs) {
  const PitLaneView view = RefreshPitLane(rs);
  pitHead_->setText(rs.PitLaneOpen ? Q(view.Head) : QStringLiteral("The pit lane is closed in this race."));
  QStringList heads;
  for (const std::string& c : view.Columns) heads << Q(c);
  if (heads != pitHeads_) {
    pitLane_->setColumnCount(static_cast<int>(heads.size()));
    pitLane_->setHorizontalHeaderLabels(heads);
    pitHeads_ = heads;
  }
  Fitted board(pitLane_, static_cast<int>(view.Rows.size()));
  for (size_t r = 0; r < view.Rows.size(); ++r)
    board.Row(static_cast<int>(r), {Q(view.Rows[r][0]), Q(view.Rows[r][1]), Q(view.Rows[r][2])});
}

void RaceBoards::ShowHighlights(const RaceState& rs) {
  const int lines = static_cast<int>(rs.Highlights.size());
  // A new race starts the log again; otherwise only the new lines are added.
  const int shown = highlights_->count();
  if (shown > lines ||
      (shown > 0 && highlights_->item(shown - 1)->text() != Q(rs.Highlights[static_cast<size_t>(shown - 1)])))
    highlights_->clear();
  if (highlights_->count() == lines) return;
  for (int k = highlights_->count(); k < lines; ++k) highlights_->addItem(Q(rs.Highlights[static_cast<size_t>(k)]));
  highlights_->scrollToBottom();
}

}  // namespace vm
