#include "cli/play.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <random>
#include <sstream>

#include "ai/drivers.h"
#include "cars/car_file.h"
#include "cli/commands.h"
#include "core/numbers.h"
#include "core/paths.h"
#include "core/race_json.h"
#include "core/race_log.h"
#include "core/textfile.h"
#include "core/track_file.h"
#include "core/units.h"
#include "engine/laps.h"
#include "engine/turn_engine.h"
#include "game/qualifying.h"
#include "game/race_config.h"
#include "game/race_files.h"
#include "game/race_setup.h"
#include "rules/result_table_file.h"
#include "ui/console.h"

namespace vm {

const char* const kPlayUsage =
    "  play --track T.trk --tables R.rst (--cars C.crs | --car-design START,ACC,DEC,TOP,WEAR,DRM ...)\n"
    "       [--config R.rac]  (a race configuration brings its track, tables, cars and settings)\n"
    "       [--laps N] [--cars-racing K] [--mode Practice|Single] [--seed S] [--rnd V1,V2,...]\n"
    "       [--qualifying \"Start Speed\"|\"Single Lap\"|\"Manually Set Starting Grid\"|none]\n"
    "       [--pits MINSTOPS] [--weather]  (the pit lane open, for races of 10 laps or more; weather)\n"
    "       [--script S.txt] [--dump-json OUT.json] [--log] [--leaderboard] [--save-at TURN OUT.rip]\n"
    "  play --resume IN.rip [--mode Practice|Single] [--seed S] [--rnd V1,...] [--script S.txt] ...\n"
    "      run a race of human drivers whose every choice comes from the script, one per line:\n"
    "      speed MPH [draft], left, right, straight, inturn-left, inturn-right, end, autopilot,\n"
    "      pit-continue, choose K, dice N, yes, no, next-turn, finish-lap, finish-race, pause, end-race,\n"
    "      pit (at the pit entrance), pit-stop [wear] [repair] [splash] [rain|dry], tires wet|dry,\n"
    "      weather-cycles N;\n"
    "      on the qualifying lists: grid-select K, grid-up, grid-down, grid-done, requalify, begin-lap,\n"
    "      start-race, cancel-race\n"
    "      The grid is in car order unless a configuration or --qualifying names a method. A race of\n"
    "      computer drivers only (a car file's) needs no script: it runs to the flag by itself.\n";

namespace {

constexpr int kBoardPlaces = 10;  // cars on a line of the leaderboard

// The grid in car order, with no qualifying.
constexpr std::string_view kNoQualifying = "none";

// How a run ends early: the status and what to say.
struct ScriptStop {
  int Status;
  std::string Message;
};

[[noreturn]] void Misfit(const ScriptLine& line, const std::string& expected) {
  throw ScriptStop{kExitFileError,
                   "line " + std::to_string(line.Number) + ": \"" + line.Text + "\" does not fit: " + expected};
}

// The script word that answers a number panel.
std::string NumberWord(std::string_view panel) { return panel == "frmWeatherSetup" ? "weather-cycles" : "number"; }

// The script word that presses a list panel's button.
std::string ListWord(std::string_view caption) {
  static const std::pair<std::string_view, std::string_view> kWords[] = {{"Move Up", "grid-up"},
                                                                         {"Move Down", "grid-down"},
                                                                         {"OK", "grid-done"},
                                                                         {"Requalify", "requalify"},
                                                                         {"Begin Qualifying Lap", "begin-lap"},
                                                                         {"Start Race", "start-race"},
                                                                         {"Cancel Race", "cancel-race"}};
  for (const auto& [c, w] : kWords)
    if (c == caption) return std::string(w);
  std::string word(caption);
  std::replace(word.begin(), word.end(), ' ', '-');
  return word;
}

std::string JoinCells(const std::vector<std::string>& cells) {
  std::string line;
  for (size_t k = 0; k < cells.size(); ++k) line += (k ? " | " : "") + cells[k];
  return line;
}

// The console of a scripted race: modal panels take their answers from the script.
class PlayConsole : public Console {
 public:
  // Unattended, with no script at all (every car is the AI's), the set-up panels take the answer
  // that moves the race on: the number shown, OK, the next qualifying lap, the start.
  PlayConsole(ScriptFeed& feed, const RaceState& rs, std::ostream& out, bool unattended)
      : feed_(feed), rs_(rs), out_(out), unattended_(unattended) {}

