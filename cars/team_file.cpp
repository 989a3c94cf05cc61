#include "cars/team_file.h"

namespace vm {

std::optional<FileError> LoadTeamFile(std::vector<std::string>& names, const std::string& path) {
  std::optional<std::string> text = ReadWholeFile(path);
  if (!text) return FileError{FileErrorCode::NotFound, path, 0, "", "the file cannot be opened"};
  TextReader in(std::move(*text), path);
  std::vector<std::string> read;
  try {
    while (!in.AtEnd()) read.push_back(in.ReadString("team"));
  } catch (const FileFormatError& e) {
    return e.Error();
  }
  names = std::move(read);
  return std::nullopt;
}

}  // namespace vm
