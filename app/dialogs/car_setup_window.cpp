#include "app/dialogs/car_setup_window.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "app/game_controller.h"
#include "cars/car_setup.h"
#include "cars/team_file.h"
#include "core/paths.h"
#include "game/startup.h"

namespace vm {

namespace {

constexpr std::array<Rating, kRatingCount> kRatings{Rating::StartSpeed, Rating::Acceleration, Rating::Deceleration,
                                                    Rating::TopSpeed,   Rating::WearPerLap,   Rating::DRM};
constexpr std::array<RiskCombo, 6> kRisks{RiskCombo::cmbRSS, RiskCombo::cmbRC, RiskCombo::cmbRD,
                                          RiskCombo::cmbRCA, RiskCombo::cmbRA, RiskCombo::cmbRT};
// The pictures are small bitmaps; they are blown up by a whole factor so that they stay crisp.
constexpr int kPictureZoom = 3;

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

const char* RatingTitle(Rating rating) {
  switch (rating) {
    case Rating::StartSpeed: return "&Start Speed";
    case Rating::Acceleration: return "&Acceleration";
    case Rating::Deceleration: return "Decelerati&on";
    case Rating::TopSpeed: return "To&p Speed";
    case Rating::WearPerLap: return "&Wear Per Lap";
    case Rating::DRM: return "Die &Roll Modifier";
  }
  return "";
}

const char* RiskName(RiskCombo combo) {
  switch (combo) {
    case RiskCombo::cmbRSS: return "cmbRSS";
    case RiskCombo::cmbRC: return "cmbRC";
    case RiskCombo::cmbRD: return "cmbRD";
    case RiskCombo::cmbRCA: return "cmbRCA";
    case RiskCombo::cmbRT: return "cmbRT";
    case RiskCombo::cmbRA: return "cmbRA";
  }
  return "";
}

const char* RiskCaption(RiskCombo combo) {
  switch (combo) {
    case RiskCombo::cmbRSS: return "Ris&k Profile (Table Roll %)";
    case RiskCombo::cmbRC: return "Cornering";
    case RiskCombo::cmbRD: return "Deceleration";
    case RiskCombo::cmbRCA: return "Collision Avoid";
    case RiskCombo::cmbRT: return "Top Speed";
    case RiskCombo::cmbRA: return "Acceleration";
  }
  return "";
}

// The team file only offers names; without one the box is still free to type in.
std::vector<std::string> TeamLines(GameController& controller) {
  const std::string& file = controller.Race().DefaultTeamFile;
  const std::string path =
      file.empty() ? controller.Session().AppPath + "Teams.tms" : InDataFolder(controller.Session(), file);
  std::vector<std::string> names;
  (void)LoadTeamFile(names, path);
  return names;
}

class CarSetupWindow : public QDialog {
 public:
  CarSetupWindow(GameController& controller, QWidget* parent)
      : QDialog(parent),
        controller_(controller),
        rs_(controller.Race()),
        setup_(controller.Race(), controller.Ui(), controller.Engine().Context().rng, controller.Session().CarsFolder,
               TeamLines(controller)) {
    setObjectName(Q(kCarSetupName));
    setWindowTitle(QStringLiteral("Car Setup"));
    Build();
    FillCars();
    ShowCar();
  }

  void reject() override {
    setup_.Cancel();
    QDialog::reject();
  }

 private:
  void Build() {
    auto* column = new QVBoxLayout(this);
    column->setMenuBar(BuildMenu());
    column->addLayout(BuildDriverRow());
    auto* middle = new QHBoxLayout;
    middle->addWidget(BuildRatings(), 3);
    middle->addWidget(BuildPicture(), 2);
    column->addLayout(middle);
    column->addWidget(BuildProfile());
    column->addLayout(BuildCommands());
    status_ = new QLabel;
    status_->setObjectName(QStringLiteral("lblStatus"));
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    column->addWidget(status_);
    SetTabOrder();
  }

