#include "online/chat_prefs.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <vector>

#include "core/textfile.h"

namespace vm {

namespace {

std::string_view Trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

// "[name]" gives name.
std::optional<std::string_view> SectionName(std::string_view line) {
  line = Trim(line);
  if (line.size() < 2 || line.front() != '[' || line.back() != ']') return std::nullopt;
  return Trim(line.substr(1, line.size() - 2));
}

// "key=value" gives key and value, trimmed; comments and other lines nothing.
bool KeyValue(std::string_view line, std::string_view& key, std::string_view& value) {
  const std::string_view trimmed = Trim(line);
  if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '#') return false;
  const size_t eq = line.find('=');
  if (eq == std::string_view::npos) return false;
  key = Trim(line.substr(0, eq));
  value = Trim(line.substr(eq + 1));
  return !key.empty();
}

int ParsePort(std::string_view text) {
  text = Trim(text);
  if (text.empty() || text.size() > 5) return 600;
  int port = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return 600;
    port = port * 10 + (c - '0');
  }
  return port >= 1 && port <= 65535 ? port : 600;
}

}  // namespace

ChatPreferences ReadChatPreferences(const std::string& path) {
  ChatPreferences prefs;
  const std::optional<std::string> text = ReadWholeFile(path);
  if (!text) return prefs;
  bool inSection = false;
  for (const std::string& line : SplitLines(*text)) {
    if (auto section = SectionName(line)) {
      inSection = SameName(*section, kChatPrefsSection);
      continue;
    }
    std::string_view key, value;
    if (!inSection || !KeyValue(line, key, value)) continue;
    if (SameName(key, "Port")) {
      prefs.Port = ParsePort(value);
    } else if (SameName(key, "Tutorial")) {
      prefs.Tutorial = value != "0";
    }
  }
  return prefs;
}

bool WriteChatPreferences(const std::string& path, const ChatPreferences& prefs) {
  std::string old;
  const bool existed = ReadTextFile(path, old) == std::nullopt;
  const bool crlf = !existed || old.find('\n') == std::string::npos || old.find("\r\n") != std::string::npos;
  std::vector<std::string> lines = existed ? SplitLines(old) : std::vector<std::string>{};

  const int port = prefs.Port >= 1 && prefs.Port <= 65535 ? prefs.Port : 600;
  const std::string portLine = "Port=" + std::to_string(port);
  const std::string tutorialLine = std::string("Tutorial=") + (prefs.Tutorial ? "1" : "0");

  std::vector<std::string> out;
  out.reserve(lines.size() + 3);
  bool inSection = false, sawSection = false, wrotePort = false, wroteTutorial = false;
  auto closeSection = [&] {
    if (!inSection) return;
    // Missing keys go after the section's last non-blank line.
    size_t at = out.size();
    while (at > 0 && Trim(out[at - 1]).empty()) --at;
    std::vector<std::string> add;
    if (!wrotePort) add.push_back(portLine);
    if (!wroteTutorial) add.push_back(tutorialLine);
    out.insert(out.begin() + static_cast<std::ptrdiff_t>(at), add.begin(), add.end());
    wrotePort = wroteTutorial = true;
    inSection = false;
  };
  for (const std::string& line : lines) {
    if (auto section = SectionName(line)) {
      closeSection();
      if (SameName(*section, kChatPrefsSection) && !sawSection) {
        inSection = sawSection = true;
        wrotePort = wroteTutorial = false;
      }
      out.push_back(line);
      continue;
    }
    std::string_view key, value;
    if (inSection && KeyValue(line, key, value)) {
      if (SameName(key, "Port")) {
        if (!wrotePort) out.push_back(portLine);
        wrotePort = true;
        continue;
      }
      if (SameName(key, "Tutorial")) {
        if (!wroteTutorial) out.push_back(tutorialLine);
        wroteTutorial = true;
        continue;
      }
    }
    out.push_back(line);
  }
  closeSection();
  if (!sawSection) {
    if (!out.empty() && !Trim(out.back()).empty()) out.emplace_back();
    out.push_back("[" + std::string(kChatPrefsSection) + "]");
    out.push_back(portLine);
    out.push_back(tutorialLine);
  }

  const std::string_view end = crlf ? "\r\n" : "\n";
  std::string text;
  for (const std::string& line : out) {
    text += line;
    text += end;
  }
  return WriteFileAtomic(path, text) == std::nullopt;
}

}  // namespace vm
