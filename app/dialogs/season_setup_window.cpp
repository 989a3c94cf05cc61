#include "app/dialogs/season_setup_window.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "app/dialogs/race_setup_widgets.h"
#include "core/paths.h"
#include "core/units.h"
#include "season/season_setup.h"

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

QLabel* Buddy(const QString& caption, QWidget* buddy) {
  auto* label = new QLabel(caption);
  label->setBuddy(buddy);
  return label;
}

QComboBox* Combo(const char* name) {
  auto* box = new QComboBox;
  box->setObjectName(QLatin1String(name));
  box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  return box;
}

QCheckBox* Check(const char* name, const QString& caption) {
  auto* box = new QCheckBox(caption);
  box->setObjectName(QLatin1String(name));
  return box;
}

// A read-only grid whose rows are picked whole, by mouse or arrow keys.
QTableWidget* Grid(const char* name, std::string_view columns, const QString& accessibleName) {
  const QStringList headers = Q(columns).split(QLatin1Char('|'));
  auto* grid = new QTableWidget(0, static_cast<int>(headers.size()));
  grid->setObjectName(QLatin1String(name));
  grid->setAccessibleName(accessibleName);
  grid->setHorizontalHeaderLabels(headers);
  grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
  grid->setSelectionBehavior(QAbstractItemView::SelectRows);
  grid->setSelectionMode(QAbstractItemView::SingleSelection);
  grid->setTabKeyNavigation(false);  // Tab leaves the grid; the arrows move within it
  grid->verticalHeader()->setVisible(false);
  grid->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  grid->horizontalHeader()->setStretchLastSection(true);
  return grid;
}

void ShowRows(QTableWidget* grid, const std::vector<std::vector<std::string>>& rows, int selected) {
  const QSignalBlocker quiet(grid);
  grid->setRowCount(static_cast<int>(rows.size()));
  for (size_t r = 0; r < rows.size(); ++r)
    for (size_t c = 0; c < rows[r].size(); ++c)
      grid->setItem(static_cast<int>(r), static_cast<int>(c), new QTableWidgetItem(Q(rows[r][c])));
  if (selected >= 1 && selected <= grid->rowCount())
    grid->selectRow(selected - 1);
  else
    grid->clearSelection();
}

class SeasonSetupWindow : public QDialog {
 public:
  SeasonSetupWindow(RaceState& rs, Console& console, const std::string& dataFolder, QWidget* parent)
      : QDialog(parent), setup_(rs, console, dataFolder) {
    setObjectName(Q(kSeasonSetupName));
    setWindowTitle(QStringLiteral("Season Setup"));
    Build();
    resize(1180, 640);
    FillTracks();
    RefreshAll();
  }

  SeasonSetupResult Result() const {
    SeasonSetupResult result;
    result.Started = setup_.Outcome() == SeasonSetupOutcome::Started;
    if (result.Started) result.SeasonFile = setup_.SavedFile();
    result.ModeChoice = setup_.ModeChoice();
    return result;
  }

  // Cancel, Escape and closing the window all leave without a season and with the cars back.
  void reject() override {
    setup_.Cancel();
    QDialog::reject();
  }

