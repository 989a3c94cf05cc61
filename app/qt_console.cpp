#include "app/qt_console.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QTextBrowser>
#include <QVBoxLayout>
#include <algorithm>
#include <cctype>

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// A game panel is answered by its buttons: Escape and the window's close button do nothing, so
// that no panel is left without its answer.
class PanelDialog : public QDialog {
 public:
  using QDialog::QDialog;
  void reject() override {}
};

// A modal dialog with a caption and a column layout, sized to what it holds.
struct Panel {
  // `name` is the panel's own name ("frmPitEntry"), kept as the dialog's object name.
  Panel(QWidget* parent, std::string_view caption, std::string_view name = {})
      : dialog(parent), column(new QVBoxLayout(&dialog)) {
    dialog.setWindowTitle(Q(caption));
    dialog.setObjectName(Q(name));
  }
  PanelDialog dialog;
  QVBoxLayout* column;

  // A row of buttons; pressing one closes the dialog with its index as the result of Run().
  void AddButtons(const std::vector<std::string>& captions) {
    auto* row = new QHBoxLayout;
    for (size_t i = 0; i < captions.size(); ++i) {
      auto* button = new QPushButton(Q(captions[i]));
      // The first button takes the Enter key, as the panels' default button.
      if (i == 0) button->setDefault(true);
      QObject::connect(button, &QPushButton::clicked, &dialog,
                       [this, i] { dialog.done(static_cast<int>(i) + kFirstButton); });
      row->addWidget(button);
    }
    column->addLayout(row);
  }
  // Shows the panel until a button is pressed; returns its index.
  int Run() { return dialog.exec() - kFirstButton; }
  static constexpr int kFirstButton = 10;  // above QDialog's own Accepted and Rejected
  // The options of an excess frame as radio buttons of `group`, their ids the option's index.
  void AddOptions(QButtonGroup& group, const std::vector<std::string>& options, int checked) {
    for (size_t i = 0; i < options.size(); ++i) {
      auto* option = new QRadioButton(Q(options[i]));
      option->setChecked(static_cast<int>(i) == checked);
      group.addButton(option, static_cast<int>(i));
      column->addWidget(option);
    }
  }
  void AddValues(const std::vector<PanelValue>& values) {
    auto* form = new QFormLayout;
    for (const PanelValue& v : values) form->addRow(Q(v.Label), new QLabel(Q(v.Text)));
    column->addLayout(form);
  }
};

}  // namespace

QString QtFileFilter(std::string_view filter) {
  // Pairs of description and pattern: Qt wants the descriptions, each already naming its pattern.
  const QStringList parts = Q(filter).split('|');
  QStringList shown;
  for (qsizetype i = 0; i < parts.size(); i += 2) shown << parts[i];
  return shown.join(QStringLiteral(";;"));
}

QString PlainDocumentText(std::string_view text) {
  if (text.substr(0, 5) != "{\\rtf") return Q(text);
  std::string out;
  int depth = 0;
  int skipDepth = 0;  // inside a group that holds no text (font and colour tables)
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '{') {
      ++depth;
      continue;
    }
    if (c == '}') {
      if (depth == skipDepth) skipDepth = 0;
      --depth;
      continue;
    }
    if (c == '\\') {
      size_t j = i + 1;
      while (j < text.size() && std::isalpha(static_cast<unsigned char>(text[j]))) ++j;
      const std::string word(text.substr(i + 1, j - i - 1));
      if (word.empty() && j < text.size()) {  // an escaped character such as \{ or \'e9
        if (text[j] != '\'') out += text[j];
        i = j + (text[j] == '\'' ? 2 : 0);
        continue;
      }
      while (j < text.size() && (text[j] == '-' || std::isdigit(static_cast<unsigned char>(text[j])))) ++j;
      if (j < text.size() && text[j] == ' ') ++j;
      if (word == "par" || word == "line") out += '\n';
      if (word == "tab") out += '\t';
      if ((word == "fonttbl" || word == "colortbl" || word == "stylesheet" || word == "info") && skipDepth == 0)
        skipDepth = depth;
      i = j - 1;
      continue;
    }
    if (skipDepth == 0 && c != '\r' && c != '\n') out += c;
  }
  return QString::fromLatin1(out.data(), static_cast<qsizetype>(out.size()));
}

QtConsole::QtConsole(std::function<QWidget*()> parent) : parent_(std::move(parent)) {}

void QtConsole::ShowMessage(std::string_view text, std::string_view title, MessageKind kind) {
  const QMessageBox::Icon icon = kind == MessageKind::Critical      ? QMessageBox::Critical
                                 : kind == MessageKind::Exclamation ? QMessageBox::Warning
                                                                    : QMessageBox::Information;
  QMessageBox box(icon, Q(title.empty() ? "Velomark" : title), Q(text), QMessageBox::Ok, parent_());
  box.exec();
}