  void ShowMessage(std::string_view text, std::string_view, MessageKind) override { out_ << text << "\n"; }

  bool AskYesNo(std::string_view question, std::string_view) override {
    if (unattended_) return false;
    const ScriptLine& line = Need("a yes or no for \"" + std::string(question) + "\"");
    if (line.Words.size() != 1 || (line.Words[0] != "yes" && line.Words[0] != "no"))
      Misfit(line, "expected yes or no for \"" + std::string(question) + "\"");
    return line.Words[0] == "yes";
  }

  // No file is chosen during a race.
  std::optional<std::string> ChooseFile(const FileDialogRequest&) override { return std::nullopt; }

  int ChooseOption(const ChoicePanel& panel) override {
    const int n = static_cast<int>(panel.Options.size());
    std::string what = panel.Name + ", choose 1.." + std::to_string(n) + " (";
    for (int k = 0; k < n; ++k) what += (k ? " | " : "") + panel.Options[static_cast<size_t>(k)];
    what += ")";
    const ScriptLine& line = Need(what);
    std::optional<int> k = line.NumberAfter("choose");
    if (!k || *k < 1 || *k > n) Misfit(line, "expected " + what);
    return *k - 1;
  }

  void RollTable(const RollPanel&, const std::function<RollResult()>& roll,
                 const std::function<void()>& settle) override {
    roll();
    settle();
  }

  int EnterDiceResult(const DiceEntryPanel& panel) override {
    const std::string what =
        "a dice entry, dice " + std::to_string(panel.Choices.front()) + ".." + std::to_string(panel.Choices.back());
    const ScriptLine& line = Need(what);
    std::optional<int> n = line.NumberAfter("dice");
    if (!n || *n < panel.Choices.front() || *n > panel.Choices.back()) Misfit(line, "expected " + what);
    return *n;
  }

  int ShowCrash(const CrashPanel& panel) override {
    out_ << panel.Text << "\n";
    return 0;  // Continue: ending the race is a race control of its own
  }

  PitStopChoice ChoosePitStop(const ChoicePanel& panel, const PitStopChoice& preset) override {
    const std::string what = "the pit entry panel (pit-stop [wear] [repair] [splash] [rain|dry])";
    const ScriptLine& line = Need(what);
    if (line.Words[0] != "pit-stop") Misfit(line, "expected " + what);
    PitStopChoice choice{0, false, false, false, preset.RainTires};
    for (size_t i = 1; i < line.Words.size(); ++i) {
      const std::string& w = line.Words[i];
      if (w == "wear")
        choice.Wear = true;
      else if (w == "repair")
        choice.Repair = true;
      else if (w == "splash")
        choice.SplashGo = true;
      else if (w == "rain" || w == "dry")
        choice.RainTires = w == "rain";
      else
        Misfit(line, "expected " + what);
    }
    if (!panel.Options.empty()) choice.Option = ChooseOption(panel);
    return choice;
  }

  int ChooseNumber(const NumberPanel& panel) override {
    if (unattended_) return panel.Value;
    const std::string word = NumberWord(panel.Name);
    const std::string what =
        word + " N for " + panel.Name + ", " + std::to_string(panel.Min) + ".." + std::to_string(panel.Max);
    const ScriptLine& line = Need(what);
    std::optional<int> n = line.NumberAfter(word);
    if (!n || *n < panel.Min || *n > panel.Max) Misfit(line, "expected " + what);
    return *n;
  }