 private:
  void Build() {
    auto* column = new QVBoxLayout(this);
    auto* nameRow = new QHBoxLayout;
    name_ = new QLineEdit;
    name_->setObjectName(QStringLiteral("txtCurrentSeasonName"));
    connect(name_, &QLineEdit::textEdited, this,
            [this](const QString& text) { setup_.txtCurrentSeasonName = text.toStdString(); });
    nameRow->addWidget(Buddy(QStringLiteral("Season &Name:"), name_));
    nameRow->addWidget(name_, 1);
    column->addLayout(nameRow);

    tabs_ = new QTabWidget;
    tabs_->setObjectName(QStringLiteral("tabSeason"));
    tabs_->addTab(BuildSchedulePage(), QStringLiteral("&1 Schedule"));
    tabs_->addTab(BuildDriversPage(), QStringLiteral("&2 Drivers"));
    tabs_->addTab(BuildRulesPage(), QStringLiteral("&3 Rules and Points"));
    column->addWidget(tabs_, 1);

    auto* buttons = new QHBoxLayout;
    save_ = Button("Command3", QStringLiteral("&Save Season..."), [this] {
      FlushBoxes();
      setup_.Save();
      RefreshButtons();
    });
    ok_ = Button("cmdOK", QStringLiteral("Start Season"), [this] {
      if (setup_.StartSeason()) accept();
    });
    cancel_ = Button("Command4", QStringLiteral("Cancel"), [this] { reject(); });
    // The season keeps the result tables in force when it is saved: they are edited here first.
    tables_ = Button("Command5", QStringLiteral("Result &Tables..."), [this] {
      if (openResultTables_) openResultTables_();
    });
    tables_->setVisible(false);
    status_ = new QLabel;
    status_->setObjectName(QStringLiteral("lblSaved"));
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    buttons->addWidget(status_, 1);
    buttons->addWidget(tables_);
    buttons->addWidget(save_);
    buttons->addWidget(ok_);
    buttons->addWidget(cancel_);
    column->addLayout(buttons);
  }

