#include "app/dialogs/race_setup_form.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <utility>

#include "app/dialogs/race_setup_widgets.h"
#include "app/game_controller.h"
#include "game/settings_file.h"
#include "game/startup.h"

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

QCheckBox* Check(const char* name, const QString& caption) {
  auto* box = new QCheckBox(caption);
  box->setObjectName(QLatin1String(name));
  return box;
}

QComboBox* Combo(const char* name) {
  auto* box = new QComboBox;
  box->setObjectName(QLatin1String(name));
  box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  return box;
}

QPushButton* Button(const char* name, const QString& caption) {
  auto* button = new QPushButton(caption);
  button->setObjectName(QLatin1String(name));
  // Only OK answers Enter; the other buttons open further dialogs.
  button->setAutoDefault(false);
  return button;
}

QLabel* BuddyLabel(const QString& caption, QWidget* buddy) {
  auto* label = new QLabel(caption);
  label->setBuddy(buddy);
  return label;
}

}  // namespace

RaceSetupForm::RaceSetupForm(GameController& controller, QWidget* parent)
    : QDialog(parent), controller_(controller), model_(controller.Race()) {
  setObjectName(Q(kRaceSetupName));
  BuildForm();
  Refresh();
  Connect();
}

// The widgets are made in reading order, column by column, and that is the tab order as well.
void RaceSetupForm::BuildForm() {
  // The field, with the AI cars' setup choices that go with it.
  fraField_ = new QGroupBox(QStringLiteral("Cars"));
  fraField_->setObjectName(QStringLiteral("fraField"));
  cmbCarsRacing_ = Combo("cmbCarsRacing");
  lblField_ = new QLabel;
  lblField_->setObjectName(QStringLiteral("lblField"));
  lblField_->setBuddy(cmbCarsRacing_);
  chkLOS_ = Check("chkLOS", QStringLiteral("Load Recommended Setup based on Track"));
  chkLOSRnd_ = Check("chkLOSRnd", QStringLiteral("Randomize AI Car Setup"));
  {
    auto* form = new QFormLayout(fraField_);
    form->addRow(lblField_, cmbCarsRacing_);
    form->addRow(chkLOS_);
    form->addRow(chkLOSRnd_);
  }

  fraLength_ = new QGroupBox(QStringLiteral("Race Length"));
  fraLength_->setObjectName(QStringLiteral("fraLength"));
  cmbTotalLaps_ = Combo("cmbTotalLaps");
  txtMiles_ = new QLineEdit;
  txtMiles_->setObjectName(QStringLiteral("txtMiles"));
  txtMiles_->setReadOnly(true);
  txtMiles_->setFocusPolicy(Qt::NoFocus);  // shows a result, takes no input
  txtMiles_->setAlignment(Qt::AlignRight);
  txtMiles_->setMaximumWidth(txtMiles_->fontMetrics().horizontalAdvance(QStringLiteral("00000.0")) + 14);
  {
    auto* row = new QHBoxLayout(fraLength_);
    row->addWidget(BuddyLabel(QStringLiteral("&Laps"), cmbTotalLaps_));
    row->addWidget(cmbTotalLaps_);
    row->addSpacing(12);
    row->addWidget(txtMiles_);
    row->addWidget(BuddyLabel(QStringLiteral("miles"), txtMiles_));
    row->addStretch();
  }

  fraQualifying_ = new QGroupBox(QStringLiteral("&Qualifying"));
  fraQualifying_->setObjectName(QStringLiteral("fraQualifying"));
  cmbQualifying_ = Combo("cmbQualifying");
  for (std::string_view method : kQualifyingMethods) cmbQualifying_->addItem(Q(method));
  CheckAllowRequal_ = Check("CheckAllowRequal", QStringLiteral("Random Start Speed Requalifying (Single Race Mode)"));
  {
    // Hiding the requalifying box must not make the frame jump.
    QSizePolicy keep = CheckAllowRequal_->sizePolicy();
    keep.setRetainSizeWhenHidden(true);
    CheckAllowRequal_->setSizePolicy(keep);
    auto* column = new QVBoxLayout(fraQualifying_);
    column->addWidget(cmbQualifying_, 0, Qt::AlignLeft);
    column->addWidget(CheckAllowRequal_);
  }

  fraSetupPoints_ = new QGroupBox(QStringLiteral("Car Setup Points"));
  fraSetupPoints_->setObjectName(QStringLiteral("fraSetupPoints"));
  cmbCarSetupPoints_ = Combo("cmbCarSetupPoints");
  {
    auto* row = new QHBoxLayout(fraSetupPoints_);
    row->addWidget(BuddyLabel(QStringLiteral("Desi&gn points per car"), cmbCarSetupPoints_));
    row->addWidget(cmbCarSetupPoints_);
    row->addStretch();
  }

  fraPits_ = new QGroupBox(Q(kPitFrameCaption));
  fraPits_->setObjectName(QStringLiteral("fraPits"));
  chkPitLaneOpen_ = Check("chkPitLaneOpen", QStringLiteral("Pit Lane &Open"));
  chkPitLaneRepairOnly_ = Check("chkPitLaneRepairOnly", QStringLiteral("Repair Only"));
  cmbMinPitStops_ = Combo("cmbMinPitStops");
  cmbStartAllotment_ = Combo("cmbStartAllotment");
  cmbPitReplenishment_ = Combo("cmbPitReplenishment");
  cmbTurnsInPit_ = Combo("cmbTurnsInPit");
  cmbTurnsInPit_->setToolTip(QStringLiteral("In race turns"));
  QLabel* lblMinPitStops = BuddyLabel(QStringLiteral("&Minimum Required Pit Stops"), cmbMinPitStops_);
  lblMinPitStops->setObjectName(QStringLiteral("lblMinPitStops"));
  {
    auto* form = pitForm_ = new QFormLayout(fraPits_);
    auto* boxes = new QHBoxLayout;
    boxes->addWidget(chkPitLaneOpen_);
    boxes->addWidget(chkPitLaneRepairOnly_);
    boxes->addStretch();
    form->addRow(boxes);
    form->addRow(lblMinPitStops, cmbMinPitStops_);
    form->addRow(BuddyLabel(QStringLiteral("St&art - Max Wear Allotment (Laps)"), cmbStartAllotment_),
                 cmbStartAllotment_);
    form->addRow(BuddyLabel(QStringLiteral("Pit Stop - Max &Wear Replenishment (Laps)"), cmbPitReplenishment_),
                 cmbPitReplenishment_);
    auto* turns = new QHBoxLayout;
    turns->addWidget(cmbTurnsInPit_);
    turns->addWidget(new QLabel(QStringLiteral("race turns")));
    turns->addStretch();
    form->addRow(BuddyLabel(QStringLiteral("Minimum Pit Duratio&n"), cmbTurnsInPit_), turns);
  }

  auto* fraRules = new QGroupBox(QStringLiteral("R&ule Options"));
  fraRules->setObjectName(QStringLiteral("fraRules"));
  chkDTESSC_ = Check("chkDTESSC", QStringLiteral("Allow Curve Entry as a result of Slipstream"));
  chkAAFES_ = Check("chkAAFES", QStringLiteral("Allow Acceleration from curve exit space"));
  chkABF_ = Check("chkABF", QStringLiteral("Blue Flag cars being lapped"));
  chkASIT_ = Check("chkASIT", QStringLiteral("Allow Slipstreaming in curves"));
  chkPLC_ = Check("chkPLC", QStringLiteral("Prevent lane changing in curves"));
  chkUndoDisabled_ = Check("chkUndoDisabled", QStringLiteral("Disable \"Undo Race Turn\" feature"));
  chkManDRE_ = Check("chkManDRE", QStringLiteral("Allow Manual Dice Roll Entry"));
  chkWeatherEnabled_ = Check("chkWeatherEnabled", QStringLiteral("Enable Weat&her "));
  {
    auto* column = new QVBoxLayout(fraRules);
    for (QCheckBox* box :
         {chkDTESSC_, chkAAFES_, chkABF_, chkASIT_, chkPLC_, chkUndoDisabled_, chkManDRE_, chkWeatherEnabled_})
      column->addWidget(box);
  }

  fraPoints_ = new PointsFrame;

  cmdRSLoadTrack_ = Button("cmdRSLoadTrack", QStringLiteral("Load &Track"));
  cmdResultTables_ = Button("cmdResultTables", QStringLiteral("&Result Tables"));
  cmdCarSetup_ = Button("cmdCarSetup", QStringLiteral("Car &Setup "));
  cmdLoadDefaults_ = Button("cmdLoadDefaults", QStringLiteral("Load &Default Settings"));
  cmdOK_ = Button("cmdOK", QStringLiteral("OK"));
  cmdOK_->setDefault(true);
  cmdCancel_ = Button("cmdCancel", QStringLiteral("Cancel"));

  auto* left = new QVBoxLayout;
  for (QGroupBox* frame : {fraField_, fraLength_, fraQualifying_, fraSetupPoints_}) left->addWidget(frame);
  left->addStretch();
  auto* middle = new QVBoxLayout;
  middle->addWidget(fraPits_);
  middle->addWidget(fraRules);
  middle->addStretch();
  auto* frames = new QHBoxLayout;
  frames->addLayout(left);
  frames->addLayout(middle);
  frames->addWidget(fraPoints_);

  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {cmdRSLoadTrack_, cmdResultTables_, cmdCarSetup_, cmdLoadDefaults_})
    buttons->addWidget(button);
  buttons->addStretch();
  buttons->addWidget(cmdOK_);
  buttons->addWidget(cmdCancel_);

  auto* page = new QVBoxLayout(this);
  page->addLayout(frames);
  page->addLayout(buttons);
}