  ListAnswer ShowList(const ListPanel& panel) override {
    // The list as the dialog shows it: the caption with the columns, then a row a line, "> " for
    // the car to drive next and "* " for the selected row.
    out_ << panel.Caption << ": " << JoinCells(panel.Columns) << "\n";
    for (size_t r = 0; r < panel.Rows.size(); ++r) {
      const int row = static_cast<int>(r);
      out_ << (row == panel.Shaded ? "> " : row == panel.Selected ? "* " : "  ") << JoinCells(panel.Rows[r]) << "\n";
    }
    if (unattended_) {
      for (size_t b = 0; b < panel.Buttons.size(); ++b)
        if (panel.Buttons[b] == "OK" || panel.Buttons[b] == "Begin Qualifying Lap" || panel.Buttons[b] == "Start Race")
          return {static_cast<int>(b), -1};
    }
    std::string what = panel.Name + " (";
    for (size_t b = 0; b < panel.Buttons.size(); ++b) what += (b ? " | " : "") + ListWord(panel.Buttons[b]);
    if (panel.SelectionReturns) what += " | grid-select K";
    what += ")";
    const ScriptLine& line = Need(what);
    if (panel.SelectionReturns) {
      std::optional<int> row = line.NumberAfter("grid-select");
      if (row && *row >= 1 && *row <= static_cast<int>(panel.Rows.size())) return {-1, *row - 1};
    }
    if (line.Words.size() == 1)
      for (size_t b = 0; b < panel.Buttons.size(); ++b)
        if (line.Words[0] == ListWord(panel.Buttons[b])) return {static_cast<int>(b), -1};
    Misfit(line, "expected " + what);
  }

  int ChooseButton(const ButtonPanel& panel) override {
    const int n = static_cast<int>(panel.Buttons.size());
    const std::string what = panel.Name + ", choose 1.." + std::to_string(n);
    const ScriptLine& line = Need(what);
    std::optional<int> k = line.NumberAfter("choose");
    if (!k || *k < 1 || *k > n) Misfit(line, "expected " + what);
    return *k - 1;
  }

 private:
  const ScriptLine& Need(const std::string& what) {
    if (feed_.Done()) throw ScriptStop{kExitScriptEnded, "car " + std::to_string(rs_.CurrentCar) + ": " + what};
    return feed_.Take();
  }

