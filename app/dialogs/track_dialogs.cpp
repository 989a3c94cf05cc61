#include "app/dialogs/track_dialogs.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

#include "app/game_controller.h"
#include "core/paths.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "tools/track_picture.h"

namespace vm {

namespace {

QString Q(const std::string& text) { return QString::fromStdString(text); }

// The same file however its name was written, so the current track finds its row.
bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  if (std::filesystem::equivalent(a, b, ec)) return true;
  return std::filesystem::path(a).lexically_normal() == std::filesystem::path(b).lexically_normal();
}

// The track files of a folder, by file name.
std::vector<std::string> TrackFilesIn(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code ec;
  for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    std::error_code typeError;
    if (it->is_regular_file(typeError) && IsTrackFileName(it->path().filename().string()))
      files.push_back(it->path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

constexpr int kPictureWidth = 480;
constexpr int kPictureHeight = 340;
constexpr int kFileRole = Qt::UserRole;

class TrackLoadDialog : public QDialog {
 public:
  TrackLoadDialog(GameController& controller, QWidget* parent) : QDialog(parent), controller_(controller) {
    setObjectName(QStringLiteral("frmTrackLoad"));
    setWindowTitle(QStringLiteral("Load Track"));

    // The list holds the focus (set below), so the arrows move through the circuits at once.
    list_ = new QListWidget;
    list_->setObjectName(QStringLiteral("lstTracks"));
    list_->setMinimumWidth(220);
    auto* listLabel = new QLabel(QStringLiteral("&Circuits:"));
    listLabel->setBuddy(list_);
    auto* browse = new QPushButton(QStringLiteral("Browse..."));
    browse->setObjectName(QStringLiteral("cmdBrowse"));
    browse->setAutoDefault(false);

    picture_ = new QLabel;
    picture_->setObjectName(QStringLiteral("picTrack"));
    picture_->setFixedSize(kPictureWidth, kPictureHeight);
    picture_->setAlignment(Qt::AlignCenter);
    picture_->setFrameShape(QFrame::StyledPanel);

    auto label = [](const char* name) {
      auto* l = new QLabel;
      l->setObjectName(QString::fromLatin1(name));
      l->setTextInteractionFlags(Qt::TextSelectableByMouse);
      return l;
    };
    name_ = label("lblTrackName");
    QFont bold = name_->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.25);
    name_->setFont(bold);
    place1_ = label("lblTrackPlace1");
    place2_ = label("lblTrackPlace2");
    distance_ = label("lblTrackDistance");
    racingLine_ = label("lblRacingLine");
    lanes_ = label("lblTrackLanes");
    description_ = label("lblTrackDescription");
    description_->setWordWrap(true);
    description_->setMaximumWidth(kPictureWidth);

    auto* left = new QVBoxLayout;
    left->addWidget(listLabel);
    left->addWidget(list_, 1);
    left->addWidget(browse, 0, Qt::AlignLeft);

    auto* right = new QVBoxLayout;
    right->addWidget(picture_);
    right->addWidget(name_);
    for (QLabel* line : {place1_, place2_, distance_, racingLine_, lanes_}) right->addWidget(line);
    right->addWidget(description_);
    right->addStretch(1);

    auto* body = new QHBoxLayout;
    body->addLayout(left);
    body->addLayout(right, 1);

    buttons_ = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    ok_ = buttons_->button(QDialogButtonBox::Ok);
    ok_->setObjectName(QStringLiteral("cmdOK"));
    ok_->setDefault(true);
    buttons_->button(QDialogButtonBox::Cancel)->setObjectName(QStringLiteral("cmdCancel"));

    auto* column = new QVBoxLayout(this);
    column->addLayout(body, 1);
    column->addWidget(buttons_);

    connect(list_, &QListWidget::currentRowChanged, this, &TrackLoadDialog::Show);
    // A double click takes the circuit; Enter reaches the default button, OK.
    connect(list_, &QListWidget::itemDoubleClicked, this, &TrackLoadDialog::accept);
    connect(browse, &QPushButton::clicked, this, &TrackLoadDialog::Browse);
    connect(buttons_, &QDialogButtonBox::accepted, this, &TrackLoadDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &TrackLoadDialog::reject);

    for (const std::string& file : TrackFilesIn(controller_.Session().TracksFolder)) AddTrack(file);
    SelectStart();
    list_->setFocus();
  }

  void accept() override {
    const int row = list_->currentRow();
    if (row < 0 || !entries_[static_cast<size_t>(row)].Header) return;  // nothing that can be loaded
    controller_.Session().PendingTrackFile = entries_[static_cast<size_t>(row)].File;
    QDialog::accept();
  }

  // Cancel, Escape and closing the window all leave without a track.
  void reject() override {
    controller_.Session().PendingTrackFile = "CANCEL.LOAD";
    QDialog::reject();
  }

 private:
  struct Entry {
    std::string File;
    std::optional<TrackHeader> Header;  // none when the file cannot be read
    std::string Error;
  };

  int AddTrack(const std::string& file) {
    Entry entry{file, std::nullopt, ""};
    TrackHeader header;
    if (std::optional<FileError> e = TrackPreview(file, header))
      entry.Error = e->Describe();
    else
      entry.Header = header;
    auto* item = new QListWidgetItem(entry.Header ? Q(entry.Header->TrackName)
                                                  : Q(BaseName(file)) + QStringLiteral(" (cannot be read)"));
    item->setData(kFileRole, Q(file));
    item->setToolTip(Q(file));
    // The entry goes first: adding the row may already make it current.
    entries_.push_back(std::move(entry));
    list_->addItem(item);
    return list_->count() - 1;
  }

  // The race's own track when it is listed, else the default circuit, else the first.
  void SelectStart() {
    if (list_->count() == 0) {
      Show(-1);
      return;
    }
    const std::string current = controller_.Race().track.TrackFile;
    const std::string fallback = controller_.Session().TracksFolder + std::string(kDefaultTrack);
    int start = 0;
    for (const std::string& wanted : {current, fallback}) {
      if (wanted.empty()) continue;
      const auto found =
          std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return SameFile(e.File, wanted); });
      if (found != entries_.end()) {
        start = static_cast<int>(found - entries_.begin());
        break;
      }
    }
    list_->setCurrentRow(start);
  }

