#include "ui/scripted_console.h"

#include <charconv>
#include <sstream>
#include <utility>

namespace vm {

namespace {

const char* ColourName(ResultColour colour) {
  switch (colour) {
    case ResultColour::None: return "none";
    case ResultColour::Green: return "green";
    case ResultColour::Red: return "red";
  }
  return "";
}

std::string Join(const std::vector<std::string>& items) {
  std::string out;
  for (const std::string& item : items) out += (out.empty() ? "" : " | ") + item;
  return out;
}

std::string Values(const std::vector<PanelValue>& values) {
  std::string out;
  for (const PanelValue& v : values) out += (out.empty() ? "" : "; ") + v.Label + " " + v.Text;
  return out;
}

const char* KindName(MessageKind kind) {
  switch (kind) {
    case MessageKind::Information: return "Information";
    case MessageKind::Exclamation: return "Exclamation";
    case MessageKind::Critical: return "Critical";
  }
  return "";
}

}  // namespace

ScriptedConsole::ScriptedConsole(std::vector<std::string> answers, bool strict)
    : answers_(answers.begin(), answers.end()), strict_(strict) {}

std::optional<std::string> ScriptedConsole::Take(std::string_view panel) {
  if (answers_.empty()) {
    if (strict_) throw ScriptError("the script has no answer for " + std::string(panel));
    return std::nullopt;
  }
  std::string answer = std::move(answers_.front());
  answers_.pop_front();
  return answer;
}

void ScriptedConsole::Unfit(std::string_view panel, std::string_view answer) const {
  throw ScriptError("the answer \"" + std::string(answer) + "\" does not fit " + std::string(panel));
}

void ScriptedConsole::ShowMessage(std::string_view text, std::string_view /*title*/, MessageKind kind) {
  messages_.emplace_back(text);
  Note("MESSAGE " + std::string(KindName(kind)) + ": " + std::string(text));
}

bool ScriptedConsole::AskYesNo(std::string_view question, std::string_view /*title*/) {
  std::optional<std::string> answer = Take("the question \"" + std::string(question) + "\"");
  const bool fits = answer && (*answer == "yes" || *answer == "no");
  if (answer && !fits && strict_) Unfit("a Yes/No question", *answer);
  const bool yes = fits && *answer == "yes";
  Note("ASK " + std::string(question) + " -> " + (yes ? "yes" : "no") + (fits ? "" : " (default)"));
  return yes;
}

std::optional<std::string> ScriptedConsole::ChooseFile(const FileDialogRequest& request) {
  std::optional<std::string> answer = Take("a file dialog (" + request.Filter + ")");
  const bool isFile = answer && answer->rfind("file:", 0) == 0;
  const bool fits = isFile || (answer && *answer == "cancel");
  if (answer && !fits && strict_) Unfit("a file dialog", *answer);
  std::optional<std::string> chosen;
  if (isFile) chosen = answer->substr(5);
  Note(std::string(request.Save ? "SAVE FILE " : "OPEN FILE ") + request.Filter + " -> " +
       (chosen ? *chosen : std::string("cancel")) + (fits ? "" : " (default)"));
  return chosen;
}

int ScriptedConsole::TakeNumber(std::string_view panel, int lo, int hi, int fallback, bool* fromScript) {
  std::optional<std::string> answer = Take(panel);
  int value = 0;
  bool fits = false;
  if (answer) {
    const char* end = answer->data() + answer->size();
    auto [ptr, ec] = std::from_chars(answer->data(), end, value);
    fits = ec == std::errc() && ptr == end && value >= lo && value <= hi;
    if (!fits && strict_) Unfit(panel, *answer);
  }
  if (fromScript) *fromScript = fits;
  return fits ? value : fallback;
}

int ScriptedConsole::ChooseOption(const ChoicePanel& panel) {
  const int count = static_cast<int>(panel.Options.size());
  bool scripted = false;
  const int choice = TakeNumber(panel.Name, 1, count, panel.Preselected + 1, &scripted) - 1;
  Note("CHOOSE " + panel.Name + " [" + Values(panel.Values) + "] (" + Join(panel.Options) + ") -> " +
       std::to_string(choice + 1) + (scripted ? "" : " (default)"));
  return choice;
}

void ScriptedConsole::RollTable(const RollPanel& panel, const std::function<RollResult()>& roll,
                                const std::function<void()>& settle) {
  // The only thing to do on a roll panel is to roll: no answer is taken.
  const RollResult r = roll();
  Note("ROLL " + panel.Name + " [" + Values(panel.Values) + "] dice " + std::to_string(r.Dice) + ", result " +
       std::to_string(r.TableResult) + " -> " + (r.Text.empty() ? "(no row)" : r.Text) + " (" +
       ColourName(r.Colour) + ")");
  settle();
}

int ScriptedConsole::EnterDiceResult(const DiceEntryPanel& panel) {
  if (panel.Choices.empty()) return 0;
  bool scripted = false;
  const int value =
      TakeNumber("the dice entry", panel.Choices.front(), panel.Choices.back(), panel.Choices.front(), &scripted);
  Note("DICE " + panel.Caption + " " + std::to_string(panel.Choices.front()) + ".." +
       std::to_string(panel.Choices.back()) + " -> " + std::to_string(value) + (scripted ? "" : " (default)"));
  return value;
}

int ScriptedConsole::ShowCrash(const CrashPanel& panel) {
  const int count = static_cast<int>(panel.Buttons.size());
  bool scripted = false;
  const int button = TakeNumber(panel.Caption, 1, count, 1, &scripted) - 1;
  Note("CRASH " + panel.Text + " (" + Join(panel.Buttons) + ") -> " +
       (button >= 0 && button < count ? panel.Buttons[static_cast<size_t>(button)] : std::string()) +
       (scripted ? "" : " (default)"));
  return button;
}

int ScriptedConsole::ChooseButton(const ButtonPanel& panel) {
  const int count = static_cast<int>(panel.Buttons.size());
  bool scripted = false;
  const int button = TakeNumber(panel.Name, 1, count, count, &scripted) - 1;
  Note("BUTTONS " + panel.Name + " (" + Join(panel.Buttons) + ") -> " +
       (button >= 0 && button < count ? panel.Buttons[static_cast<size_t>(button)] : std::string()) +
       (scripted ? "" : " (default)"));
  return button;
}

PitStopChoice ScriptedConsole::ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) {
  PitStopChoice choice = preset;
  std::optional<std::string> answer = Take(panel.Name);
  bool fits = false;
  if (answer) {
    std::istringstream words(*answer);
    std::string word;
    fits = static_cast<bool>(words >> word) && word == "pit-stop";
    if (fits) choice = PitStopChoice{0, false, false, false, preset.RainTires};
    while (fits && words >> word) {
      if (word == "wear") choice.Wear = true;
      else if (word == "repair") choice.Repair = true;
      else if (word == "splash") choice.SplashGo = true;
      else if (word == "rain" || word == "dry") choice.RainTires = word == "rain";
      else fits = false;
    }
    if (!fits && strict_) Unfit(panel.Name, *answer);
    if (!fits) choice = preset;
  }
  const int count = static_cast<int>(panel.Options.size());
  if (count > 0) choice.Option = TakeNumber(panel.Name, 1, count, panel.Preselected + 1) - 1;
  Note("PIT STOP " + panel.Name + " [" + Values(panel.Values) + "] (" + Join(panel.Options) + ") ->" +
       (choice.Wear ? " wear" : "") + (choice.Repair ? " repair" : "") + (choice.SplashGo ? " splash" : "") +
       (choice.RainTires ? " rain" : " dry") + (count > 0 ? " option " + std::to_string(choice.Option + 1) : "") +
       (fits ? "" : " (default)"));
  return choice;
}