  QMenuBar* BuildMenu() {
    auto* bar = new QMenuBar(this);
    QMenu* file = bar->addMenu(QStringLiteral("&File"));
    loadAction_ = file->addAction(QStringLiteral("&Load Car File"), this, [this] { LoadFile(); });
    loadAction_->setObjectName(QStringLiteral("mnuFileLoadCarFile"));
    saveAction_ = file->addAction(QStringLiteral("&Save Car File"), this, [this] { SaveFile(); });
    saveAction_->setObjectName(QStringLiteral("mnuSaveCarFile"));
    file->addSeparator();
    file->addAction(QStringLiteral("Change &Team File"), this, [this] { ChangeTeamFile(); })
        ->setObjectName(QStringLiteral("mnuChgTeamFile"));

    carActions_ = bar->addMenu(QStringLiteral("&Car Setup Actions"));
    carActions_->setObjectName(QStringLiteral("mnuActionCarSetup"));
    Action(carActions_, "Load AI Car Setup based on &Track", "mnuCSActionsRandomizeTrack",
           [this] { TrackCommand(&CarSetupDialog::mnuCSActionsRandomizeTrack); });
    Action(carActions_, "&Randomize AI Car Setup", "mnuCSActionsRandomize", [this] { setup_.mnuCSActionsRandomize(); });
    Action(carActions_, "Copy Current Setup to AI Cars", "mnuCSActionsCopyAllAIOnly",
           [this] { setup_.mnuCSActionsCopyAllAIOnly(); });
    carActions_->addSeparator();
    Action(carActions_, "Load Human and AI Car Setups based on Track", "mnuCSActionsLoadTrack",
           [this] { TrackCommand(&CarSetupDialog::mnuCSActionsLoadTrack); });
    Action(carActions_, "Randomize Human and AI Car Setup", "mnuCSActionsRandomizeAllCars",
           [this] { setup_.mnuCSActionsRandomizeAllCars(); });
    Action(carActions_, "&Copy Current Setup to Human and AI Cars", "mnuCSActionsCopyAll",
           [this] { setup_.mnuCSActionsCopyAll(); });

    driverActions_ = bar->addMenu(QStringLiteral("&Driver Profile Actions"));
    driverActions_->setObjectName(QStringLiteral("mnuActionDriverProfiles"));
    Action(driverActions_, "Randomize AI &Driver Profiles", "mnuCSActionsRandomizeDrivers",
           [this] { setup_.mnuCSActionsRandomizeDrivers(); });
    Action(driverActions_, "Copy Current &Driver Profile to All Cars", "mnuActionsCopyDriverProfile",
           [this] { setup_.mnuActionsCopyDriverProfile(); });
    return bar;
  }

  // An action menu entry: the command runs on the model, then the window shows the car it ends on.
  template <typename Command>
  void Action(QMenu* menu, const char* caption, const char* name, Command command) {
    QAction* action = menu->addAction(QString::fromLatin1(caption), this, [this, command] {
      command();
      ShowCar();
    });
    action->setObjectName(QString::fromLatin1(name));
  }

  QLayout* BuildDriverRow() {
    auto* row = new QHBoxLayout;
    carList_ = new QComboBox;
    carList_->setObjectName(QStringLiteral("cmbCurrentCar"));
    carList_->setMinimumContentsLength(18);
    connect(carList_, &QComboBox::activated, this, [this](int index) { ChooseCar(index); });
    // Alt+C and Alt+D belong to the action menus; the car list is first in the tab order anyway.
    row->addWidget(Buddy("Car:", carList_));
    row->addWidget(carList_);

    driver_ = new QLineEdit;
    driver_->setObjectName(QStringLiteral("txtDriver"));
    connect(driver_, &QLineEdit::textEdited, this, [this](const QString& name) {
      setup_.SetDriverName(name.toStdString());
      RenameCarItem();
    });
    row->addWidget(Buddy("Driver &Name:", driver_));
    row->addWidget(driver_, 1);

    teams_ = new QComboBox;
    teams_->setObjectName(QStringLiteral("cmbTeams"));
    teams_->setEditable(true);
    teams_->setInsertPolicy(QComboBox::NoInsert);
    FillTeams();
    connect(teams_, &QComboBox::editTextChanged, this, [this](const QString& team) { SetTeam(team); });
    row->addWidget(Buddy("&Team:", teams_));
    row->addWidget(teams_, 1);

    aiGroup_ = new QButtonGroup(this);
    auto* computer = new QRadioButton(QStringLiteral("Co&mputer"));
    auto* human = new QRadioButton(QStringLiteral("&Human"));
    computer->setObjectName(QStringLiteral("optAI0"));
    human->setObjectName(QStringLiteral("optAI1"));
    aiGroup_->addButton(computer, 0);
    aiGroup_->addButton(human, 1);
    connect(aiGroup_, &QButtonGroup::idClicked, this, [this](int id) {
      setup_.SetAI(id == 0);
      ShowDriverKind();
    });
    row->addWidget(computer);
    row->addWidget(human);
    return row;
  }

