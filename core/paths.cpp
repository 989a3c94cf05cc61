#include "core/paths.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace vm {

namespace fs = std::filesystem;

std::string NativePath(std::string_view path) {
  std::string out(path);
  std::replace(out.begin(), out.end(), '\\', '/');
  return out;
}

namespace {

bool SameNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

size_t LastSeparator(std::string_view path) { return path.find_last_of("/\\"); }

}  // namespace

std::string ResolvePath(std::string_view path) {
  const std::string native = NativePath(path);
  std::error_code ec;
  if (native.empty() || fs::exists(native, ec)) return native;

  // Walk the components, taking at each level the entry whose name matches ignoring case.
  const fs::path given(native);
  fs::path walked = given.root_path();
  for (const fs::path& part : given.relative_path()) {
    fs::path candidate = walked / part;
    if (!fs::exists(candidate, ec)) {
      const fs::path dir = walked.empty() ? fs::path(".") : walked;
      // A part that is not there at all (a file about to be written) is kept as given.
      for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        if (SameNoCase(it->path().filename().string(), part.string())) {
          candidate = walked / it->path().filename();
          break;
        }
      }
    }
    walked = candidate;
  }
  return walked.string();
}

std::string DirName(std::string_view path) {
  size_t sep = LastSeparator(path);
  return sep == std::string_view::npos ? std::string() : std::string(path.substr(0, sep + 1));
}

std::string BaseName(std::string_view path) {
  size_t sep = LastSeparator(path);
  return std::string(sep == std::string_view::npos ? path : path.substr(sep + 1));
}

std::string ReplaceExtension(std::string_view path, std::string_view newExt) {
  size_t sep = LastSeparator(path);
  size_t dot = path.find_last_of('.');
  if (dot == std::string_view::npos || (sep != std::string_view::npos && dot < sep)) {
    return std::string(path) + std::string(newExt);
  }
  return std::string(path.substr(0, dot)) + std::string(newExt);
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  if (folder.empty()) return std::string(name);
  std::string out(folder);
  if (out.back() != '/' && out.back() != '\\') out += '/';
  return out + std::string(name);
}

}  // namespace vm