  void Show(int row) {
    const Entry* entry = row >= 0 ? &entries_[static_cast<size_t>(row)] : nullptr;
    ok_->setEnabled(entry != nullptr && entry->Header.has_value());
    for (QLabel* l : {name_, place1_, place2_, distance_, racingLine_, lanes_, description_}) l->clear();
    picture_->clear();
    if (entry == nullptr) {
      picture_->setText(QStringLiteral("No track files in\n%1").arg(Q(controller_.Session().TracksFolder)));
      return;
    }
    if (!entry->Header) {
      name_->setText(Q(BaseName(entry->File)));
      description_->setText(QStringLiteral("This file cannot be read as a track: %1").arg(Q(entry->Error)));
      picture_->setText(QStringLiteral("No picture"));
      return;
    }
    const TrackHeader& h = *entry->Header;
    const std::vector<std::string> lines = TrackChooserLines(h);
    name_->setText(Q(lines[0]));
    place1_->setText(Q(lines[1]));
    place2_->setText(Q(lines[2]));
    distance_->setText(Q(lines[3]));
    racingLine_->setText(Q(lines[4]));
    lanes_->setText(QStringLiteral("Lanes: %1").arg(h.TrackLanes));
    description_->setText(Q(CircuitDescription(entry->File, h.TrackName)));

    const QPixmap& pixmap = PictureOf(entry->File);
    if (pixmap.isNull()) {
      picture_->setText(QStringLiteral("No picture of this circuit"));
    } else {
      picture_->setPixmap(pixmap);
    }
    picture_->setAccessibleName(QStringLiteral("Picture of %1").arg(Q(h.TrackName)));
  }

  // Pictures are scaled once per file: the big circuits take a moment to decode.
  const QPixmap& PictureOf(const std::string& file) {
    auto found = pictures_.find(file);
    if (found != pictures_.end()) return found->second;
    QPixmap pixmap;
    const QImage image = CircuitPicture(file);
    if (!image.isNull())
      pixmap = QPixmap::fromImage(
          image.scaled(kPictureWidth - 4, kPictureHeight - 4, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    return pictures_.emplace(file, std::move(pixmap)).first->second;
  }

  void Browse() {
    const GameSession& g = controller_.Session();
    const FileDialogRequest ask{false, "Load Track", kTrackFilter, ".trk", g.AppPath + "Tracks", ""};
    const std::optional<std::string> file = controller_.Ui().ChooseFile(ask);
    if (!file) return;
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const Entry& e) { return SameFile(e.File, *file); });
    const int row = found != entries_.end() ? static_cast<int>(found - entries_.begin()) : AddTrack(*file);
    list_->setCurrentRow(row);
    list_->setFocus();
  }

  GameController& controller_;
  QListWidget* list_ = nullptr;
  QLabel* picture_ = nullptr;
  QLabel* name_ = nullptr;
  QLabel* place1_ = nullptr;
  QLabel* place2_ = nullptr;
  QLabel* distance_ = nullptr;
  QLabel* racingLine_ = nullptr;
  QLabel* lanes_ = nullptr;
  QLabel* description_ = nullptr;
  QDialogButtonBox* buttons_ = nullptr;
  QPushButton* ok_ = nullptr;
  std::vector<Entry> entries_;  // one per row of the list
  std::map<std::string, QPixmap> pictures_;
};

}  // namespace

QImage CircuitPicture(const std::string& trackFile) {
  const std::string gif = ResolvePath(ReplaceExtension(trackFile, ".gif"));
  QImage image;
  if (QFileInfo(Q(gif)).isFile() && image.load(Q(gif))) return image;
  // Tracks made by hand or by the generator may come without a picture: draw one from the grid.
  auto track = std::make_unique<Track>();
  if (LoadTrack(*track, trackFile)) return QImage();
  return DrawTrackPicture(*track);
}

std::string CircuitDescription(const std::string& trackFile, const std::string& trackName) {
  const std::optional<std::string> text = ReadWholeFile(ResolvePath(ReplaceExtension(trackFile, ".txt")));
  if (!text) return "";
  std::istringstream in(*text);
  std::string line, out;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line.front() != '#') break;
    line.erase(0, line.find_first_not_of("# "));
    if (!line.empty()) out += (out.empty() ? "" : " ") + line;
  }
  // "Tarnock: a medium road course..." repeats what the name line above it says already.
  const size_t colon = out.find(": ");
  if (colon != std::string::npos && colon > 0 && trackName.rfind(out.substr(0, colon), 0) == 0) out.erase(0, colon + 2);
  if (!out.empty()) out[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(out[0])));
  return out;
}

void RegisterTrackDialogs(GameController& controller) {
  controller.SetDialog("frmTrackLoad", [](GameController& c, QWidget* parent) -> std::unique_ptr<QDialog> {
    return std::make_unique<TrackLoadDialog>(c, parent);
  });
}

}  // namespace vm