  ScriptFeed& feed_;
  const RaceState& rs_;
  std::ostream& out_;
  bool unattended_;
};

}  // namespace

std::optional<PlayArgs> ParsePlay(const std::vector<std::string>& args, std::ostream& err) {
  PlayArgs a;
  auto fail = [&](const std::string& why) {
    err << "play: " << why << "\n" << kPlayUsage;
    return std::nullopt;
  };
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& opt = args[i];
    if (opt == "--log" || opt == "--weather" || opt == "--leaderboard") {
      (opt == "--log" ? a.log : opt == "--weather" ? a.weather : a.leaderboard) = true;
      continue;
    }
    if (opt == "--save-at") {
      if (i + 2 >= args.size()) return fail("--save-at needs a race turn and a file");
      std::optional<int> turn = ParseWholeNumber(args[i + 1]);
      if (!turn || *turn < 1) return fail("--save-at takes a race turn of 1 or more, then the file");
      a.saveAt = *turn;
      a.saveFile = args[i + 2];
      i += 2;
      continue;
    }
    if (i + 1 >= args.size()) return fail(opt + " needs a value");
    const std::string& value = args[++i];
    if (opt == "--track")
      a.track = value;
    else if (opt == "--tables")
      a.tables = value;
    else if (opt == "--script")
      a.script = value;
    else if (opt == "--dump-json")
      a.dumpJson = value;
    else if (opt == "--car-design")
      a.designs.push_back(value);
    else if (opt == "--cars")
      a.cars = value;
    else if (opt == "--config")
      a.config = value;
    else if (opt == "--resume")
      a.resume = value;
    else if (opt == "--qualifying") {
      if (value != kQualifyStartSpeed && value != kQualifySingleLap && value != kQualifyManual &&
          value != kNoQualifying)
        return fail("--qualifying is \"Start Speed\", \"Single Lap\", \"Manually Set Starting Grid\" or none");
      a.qualifying = value;
    } else if (opt == "--mode") {
      if (value != kModePractice && value != kModeSingle) return fail("--mode is Practice or Single");
      a.mode = value;
    } else if (opt == "--laps" || opt == "--cars-racing") {
      std::optional<int> n = ParseWholeNumber(value);
      const int top = opt == "--laps" ? kMaxLaps : kMaxCars;
      if (!n || *n < 1 || *n > top) return fail(opt + " takes a whole number from 1 to " + std::to_string(top));
      (opt == "--laps" ? a.laps : a.carsRacing) = n;
    } else if (opt == "--pits") {
      std::optional<int> n = ParseWholeNumber(value);
      if (!n || *n < 0 || *n > kMaxMinPitStops)
        return fail("--pits takes a whole number from 0 to " + std::to_string(kMaxMinPitStops));
      a.pits = n;
    } else if (opt == "--seed") {
      std::optional<std::uint64_t> s = ParseSeed(value);
      if (!s) return fail("--seed takes a whole number");
      a.seed = *s;
    } else if (opt == "--rnd") {
      std::string why;
      std::optional<std::vector<double>> values = ParseRndScript(value, &why);
      if (!values) return fail("--rnd: " + why);
      a.rnd = *values;
    } else {
      return fail("unexpected argument \"" + opt + "\"");
    }
  }
  if (!a.resume.empty()) {
    const bool setUp = !a.track.empty() || !a.tables.empty() || !a.cars.empty() || !a.config.empty() ||
                       !a.designs.empty() || a.laps || a.carsRacing || a.pits || a.weather || a.qualifying;
    if (setUp) return fail("--resume brings its own track, tables, cars and settings");
    return a;
  }
  if (a.config.empty() && (a.track.empty() || a.tables.empty()))
    return fail("--track and --tables are needed unless --config brings them");
  if (a.config.empty() && a.cars.empty() && a.designs.empty()) return fail("give the cars with --cars or --car-design");
  if (!a.cars.empty() && !a.designs.empty()) return fail("give the cars with --cars or with --car-design, not both");
  if (a.designs.size() > static_cast<size_t>(kMaxCars)) return fail("at most 40 cars");
  if (a.pits && (!a.laps || *a.laps < kPitLapsMinimum))
    return fail("--pits needs --laps of " + std::to_string(kPitLapsMinimum) +
                " or more: shorter races have no pit stops");
  if (a.carsRacing && !a.designs.empty() && *a.carsRacing > static_cast<int>(a.designs.size()))
    return fail("--cars-racing is more than the cars given");
  return a;
}

namespace {

// Reads "START,ACC,DEC,TOP,WEAR,DRM" into car `car`.
bool ReadDesign(RaceState& rs, int car, const std::string& text) {
  std::vector<int> v;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, ',');) {
    std::optional<int> n = ParseWholeNumber(part);
    if (!n) return false;
    v.push_back(*n);
  }
  if (v.size() != 6) return false;
  rs.DriverName[car] = "Car " + std::to_string(car);
  rs.CarStartSpeed[car] = v[0];
  rs.CarAcceleration[car] = v[1];
  rs.CarDeceleration[car] = v[2];
  rs.CarTopSpeed[car] = v[3];
  rs.CarWearPerLap[car] = v[4];
  rs.CarDRM[car] = v[5];
  rs.CarIsAI[car] = false;
  return true;
}

std::string ExpectedFor(Waiting w) {
  switch (w) {
    case Waiting::Speed: return "the car waits for its speed (speed MPH, tires wet|dry, autopilot)";
    case Waiting::PitContinue: return "the car waits in the pit lane (pit-continue)";
    case Waiting::Steering:
      return "the car waits for a steering button (left, right, straight, inturn-left, inturn-right, end, pit)";
    case Waiting::RaceControl:
    case Waiting::Paused: return "the race waits for its controls (next-turn, finish-lap, finish-race)";
    case Waiting::RaceOver: return "the race is over";
    case Waiting::Elsewhere: return "another player has the turn";
    case Waiting::Nothing: break;
  }
  return "nothing is waited for";
}

