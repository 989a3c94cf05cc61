#include "app/dialogs/race_setup_widgets.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

#include "core/numbers.h"

namespace vm {

namespace {

constexpr std::array<const char*, kPointsBonusCount> kBonusCaptions = {"Qualified 1st", "Lead 1+ Laps", "Fastest Lap",
                                                                       "Lead Most Laps"};
constexpr std::array<const char*, kPointsBonusCount> kBonusNames = {"txtPole", "txtLeadLap", "txtFastLap",
                                                                    "txtLeadMost"};

QString PlaceCaption(int place) {
  const int lastTwo = place % 100;
  const char* suffix = "th";
  if (lastTwo < 11 || lastTwo > 13) {
    if (place % 10 == 1) suffix = "st";
    if (place % 10 == 2) suffix = "nd";
    if (place % 10 == 3) suffix = "rd";
  }
  return QString::number(place) + QLatin1String(suffix);
}

QLineEdit* PointsBox(const QString& name) {
  auto* box = new QLineEdit;
  box->setObjectName(name);
  box->setAlignment(Qt::AlignRight);
  // Points are a few digits: a narrow box keeps the ten places on two short rows.
  box->setMaximumWidth(box->fontMetrics().horizontalAdvance(QStringLiteral("00000")) + 12);
  return box;
}

}  // namespace

void ShowCombo(QComboBox* widget, const ComboBox& box) {
  const QSignalBlocker quiet(widget);
  const QString text = QString::fromStdString(box.Text);
  std::vector<int> numbers = box.Items;
  // A value outside the list is still the value (the allotments can be): it joins the list in its place.
  bool isNumber = false;
  const int value = text.toInt(&isNumber);
  if (isNumber && std::find(numbers.begin(), numbers.end(), value) == numbers.end())
    numbers.insert(std::upper_bound(numbers.begin(), numbers.end(), value), value);
  QStringList items;
  for (int item : numbers) items.push_back(QString::number(item));
  bool same = widget->count() == items.size();
  for (int i = 0; same && i < widget->count(); ++i) same = widget->itemText(i) == items[i];
  if (!same) {
    widget->clear();
    widget->addItems(items);
  }
  widget->setCurrentIndex(text.isEmpty() ? -1 : widget->findText(text));
  widget->setEnabled(box.Enabled);
  widget->setVisible(box.Visible);
}

void ShowCombo(QComboBox* widget, const std::vector<int>& items, int value) {
  ShowCombo(widget, ComboBox{items, std::to_string(value)});
}

int ComboNumber(const QComboBox* widget, int fallback) {
  bool ok = false;
  const int value = widget->currentText().toInt(&ok);
  return ok ? value : fallback;
}

void ShowCheck(QCheckBox* widget, const CheckBox& box) {
  const QSignalBlocker quiet(widget);
  widget->setChecked(box.Checked);
  widget->setEnabled(box.Enabled);
  widget->setVisible(box.Visible);
}

std::string BonusBoxText(const std::string& text) { return ParseNumber(text) ? text : std::string("0"); }

PointsFrame::PointsFrame(QWidget* parent) : QGroupBox(QStringLiteral("&Point Structure"), parent) {
  setObjectName(QStringLiteral("fraPoints"));
  auto* column = new QVBoxLayout(this);

  auto* group = new QButtonGroup(this);
  for (size_t i = 0; i < presets_.size(); ++i) {
    const std::string_view caption = i < kPointPresets.size() ? kPointPresets[i].Caption : kCustomPointsCaption;
    auto* button = new QRadioButton(QString::fromUtf8(caption.data(), static_cast<qsizetype>(caption.size())));
    button->setObjectName(QStringLiteral("optPointStructure%1").arg(i));
    group->addButton(button, static_cast<int>(i));
    column->addWidget(button);
    presets_[i] = button;
  }
  connect(group, &QButtonGroup::idClicked, this, [this](int id) {
    if (!showing_ && PresetChosen) PresetChosen(id);
  });

  column->addWidget(new QLabel(QStringLiteral("Points for finishing place:")));
  auto* grid = new QGridLayout;
  constexpr int kPerRow = kEditablePlaces / 2;
  for (int i = 0; i < kEditablePlaces; ++i) {
    QLineEdit* box = PointsBox(QStringLiteral("txtPS%1").arg(i + 1));
    auto* label = new QLabel(PlaceCaption(i + 1));
    label->setBuddy(box);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(label, i / kPerRow, 2 * (i % kPerRow));
    grid->addWidget(box, i / kPerRow, 2 * (i % kPerRow) + 1);
    connect(box, &QLineEdit::textEdited, this, [this, i](const QString& text) {
      if (!showing_ && PlaceEdited) PlaceEdited(i, text.toStdString());
    });
    places_[static_cast<size_t>(i)] = box;
  }
  column->addLayout(grid);

  column->addWidget(new QLabel(QStringLiteral("Bonus points:")));
  auto* bonuses = new QGridLayout;
  for (int i = 0; i < kPointsBonusCount; ++i) {
    const auto at = static_cast<size_t>(i);
    QLineEdit* box = PointsBox(QString::fromLatin1(kBonusNames[at]));
    auto* label = new QLabel(QString::fromLatin1(kBonusCaptions[at]));
    label->setBuddy(box);
    bonuses->addWidget(label, i / 2, 2 * (i % 2));
    bonuses->addWidget(box, i / 2, 2 * (i % 2) + 1);
    // A bonus box turns a stray text into 0; doing that while the player types would fight them.
    connect(box, &QLineEdit::editingFinished, this, [this, i] {
      const auto which = static_cast<size_t>(i);
      if (showing_ || !BonusEdited || bonus_[which]->text() == shownBonus_[which]) return;
      BonusEdited(static_cast<PointsBonus>(i), bonus_[which]->text().toStdString());
    });
    bonus_[at] = box;
  }
  column->addLayout(bonuses);
  column->addStretch();
}

void PointsFrame::Show(const PointsFrameValues& values) {
  showing_ = true;
  for (size_t i = 0; i < presets_.size(); ++i) presets_[i]->setChecked(static_cast<int>(i) == values.Preset);
  for (size_t i = 0; i < places_.size(); ++i) {
    const QString text = QString::fromStdString(values.Places[i]);
    // Rewriting the box the player types in would move the cursor to its end.
    if (places_[i]->text() != text) places_[i]->setText(text);
  }
  for (size_t i = 0; i < bonus_.size(); ++i) {
    shownBonus_[i] = QString::fromStdString(values.Bonus[i]);
    if (bonus_[i]->text() != shownBonus_[i]) bonus_[i]->setText(shownBonus_[i]);
  }
  showing_ = false;
}

void PointsFrame::FlushBonusBoxes() {
  for (size_t i = 0; i < bonus_.size(); ++i)
    if (bonus_[i]->text() != shownBonus_[i] && BonusEdited)
      BonusEdited(static_cast<PointsBonus>(i), bonus_[i]->text().toStdString());
}

}  // namespace vm
