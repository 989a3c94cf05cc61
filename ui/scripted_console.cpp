#include "ui/scripted_console.h"

#include <utility>

namespace vm {

namespace {

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

}  // namespace vm