std::optional<SteeringCommand> SteeringWord(const std::string& w) {
  if (w == "left") return SteeringCommand::cmdLeft;
  if (w == "right") return SteeringCommand::cmdRight;
  if (w == "straight") return SteeringCommand::cmdStraight;
  if (w == "inturn-left") return SteeringCommand::cmdInTurnLeft;
  if (w == "inturn-right") return SteeringCommand::cmdInTurnRight;
  if (w == "end") return SteeringCommand::cmdEndEarly;
  if (w == "pit") return SteeringCommand::cmdEnterPit;
  return std::nullopt;
}

const SteeringButton* ButtonFor(const SteeringPanel& p, SteeringCommand c) {
  switch (c) {
    case SteeringCommand::cmdLeft: return &p.Left;
    case SteeringCommand::cmdRight: return &p.Right;
    case SteeringCommand::cmdStraight: return &p.Straight;
    case SteeringCommand::cmdInTurnLeft: return &p.InTurnLeft;
    case SteeringCommand::cmdInTurnRight: return &p.InTurnRight;
    case SteeringCommand::cmdEndEarly: return nullptr;
    case SteeringCommand::cmdEnterPit: return nullptr;
  }
  return nullptr;
}

// Carries out one script line, or says why it does not fit.
void Perform(RaceEngine& engine, RaceFiles& files, const ScriptLine& line) {
  const std::string& w = line.Words[0];
  const Waiting waiting = engine.WaitingFor();
  const bool running = waiting != Waiting::RaceOver && waiting != Waiting::Nothing;
  auto require = [&](bool ok) {
    if (!ok) Misfit(line, ExpectedFor(waiting));
  };
  if (w == "speed") {
    require(waiting == Waiting::Speed &&
            (line.Words.size() == 2 || (line.Words.size() == 3 && line.Words[2] == "draft")));
    std::optional<int> mph = ParseWholeNumber(line.Words[1]);
    if (!mph || *mph < 0 || *mph > 240 || *mph % 20 != 0) Misfit(line, "a speed is 0 to 240 in steps of 20");
    const SpeedButton& b = engine.SpeedPanel().Buttons[static_cast<size_t>(*mph / 20)];
    if (!b.Enabled || !b.Seen) Misfit(line, "the " + line.Words[1] + " MPH button is not enabled");
    engine.NewSpeed(*mph / 20, line.Words.size() == 3);
  } else if (std::optional<SteeringCommand> c = SteeringWord(w)) {
    require(waiting == Waiting::Steering && line.Words.size() == 1);
    const SteeringButton* b = ButtonFor(engine.SteeringPanelShown(), *c);
    if (b && (!b->Visible || !b->Enabled)) Misfit(line, "the \"" + w + "\" button is not open for this step");
    if (*c == SteeringCommand::cmdEnterPit && !engine.SteeringPanelShown().EnterPitVisible)
      Misfit(line, "the pit entrance is not open here");
    engine.Steer(*c);
  } else if (w == "autopilot") {
    require(waiting == Waiting::Speed);
    engine.AutoPilot();
  } else if (w == "pit-continue") {
    require(waiting == Waiting::PitContinue);
    engine.PitContinue();
  } else if (w == "tires") {
    require(waiting == Waiting::Speed && line.Words.size() == 2 && (line.Words[1] == "wet" || line.Words[1] == "dry"));
    if (!engine.ChooseTires(line.Words[1] == "wet")) Misfit(line, "the speed panel offers no tire choice now");
  } else if (w == "next-turn") {
    require(waiting == Waiting::RaceControl || waiting == Waiting::Paused);
    engine.NextTurn();
  } else if (w == "finish-lap" || w == "finish-race") {
    require(waiting == Waiting::RaceControl || waiting == Waiting::Paused);
    if (w == "finish-lap")
      engine.FinishLap();
    else
      engine.FinishRace();
  } else if (w == "pause") {
    require(running);
    engine.PauseRace();
  } else if (w == "end-race") {
    require(running);
    engine.EndRaceRC();
  } else if (w == "undo") {
    require(running && line.Words.size() == 1);
    if (!files.UndoEnabled())
      Misfit(line, "no race turn can be taken back now: only at the start of a turn, once a turn has ended");
    if (!files.mnuRaceUndo()) Misfit(line, "the undo file could not be read");
  } else {
    Misfit(line, ExpectedFor(waiting));
  }
}