bool QtConsole::AskYesNo(std::string_view question, std::string_view title) {
  return QMessageBox::question(parent_(), Q(title), Q(question), QMessageBox::Yes | QMessageBox::No) ==
         QMessageBox::Yes;
}

std::optional<std::string> QtConsole::ChooseFile(const FileDialogRequest& request) {
  QFileDialog dialog(parent_(), Q(request.Title), Q(request.InitialFolder), QtFileFilter(request.Filter));
  dialog.setAcceptMode(request.Save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog.setFileMode(request.Save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  dialog.setDefaultSuffix(Q(request.DefaultExtension).remove(0, request.DefaultExtension.empty() ? 0 : 1));
  if (!request.FileName.empty()) dialog.selectFile(Q(request.FileName));
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
  return dialog.selectedFiles().front().toStdString();
}

int QtConsole::ChooseOption(const ChoicePanel& panel) {
  Panel p(parent_(), panel.Caption, panel.Name);
  p.AddValues(panel.Values);
  QButtonGroup group;
  p.AddOptions(group, panel.Options, panel.Preselected);
  p.AddButtons({panel.Button});
  p.Run();
  return std::max(0, group.checkedId());
}

void QtConsole::RollTable(const RollPanel& panel, const std::function<RollResult()>& roll,
                          const std::function<void()>& settle) {
  Panel p(parent_(), panel.Caption, panel.Name);
  p.AddValues(panel.Values);
  for (const std::string& note : panel.Notes) p.column->addWidget(new QLabel(Q(note)));
  for (const PanelRow& row : panel.Rows) {
    if (row.Hidden) continue;
    const QString range =
        row.Low == row.High ? QString::number(row.Low) : QStringLiteral("%1 - %2").arg(row.Low).arg(row.High);
    p.column->addWidget(new QLabel(range + QStringLiteral("     ") + Q(row.Text)));
  }
  auto* result = new QLabel;
  result->setTextInteractionFlags(Qt::TextSelectableByMouse);
  p.column->addWidget(result);
  auto* button = new QPushButton(QStringLiteral("Roll"));
  button->setDefault(true);
  p.column->addWidget(button);
  bool rolled = false;
  QObject::connect(button, &QPushButton::clicked, &p.dialog, [&] {
    if (rolled) {
      p.dialog.accept();
      return;
    }
    rolled = true;
    const RollResult r = roll();
    // The words say what the colour says, so nothing is told by colour alone.
    const QString verdict = r.Colour == ResultColour::Green ? QStringLiteral(" (safe)")
                            : r.Colour == ResultColour::Red ? QStringLiteral(" (bad)")
                                                            : QString();
    result->setText(QStringLiteral("Dice %1, result %2: %3%4")
                        .arg(r.Dice)
                        .arg(r.TableResult)
                        .arg(Q(r.Text.empty() ? "no row" : r.Text), verdict));
    result->setStyleSheet(r.Colour == ResultColour::Green ? QStringLiteral("color: darkgreen; font-weight: bold")
                          : r.Colour == ResultColour::Red ? QStringLiteral("color: darkred; font-weight: bold")
                                                          : QString());
    settle();
    button->setText(QStringLiteral("Continue"));
  });
  p.dialog.exec();
}

int QtConsole::EnterDiceResult(const DiceEntryPanel& panel) {
  Panel p(parent_(), panel.Caption, "frmManualDiceEntry");
  std::vector<std::string> captions;
  for (int v : panel.Choices) captions.push_back(std::to_string(v));
  p.column->addWidget(new QLabel(Q(panel.Caption)));
  p.AddButtons(captions);
  if (panel.Choices.empty()) return 0;
  const int pick = std::clamp(p.Run(), 0, static_cast<int>(panel.Choices.size()) - 1);
  return panel.Choices[static_cast<size_t>(pick)];
}

int QtConsole::ShowCrash(const CrashPanel& panel) {
  Panel p(parent_(), panel.Caption, "frmCollision");
  p.column->addWidget(new QLabel(Q(panel.Text)));
  p.AddButtons(panel.Buttons);
  return std::max(0, p.Run());
}

int QtConsole::ChooseButton(const ButtonPanel& panel) {
  Panel p(parent_(), panel.Caption, panel.Name);
  if (!panel.Text.empty()) {
    auto* text = new QTextBrowser;
    text->setPlainText(PlainDocumentText(panel.Text));
    text->setMinimumSize(560, 360);
    p.column->addWidget(text);
  }
  p.AddButtons(panel.Buttons);
  return std::max(0, p.Run());
}

PitStopChoice QtConsole::ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) {
  Panel p(parent_(), panel.Caption, panel.Name);
  p.AddValues(panel.Values);
  QButtonGroup group;
  p.AddOptions(group, panel.Options, preset.Option);
  // The stop's controls carry the panel's own words, in its order: three boxes, the tires, the sky.
  auto word = [&panel](size_t i, const char* fallback) {
    return Q(i < panel.Controls.size() ? panel.Controls[i] : fallback);
  };
  auto* wear = new QCheckBox(word(0, "Replenish Wear"));
  auto* repair = new QCheckBox(word(1, "Make Repairs"));
  auto* splash = new QCheckBox(word(2, "Splash and Go (1/2  Replenishment)"));
  wear->setObjectName(QStringLiteral("chkWear"));
  repair->setObjectName(QStringLiteral("chkRepair"));
  splash->setObjectName(QStringLiteral("chkSplashGo"));
  wear->setChecked(preset.Wear);
  repair->setChecked(preset.Repair);
  splash->setChecked(preset.SplashGo && preset.Wear);
  // A splash is half a replenishment: it means nothing without the wear box, so it follows it.
  splash->setEnabled(preset.Wear);
  QObject::connect(wear, &QCheckBox::toggled, splash, [splash](bool on) {
    splash->setEnabled(on);
    if (!on) splash->setChecked(false);
  });
  for (QCheckBox* box : {wear, repair, splash}) p.column->addWidget(box);
  auto* tires = new QHBoxLayout;
  auto* rain = new QRadioButton(word(3, "RAIN tires"));
  auto* dry = new QRadioButton(word(4, "DRY tires"));
  rain->setObjectName(QStringLiteral("optTireTypeRain"));
  dry->setObjectName(QStringLiteral("optTireTypeDry"));
  QButtonGroup tireGroup;
  tireGroup.addButton(rain);
  tireGroup.addButton(dry);
  (preset.RainTires ? rain : dry)->setChecked(true);
  tires->addWidget(rain);
  tires->addWidget(dry);
  auto* sky = new QPushButton(word(5, "Check Weather"));
  sky->setObjectName(QStringLiteral("btnWeatherConditions"));
  sky->setAutoDefault(false);
  QObject::connect(sky, &QPushButton::clicked, &p.dialog, [this, &panel] {
    QStringList lines;
    for (const PanelValue& v : panel.Weather) lines << Q(v.Label) + QStringLiteral(" ") + Q(v.Text);
    ShowMessage(lines.isEmpty() ? "There is no weather in this race." : lines.join('\n').toStdString(),
                "Weather Conditions", MessageKind::Information);
  });
  tires->addWidget(sky);
  p.column->addLayout(tires);
  p.AddButtons({panel.Button});
  p.Run();
  return {std::max(0, group.checkedId()), wear->isChecked(), repair->isChecked(), splash->isChecked(),
          rain->isChecked()};
}

int QtConsole::ChooseNumber(const NumberPanel& panel) {
  Panel p(parent_(), panel.Caption, panel.Name);
  auto* box = new QSpinBox;
  box->setRange(panel.Min, panel.Max);
  box->setValue(panel.Value);
  auto* form = new QFormLayout;
  form->addRow(Q(panel.Label), box);
  p.column->addLayout(form);
  p.AddButtons({"OK"});
  p.Run();
  return box->value();
}

ListAnswer QtConsole::ShowList(const ListPanel& panel) {
  Panel p(parent_(), panel.Caption, panel.Name);
  auto* table = new QTableWidget(static_cast<int>(panel.Rows.size()), static_cast<int>(panel.Columns.size()));
  QStringList heads;
  for (const std::string& c : panel.Columns) heads << Q(c);
  table->setHorizontalHeaderLabels(heads);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->setSelectionMode(QAbstractItemView::SingleSelection);
  table->setEditTriggers(QAbstractItemView::NoEditTriggers);
  for (size_t r = 0; r < panel.Rows.size(); ++r) {
    for (size_t c = 0; c < panel.Rows[r].size() && c < panel.Columns.size(); ++c) {
      QString text = Q(panel.Rows[r][c]);
      // Computer cars are marked in words as well as in colour.
      if (c == 0 && r < panel.RowIsAI.size() && panel.RowIsAI[r]) text += QStringLiteral(" (AI)");
      auto* item = new QTableWidgetItem(text);
      if (static_cast<int>(r) == panel.Shaded) item->setBackground(QColor(220, 220, 220));
      table->setItem(static_cast<int>(r), static_cast<int>(c), item);
    }
  }
  table->horizontalHeader()->setStretchLastSection(true);
  table->setMinimumWidth(480);
  if (panel.Selected >= 0) table->selectRow(panel.Selected);
  p.column->addWidget(table);
  // A selection that returns closes the panel with no button.
  constexpr int kSelected = -1;
  if (panel.SelectionReturns)
    QObject::connect(table, &QTableWidget::cellClicked, &p.dialog,
                     [&p](int, int) { p.dialog.done(kSelected + Panel::kFirstButton); });
  p.AddButtons(panel.Buttons);
  const int pick = p.Run();
  return {pick == kSelected ? -1 : pick, table->currentRow()};
}

}  // namespace vm
