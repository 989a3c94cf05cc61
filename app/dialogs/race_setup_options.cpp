#include "app/dialogs/race_setup_options.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QDirIterator>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include "app/dialogs/race_setup_widgets.h"
#include "app/game_controller.h"
#include "game/settings_file.h"

namespace vm {

namespace {

constexpr int kDelayFast = 10;
constexpr int kDelaySlow = 400;
constexpr int kDelayStep = 10;
constexpr int kDelayPage = 20;

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

bool Blank(const std::string& s) { return s.find_first_not_of(' ') == std::string::npos; }

// The files of one kind below the data folder, named as the settings name them: relative to the
// folder, with the backslashes the file format uses.
QStringList FilesBelow(const QString& folder, const QString& pattern) {
  QStringList names;
  const QDir root(folder);
  QDirIterator it(folder, {pattern}, QDir::Files, QDirIterator::Subdirectories);
  while (it.hasNext()) names.push_back(root.relativeFilePath(it.next()).replace(QLatin1Char('/'), QLatin1Char('\\')));
  names.sort(Qt::CaseInsensitive);
  return names;
}

QComboBox* FileList(const char* name, const QStringList& files, const std::string& current) {
  auto* box = new QComboBox;
  box->setObjectName(QLatin1String(name));
  box->addItems(files);
  const QString chosen = QString::fromStdString(current);
  // A file the settings name but the folder lacks stays the choice until another is picked.
  if (!Blank(current) && box->findText(chosen, Qt::MatchFixedString) < 0) box->insertItem(0, chosen);
  box->setPlaceholderText(QStringLiteral("(none)"));
  box->setCurrentIndex(Blank(current) ? -1 : box->findText(chosen, Qt::MatchFixedString));
  return box;
}

QLabel* BuddyLabel(const QString& caption, QWidget* buddy) {
  auto* label = new QLabel(caption);
  label->setBuddy(buddy);
  return label;
}

struct OptionCheck {
  const char* Name;
  const char* Caption;
  bool GameSettings::*Field;
};
constexpr OptionCheck kRuleChecks[] = {
    {"chkDTESSC", "Allow Curve Entry as a result of Slipstream", &GameSettings::OptCurveEntryBySlipstream},
    {"chkAAFES", "Allow Acceleration from curve exit space", &GameSettings::OptAccelFromCurveExit},
    {"chkABF", "Blue Flag cars being lapped", &GameSettings::OptBlueFlag},
    {"chkASIT", "Allow Slipstreaming in curves", &GameSettings::OptSlipstreamInCurves},
    {"chkPLC", "Prevent lane changing in curves", &GameSettings::OptNoLaneChangeInCurves},
    {"chkUndoDisabled", "Disable \"Undo Race Turn\" feature", &GameSettings::UndoDisabled},
    {"chkManDRE", "Allow Manual Dice Roll Entry", &GameSettings::AllowManualDice},
    {"chkPitLaneOpen", "Pit Lane &Open", &GameSettings::PitLaneOpen},
    {"chkWeatherEnabled", "Enable Weat&her ", &GameSettings::WeatherEnabled},
};
constexpr OptionCheck kAIChecks[] = {
    {"chkLOS", "Load Recommended Setup based on Track", &GameSettings::AILoadOptimumSetup},
    {"chkLOSRnd", "Randomize AI Car Setup", &GameSettings::AIRandomizeOptimumSetup},
    {"chkHighlightLeader", "Circle leader in Blue", &GameSettings::HighlightLeader},
};

}  // namespace

std::unique_ptr<RaceOptionsForm> RaceOptionsForm::Open(GameController& controller, QWidget* parent) {
  auto model = std::make_unique<RaceOptionsDialog>(controller.Ui(),
                                                   controller.Session().AppPath + std::string(kSettingsFileName));
  if (!model->Opened()) return nullptr;
  return std::unique_ptr<RaceOptionsForm>(new RaceOptionsForm(controller, std::move(model), parent));
}

RaceOptionsForm::RaceOptionsForm(GameController& controller, std::unique_ptr<RaceOptionsDialog> model, QWidget* parent)
    : QDialog(parent), controller_(controller), model_(std::move(model)) {
  setObjectName(Q(kRaceOptionsName));
  setWindowTitle(Q(kRaceOptionsTitle));
  const GameSettings& s = model_->Settings;
  preset_ = PointPresetOf(s.PointStructure);
  for (int i = 0; i < kEditablePlaces; ++i) places_[static_cast<size_t>(i)] = std::to_string(s.PointStructure[i + 1]);
  bonus_ = {std::to_string(s.PointsPole), std::to_string(s.PointsLeadLap), std::to_string(s.PointsFastLap),
            std::to_string(s.PointsLeadMost)};
  BuildForm();
  Refresh();
  Connect();
}

void RaceOptionsForm::BuildForm() {
  GameSettings& s = model_->Settings;
  const QString folder = QString::fromStdString(controller_.Session().AppPath);

  auto* fraRace = new QGroupBox(QStringLiteral("Race"));
  fraRace->setObjectName(QStringLiteral("fraRace"));
  cmbTotalLaps_ = new QComboBox;
  cmbTotalLaps_->setObjectName(QStringLiteral("cmbTotalLaps"));
  cmbCarsRacing_ = new QComboBox;
  cmbCarsRacing_->setObjectName(QStringLiteral("cmbCarsRacing"));
  cmbQualifying_ = new QComboBox;
  cmbQualifying_->setObjectName(QStringLiteral("cmbQualifying"));
  for (std::string_view method : kQualifyingMethods) cmbQualifying_->addItem(Q(method));
  CheckAllowRequal_ = new QCheckBox(QStringLiteral("Random Start Speed Requalifying (Single Race Mode)"));
  CheckAllowRequal_->setObjectName(QStringLiteral("CheckAllowRequal"));
  cmbCarSetupPoints_ = new QComboBox;
  cmbCarSetupPoints_->setObjectName(QStringLiteral("cmbCarSetupPoints"));
  {
    auto* form = new QFormLayout(fraRace);
    form->addRow(BuddyLabel(QStringLiteral("&Laps"), cmbTotalLaps_), cmbTotalLaps_);
    form->addRow(BuddyLabel(QStringLiteral("&Cars"), cmbCarsRacing_), cmbCarsRacing_);
    form->addRow(BuddyLabel(QStringLiteral("&Qualifying"), cmbQualifying_), cmbQualifying_);
    form->addRow(CheckAllowRequal_);
    form->addRow(BuddyLabel(QStringLiteral("Desi&gn points per car"), cmbCarSetupPoints_), cmbCarSetupPoints_);
  }

  auto* fraFiles = new QGroupBox(QStringLiteral("Default Files"));
  fraFiles->setObjectName(QStringLiteral("fraFiles"));
  cmbDefaultCarFile_ = FileList("cmbDefaultCarFile", FilesBelow(folder, QStringLiteral("*.crs")), s.DefaultCarFile);
  cmbDefaultResultTable_ =
      FileList("cmbDefaultResultTable", FilesBelow(folder, QStringLiteral("*.rst")), s.DefaultResultTable);
  cmbDefaultTeamFile_ = FileList("cmbDefaultTeamFile", FilesBelow(folder, QStringLiteral("*.tms")), s.DefaultTeamFile);
  {
    auto* form = new QFormLayout(fraFiles);
    form->addRow(BuddyLabel(QStringLiteral("Default Car &Setup"), cmbDefaultCarFile_), cmbDefaultCarFile_);
    form->addRow(BuddyLabel(QStringLiteral("Default &Result Table"), cmbDefaultResultTable_), cmbDefaultResultTable_);
    form->addRow(BuddyLabel(QStringLiteral("Default &Team File"), cmbDefaultTeamFile_), cmbDefaultTeamFile_);
  }

  auto* fraAI = new QGroupBox(QStringLiteral("AI Cars"));
  fraAI->setObjectName(QStringLiteral("fraAI"));
  sldCarMovementDelay_ = new QSlider(Qt::Horizontal);
  sldCarMovementDelay_->setObjectName(QStringLiteral("sldCarMovementDelay"));
  sldCarMovementDelay_->setRange(kDelayFast, kDelaySlow);
  sldCarMovementDelay_->setSingleStep(kDelayStep);
  sldCarMovementDelay_->setPageStep(kDelayPage);
  lblDelay_ = new QLabel;
  lblDelay_->setObjectName(QStringLiteral("lblDelay"));
  lblDelay_->setMinimumWidth(lblDelay_->fontMetrics().horizontalAdvance(QStringLiteral("Delay 000")));
  {
    auto* column = new QVBoxLayout(fraAI);
    column->addWidget(BuddyLabel(QStringLiteral("AI &Movement Speed"), sldCarMovementDelay_));
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(QStringLiteral("Fast")));
    row->addWidget(sldCarMovementDelay_, 1);
    row->addWidget(new QLabel(QStringLiteral("Slow")));
    row->addWidget(lblDelay_);
    column->addLayout(row);
    for (const OptionCheck& c : kAIChecks) {
      auto* box = new QCheckBox(QLatin1String(c.Caption));
      box->setObjectName(QLatin1String(c.Name));
      box->setChecked(s.*c.Field);
      connect(box, &QCheckBox::toggled, this, [this, field = c.Field](bool on) { model_->Settings.*field = on; });
      column->addWidget(box);
    }
  }