// The running order when the leader has begun a new lap since the last board: one line, the lap
// and the first ten cars by number and name.
void PrintLeaderboard(const RaceState& rs, int& shownLap, std::ostream& out) {
  const int leader = RaceLeader(rs);
  if (!IsCarNumber(leader) || rs.CarLap[leader] <= shownLap || rs.CarLap[leader] > rs.RaceLaps) return;
  shownLap = rs.CarLap[leader];
  out << "Lap " << shownLap << " of " << rs.RaceLaps << ":";
  for (int pos = 1, shown = 0; pos <= rs.CarCount - rs.CarsFinished && shown < kBoardPlaces; ++pos) {
    const int car = rs.RunningOrder[pos];
    if (!IsCarNumber(car) || rs.CarOutOfRace[car]) continue;
    out << "  " << ++shown << ". #" << car << " " << rs.DriverName[car];
  }
  out << "\n";
}

// The final order: the finishers as they took the flag, then any car still running, then the cars
// that went out, each with its race time, laps run, fastest lap and status.
void PrintStandings(const RaceState& rs, std::ostream& out) {
  std::vector<int> order(rs.FinishOrder.begin() + 1, rs.FinishOrder.begin() + 1 + rs.FinishOrderCount);
  // A red flag has already ranked the running cars among the finishers: each car shows once.
  auto add = [&](int car) {
    if (IsCarNumber(car) && std::find(order.begin(), order.end(), car) == order.end()) order.push_back(car);
  };
  for (int pos = 1; pos <= rs.CarCount - rs.CarsFinished; ++pos)
    if (IsCarNumber(rs.RunningOrder[pos]) && !rs.CarOutOfRace[rs.RunningOrder[pos]]) add(rs.RunningOrder[pos]);
  for (int pos = 1; pos <= rs.CarCount - rs.CarsFinished; ++pos)
    if (IsCarNumber(rs.RunningOrder[pos]) && rs.CarOutOfRace[rs.RunningOrder[pos]]) add(rs.RunningOrder[pos]);
  int place = 0;
  for (int car : order) {
    const bool finished = rs.CarLap[car] > rs.RaceLaps;
    const int laps = std::clamp(rs.CarLap[car] - 1, 0, rs.RaceLaps);
    double fastest = 0;
    int fastestLap = 0;
    for (int lap = 1; lap <= laps; ++lap)
      if (rs.LapSpeedMph[lap][car] > fastest) fastest = rs.LapSpeedMph[lap][car], fastestLap = lap;
    out << ++place << ". " << rs.DriverName[car] << "  " << FormatTimeMS(rs.CarRaceClock[car] * kSecondsPerTurn) << "  "
        << laps << (laps == 1 ? " lap" : " laps") << "  fastest "
        << (fastestLap ? FormatMph(fastest) + " (lap " + std::to_string(fastestLap) + ")" : std::string("-")) << "  "
        << (finished               ? "Finished"
            : rs.CarOutOfRace[car] ? "Out"
                                   : "Running")
        << "\n";
  }
}

}  // namespace

