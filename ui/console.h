// The only way the game's logic speaks to a person: messages, questions, file choices and one
// call per modal panel. The Qt program shows dialogs; the scripted console answers from a script.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vm {

enum class MessageKind { Information, Exclamation, Critical };

// What a common file dialog is opened with.
struct FileDialogRequest {
  bool Save = false;
  std::string Title;
  std::string Filter;            // "Track Definition Files (*.trk)|*.trk"
  std::string DefaultExtension;  // ".trk"
  std::string InitialFolder;
  std::string FileName;  // proposed name, may be empty
};

// A label and its value as a panel prints them: "Speed Over By" 40.
struct PanelValue {
  std::string Label;
  std::string Text;
};

// A panel that asks how to pay an excess (cornering, deceleration, collision avoidance, pit
// entry). Only the frame of the excess is shown; its first option is preselected.
struct ChoicePanel {
  std::string Name;  // "frmCorneringTable"
  std::string Caption;
  std::vector<PanelValue> Values;  // the excess and the wears line
  std::vector<std::string> Options;
  int Preselected = 0;
  std::string Button = "Continue";
  // The panel's own controls beyond the frame, by their words (the pit entry's check boxes).
  std::vector<std::string> Controls;
  // What the pit entry's "Check Weather" shows; empty when the race has no weather.
  std::vector<PanelValue> Weather;
};

// One row of a result table as a roll panel prints it: low " - " high and its text.
struct PanelRow {
  int Low = 0;
  int High = 0;
  std::string Text;
  bool Hidden = false;  // a disabled success row is not shown
};

// A panel that rolls on a result table. Its button says "Roll", and "Continue" after the roll.
struct RollPanel {
  std::string Name;  // "frmChanceTable"
  std::string Caption;
  std::vector<PanelValue> Values;  // "Die Roll Modifier" and the like
  std::vector<std::string> Notes;  // fixed lines, such as the speed modifiers of Spin Damage
  std::vector<PanelRow> Rows;
};

enum class ResultColour { None, Green, Red };

// What a roll panel shows once the dice are down: green for a safe result, red for a bad one.
struct RollResult {
  int Dice = 0;         // the plain dice
  int TableResult = 0;  // with modifiers, clamped
  std::string Text;     // empty when the result is in no row
  ResultColour Colour = ResultColour::None;
};

// The manual dice entry: the player picks the bare dice from the list.
struct DiceEntryPanel {
  std::string Caption;
  std::vector<int> Choices;
};

// The panel a human driver sees when the car crashes.
struct CrashPanel {
  std::string Caption;               // "Crash !"
  std::string Text;                  // "NAME has crashed."
  std::vector<std::string> Buttons;  // "Continue", "End Race"
};

// A modal panel of buttons, such as the mode choices or the agreement; Text may hold a document.
struct ButtonPanel {
  std::string Name;  // "frmSingleRaceModeSelect"
  std::string Caption;
  std::string Text;
  std::vector<std::string> Buttons;
};

// The pit entry panel's decisions: the option of the excess frame (when one shows) and the
// check boxes of the stop.
struct PitStopChoice {
  int Option = 0;          // the excess frame's option; 0 when no frame shows
  bool Wear = true;        // chkWear "Replenish Wear"
  bool Repair = false;     // chkRepair "Make Repairs"
  bool SplashGo = false;   // chkSplashGo "Splash and Go (1/2  Replenishment)"
  bool RainTires = false;  // optTireType "RAIN tires" rather than "DRY tires"
  bool operator==(const PitStopChoice&) const = default;
};

// A panel where a number is picked from a range, such as the weather cycles of a race.
struct NumberPanel {
  std::string Name;  // "frmWeatherSetup"
  std::string Caption;
  std::string Label;  // "Number of Weather Cycles During Race"
  int Min = 0;
  int Max = 0;
  int Value = 0;  // shown first
};

// A modal list with buttons, such as a qualifying result or the manual grid. A row may be
// selected; the panel returns on a button, or on a new selection when SelectionReturns is set.
struct ListPanel {
  std::string Name;  // "frmQualifyingManual"
  std::string Caption;
  std::vector<std::string> Columns;
  std::vector<std::vector<std::string>> Rows;
  std::vector<bool> RowIsAI;  // rows of computer cars, drawn in the AI colour and marked
  int Selected = -1;          // row index, -1 for none
  int Shaded = -1;            // row shown shaded (the car to drive next), -1 for none
  std::vector<std::string> Buttons;
  bool SelectionReturns = false;
};

// What closed a list panel: a button (its index), or with Button -1 the row selected.
struct ListAnswer {
  int Button = -1;
  int Row = -1;
};

class Console {
 public:
  virtual ~Console() = default;

  // A message box with one OK button.
  virtual void ShowMessage(std::string_view text, std::string_view title, MessageKind kind) = 0;
  // A Yes/No question; true for Yes.
  virtual bool AskYesNo(std::string_view question, std::string_view title) = 0;
  // A common file dialog; nullopt when cancelled.
  virtual std::optional<std::string> ChooseFile(const FileDialogRequest& request) = 0;

  // A choice panel; returns the index of the option taken when "Continue" is pressed.
  virtual int ChooseOption(const ChoicePanel& panel) = 0;
  // A roll panel. When the player presses "Roll", `roll` throws the dice and gives what to
  // show; the result is shown, then `settle` carries it out (it may open further panels);
  // the panel stays until "Continue".
  virtual void RollTable(const RollPanel& panel, const std::function<RollResult()>& roll,
                         const std::function<void()>& settle) = 0;
  // The manual dice entry; returns the number chosen from panel.Choices.
  virtual int EnterDiceResult(const DiceEntryPanel& panel) = 0;
  // The crash panel; returns the index of the button pressed.
  virtual int ShowCrash(const CrashPanel& panel) = 0;
  // A panel of buttons; returns the index of the button pressed.
  virtual int ChooseButton(const ButtonPanel& panel) = 0;
  // The pit entry panel: `panel` holds the texts and the excess frame (no options when the car
  // came in slowly enough); returns the decisions when "Continue" is pressed.
  virtual PitStopChoice ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) = 0;
  // A number panel; returns the number taken.
  virtual int ChooseNumber(const NumberPanel& panel) = 0;
  // A list panel; returns the button pressed, or the row selected.
  virtual ListAnswer ShowList(const ListPanel& panel) = 0;
};

// The standard file message: for error 53 (file not found) the critical message
// "File  ' NAME '  is missing or corrupt.  "; any other number shows nothing.
void ReportFileError(Console& console, int errorNumber, std::string_view fileName);

// The words of that message.
std::string FileErrorText(std::string_view fileName);

}  // namespace vm