void RaceSetupForm::Connect() {
  auto refreshed = [this](auto event) {
    return [this, event](auto&&... args) {
      event(std::forward<decltype(args)>(args)...);
      Refresh();
    };
  };
  auto text = [](QComboBox* box) { return box->currentText().toStdString(); };

  // Values the model only keeps until OK.
  connect(cmbCarsRacing_, &QComboBox::currentIndexChanged, this,
          [this, text] { model_.cmbCarsRacing.Text = text(cmbCarsRacing_); });
  connect(cmbCarSetupPoints_, &QComboBox::currentIndexChanged, this,
          [this, text] { model_.cmbCarSetupPoints.Text = text(cmbCarSetupPoints_); });
  connect(cmbPitReplenishment_, &QComboBox::currentIndexChanged, this,
          [this, text] { model_.cmbPitReplenishment.Text = text(cmbPitReplenishment_); });
  connect(cmbTurnsInPit_, &QComboBox::currentIndexChanged, this,
          [this, text] { model_.cmbTurnsInPit.Text = text(cmbTurnsInPit_); });
  const std::pair<QCheckBox*, CheckBox*> plain[] = {{CheckAllowRequal_, &model_.CheckAllowRequal},
                                                    {chkManDRE_, &model_.chkManDRE},
                                                    {chkLOS_, &model_.chkLOS},
                                                    {chkLOSRnd_, &model_.chkLOSRnd},
                                                    {chkDTESSC_, &model_.chkDTESSC},
                                                    {chkAAFES_, &model_.chkAAFES},
                                                    {chkABF_, &model_.chkABF},
                                                    {chkASIT_, &model_.chkASIT},
                                                    {chkPLC_, &model_.chkPLC},
                                                    {chkUndoDisabled_, &model_.chkUndoDisabled}};
  for (const auto& [widget, box] : plain)
    connect(widget, &QCheckBox::toggled, this, [box = box](bool on) { box->Checked = on; });

  // Events that change other controls.
  connect(cmbQualifying_, &QComboBox::currentIndexChanged, this, refreshed([this, text](int) {
            model_.cmbQualifying = text(cmbQualifying_);
            // Requalifying by random start speed only means something for that method.
            model_.CheckAllowRequal.Visible = model_.cmbQualifying == kQualifyingMethods[0];
          }));
  connect(cmbTotalLaps_, &QComboBox::currentIndexChanged, this,
          refreshed([this](int) { model_.SetTotalLaps(ComboNumber(cmbTotalLaps_)); }));
  connect(cmbMinPitStops_, &QComboBox::currentIndexChanged, this,
          refreshed([this, text](int) { model_.SetMinPitStops(text(cmbMinPitStops_)); }));
  connect(cmbStartAllotment_, &QComboBox::currentIndexChanged, this,
          refreshed([this](int) { model_.SetStartAllotment(ComboNumber(cmbStartAllotment_)); }));
  connect(chkWeatherEnabled_, &QCheckBox::toggled, this, refreshed([this](bool on) { model_.SetWeatherEnabled(on); }));
  connect(chkPitLaneOpen_, &QCheckBox::toggled, this, refreshed([this](bool on) { model_.SetPitLaneOpen(on); }));
  connect(chkPitLaneRepairOnly_, &QCheckBox::toggled, this, refreshed([this](bool on) { model_.SetRepairOnly(on); }));

  fraPoints_->PresetChosen = refreshed([this](int index) { model_.ChoosePointPreset(index); });
  fraPoints_->PlaceEdited = refreshed([this](int index, const std::string& t) { model_.EditPlace(index, t); });
  fraPoints_->BonusEdited = refreshed([this](PointsBonus which, const std::string& t) {
    switch (which) {
      case PointsBonus::Pole: model_.EditPole(t); break;
      case PointsBonus::LeadLap: model_.EditLeadLap(t); break;
      case PointsBonus::FastLap: model_.EditFastLap(t); break;
      case PointsBonus::LeadMost: model_.EditLeadMost(t); break;
    }
  });

  connect(cmdOK_, &QPushButton::clicked, this, &RaceSetupForm::accept);
  connect(cmdCancel_, &QPushButton::clicked, this, &RaceSetupForm::reject);
  connect(cmdRSLoadTrack_, &QPushButton::clicked, this, [this] { controller_.OpenDialog("frmTrackLoad"); });
  connect(cmdResultTables_, &QPushButton::clicked, this, [this] { controller_.OpenDialog("frmResultTableSetup"); });
  connect(cmdCarSetup_, &QPushButton::clicked, this, &RaceSetupForm::OpenCarSetup);
  connect(cmdLoadDefaults_, &QPushButton::clicked, this, &RaceSetupForm::LoadDefaultSettings);
}