  QWidget* BuildRatings() {
    auto* box = new QWidget;
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(0, 0, 0, 0);
    for (size_t i = 0; i < kRatings.size(); ++i) {
      const Rating rating = kRatings[i];
      const QString field = Q(ScaleOf(rating).Name);
      auto* frame = new QGroupBox(QString::fromLatin1(RatingTitle(rating)));
      frame->setObjectName(QStringLiteral("fra") + field);
      auto* buttons = new QHBoxLayout(frame);
      auto* group = new QButtonGroup(this);
      for (int index = 0; index < ButtonCount(rating); ++index) {
        auto* button = new QRadioButton(Q(ButtonCaption(rating, index)).trimmed());
        button->setObjectName(QStringLiteral("opt%1%2").arg(field).arg(index));
        button->setAccessibleName(QString(RatingTitle(rating)).remove(QLatin1Char('&')) + QLatin1Char(' ') +
                                  button->text());
        group->addButton(button, index);
        buttons->addWidget(button);
      }
      buttons->addStretch();
      connect(group, &QButtonGroup::idClicked, this, [this, rating](int index) {
        setup_.PressRating(rating, index);
        ShowPoints();
      });
      ratingGroups_[i] = group;
      grid->addWidget(frame, static_cast<int>(i) / 2, static_cast<int>(i) % 2);
    }

    auto* points = new QGroupBox(QStringLiteral("Design Points"));
    auto* form = new QFormLayout(points);
    maxPoints_ = new QLabel;
    maxPoints_->setObjectName(QStringLiteral("MaxDesignPoints"));
    usedPoints_ = new QLabel;
    usedPoints_->setObjectName(QStringLiteral("UsedDesignPoints"));
    pointsLeft_ = new QLabel;
    pointsLeft_->setObjectName(QStringLiteral("lblPointsLeft"));
    form->addRow(QStringLiteral("Max Design Points:"), maxPoints_);
    form->addRow(QStringLiteral("Points used:"), usedPoints_);
    form->addRow(QStringLiteral("Points left:"), pointsLeft_);
    grid->addWidget(points, 3, 0, 1, 2);
    grid->setRowStretch(4, 1);
    return box;
  }

  QWidget* BuildPicture() {
    auto* frame = new QGroupBox(QStringLiteral("Car Picture"));
    auto* grid = new QGridLayout(frame);
    models_ = new QComboBox;
    models_->setObjectName(QStringLiteral("cmbModel"));
    for (const std::string& model : setup_.Models()) models_->addItem(Q(model));
    connect(models_, &QComboBox::activated, this, [this] { FillPictures(std::nullopt); });
    grid->addWidget(Buddy("Model:", models_), 0, 0);
    grid->addWidget(models_, 0, 1);

    pictures_ = new QListWidget;
    pictures_->setObjectName(QStringLiteral("lstPictures"));
    pictures_->setMaximumWidth(140);
    connect(pictures_, &QListWidget::currentRowChanged, this, [this] { ShowPreview(); });
    connect(pictures_, &QListWidget::itemDoubleClicked, this, [this] { SelectPicture(); });
    grid->addWidget(Buddy("Pict&ure:", pictures_), 1, 0, Qt::AlignTop);
    grid->addWidget(pictures_, 1, 1);

    picture_ = new QLabel;
    picture_->setObjectName(QStringLiteral("imgCar"));
    picture_->setAlignment(Qt::AlignCenter);
    picture_->setMinimumSize(96 * kPictureZoom, 64 * kPictureZoom);
    picture_->setFrameShape(QFrame::StyledPanel);
    grid->addWidget(picture_, 0, 2, 2, 1);

    pictureCaption_ = new QLabel;
    pictureCaption_->setObjectName(QStringLiteral("lblPicture"));
    pictureCaption_->setWordWrap(true);
    grid->addWidget(pictureCaption_, 2, 0, 1, 3);

    select_ = new QPushButton(QStringLiteral("S&elect"));
    select_->setObjectName(QStringLiteral("cmdSelect"));
    select_->setAutoDefault(false);
    connect(select_, &QPushButton::clicked, this, [this] { SelectPicture(); });
    grid->addWidget(select_, 3, 0, 1, 2, Qt::AlignLeft);
    grid->setColumnStretch(2, 1);
    return frame;
  }