  auto* fraRules = new QGroupBox(QStringLiteral("R&ule Options"));
  fraRules->setObjectName(QStringLiteral("fraRules"));
  {
    auto* column = new QVBoxLayout(fraRules);
    for (const OptionCheck& c : kRuleChecks) {
      auto* box = new QCheckBox(QLatin1String(c.Caption));
      box->setObjectName(QLatin1String(c.Name));
      box->setChecked(s.*c.Field);
      connect(box, &QCheckBox::toggled, this, [this, field = c.Field](bool on) { model_->Settings.*field = on; });
      column->addWidget(box);
    }
  }

  fraPoints_ = new PointsFrame;

  lblRefused_ = new QLabel(QStringLiteral("Choose a default car setup and a default result table to save."));
  lblRefused_->setObjectName(QStringLiteral("lblRefused"));
  lblRefused_->setWordWrap(true);
  lblRefused_->hide();
  auto* cmdOK = new QPushButton(QStringLiteral("OK"));
  cmdOK->setObjectName(QStringLiteral("cmdOK"));
  cmdOK->setDefault(true);
  auto* cmdCancel = new QPushButton(QStringLiteral("Cancel"));
  cmdCancel->setObjectName(QStringLiteral("cmdCancel"));
  cmdCancel->setAutoDefault(false);
  connect(cmdOK, &QPushButton::clicked, this, &RaceOptionsForm::accept);
  connect(cmdCancel, &QPushButton::clicked, this, &RaceOptionsForm::reject);