int SetUpRace(RaceState& rs, const PlayArgs& a, std::ostream& err) {
  auto fileError = [&err](const FileError& e) {
    err << "velomark-cli: " << e.Describe() << "\n";
    return kExitFileError;
  };
  if (!a.config.empty()) {
    // The configuration's track is looked for where it was saved, then beside the configuration.
    const std::string folder = DirName(NativePath(a.config));
    if (std::optional<FileError> e = ReadRaceConfig(rs, a.config, folder, TrackLoaderFromFolder(folder)))
      return fileError(*e);
  }
  if (!a.track.empty())
    if (std::optional<FileError> e = LoadTrack(rs.track, a.track)) return fileError(*e);
  if (!a.tables.empty())
    if (std::optional<FileError> e = LoadResultTables(rs.Tables, a.tables)) return fileError(*e);
  if (!a.cars.empty()) {
    if (std::optional<FileError> e = LoadCarFile(rs, a.cars, DirName(NativePath(a.cars)), SetupPointsRule::Replace))
      return fileError(*e);
    rs.CarCount = rs.CarsInFile;
  }
  for (size_t i = 0; i < a.designs.size(); ++i) {
    if (!ReadDesign(rs, static_cast<int>(i) + 1, a.designs[i])) {
      err << "play: --car-design \"" << a.designs[i] << "\" is not six whole numbers START,ACC,DEC,TOP,WEAR,DRM\n";
      return kExitUsage;
    }
  }
  if (!a.designs.empty()) rs.CarCount = rs.CarsInFile = static_cast<int>(a.designs.size());
  if (a.carsRacing) {
    if (*a.carsRacing > rs.CarsInFile) {
      err << "play: --cars-racing is more than the " << rs.CarsInFile << " cars given\n";
      return kExitUsage;
    }
    rs.CarCount = *a.carsRacing;
  }
  rs.GameMode = a.mode;
  // A configuration brings its own method; a race without one keeps the cars in their order.
  if (a.qualifying)
    rs.QualifyingMethod = *a.qualifying;
  else if (a.config.empty())
    rs.QualifyingMethod = kNoQualifying;
  // A practice session always runs to its lap limit of 50.
  if (a.mode == kModePractice)
    rs.RaceLaps = 50;
  else if (a.laps)
    rs.RaceLaps = *a.laps;
  else if (a.config.empty())
    rs.RaceLaps = 3;
  // Without a configuration the pit lane is closed, as the race setup leaves it, unless --pits
  // opens it with the setup's own allotments.
  if (a.config.empty() || a.pits) {
    const WearAllotment allot = ComputeWearAllotment(rs.RaceLaps, a.pits.value_or(0));
    rs.PitLaneOpen = a.pits.has_value();
    rs.PitRepairOnly = false;
    rs.MinPitStops = a.pits.value_or(0);
    rs.StartWearAllotment = a.pits ? allot.StartWearAllotment : rs.RaceLaps;
    rs.PitReplenishment = a.pits ? allot.PitReplenishment : 0;
  }
  if (a.weather) rs.WeatherEnabled = true;
  return kExitOk;
}

namespace {}  // namespace