  QWidget* BuildProfile() {
    profile_ = new QGroupBox(QStringLiteral("Computer Driver"));
    profile_->setObjectName(QStringLiteral("fraDriver"));
    auto* row = new QHBoxLayout(profile_);
    const auto options = [this, row](const QString& title, const QString& name, const std::array<const char*, 3>& texts,
                                     int count) {
      auto* frame = new QGroupBox(title);
      auto* lines = new QVBoxLayout(frame);
      auto* group = new QButtonGroup(this);
      for (int i = 0; i < count; ++i) {
        auto* button = new QRadioButton(QString::fromLatin1(texts[static_cast<size_t>(i)]));
        button->setObjectName(name + QString::number(i));
        group->addButton(button, i);
        lines->addWidget(button);
      }
      lines->addStretch();
      row->addWidget(frame);
      return group;
    };
    raceProfile_ = options(QStringLiteral("Race Profile"), QStringLiteral("optRP"),
                           {"Aggressive Early Laps", "Steady All Laps", "Aggressive Late Laps"}, 3);
    lapProfile_ = options(QStringLiteral("&Lap Profile"), QStringLiteral("OptLP"),
                          {"Aggressive Early In Lap", "Steady Entire Lap", "Aggressive Late In Lap"}, 3);
    pitStops_ =
        options(QStringLiteral("P&it Stops"), QStringLiteral("optPitStops"), {"Less Stops", "More Stops", ""}, 2);
    connect(raceProfile_, &QButtonGroup::idClicked, this, [this](int id) { setup_.SetRaceProfile(id); });
    connect(lapProfile_, &QButtonGroup::idClicked, this, [this](int id) { setup_.SetLapProfile(id); });
    connect(pitStops_, &QButtonGroup::idClicked, this, [this](int id) { setup_.SetPitStops(id); });

    auto* risks = new QGroupBox(QStringLiteral("Risk"));
    auto* form = new QFormLayout(risks);
    for (size_t i = 0; i < kRisks.size(); ++i) {
      const RiskCombo which = kRisks[i];
      auto* combo = new QComboBox;
      combo->setObjectName(QString::fromLatin1(RiskName(which)));
      for (int value : CarSetupDialog::RiskItems(which)) combo->addItem(QString::number(value), value);
      connect(combo, &QComboBox::activated, this,
              [this, which, combo](int index) { setup_.SetRisk(which, combo->itemData(index).toInt()); });
      risks_[i] = combo;
      form->addRow(Buddy(RiskCaption(which), combo), combo);
    }
    row->addWidget(risks);
    return profile_;
  }

  QLayout* BuildCommands() {
    auto* row = new QHBoxLayout;
    loadButton_ = Button("Load Car File", "cmdLoadCarFile", [this] { LoadFile(); });
    saveButton_ = Button("Save Car File", "cmdSaveCarFile", [this] { SaveFile(); });
    addDriver_ = Button("Add Dri&ver", "cmdAddDriver", [this] {
      if (setup_.AddDriver()) {
        FillCars();
        ShowCar();
      }
    });
    copyAll_ = Button("Cop&y Current To All Cars", "cmdCopyToAll", [this] {
      setup_.CopyCurrentToAll();
      ShowCar();
    });
    randomize_ = Button("Randomi&ze Computer Cars", "cmdRandomize", [this] {
      setup_.RandomizeComputerCars();
      ShowCar();
    });
    ok_ = Button("OK", "cmdOK", [this] {
      if (setup_.Ok()) accept();
    });
    ok_->setDefault(true);
    cancel_ = Button("Cancel", "cmdCancel", [this] { reject(); });
    for (QPushButton* button : {loadButton_, saveButton_, addDriver_, copyAll_, randomize_}) row->addWidget(button);
    row->addStretch();
    row->addWidget(ok_);
    row->addWidget(cancel_);
    return row;
  }