  template <typename Handler>
  QPushButton* Button(const char* name, const QString& caption, Handler handler) {
    auto* button = new QPushButton(caption);
    button->setObjectName(QLatin1String(name));
    // Enter must never start or save a season by accident.
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, handler);
    return button;
  }

  // --- Page 1: the tracks, the race being added and the schedule.

  QWidget* BuildSchedulePage() {
    auto* page = new QWidget;
    auto* row = new QHBoxLayout(page);

    auto* left = new QVBoxLayout;
    tracks_ = new QListWidget;
    tracks_->setObjectName(QStringLiteral("File1"));
    tracks_->setAccessibleName(QStringLiteral("Tracks"));
    tracks_->setMaximumWidth(150);
    connect(tracks_, &QListWidget::currentRowChanged, this, [this] { ChooseTrack(); });
    folder_ = new QLabel;
    folder_->setObjectName(QStringLiteral("Dir1"));
    folder_->setWordWrap(true);
    folder_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    left->addWidget(Buddy(QStringLiteral("&Tracks:"), tracks_));
    left->addWidget(tracks_, 1);
    left->addWidget(folder_);
    row->addLayout(left);

    row->addWidget(BuildRaceFrame(), 0, Qt::AlignTop);

    auto* right = new QVBoxLayout;
    schedule_ = Grid("fgSeason", kSeasonGridColumns, QStringLiteral("Schedule"));
    connect(schedule_, &QTableWidget::currentCellChanged, this, [this](int r) {
      setup_.SelectRace(r + 1);
      RefreshButtons();
    });
    right->addWidget(Buddy(QStringLiteral("Sc&hedule:"), schedule_));
    right->addWidget(schedule_, 1);
    auto* commands = new QHBoxLayout;
    up_ = Button("cmdMoveRaceUp", QStringLiteral("Move &Up"), [this] { RaceCommand(&SeasonSetupDialog::MoveRaceUp); });
    down_ = Button("cmdMoveRaceDown", QStringLiteral("Move Do&wn"),
                   [this] { RaceCommand(&SeasonSetupDialog::MoveRaceDown); });
    delete_ = Button("cmdRaceDelete", QStringLiteral("&Delete Race"),
                     [this] { RaceCommand(&SeasonSetupDialog::DeleteRace); });
    for (QPushButton* b : {up_, down_, delete_}) commands->addWidget(b);
    commands->addStretch();
    raceCount_ = new QLabel;
    raceCount_->setObjectName(QStringLiteral("lblRaces"));
    commands->addWidget(raceCount_);
    right->addLayout(commands);
    row->addLayout(right, 1);
    return page;
  }

  QWidget* BuildRaceFrame() {
    auto* frame = new QGroupBox(QStringLiteral("Race to Add"));
    frame->setObjectName(QStringLiteral("fraRace"));
    auto* form = new QFormLayout(frame);
    // The schedule beside it needs the width more than these boxes do.
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    info_ = new QPlainTextEdit;
    info_->setObjectName(QStringLiteral("rtbTrackInfo"));
    info_->setReadOnly(true);
    info_->setTabChangesFocus(true);
    info_->setFixedSize(info_->fontMetrics().horizontalAdvance(QLatin1Char('M')) * 18,
                        info_->fontMetrics().lineSpacing() * 4 + 14);
    form->addRow(Buddy(QStringLiteral("Track:"), info_), info_);

    abbrev_ = new QLineEdit;
    abbrev_->setObjectName(QStringLiteral("txtTrkAbbrev"));
    abbrev_->setMaxLength(6);
    connect(abbrev_, &QLineEdit::textEdited, this, [this](const QString& t) { setup_.txtTrkAbbrev = t.toStdString(); });
    form->addRow(Buddy(QStringLiteral("A&bbreviation:"), abbrev_), abbrev_);

    laps_ = Combo("cmbTotalLaps");
    connect(laps_, &QComboBox::currentIndexChanged, this, [this] {
      setup_.SetTotalLaps(ComboNumber(laps_, setup_.TotalLaps()));
      RefreshRace();
    });
    miles_ = new QLineEdit;
    miles_->setObjectName(QStringLiteral("txtMiles"));
    miles_->setReadOnly(true);
    miles_->setAlignment(Qt::AlignRight);
    miles_->setMaximumWidth(miles_->fontMetrics().horizontalAdvance(QStringLiteral("00000.0")) + 14);
    auto* length = new QHBoxLayout;
    length->addWidget(laps_);
    length->addWidget(Buddy(QStringLiteral("Race miles:"), miles_));
    length->addWidget(miles_);
    length->addStretch();
    form->addRow(Buddy(QStringLiteral("&Laps:"), laps_), length);

    pitOpen_ = Check("chkPitLaneOpen2", QStringLiteral("Pit Lane &Open"));
    repairOnly_ = Check("chkPitLaneRepairOnly", QStringLiteral("&Repair Only"));
    connect(pitOpen_, &QCheckBox::toggled, this, [this](bool on) {
      setup_.SetPitLaneOpen(on);
      RefreshRace();
    });
    connect(repairOnly_, &QCheckBox::toggled, this, [this](bool on) {
      setup_.SetRepairOnly(on);
      RefreshRace();
    });
    auto* boxes = new QHBoxLayout;
    boxes->addWidget(pitOpen_);
    boxes->addWidget(repairOnly_);
    form->addRow(boxes);

    stops_ = Combo("cmbMinPitStops");
    start_ = Combo("cmbStartAllotment");
    pit_ = Combo("cmbPitReplenishment");
    turns_ = Combo("cmbTurnsInPit");
    connect(stops_, &QComboBox::currentIndexChanged, this, [this] {
      setup_.SetMinPitStops(ComboNumber(stops_));
      RefreshRace();
    });
    connect(start_, &QComboBox::currentIndexChanged, this, [this] {
      setup_.SetStartAllotment(ComboNumber(start_, setup_.StartAllotment()));
      RefreshRace();
    });
    connect(pit_, &QComboBox::currentIndexChanged, this,
            [this] { setup_.SetPitReplenishment(ComboNumber(pit_, setup_.PitReplenishment())); });
    connect(turns_, &QComboBox::currentIndexChanged, this,
            [this] { setup_.SetTurnsInPit(ComboNumber(turns_, setup_.TurnsInPit())); });
    form->addRow(Buddy(QStringLiteral("&Minimum Required Pit Stops:"), stops_), stops_);
    form->addRow(Buddy(QStringLiteral("Start - Max Wear Allotment (Laps):"), start_), start_);
    form->addRow(Buddy(QStringLiteral("Pit Stop - Max Wear Replenishment (Laps):"), pit_), pit_);
    form->addRow(Buddy(QStringLiteral("Minimum Pit Duration (race turns):"), turns_), turns_);

    add_ = Button("Command1", QStringLiteral("&Add Race"), [this] {
      if (setup_.AddRace()) RefreshSchedule();
    });
    form->addRow(add_);
    frame->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    return frame;
  }

  // --- Page 2: the field.

  QWidget* BuildDriversPage() {
    auto* page = new QWidget;
    auto* grid = new QGridLayout(page);

    drivers_ = Grid("fgDrivers", kDriverGridColumns, QStringLiteral("Drivers"));
    connect(drivers_, &QTableWidget::currentCellChanged, this, [this](int r) {
      setup_.SelectDriver(r + 1);
      ShowDriver();
      RefreshButtons();
    });
    grid->addWidget(Buddy(QStringLiteral("Dri&vers:"), drivers_), 0, 0);
    grid->addWidget(drivers_, 1, 0);

    auto* edit = new QGroupBox(QStringLiteral("Selected Driver"));
    auto* form = new QFormLayout(edit);
    driverName_ = new QLineEdit;
    driverName_->setObjectName(QStringLiteral("txtDriver"));
    rename_ = Button("Command8", QStringLiteral("R&ename"), [this] {
      setup_.RenameDriver(driverName_->text().toStdString());
      RefreshDrivers();
    });
    connect(driverName_, &QLineEdit::returnPressed, rename_, &QPushButton::click);
    auto* nameRow = new QHBoxLayout;
    nameRow->addWidget(driverName_, 1);
    nameRow->addWidget(rename_);
    form->addRow(Buddy(QStringLiteral("Driver Na&me:"), driverName_), nameRow);

    teams_ = Combo("cmbTeams");
    teams_->setEditable(true);
    teams_->setInsertPolicy(QComboBox::NoInsert);
    connect(teams_, &QComboBox::textActivated, this, [this](const QString& team) {
      setup_.SetTeam(team.toStdString());
      RefreshDrivers();
    });
    teamFile_ = Button("Command6", QStringLiteral("Load Team &File..."), [this] {
      if (setup_.LoadTeamFile()) FillTeams();
    });
    auto* teamRow = new QHBoxLayout;
    teamRow->addWidget(teams_, 1);
    teamRow->addWidget(teamFile_);
    form->addRow(Buddy(QStringLiteral("&Team:"), teams_), teamRow);

    auto* commands = new QGridLayout;
    addDriver_ =
        Button("cmdAddDriver", QStringLiteral("&Add Driver"), [this] { FieldCommand(&SeasonSetupDialog::AddDriver); });
    deleteDriver_ = Button("cmdDriverDelete", QStringLiteral("De&lete Driver"),
                           [this] { FieldCommand(&SeasonSetupDialog::DeleteDriver); });
    driverUp_ =
        Button("cmdDriverUp", QStringLiteral("Driver U&p"), [this] { FieldCommand(&SeasonSetupDialog::DriverUp); });
    driverDown_ = Button("cmdDriverDown", QStringLiteral("Driver D&own"),
                         [this] { FieldCommand(&SeasonSetupDialog::DriverDown); });
    loadCars_ = Button("cmdLoadCRS", QStringLiteral("Load &Car File..."),
                       [this] { FieldCommand(&SeasonSetupDialog::LoadCarFile); });
    copySeason_ = Button("Command2", QStringLiteral("Cop&y From Season..."), [this] {
      if (setup_.CopyFromSeason()) RefreshAll();
    });
    const std::array<QPushButton*, 6> buttons{addDriver_,  deleteDriver_, driverUp_,
                                              driverDown_, loadCars_,     copySeason_};
    for (size_t i = 0; i < buttons.size(); ++i)
      commands->addWidget(buttons[i], static_cast<int>(i) / 2, static_cast<int>(i) % 2);
    form->addRow(commands);

    seasonDrivers_ = Combo("cmbSeasonDrivers");
    connect(seasonDrivers_, &QComboBox::currentIndexChanged, this,
            [this] { setup_.SetSeasonDrivers(ComboNumber(seasonDrivers_, setup_.SeasonDrivers())); });
    form->addRow(Buddy(QStringLiteral("Drivers in the season (cars 1 to):"), seasonDrivers_), seasonDrivers_);
    grid->addWidget(edit, 1, 1, Qt::AlignTop);

    ratings_ = Grid("fgRatings", kRatingGridColumns, QStringLiteral("Ratings"));
    grid->addWidget(Buddy(QStringLiteral("Ratin&gs:"), ratings_), 2, 0, 1, 2);
    grid->addWidget(ratings_, 3, 0, 1, 2);
    grid->setRowStretch(1, 1);
    grid->setRowStretch(3, 1);
    grid->setColumnStretch(0, 1);
    return page;
  }

  // --- Page 3: rules and points.

  QWidget* BuildRulesPage() {
    auto* page = new QWidget;
    auto* row = new QHBoxLayout(page);
    auto* left = new QVBoxLayout;

    auto* cars = new QGroupBox(QStringLiteral("Cars"));
    auto* carsForm = new QFormLayout(cars);
    setupPoints_ = Combo("cmbCarSetupPoints");
    connect(setupPoints_, &QComboBox::currentIndexChanged, this,
            [this] { setup_.cmbCarSetupPoints = ComboNumber(setupPoints_, setup_.cmbCarSetupPoints); });
    carsForm->addRow(Buddy(QStringLiteral("Desi&gn points per car:"), setupPoints_), setupPoints_);
    configLock_ =
        Choice(carsForm, "optConfigLock",
               {QStringLiteral("Cars may be changed between races"), QStringLiteral("Loc&k cars for the season")},
               [this](int id) {
                 setup_.SetConfigLock(id);
                 RefreshRules();
               });
    damage_ = new QGroupBox(QStringLiteral("Damage"));
    damage_->setObjectName(QStringLiteral("Frame8"));
    auto* damageForm = new QFormLayout(damage_);
    damageLock_ = Choice(damageForm, "optDamageLock",
                         {QStringLiteral("Repaired after each race"), QStringLiteral("Accumulated from race to race")},
                         [this](int id) {
                           setup_.SetDamageLock(id);
                           RefreshRules();
                         });
    carsForm->addRow(damage_);
    left->addWidget(cars);

    auto* qualifying = new QGroupBox(QStringLiteral("&Qualifying"));
    auto* qualifyingColumn = new QVBoxLayout(qualifying);
    qualifying_ = Combo("cmbQualifying");
    qualifying_->setAccessibleName(QStringLiteral("Qualifying"));
    for (std::string_view method : {kQualifyStartSpeed, kQualifySingleLap, kQualifyManual})
      qualifying_->addItem(Q(method));
    connect(qualifying_, &QComboBox::currentIndexChanged, this, [this] {
      setup_.cmbQualifying = qualifying_->currentText().toStdString();
      RefreshRules();
    });
    requal_ = Check("CheckAllowRequal", QStringLiteral("Random Start Speed Requalifying"));
    connect(requal_, &QCheckBox::toggled, this, [this](bool on) { setup_.CheckAllowRequal = on; });
    qualifyingColumn->addWidget(qualifying_, 0, Qt::AlignLeft);
    qualifyingColumn->addWidget(requal_);
    left->addWidget(qualifying);

    auto* rules = new QGroupBox(QStringLiteral("R&ule Options"));
    auto* rulesColumn = new QVBoxLayout(rules);
    const std::pair<QCheckBox*, bool*> boxes[] = {
        {Check("chkDTESSC", QStringLiteral("Allow Curve Entry as a result of Slipstream")), &setup_.chkDTESSC},
        {Check("chkAAFES", QStringLiteral("Allow Acceleration from curve exit space")), &setup_.chkAAFES},
        {Check("chkABF", QStringLiteral("Blue Flag cars being lapped")), &setup_.chkABF},
        {Check("chkASIT", QStringLiteral("Allow Slipstreaming in curves")), &setup_.chkASIT},
        {Check("chkPLC", QStringLiteral("Prevent lane changing in curves")), &setup_.chkPLC},
        {Check("chkUndoDisabled", QStringLiteral("Disable \"Undo Race Turn\" feature")), &setup_.chkUndoDisabled},
        {Check("chkManDRE", QStringLiteral("Allow Manual Dice Roll Entry")), &setup_.chkManDRE},
        {Check("chkLOS", QStringLiteral("Load Recommended Setup based on Track")), &setup_.chkLOS},
        {Check("chkLOSRnd", QStringLiteral("Randomize AI Car Setup")), &setup_.chkLOSRnd},
        {Check("chkWeatherEnabled", QStringLiteral("Enable Weat&her ")), &setup_.chkWeatherEnabled},
    };
    for (const auto& [box, value] : boxes) {
      connect(box, &QCheckBox::toggled, this, [value = value](bool on) { *value = on; });
      rulesColumn->addWidget(box);
      ruleBoxes_.push_back({box, value});
    }
    auto* middle = new QVBoxLayout;
    middle->addWidget(rules);
    middle->addStretch();
    left->addStretch();

    points_ = new PointsFrame;
    // The season's bonus boxes carry names of their own.
    const std::array<std::pair<const char*, const char*>, 4> names{{{"txtPole", "PSPole"},
                                                                    {"txtLeadLap", "PSLeadLap"},
                                                                    {"txtFastLap", "PSFastLap"},
                                                                    {"txtLeadMost", "PSLeadMost"}}};
    for (const auto& [from, to] : names)
      if (auto* box = points_->findChild<QLineEdit*>(QLatin1String(from))) box->setObjectName(QLatin1String(to));
    points_->PresetChosen = [this](int index) {
      setup_.ChoosePointPreset(index);
      RefreshPoints();
    };
    points_->PlaceEdited = [this](int index, const std::string& text) {
      setup_.EditPlace(index, text);
      RefreshPoints();
    };
    points_->BonusEdited = [this](PointsBonus which, const std::string& text) {
      setup_.EditBonus(static_cast<SeasonBonus>(which), text);
      RefreshPoints();
    };

    row->addLayout(left);
    row->addLayout(middle);
    row->addWidget(points_);
    return page;
  }

  template <typename Handler>
  QButtonGroup* Choice(QFormLayout* form, const char* name, const std::array<QString, 2>& captions, Handler handler) {
    auto* group = new QButtonGroup(this);
    for (int i = 0; i < 2; ++i) {
      auto* button = new QRadioButton(captions[static_cast<size_t>(i)]);
      button->setObjectName(QLatin1String(name) + QString::number(i));
      group->addButton(button, i);
      form->addRow(button);
    }
    connect(group, &QButtonGroup::idClicked, this, handler);
    return group;
  }

  // --- Showing the model.

  void FillTracks() {
    const QString folder = Q(ResolvePath(setup_.TracksFolder()));
    folder_->setText(QStringLiteral("Folder: %1").arg(QDir::toNativeSeparators(folder)));
    const QSignalBlocker quiet(tracks_);
    tracks_->clear();
    const QStringList files = QDir(folder).entryList(QStringList{QStringLiteral("*.trk"), QStringLiteral("*.TRK")},
                                                     QDir::Files, QDir::Name | QDir::IgnoreCase);
    for (const QString& file : files) tracks_->addItem(file);
  }

  void FillTeams() {
    const QSignalBlocker quiet(teams_);
    const QString shown = teams_->currentText();
    teams_->clear();
    for (const std::string& team : setup_.TeamItems()) teams_->addItem(Q(team));
    teams_->setEditText(shown);
  }

  void RefreshAll() {
    {
      const QSignalBlocker quiet(name_);
      name_->setText(Q(setup_.txtCurrentSeasonName));
    }
    FillTeams();
    RefreshRace();
    RefreshSchedule();
    RefreshDrivers();
    RefreshRules();
    RefreshPoints();
  }

  void RefreshRace() {
    ShowCombo(laps_, SeasonSetupDialog::TotalLapsItems(), setup_.TotalLaps());
    ShowCombo(stops_, SeasonSetupDialog::MinPitStopsItems(), setup_.MinPitStops());
    ShowCombo(start_, setup_.StartAllotmentItems(), setup_.StartAllotment());
    ShowCombo(pit_, setup_.PitReplenishmentItems(), setup_.PitReplenishment());
    ShowCombo(turns_, SeasonSetupDialog::TurnsInPitItems(), setup_.TurnsInPit());
    ShowCheck(pitOpen_, CheckBox{setup_.PitLaneOpen()});
    // Repair only, the stops and the allotments mean something only with the lane open.
    const bool open = setup_.PitLaneOpen();
    ShowCheck(repairOnly_, CheckBox{setup_.RepairOnly(), open});
    for (QComboBox* box : {stops_, start_, pit_}) box->setEnabled(open && !setup_.RepairOnly());
    turns_->setEnabled(open);
    {
      const QSignalBlocker quiet(abbrev_);
      abbrev_->setText(Q(setup_.txtTrkAbbrev));
    }
    QStringList lines;
    for (const std::string& line : setup_.TrackInfo()) lines.push_back(Q(line));
    info_->setPlainText(setup_.TrackChosen() ? lines.join(QLatin1Char('\n')) : QStringLiteral("No track chosen"));
    miles_->setText(setup_.TrackChosen() ? Q(setup_.MilesText()) : QString());
    RefreshButtons();
  }

  void RefreshSchedule() {
    ShowRows(schedule_, setup_.ScheduleRows(), setup_.SelectedRace());
    raceCount_->setText(QStringLiteral("%1 of %2 races").arg(setup_.Races()).arg(kMaxSeasonRaces));
    RefreshButtons();
  }

  void RefreshDrivers() {
    ShowRows(drivers_, setup_.DriverRows(), setup_.SelectedDriver());
    ShowRows(ratings_, setup_.RatingRows(), setup_.SelectedDriver());
    ShowCombo(seasonDrivers_, setup_.SeasonDriverItems(), setup_.SeasonDrivers());
    ShowCombo(setupPoints_, SeasonSetupDialog::CarSetupPointsItems(), setup_.cmbCarSetupPoints);
    ShowDriver();
    RefreshButtons();
  }

  void ShowDriver() {
    const auto rows = setup_.DriverRows();
    const int car = setup_.SelectedDriver();
    const bool shown = car >= 1 && car <= static_cast<int>(rows.size());
    driverName_->setText(shown ? Q(rows[static_cast<size_t>(car - 1)][0]) : QString());
    const QSignalBlocker quiet(teams_);
    teams_->setEditText(shown ? Q(rows[static_cast<size_t>(car - 1)][1]) : QString());
    const QSignalBlocker quietRatings(ratings_);
    if (shown) ratings_->selectRow(car - 1);
  }

  void RefreshRules() {
    {
      const QSignalBlocker quiet(qualifying_);
      qualifying_->setCurrentIndex(qualifying_->findText(Q(setup_.cmbQualifying)));
    }
    ShowCheck(requal_, CheckBox{setup_.CheckAllowRequal, true, setup_.cmbQualifying == kQualifyStartSpeed});
    for (const auto& [box, value] : ruleBoxes_) ShowCheck(box, CheckBox{*value});
    configLock_->button(setup_.ConfigLock())->setChecked(true);
    damageLock_->button(setup_.DamageLock())->setChecked(true);
    damage_->setEnabled(setup_.DamageFrameEnabled());
    damage_->setTitle(setup_.DamageFrameEnabled() ? QStringLiteral("Damage")
                                                  : QStringLiteral("Damage (only with locked cars)"));
  }

  void RefreshPoints() {
    PointsFrameValues values;
    values.Preset = setup_.PointPreset();
    values.Places = setup_.PlaceBoxes();
    values.Bonus = setup_.BonusBoxes();
    points_->Show(values);
  }

  void RefreshButtons() {
    add_->setEnabled(setup_.AddRaceEnabled());
    add_->setText(setup_.Races() >= kMaxSeasonRaces ? QStringLiteral("&Add Race (40 races, the most)")
                                                    : QStringLiteral("&Add Race"));
    const bool races = setup_.RaceCommandsEnabled();
    up_->setEnabled(races && setup_.SelectedRace() > 1);
    down_->setEnabled(races && setup_.SelectedRace() < setup_.Races());
    delete_->setEnabled(races && setup_.SelectedRace() >= 1);
    save_->setEnabled(setup_.SaveEnabled());
    ok_->setEnabled(setup_.OkEnabled());
    status_->setText(setup_.OkEnabled()
                         ? QStringLiteral("Saved: %1").arg(QDir::toNativeSeparators(Q(setup_.SavedFile())))
                         : QStringLiteral("Not saved yet: save the season to start it."));
  }

  // --- Commands.

  void ChooseTrack() {
    const QListWidgetItem* item = tracks_->currentItem();
    if (item == nullptr) return;
    setup_.ChooseTrack(ResolvePath(setup_.TracksFolder()), item->text().toStdString());
    RefreshRace();
  }

  void RaceCommand(bool (SeasonSetupDialog::*command)()) {
    if ((setup_.*command)()) RefreshSchedule();
    schedule_->setFocus();
  }

  void FieldCommand(bool (SeasonSetupDialog::*command)()) {
    if ((setup_.*command)()) RefreshDrivers();
  }

  // A bonus box the player has not left yet still counts when the season is saved.
  void FlushBoxes() { points_->FlushBonusBoxes(); }

  SeasonSetupDialog setup_;

  QLineEdit* name_ = nullptr;
  QTabWidget* tabs_ = nullptr;
  QListWidget* tracks_ = nullptr;
  QLabel* folder_ = nullptr;
  QPlainTextEdit* info_ = nullptr;
  QLineEdit* abbrev_ = nullptr;
  QComboBox* laps_ = nullptr;
  QLineEdit* miles_ = nullptr;
  QCheckBox* pitOpen_ = nullptr;
  QCheckBox* repairOnly_ = nullptr;
  QComboBox *stops_ = nullptr, *start_ = nullptr, *pit_ = nullptr, *turns_ = nullptr;
  QPushButton* add_ = nullptr;
  QTableWidget* schedule_ = nullptr;
  QPushButton *up_ = nullptr, *down_ = nullptr, *delete_ = nullptr;
  QLabel* raceCount_ = nullptr;
  QTableWidget* drivers_ = nullptr;
  QTableWidget* ratings_ = nullptr;
  QLineEdit* driverName_ = nullptr;
  QPushButton* rename_ = nullptr;
  QComboBox* teams_ = nullptr;
  QPushButton* teamFile_ = nullptr;
  QPushButton *addDriver_ = nullptr, *deleteDriver_ = nullptr, *driverUp_ = nullptr, *driverDown_ = nullptr;
  QPushButton *loadCars_ = nullptr, *copySeason_ = nullptr;
  QComboBox* seasonDrivers_ = nullptr;
  QComboBox* setupPoints_ = nullptr;
  QButtonGroup* configLock_ = nullptr;
  QButtonGroup* damageLock_ = nullptr;
  QGroupBox* damage_ = nullptr;
  QComboBox* qualifying_ = nullptr;
  QCheckBox* requal_ = nullptr;
  std::vector<std::pair<QCheckBox*, bool*>> ruleBoxes_;
  PointsFrame* points_ = nullptr;
  QPushButton *save_ = nullptr, *ok_ = nullptr, *cancel_ = nullptr, *tables_ = nullptr;
  std::function<void()> openResultTables_;

 public:
  void SetOpenResultTables(std::function<void()> open) {
    openResultTables_ = std::move(open);
    tables_->setVisible(openResultTables_ != nullptr);
  }

 private:
  QLabel* status_ = nullptr;
};

}  // namespace

std::unique_ptr<QDialog> MakeSeasonSetupWindow(RaceState& rs, Console& console, const std::string& dataFolder,
                                               QWidget* parent) {
  return std::make_unique<SeasonSetupWindow>(rs, console, dataFolder, parent);
}

void SetOpenResultTables(QDialog& window, std::function<void()> open) {
  if (auto* setup = dynamic_cast<SeasonSetupWindow*>(&window)) setup->SetOpenResultTables(std::move(open));
}

SeasonSetupResult SeasonSetupResultOf(const QDialog& window) {
  const auto* setup = dynamic_cast<const SeasonSetupWindow*>(&window);
  return setup != nullptr ? setup->Result() : SeasonSetupResult{};
}

}  // namespace vm
