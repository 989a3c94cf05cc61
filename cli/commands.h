// The headless program's commands, kept apart from main() so tests can run them.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace vm {

// Exit statuses of velomark-cli.
inline constexpr int kExitOk = 0;
inline constexpr int kExitUsage = 1;
inline constexpr int kExitFileError = 2;

// A fresh folder of its own under the system's temporary folder, made only when wanted and removed
// with everything in it at the end. Its name comes from the system's entropy, never from the
// race's generator, so two runs side by side never share one.
class ScratchFolder {
 public:
  ScratchFolder(bool wanted, std::string_view prefix);
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  bool Made() const { return !path_.empty(); }
  std::string Path() const { return path_.string(); }
  // The file's full name in the folder; "" when there is no folder.
  std::string File(std::string_view name) const { return Made() ? (path_ / name).string() : ""; }

 private:
  std::filesystem::path path_;
};

// Runs one command line (without the program name); writes results to out, problems to err.
int RunCli(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

}  // namespace vm
