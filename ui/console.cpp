#include "ui/console.h"

namespace vm {

std::string FileErrorText(std::string_view fileName) {
  return "File  ' " + std::string(fileName) + " '  is missing or corrupt.  ";
}

void ReportFileError(Console& console, int errorNumber, std::string_view fileName) {
  constexpr int kFileNotFound = 53;
  if (errorNumber != kFileNotFound) return;
  console.ShowMessage(FileErrorText(fileName), "", MessageKind::Critical);
}

}  // namespace vm