int Play(const std::vector<std::string>& args, Random& rng, std::ostream& out, std::ostream& err) {
  std::optional<PlayArgs> a = ParsePlay(args, err);
  if (!a) return kExitUsage;
  auto rs = std::make_unique<RaceState>();
  auto fileError = [&err](const FileError& e) {
    err << "velomark-cli: " << e.Describe() << "\n";
    return kExitFileError;
  };
  if (a->resume.empty()) {
    if (const int status = SetUpRace(*rs, *a, err); status != kExitOk) return status;
  } else {
    rs->GameMode = a->mode;
  }
  std::string scriptText;
  if (!a->script.empty())
    if (std::optional<FileError> e = ReadTextFile(a->script, scriptText)) return fileError(*e);
  // Only a race of computer drivers runs without a script.
  const bool unattended = a->script.empty();
  auto humanWithoutScript = [&]() -> int {
    for (int car = 1; unattended && car <= rs->CarCount; ++car)
      if (!rs->CarIsAI[car]) return car;
    return 0;
  };
  if (const int car = humanWithoutScript()) {
    err << "play: car " << car << " is driven by a person: give its choices with --script\n" << kPlayUsage;
    return kExitUsage;
  }
  // The same seed gives the same race: without one the run is still reproducible.
  rng.Seed(a->seed.value_or(1));
  if (!a->rnd.empty()) rng.Script(a->rnd);

  ScriptFeed feed(scriptText);
  PlayConsole console(feed, *rs, out, unattended);
  HighlightList log(*rs);
  if (a->log) log.OnLine = [&out](const std::string& line) { out << line << "\n"; };
  RaceEngine engine(*rs, rng, console, log);
  UseAIDrivers(engine);
  const bool singleLap = rs->QualifyingMethod == kQualifySingleLap && rs->GameMode != kModePractice;
  const ScratchFolder scratch(singleLap, "velomark-play-");
  if (singleLap && !scratch.Made()) {
    err << "velomark-cli: no temporary folder could be made for " << kRaceConfigScratchName << "\n";
    return kExitFileError;
  }
  Qualifying qualifying(engine, {scratch.File(kRaceConfigScratchName), "",
                                 TrackLoaderFromFolder(DirName(NativePath(rs->track.TrackFile)))});
  // Undo files only for a script that takes a turn back: each is a file written every turn.
  const ScratchFolder undoFolder(feed.Has("undo"), "velomark-undo-");
  GameSession session;
  session.CarsFolder =
      a->resume.empty() ? DirName(NativePath(a->cars.empty() ? a->config : a->cars)) : DirName(NativePath(a->resume));
  session.TracksFolder = DirName(NativePath(a->resume));
  RaceFiles files(session, engine, undoFolder.Made() ? undoFolder.File("") : "");
  int turnsRun = 0;
  int boardLap = 0;
  std::optional<FileError> saveError;
  engine.Seams.SaveUndoFile = [&, keepUndo = engine.Seams.SaveUndoFile](RuleContext& ctx) {
    keepUndo(ctx);
    ++turnsRun;
    if (a->leaderboard) PrintLeaderboard(*rs, boardLap, out);
    if (turnsRun != a->saveAt) return;
    saveError = files.SaveRace(a->saveFile, &rng);
    if (!saveError) out << "saved at the end of race turn " << a->saveAt << ": " << a->saveFile << "\n";
  };
  // The single-lap list comes up whenever it is pending and no lap or race is running.
  auto showPending = [&] {
    qualifying.ShowPendingList();
    if (rs->RaceStartRefused) throw ScriptStop{kExitOk, "the start was called off"};
  };
  int status = kExitOk;
  try {
    if (a->resume.empty()) {
      engine.StartRace();
    } else {
      // The saved generator carries the race on with its own values, unless others are asked for.
      const bool ownValues = a->seed || !a->rnd.empty();
      if (std::optional<FileError> e = files.LoadSavedRace(a->resume, ownValues ? nullptr : &rng)) return fileError(*e);
      if (const int car = humanWithoutScript())
        throw ScriptStop{kExitUsage,
                         "car " + std::to_string(car) + " is driven by a person: give its choices with --script"};
    }
    showPending();
    while (!feed.Done()) {
      Perform(engine, files, feed.Take());
      showPending();
    }
    // Unattended, the race controls run the race to its end.
    while (unattended && (engine.WaitingFor() == Waiting::RaceControl || engine.WaitingFor() == Waiting::Paused)) {
      engine.FinishRace();
      showPending();
    }
    if (engine.WaitingFor() != Waiting::RaceOver) throw ScriptStop{kExitScriptEnded, engine.WaitDescription()};
    out << "race over\n";
    PrintStandings(*rs, out);
  } catch (const ScriptStop& stop) {
    if (stop.Status == kExitScriptEnded || stop.Status == kExitOk)
      out << stop.Message << "\n";
    else
      err << "play: " << stop.Message << "\n";
    status = stop.Status;
  }
  if (saveError) {
    err << "velomark-cli: " << saveError->Describe() << "\n";
    if (status == kExitOk) status = kExitFileError;
  } else if (a->saveAt > turnsRun) {
    err << "play: the race had only " << turnsRun << " race turns: nothing was saved\n";
    if (status == kExitOk) status = kExitUsage;
  }
  if (!a->dumpJson.empty()) {
    if (std::optional<FileError> e = WriteFileAtomic(a->dumpJson, RaceStateJson(*rs, rng.Draws()).dump(1) + "\n")) {
      err << "velomark-cli: " << e->Describe() << "\n";
      if (status == kExitOk) status = kExitFileError;
    }
  }
  return status;
}

}  // namespace vm