  template <typename Handler>
  QPushButton* Button(const char* caption, const char* name, Handler handler) {
    auto* button = new QPushButton(QString::fromLatin1(caption));
    button->setObjectName(QString::fromLatin1(name));
    // Only OK answers Enter; the other commands must be chosen.
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, handler);
    return button;
  }

  QLabel* Buddy(const char* caption, QWidget* buddy) {
    auto* label = new QLabel(QString::fromLatin1(caption));
    label->setBuddy(buddy);
    return label;
  }

  // Reading order: the driver line, the ratings left to right, the picture, the profile, the commands.
  void SetTabOrder() {
    std::vector<QWidget*> order{carList_, driver_, teams_, aiGroup_->button(0), aiGroup_->button(1)};
    for (QButtonGroup* group : ratingGroups_)
      for (QAbstractButton* button : group->buttons()) order.push_back(button);
    order.insert(order.end(), {models_, pictures_, select_});
    for (QButtonGroup* group : {raceProfile_, lapProfile_, pitStops_})
      for (QAbstractButton* button : group->buttons()) order.push_back(button);
    order.insert(order.end(), risks_.begin(), risks_.end());
    order.insert(order.end(), {loadButton_, saveButton_, addDriver_, copyAll_, randomize_, ok_, cancel_});
    for (size_t i = 1; i < order.size(); ++i) setTabOrder(order[i - 1], order[i]);
  }

  // --- Showing the model.

  void FillCars() {
    const QSignalBlocker block(carList_);
    carList_->clear();
    for (int car : setup_.CarItems()) carList_->addItem(CarItemText(car), car);
    const bool files = setup_.FileCommandsVisible();
    loadAction_->setVisible(files);
    saveAction_->setVisible(files);
    loadButton_->setVisible(files);
    saveButton_->setVisible(files);
    addDriver_->setVisible(setup_.AddDriverVisible());
    carActions_->menuAction()->setVisible(setup_.ActionMenusVisible());
    driverActions_->menuAction()->setVisible(setup_.ActionMenusVisible());
  }

  // Refills the team list; the box keeps the current car's own team, listed or not.
  void FillTeams() {
    const QSignalBlocker block(teams_);
    teams_->clear();
    for (const std::string& team : setup_.TeamItems()) teams_->addItem(Q(team));
    teams_->setEditText(Q(rs_.CarTeam[static_cast<size_t>(setup_.CurrentCar())]));
  }

  QString CarItemText(int car) const {
    return QStringLiteral("%1  %2").arg(car).arg(Q(rs_.DriverName[static_cast<size_t>(car)]));
  }

  void RenameCarItem() {
    const int index = carList_->findData(setup_.CurrentCar());
    if (index >= 0) carList_->setItemText(index, CarItemText(setup_.CurrentCar()));
  }

  void ShowCar() {
    const int car = setup_.CurrentCar();
    const auto c = static_cast<size_t>(car);
    {
      const QSignalBlocker blockCars(carList_);
      carList_->setCurrentIndex(carList_->findData(car));
    }
    driver_->setText(Q(rs_.DriverName[c]));
    {
      const QSignalBlocker blockTeams(teams_);
      teams_->setEditText(Q(rs_.CarTeam[c]));
    }
    aiGroup_->button(rs_.CarIsAI[c] ? 0 : 1)->setChecked(true);
    Check(raceProfile_, rs_.CarRaceProfile[c] - 1);
    Check(lapProfile_, rs_.CarLapProfile[c] - 1);
    Check(pitStops_, setup_.PitStopsButton());
    for (size_t i = 0; i < kRisks.size(); ++i) risks_[i]->setCurrentIndex(risks_[i]->findData(setup_.Risk(kRisks[i])));
    ShowDriverKind();
    FillPictures(setup_.PictureModel());
    status_->setText(Q(setup_.StatusText()));
    ShowPoints();
  }