void RaceSetupForm::Refresh() {
  const RaceSetupDialog& m = model_;
  setWindowTitle(Q(m.Title));
  lblField_->setText(m.FieldLabel == kCarsInSessionLabel ? QStringLiteral("Cars &In Session")
                                                         : QStringLiteral("Starting &Field"));
  fraPoints_->setVisible(m.PointsFrameVisible);
  fraLength_->setVisible(m.LengthFrameVisible);
  fraSetupPoints_->setVisible(m.SetupPointsFrameVisible);
  fraQualifying_->setVisible(m.QualifyingFrameVisible);
  fraPits_->setVisible(m.PitFrameVisible);

  ShowCombo(cmbCarsRacing_, m.cmbCarsRacing);
  ShowCombo(cmbTotalLaps_, m.cmbTotalLaps);
  ShowCombo(cmbCarSetupPoints_, m.cmbCarSetupPoints);
  ShowCombo(cmbMinPitStops_, m.cmbMinPitStops);
  // The whole row goes, so the frame closes up instead of showing a gap.
  pitForm_->setRowVisible(cmbMinPitStops_, m.cmbMinPitStops.Visible);
  ShowCombo(cmbStartAllotment_, m.cmbStartAllotment);
  ShowCombo(cmbPitReplenishment_, m.cmbPitReplenishment);
  ShowCombo(cmbTurnsInPit_, m.cmbTurnsInPit);
  {
    const QSignalBlocker quiet(cmbQualifying_);
    cmbQualifying_->setCurrentIndex(cmbQualifying_->findText(Q(m.cmbQualifying)));
  }
  ShowCheck(CheckAllowRequal_, m.CheckAllowRequal);
  const std::pair<QCheckBox*, const CheckBox*> checks[] = {{chkManDRE_, &m.chkManDRE},
                                                           {chkLOS_, &m.chkLOS},
                                                           {chkLOSRnd_, &m.chkLOSRnd},
                                                           {chkDTESSC_, &m.chkDTESSC},
                                                           {chkAAFES_, &m.chkAAFES},
                                                           {chkABF_, &m.chkABF},
                                                           {chkASIT_, &m.chkASIT},
                                                           {chkPLC_, &m.chkPLC},
                                                           {chkUndoDisabled_, &m.chkUndoDisabled},
                                                           {chkWeatherEnabled_, &m.chkWeatherEnabled},
                                                           {chkPitLaneOpen_, &m.chkPitLaneOpen},
                                                           {chkPitLaneRepairOnly_, &m.chkPitLaneRepairOnly}};
  for (const auto& [widget, box] : checks) ShowCheck(widget, *box);
  txtMiles_->setText(Q(m.txtMiles));

  PointsFrameValues points;
  points.Preset = m.optPointStructure;
  points.Places = m.txtPS;
  points.Bonus = {m.txtPole, m.txtLeadLap, m.txtFastLap, m.txtLeadMost};
  fraPoints_->Show(points);
}

void RaceSetupForm::LoadDefaultSettings() {
  GameSession& g = controller_.Session();
  Console& console = controller_.Ui();
  // A failed read is reported inside; the dialog then shows the race as it was.
  model_.LoadDefaultSettings([&](RaceState& rs) -> std::optional<FileError> {
    const std::string ini = g.AppPath + std::string(kSettingsFileName);
    if (std::optional<FileError> e = ReadSettings(rs, ini)) {
      console.ShowMessage(FileErrorText(ini), "", MessageKind::Critical);
      return e;
    }
    KeepTopTenPlaces(rs);
    LoadDefaultResultTables(g, rs, console);  // reports a table it cannot read
    return std::nullopt;
  });
  Refresh();
}

void RaceSetupForm::OpenCarSetup() {
  fraPoints_->FlushBonusBoxes();
  model_.CarSetup([this](RaceState&) { controller_.OpenDialog("frmCarSetup"); });
  Refresh();
}

void RaceSetupForm::accept() {
  fraPoints_->FlushBonusBoxes();
  model_.Ok();
  QDialog::accept();
}

void RaceSetupForm::reject() {
  controller_.Session().PendingTrackFile = model_.Cancel();
  QDialog::reject();
}

}  // namespace vm
