// File names as the game's files store them: either separator, and a case that may not match
// the disk when a file came from a case-blind system.
#pragma once

#include <string>
#include <string_view>

namespace vm {

// Turns every backslash into a slash.
std::string NativePath(std::string_view path);

// Finds the file on disk: the path as given, or else the one whose components match it
// ignoring case. Parts that match nothing are kept as given, so a new file lands in the folder
// that exists under another case.
std::string ResolvePath(std::string_view path);

// The folder part of a path, with its trailing separator; "" when there is none.
std::string DirName(std::string_view path);

// The last component of a path.
std::string BaseName(std::string_view path);

// Replaces the extension (".trk", any case) with newExt; appends newExt when there is none.
std::string ReplaceExtension(std::string_view path, std::string_view newExt);

// Joins a folder and a name with one separator between them.
std::string JoinPath(std::string_view folder, std::string_view name);

}  // namespace vm