  auto* left = new QVBoxLayout;
  left->addWidget(fraRace);
  left->addWidget(fraFiles);
  left->addWidget(fraAI);
  left->addStretch();
  auto* middle = new QVBoxLayout;
  middle->addWidget(fraRules);
  middle->addStretch();
  auto* frames = new QHBoxLayout;
  frames->addLayout(left);
  frames->addLayout(middle);
  frames->addWidget(fraPoints_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblRefused_, 1);
  buttons->addStretch();
  buttons->addWidget(cmdOK);
  buttons->addWidget(cmdCancel);
  auto* page = new QVBoxLayout(this);
  page->addLayout(frames);
  page->addLayout(buttons);
}

void RaceOptionsForm::Connect() {
  GameSettings& s = model_->Settings;
  connect(cmbTotalLaps_, &QComboBox::currentIndexChanged, this,
          [this, &s] { s.RaceLaps = ComboNumber(cmbTotalLaps_, s.RaceLaps); });
  connect(cmbCarsRacing_, &QComboBox::currentIndexChanged, this,
          [this, &s] { s.CarCount = ComboNumber(cmbCarsRacing_, s.CarCount); });
  connect(cmbCarSetupPoints_, &QComboBox::currentIndexChanged, this,
          [this, &s] { s.CarSetupPoints = ComboNumber(cmbCarSetupPoints_, s.CarSetupPoints); });
  connect(cmbQualifying_, &QComboBox::currentIndexChanged, this, [this, &s] {
    s.QualifyingMethod = cmbQualifying_->currentText().toStdString();
    Refresh();
  });
  connect(CheckAllowRequal_, &QCheckBox::toggled, this, [&s](bool on) { s.AllowRequalifying = on; });
  connect(sldCarMovementDelay_, &QSlider::valueChanged, this, [this, &s](int value) {
    s.CarMovementDelay = value;
    Refresh();
  });
  const std::pair<QComboBox*, std::string GameSettings::*> files[] = {
      {cmbDefaultCarFile_, &GameSettings::DefaultCarFile},
      {cmbDefaultResultTable_, &GameSettings::DefaultResultTable},
      {cmbDefaultTeamFile_, &GameSettings::DefaultTeamFile}};
  for (const auto& [box, field] : files)
    connect(box, &QComboBox::currentIndexChanged, this, [this, list = box, member = field] {
      model_->Settings.*member = list->currentText().toStdString();
      lblRefused_->hide();
    });

  fraPoints_->PresetChosen = [this](int index) {
    model_->ChoosePointPreset(index);
    preset_ = index;
    const auto& points = model_->Settings.PointStructure;
    for (int i = 0; i < kEditablePlaces; ++i) places_[static_cast<size_t>(i)] = std::to_string(points[i + 1]);
    Refresh();
  };
  fraPoints_->PlaceEdited = [this](int index, const std::string& text) {
    places_[static_cast<size_t>(index)] = text;
    for (int i = 0; i < kEditablePlaces; ++i)
      model_->Settings.PointStructure[i + 1] = PointsBoxValue(places_[static_cast<size_t>(i)]);
  };
  fraPoints_->BonusEdited = [this](PointsBonus which, const std::string& text) {
    GameSettings& settings = model_->Settings;
    int* const fields[] = {&settings.PointsPole, &settings.PointsLeadLap, &settings.PointsFastLap,
                           &settings.PointsLeadMost};
    const auto at = static_cast<size_t>(which);
    bonus_[at] = BonusBoxText(text);
    *fields[at] = PointsBoxValue(bonus_[at]);
    Refresh();
  };
}

