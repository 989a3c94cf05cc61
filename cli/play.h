// velomark-cli play: a race driven by a script of the human drivers' choices, so that anyone can
// run the same race again and get the same result.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/numbers.h"
#include "core/race_state.h"
#include "core/random.h"
#include "core/units.h"

namespace vm {

// Exit status when the script ends while the race still waits for something.
inline constexpr int kExitScriptEnded = 3;

// Runs `play` with the arguments after the command name; `rng` already holds any global --rnd values.
int Play(const std::vector<std::string>& args, Random& rng, std::ostream& out, std::ostream& err);

// The usage lines of the command.
extern const char* const kPlayUsage;

// The arguments of play: the race to set up and how to run it.
struct PlayArgs {
  std::string track, tables, script, dumpJson, cars, config, resume, saveFile;
  int saveAt = 0;  // the race turn after which saveFile is written; 0 for none
  std::vector<std::string> designs;
  std::optional<int> laps, carsRacing, pits;
  bool weather = false;
  std::optional<std::string> qualifying;
  std::string mode{kModeSingle};
  std::optional<std::uint64_t> seed;
  std::vector<double> rnd;
  bool log = false;
  bool leaderboard = false;  // the running order each time the leader starts a lap
};

// One line of a script: its number in the file, its words and its text.
struct ScriptLine {
  int Number = 0;
  std::string Text;
  std::vector<std::string> Words;

  // The number of a "KEYWORD N" line; nullopt for any other line.
  std::optional<int> NumberAfter(std::string_view keyword) const {
    if (Words.size() != 2 || Words[0] != keyword) return std::nullopt;
    return ParseWholeNumber(Words[1]);
  }
};

// The script's lines with comments and blank lines taken out.
class ScriptFeed {
 public:
  explicit ScriptFeed(const std::string& text) {
    std::istringstream in(text);
    std::string raw;
    for (int number = 1; std::getline(in, raw); ++number) {
      if (const size_t hash = raw.find('#'); hash != std::string::npos) raw.erase(hash);
      std::istringstream words(raw);
      ScriptLine line{number, "", {}};
      for (std::string w; words >> w;) line.Words.push_back(w);
      if (line.Words.empty()) continue;
      for (const std::string& w : line.Words) line.Text += (line.Text.empty() ? "" : " ") + w;
      lines_.push_back(std::move(line));
    }
  }
  bool Done() const { return next_ >= lines_.size(); }
  // Whether any line begins with the word.
  bool Has(std::string_view word) const {
    return std::any_of(lines_.begin(), lines_.end(), [&](const ScriptLine& l) { return l.Words[0] == word; });
  }
  const ScriptLine& Take() { return lines_[next_++]; }
  // The line Take gives next; only while not Done.
  const ScriptLine& Next() const { return lines_[next_]; }

 private:
  std::vector<ScriptLine> lines_;
  size_t next_ = 0;
};

// Reads play's arguments; says what is wrong and returns nullopt on a fault.
std::optional<PlayArgs> ParsePlay(const std::vector<std::string>& args, std::ostream& err);

// Sets up the race from the command line: a configuration, a track, tables, cars and settings.
// Returns kExitOk, or the status of a failure it has told.
int SetUpRace(RaceState& rs, const PlayArgs& a, std::ostream& err);

}  // namespace vm
