#include "app/dialogs/result_table_window.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>
#include <array>
#include <vector>

#include "app/game_controller.h"
#include "rules/table_editor.h"

namespace vm {

namespace {

QString Q(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// Where each table's mnemonic sits in its name; the letters must differ from table to table.
constexpr std::array<int, kTableCount> kMnemonicAt{0, 0, 0, 1, 1, 5, 0};

// Two columns read top to bottom, so that Tab follows the file order of the tables.
constexpr int kLeftColumnTables = 4;

struct RowWidgets {
  QLabel* Low = nullptr;
  QLabel* Dash = nullptr;
  QComboBox* End = nullptr;  // none on a table's last row
  QLabel* High = nullptr;    // the last row's fixed end
  QLabel* Meaning = nullptr;
};

struct TableWidgets {
  std::array<RowWidgets, 4> Rows;
  QCheckBox* Switch = nullptr;
};

class ResultTableWindow : public QDialog {
 public:
  ResultTableWindow(GameController& controller, QWidget* parent)
      : QDialog(parent), controller_(controller), editor_(controller.Race().Tables) {
    setObjectName(Q(kTableEditorName));
    setWindowTitle(Q(kTableEditorCaption));
    auto* column = new QVBoxLayout(this);
    column->setMenuBar(BuildMenu());
    auto* columns = new QHBoxLayout;
    auto* left = new QVBoxLayout;
    auto* right = new QVBoxLayout;
    for (const TableInfo& info : AllTables())
      (static_cast<int>(info.Id) < kLeftColumnTables ? left : right)->addWidget(BuildTable(info));
    left->addStretch();
    right->addStretch();
    columns->addLayout(left);
    columns->addLayout(right);
    column->addLayout(columns);
    auto* buttons = new QDialogButtonBox;
    ok_ = buttons->addButton(QStringLiteral("OK"), QDialogButtonBox::AcceptRole);
    ok_->setObjectName(QStringLiteral("cmdOK"));
    ok_->setDefault(true);
    QPushButton* cancel = buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cmdCancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
      editor_.Ok();
      accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addWidget(buttons);
    Show();
  }

  void reject() override {
    editor_.Cancel();
    QDialog::reject();
  }

 private:
  QMenuBar* BuildMenu() {
    auto* bar = new QMenuBar(this);
    QMenu* file = bar->addMenu(QStringLiteral("&File"));
    QAction* load = file->addAction(QStringLiteral("&Load Result Table..."), this, [this] {
      if (editor_.LoadFile(controller_.Ui(), controller_.Session().AppPath)) Show();
    });
    load->setObjectName(Q(kLoadTablesMenu));
    QAction* save = file->addAction(QStringLiteral("&Save Result Table..."), this,
                                    [this] { editor_.SaveFile(controller_.Ui(), controller_.Session().AppPath); });
    save->setObjectName(Q(kSaveTablesMenu));
    return bar;
  }

  QGroupBox* BuildTable(const TableInfo& info) {
    QString title = Q(info.Name);
    title.insert(kMnemonicAt[static_cast<size_t>(info.Id)], QLatin1Char('&'));
    auto* frame = new QGroupBox(title);
    frame->setObjectName(QStringLiteral("fra") + Q(info.RowNames[0]).chopped(1));
    auto* grid = new QGridLayout(frame);
    TableWidgets& table = tables_[static_cast<size_t>(info.Id)];
    for (int i = 0; i < info.RowCount; ++i) {
      RowWidgets& row = table.Rows[static_cast<size_t>(i)];
      const QString name = Q(info.RowNames[static_cast<size_t>(i)]);
      row.Low = new QLabel;
      row.Low->setObjectName(QStringLiteral("lbl%1Low").arg(name));
      row.Low->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
      row.Dash = new QLabel(QStringLiteral("to"));
      grid->addWidget(row.Low, i, 0);
      grid->addWidget(row.Dash, i, 1);
      if (i + 1 < info.RowCount) {
        row.End = EndComboOf(info.Id, i);
        grid->addWidget(row.End, i, 2);
      } else {
        row.High = new QLabel;
        row.High->setObjectName(QStringLiteral("lbl%1High").arg(name));
        grid->addWidget(row.High, i, 2);
      }
      row.Meaning = new QLabel(Q(info.RowLabels[static_cast<size_t>(i)]));
      // The ends stand apart from their meanings in the grid; a screen reader names them together.
      if (row.End != nullptr) row.End->setAccessibleName(QStringLiteral("End of %1").arg(row.Meaning->text()));
      row.Meaning->setObjectName(QStringLiteral("lbl") + name);
      grid->addWidget(row.Meaning, i, 3);
    }
    grid->setColumnStretch(3, 1);
    for (const SuccessSwitchInfo& s : AllSuccessSwitches()) {
      if (s.Table != info.Id) continue;
      table.Switch = new QCheckBox(Q(kDisableSuccessCaption));
      table.Switch->setObjectName(Q(s.Name));
      table.Switch->setAccessibleName(Q(kDisableSuccessCaption) + QStringLiteral(": ") + Q(info.Name));
      const SuccessSwitch which = s.Switch;
      connect(table.Switch, &QCheckBox::clicked, this, [this, which](bool checked) {
        editor_.SetSwitch(which, checked);
        Show();
      });
      grid->addWidget(table.Switch, info.RowCount, 0, 1, 4);
    }
    return frame;
  }

  QComboBox* EndComboOf(TableId table, int row) {
    for (const EndComboInfo& c : AllEndCombos()) {
      if (c.Table != table || c.Row != row) continue;
      auto* combo = new QComboBox;
      combo->setObjectName(Q(c.Name));
      const EndCombo which = c.Combo;
      connect(combo, &QComboBox::activated, this, [this, which, combo](int index) {
        editor_.ChooseEnd(which, combo->itemData(index).toInt());
        Show();
        ok_->setFocus();
      });
      combos_[static_cast<size_t>(which)] = combo;
      return combo;
    }
    return nullptr;  // every row but the last has a combo box
  }

  // Rebuilds every list and label from the rows: one end moves the next row's low and list.
  void Show() {
    for (const EndComboInfo& c : AllEndCombos()) {
      QComboBox* combo = combos_[static_cast<size_t>(c.Combo)];
      const QSignalBlocker block(combo);
      std::vector<int> items = editor_.Items(c.Combo);
      const int value = editor_.Value(c.Combo);
      // A file may hold an end the list would not offer; show what is stored rather than hide it.
      const bool disabledEnd = c.Row == 0 && editor_.FirstRowHidden(c.Table);
      if (!disabledEnd && std::find(items.begin(), items.end(), value) == items.end()) {
        items.insert(std::upper_bound(items.begin(), items.end(), value), value);
      }
      combo->clear();
      for (int item : items) combo->addItem(QString::number(item), item);
      combo->setCurrentIndex(combo->findData(value));
    }
    for (const TableInfo& info : AllTables()) {
      TableWidgets& table = tables_[static_cast<size_t>(info.Id)];
      const bool hidden = editor_.FirstRowHidden(info.Id);
      for (int i = 0; i < info.RowCount; ++i) {
        const TableRow& stored = RowOf(editor_.Tables(), info.Id, i);
        RowWidgets& row = table.Rows[static_cast<size_t>(i)];
        row.Low->setText(QString::number(stored.RangeLow));
        if (row.High != nullptr) row.High->setText(QString::number(stored.RangeHigh));
        if (i == 0) {
          for (QWidget* w : {static_cast<QWidget*>(row.Low), static_cast<QWidget*>(row.Dash),
                             static_cast<QWidget*>(row.End), static_cast<QWidget*>(row.Meaning)}) {
            w->setVisible(!hidden);
          }
        }
      }
      if (table.Switch != nullptr) {
        const QSignalBlocker block(table.Switch);
        table.Switch->setChecked(hidden);
      }
    }
  }

  GameController& controller_;
  ResultTableEditor editor_;
  std::array<QComboBox*, kEndComboCount> combos_{};
  std::array<TableWidgets, kTableCount> tables_{};
  QPushButton* ok_ = nullptr;
};

}  // namespace

std::unique_ptr<QDialog> MakeResultTableWindow(GameController& controller, QWidget* parent) {
  return std::make_unique<ResultTableWindow>(controller, parent);
}

}  // namespace vm
