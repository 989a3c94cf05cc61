// The session window's preferences, manychat.ini: an INI file with one section named after the
// application and two keys, "Port" (OnlinePort) and "Tutorial" (chkTutorial).
#pragma once

#include <string>
#include <string_view>

namespace vm {

inline constexpr std::string_view kChatPrefsFile = "manychat.ini";
inline constexpr std::string_view kChatPrefsSection = "Velomark";

struct ChatPreferences {
  int Port = 600;        // "Port", the number as text; 1..65535
  bool Tutorial = true;  // "Tutorial", "1" or "0"
};

// Reads the preferences. A missing file, section or key gives its default; so does garbage. A
// port is 1 to 5 digits, spaces around it allowed, in 1..65535, else 600. Tutorial is "0" or
// "1", else "1". Section and key names match without regard to case, as INI files do. Lines may
// end in CR LF or LF.
ChatPreferences ReadChatPreferences(const std::string& path);

// Writes the two keys into the section, keeping every other section, key and line of an existing
// file and its line ends (a new file gets CR LF). The file is replaced atomically. False when the
// file could not be written.
bool WriteChatPreferences(const std::string& path, const ChatPreferences& prefs);

}  // namespace vm