void RaceOptionsForm::Refresh() {
  const GameSettings& s = model_->Settings;
  std::vector<int> laps, cars;
  for (int n = 1; n <= kMaxLaps; ++n) laps.push_back(n);
  for (int n = 1; n <= kMaxCars; ++n) cars.push_back(n);
  ShowCombo(cmbTotalLaps_, laps, s.RaceLaps);
  ShowCombo(cmbCarsRacing_, cars, s.CarCount);
  ShowCombo(cmbCarSetupPoints_, RaceOptionsDialog::SetupPointsList(), s.CarSetupPoints);
  {
    const QSignalBlocker quiet(cmbQualifying_);
    cmbQualifying_->setCurrentIndex(cmbQualifying_->findText(Q(s.QualifyingMethod)));
  }
  ShowCheck(CheckAllowRequal_, CheckBox{s.AllowRequalifying, true, s.QualifyingMethod == kQualifyingMethods[0]});
  {
    const QSignalBlocker quiet(sldCarMovementDelay_);
    sldCarMovementDelay_->setValue(s.CarMovementDelay);
  }
  lblDelay_->setText(QStringLiteral("Delay %1").arg(s.CarMovementDelay));
  PointsFrameValues points;
  points.Preset = preset_;
  points.Places = places_;
  points.Bonus = bonus_;
  fraPoints_->Show(points);
}

void RaceOptionsForm::accept() {
  fraPoints_->FlushBonusBoxes();
  if (!model_->Ok()) {
    const GameSettings& s = model_->Settings;
    lblRefused_->setVisible(Blank(s.DefaultCarFile) || Blank(s.DefaultResultTable));
    return;
  }
  QDialog::accept();
}

}  // namespace vm