  // A value off the buttons (a profile from a hand-made file) leaves the group without a choice.
  static void Check(QButtonGroup* group, int id) {
    QAbstractButton* button = group->button(id);
    if (button != nullptr) {
      button->setChecked(true);
      return;
    }
    group->setExclusive(false);
    for (QAbstractButton* b : group->buttons()) b->setChecked(false);
    group->setExclusive(true);
  }

  void ShowDriverKind() {
    aiGroup_->button(rs_.CarIsAI[static_cast<size_t>(setup_.CurrentCar())] ? 0 : 1)->setChecked(true);
    profile_->setEnabled(setup_.DriverFramesEnabled());
    profile_->setTitle(setup_.DriverFramesEnabled() ? QStringLiteral("Computer Driver")
                                                    : QStringLiteral("Computer Driver (only for a computer car)"));
  }

  void ShowPoints() {
    for (size_t i = 0; i < kRatings.size(); ++i) {
      const Rating rating = kRatings[i];
      Check(ratingGroups_[i], setup_.RatingButton(rating));
      for (QAbstractButton* button : ratingGroups_[i]->buttons())
        button->setEnabled(setup_.RatingButtonEnabled(rating, ratingGroups_[i]->id(button)));
    }
    maxPoints_->setText(QString::number(setup_.MaxDesignPoints()));
    usedPoints_->setText(QString::number(setup_.UsedDesignPoints()));
    const int left = setup_.RemainingPoints();
    pointsLeft_->setText(left >= 0 ? QString::number(left)
                                   : QStringLiteral("none: %1 over the limit, lower a rating").arg(-left));
    carList_->setEnabled(setup_.CarListEnabled());
    ok_->setEnabled(setup_.OkEnabled());
    copyAll_->setEnabled(setup_.CopyToAllEnabled());
  }

  // Lists the pictures of a model: the car's own model when shown, else the one in the box.
  void FillPictures(const std::optional<std::string>& model) {
    if (model) {
      const QSignalBlocker block(models_);
      const int index = models_->findText(Q(*model), Qt::MatchFixedString);
      models_->setCurrentIndex(index >= 0 ? index : 0);
    }
    const QSignalBlocker block(pictures_);
    pictures_->clear();
    for (const std::string& file : setup_.Pictures(models_->currentText().toStdString())) {
      auto* item = new QListWidgetItem(Q(file).chopped(4), pictures_);
      item->setData(Qt::UserRole, Q(file));
    }
    QList<QListWidgetItem*> own = pictures_->findItems(CarPictureName(), Qt::MatchFixedString);
    pictures_->setCurrentRow(own.isEmpty() || !OwnModelShown() ? 0 : pictures_->row(own.front()));
    ShowPreview();
  }

  QString CarPictureName() const {
    return Q(BaseName(NativePath(rs_.CarPicture[static_cast<size_t>(setup_.CurrentCar())])));
  }

  bool OwnModelShown() const {
    return models_->currentText().compare(Q(setup_.PictureModel()), Qt::CaseInsensitive) == 0;
  }

  // Shows the highlighted picture large and says whether it is the car's own or only offered.
  void ShowPreview() {
    const QListWidgetItem* item = pictures_->currentItem();
    select_->setEnabled(item != nullptr);
    if (item == nullptr) {
      picture_->clear();
      picture_->setText(QStringLiteral("No pictures for this model"));
      pictureCaption_->clear();
      return;
    }
    const std::string model = models_->currentText().toStdString();
    const std::string file = item->data(Qt::UserRole).toString().toStdString();
    const QImage image(
        Q(ResolvePath(JoinPath(JoinPath(JoinPath(controller_.Session().CarsFolder, model), "Gifs"), file))));
    if (image.isNull()) {
      picture_->clear();
      picture_->setText(QStringLiteral("The picture cannot be read"));
    } else {
      picture_->setPixmap(QPixmap::fromImage(image.scaled(image.size() * kPictureZoom)));
    }
    const int car = setup_.CurrentCar();
    const bool own = OwnModelShown() && item->text().compare(CarPictureName(), Qt::CaseInsensitive) == 0;
    pictureCaption_->setText(
        own ? QStringLiteral("The picture of car %1: %2 %3.").arg(car).arg(models_->currentText(), item->text())
            : QStringLiteral("Offered: %1 %2. Press Select to give it to car %3.")
                  .arg(models_->currentText(), item->text())
                  .arg(car));
  }

