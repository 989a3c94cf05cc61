#include "cars/team_file.h"

namespace vm {

std::optional<FileError> LoadTeamFile(std::vector<std::string>& names, const std::string& path) {
  std::string text;
  if (std::optional<FileError> error = ReadTextFile(path, text)) return error;
  TextReader in(std::move(text), path);
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
