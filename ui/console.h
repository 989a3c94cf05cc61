// The only way the game's logic speaks to a person: messages, questions, file choices and one
// call per modal panel. The Qt program shows dialogs; the scripted console answers from a script.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vm {

enum class MessageKind { Information, Exclamation, Critical };

// What a common file dialog is opened with.
struct FileDialogRequest {
  bool Save = false;
  std::string Title;
  std::string Filter;         // "Track Definition Files (*.trk)|*.trk"
  std::string DefaultExtension;  // ".trk"
  std::string InitialFolder;
  std::string FileName;       // proposed name, may be empty
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
};

// The standard file message: for error 53 (file not found) the critical message
// "File  ' NAME '  is missing or corrupt.  "; any other number shows nothing.
void ReportFileError(Console& console, int errorNumber, std::string_view fileName);

// The words of that message.
std::string FileErrorText(std::string_view fileName);

}  // namespace vm