int ScriptedConsole::ChooseNumber(const NumberPanel& panel) {
  bool scripted = false;
  const int value = TakeNumber(panel.Name, panel.Min, panel.Max, panel.Value, &scripted);
  Note("NUMBER " + panel.Name + " " + panel.Label + " " + std::to_string(panel.Min) + ".." +
       std::to_string(panel.Max) + " -> " + std::to_string(value) + (scripted ? "" : " (default)"));
  return value;
}

ListAnswer ScriptedConsole::ShowList(const ListPanel& panel) {
  const int buttons = static_cast<int>(panel.Buttons.size());
  const int rows = static_cast<int>(panel.Rows.size());
  std::optional<std::string> answer = Take(panel.Name);
  ListAnswer result{buttons - 1, -1};
  bool fits = false;
  if (answer) {
    if (answer->rfind("select ", 0) == 0) {
      const std::string number = answer->substr(7);
      int row = 0;
      auto [ptr, ec] = std::from_chars(number.data(), number.data() + number.size(), row);
      fits = ec == std::errc() && ptr == number.data() + number.size() && row >= 1 && row <= rows;
      if (fits) result = {-1, row - 1};
    } else {
      int button = 0;
      auto [ptr, ec] = std::from_chars(answer->data(), answer->data() + answer->size(), button);
      fits = ec == std::errc() && ptr == answer->data() + answer->size() && button >= 1 && button <= buttons;
      if (fits) result = {button - 1, -1};
    }
    if (!fits && strict_) Unfit(panel.Name, *answer);
  }
  Note("LIST " + panel.Name + " (" + Join(panel.Buttons) + ") -> " +
       (result.Button >= 0 ? panel.Buttons[static_cast<size_t>(result.Button)]
                           : "row " + std::to_string(result.Row + 1)) +
       (fits ? "" : " (default)"));
  return result;
}

}  // namespace vm