  // --- Commands.

  void ChooseCar(int index) {
    if (!setup_.SelectCar(carList_->itemData(index).toInt())) {
      const QSignalBlocker block(carList_);
      carList_->setCurrentIndex(carList_->findData(setup_.CurrentCar()));
      return;
    }
    ShowCar();
  }

  void SetTeam(const QString& team) {
    setup_.SetTeam(team.toStdString());
    // The files are comma-separated: show the blank the model put in place of a comma.
    const QString stored = Q(rs_.CarTeam[static_cast<size_t>(setup_.CurrentCar())]);
    if (stored != team) {
      const QSignalBlocker block(teams_);
      const int cursor = teams_->lineEdit()->cursorPosition();
      teams_->setEditText(stored);
      teams_->lineEdit()->setCursorPosition(cursor);
    }
  }

  void SelectPicture() {
    const QListWidgetItem* item = pictures_->currentItem();
    if (item == nullptr) return;
    setup_.SelectPicture(models_->currentText().toStdString(), item->data(Qt::UserRole).toString().toStdString());
    ShowPreview();
  }

  void LoadFile() {
    if (!setup_.LoadFile(controller_.Session().AppPath)) return;
    FillCars();
    ShowCar();
  }

  void SaveFile() {
    if (setup_.SaveFile(controller_.Session().AppPath)) ShowCar();
  }

  // A track may bring a car file of another size, so the car list is filled again.
  void TrackCommand(bool (CarSetupDialog::*command)(const std::string&)) {
    if (!(setup_.*command)(controller_.Session().TracksFolder)) return;
    FillCars();
    ShowCar();
  }

  void ChangeTeamFile() {
    if (setup_.mnuChgTeamFile(controller_.Session().AppPath)) FillTeams();
  }

  GameController& controller_;
  RaceState& rs_;
  CarSetupDialog setup_;

  QAction* loadAction_ = nullptr;
  QAction* saveAction_ = nullptr;
  QComboBox* carList_ = nullptr;
  QLineEdit* driver_ = nullptr;
  QComboBox* teams_ = nullptr;
  QButtonGroup* aiGroup_ = nullptr;
  std::array<QButtonGroup*, kRatingCount> ratingGroups_{};
  QLabel* maxPoints_ = nullptr;
  QLabel* usedPoints_ = nullptr;
  QLabel* pointsLeft_ = nullptr;
  QComboBox* models_ = nullptr;
  QListWidget* pictures_ = nullptr;
  QLabel* picture_ = nullptr;
  QLabel* pictureCaption_ = nullptr;
  QPushButton* select_ = nullptr;
  QGroupBox* profile_ = nullptr;
  QButtonGroup* raceProfile_ = nullptr;
  QButtonGroup* lapProfile_ = nullptr;
  QButtonGroup* pitStops_ = nullptr;
  std::array<QComboBox*, kRisks.size()> risks_{};
  QPushButton* loadButton_ = nullptr;
  QPushButton* saveButton_ = nullptr;
  QPushButton* addDriver_ = nullptr;
  QPushButton* copyAll_ = nullptr;
  QPushButton* randomize_ = nullptr;
  QMenu* carActions_ = nullptr;
  QMenu* driverActions_ = nullptr;
  QPushButton* ok_ = nullptr;
  QPushButton* cancel_ = nullptr;
  QLabel* status_ = nullptr;
};

}  // namespace

std::unique_ptr<QDialog> MakeCarSetupWindow(GameController& controller, QWidget* parent) {
  return std::make_unique<CarSetupWindow>(controller, parent);
}

}  // namespace vm
