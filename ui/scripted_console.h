// A console that answers from a script, for tests and the headless program, and keeps a
// transcript of everything it was shown and asked.
#pragma once

#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "ui/console.h"

namespace vm {

// Raised in strict mode when the logic asks something the script has no answer for, or an
// answer of the wrong kind.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ScriptedConsole : public Console {
 public:
  // Answers: "yes", "no", "cancel", "file:PATH"; a choice panel, the crash panel and the dice
  // entry take a number (the option or button counted from 1, the dice as they read).
  // strict: a missing or unfitting answer throws ScriptError; otherwise the panel's default
  // (No, cancel) is taken and noted in the transcript.
  explicit ScriptedConsole(std::vector<std::string> answers = {}, bool strict = true);

  void AddAnswer(std::string answer) { answers_.push_back(std::move(answer)); }
  std::size_t AnswersLeft() const { return answers_.size(); }
  // One line per interaction: "MESSAGE Critical: text", "ASK question -> yes", ...
  const std::vector<std::string>& Transcript() const { return transcript_; }
  // The texts of the messages shown, in order.
  const std::vector<std::string>& Messages() const { return messages_; }

  void ShowMessage(std::string_view text, std::string_view title, MessageKind kind) override;
  bool AskYesNo(std::string_view question, std::string_view title) override;
  std::optional<std::string> ChooseFile(const FileDialogRequest& request) override;
  int ChooseOption(const ChoicePanel& panel) override;
  void RollTable(const RollPanel& panel, const std::function<RollResult()>& roll,
                 const std::function<void()>& settle) override;
  int EnterDiceResult(const DiceEntryPanel& panel) override;
  int ShowCrash(const CrashPanel& panel) override;
  // Answered by number, like a choice; without an answer (lenient) the last button, which closes.
  int ChooseButton(const ButtonPanel& panel) override;
  // Answered by "pit-stop [wear] [repair] [splash] [rain|dry]", then the frame's option number
  // when the panel has options; without an answer (lenient) the preset and the preselected option.
  PitStopChoice ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) override;
  // Answered by the number; without an answer (lenient) the value shown.
  int ChooseNumber(const NumberPanel& panel) override;
  // Answered by "select K" (row counted from 1) or a button's number; without an answer
  // (lenient) the last button.
  ListAnswer ShowList(const ListPanel& panel) override;

 protected:
  // Takes the next answer for a panel; nullopt when the script is empty in lenient mode.
  std::optional<std::string> Take(std::string_view panel);
  [[noreturn]] void Unfit(std::string_view panel, std::string_view answer) const;
  void Note(std::string line) { transcript_.push_back(std::move(line)); }
  bool Strict() const { return strict_; }
  // Takes a number answer in [lo, hi]; the fallback when the script has none (lenient mode).
  int TakeNumber(std::string_view panel, int lo, int hi, int fallback, bool* fromScript = nullptr);

 private:
  std::deque<std::string> answers_;
  bool strict_;
  std::vector<std::string> transcript_;
  std::vector<std::string> messages_;
};

}  // namespace vm
