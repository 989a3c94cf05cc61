// The console of the desktop program: each panel of the game is a modal Qt dialog built from the
// panel's data, with the panel's own words, options and buttons.
#pragma once

#include <QString>
#include <functional>

#include "ui/console.h"

class QWidget;

namespace vm {

// "Track Definition Files (*.trk)|*.trk" as a Qt file dialog filter: "Track Definition Files (*.trk)".
QString QtFileFilter(std::string_view filter);

// The text of a document for plain display: RTF control words and groups stripped, paragraphs kept.
QString PlainDocumentText(std::string_view text);

class QtConsole : public Console {
 public:
  // Dialogs open over the widget `parent` gives at the time (the main window, or none).
  explicit QtConsole(std::function<QWidget*()> parent);

  void ShowMessage(std::string_view text, std::string_view title, MessageKind kind) override;
  bool AskYesNo(std::string_view question, std::string_view title) override;
  std::optional<std::string> ChooseFile(const FileDialogRequest& request) override;
  int ChooseOption(const ChoicePanel& panel) override;
  void RollTable(const RollPanel& panel, const std::function<RollResult()>& roll,
                 const std::function<void()>& settle) override;
  int EnterDiceResult(const DiceEntryPanel& panel) override;
  int ShowCrash(const CrashPanel& panel) override;
  int ChooseButton(const ButtonPanel& panel) override;
  PitStopChoice ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) override;
  int ChooseNumber(const NumberPanel& panel) override;
  ListAnswer ShowList(const ListPanel& panel) override;

 private:
  std::function<QWidget*()> parent_;
};

}  // namespace vm
