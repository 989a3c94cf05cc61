// The records that copy the race from one machine to another: TIP, the whole race sent by the
// host; TEP, the whole race sent by whoever has just moved; SIP, one car's state and speed sent
// by a client; CRS, a joining player's car. Each is a burst of tagged lines whose fields are
// joined by commas. A receiver stores a burst in a file, payload by payload, and reads the file
// back once the burst has ended, so that every state received also lies on disk.
#pragma once

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/race_state.h"

namespace vm {

enum class RecordKind { TIP, TEP, SIP };

// The folder of the received records, below the data folder.
inline constexpr std::string_view kOnlineFilesFolder = "Online Files";

// What a TIP or TEP carried besides the race fields.
struct TipHeader {
  int TipCar = 0;
  bool TipSpeedPhase = false;
  bool TipSteeringPhase = false;
  int TipOrderIndex = 0;
  std::string TrackFile;  // the bare name of the sender's track file
  bool Whole = false;     // the record carried the rest of the race too
};

// Loads the named track (a bare file name) into the state; returns a message on failure.
using OnlineTrackLoader = std::function<std::optional<std::string>(RaceState& rs, const std::string& trackFile)>;

// Returns the lap window a TIP or TEP sends: the laps from the hindmost running car's to `last`.
// `last` is the leader's lap (TIP) or the mover's (TEP); both 0 give the window 0 to 1.
std::pair<int, int> LapWindow(const RaceState& rs, int last);

// Returns the lines of a TIP or TEP burst, tags included. `tipCar` is the car whose turn it is
// (TIP) or the mover (TEP). The burst ends with the race's remaining fields in "[TIPR]" or
// "[TEPR]" lines, which a receiver that does not know them drops.
std::vector<std::string> BuildTipBurst(const RaceState& rs, RecordKind kind, int tipCar, std::string_view carsFolder);

// Returns the lines of the SIP burst of one car, after its speed was chosen.
std::vector<std::string> BuildSipBurst(const RaceState& rs, int car, std::string_view carsFolder);

// Returns the "[CRS]" line of a car: its design and driver.
std::string BuildCrsLine(const RaceState& rs, int car, std::string_view carsFolder);

// Stores a "[CRS]" payload in car `car`. Returns an error and leaves the car as it was when the
// payload is malformed.
std::optional<std::string> ReadCRS(RaceState& rs, int car, std::string_view payload, std::string_view carsFolder);

// Collects the bursts arriving from one sender into their files: one channel for TIP and TEP,
// one for SIP. A burst whose sections come out of order or short is refused whole.
class RecordChannel {
 public:
  // `folder` holds the files ("Online Files" in the data folder); the numbers name them: the
  // receiver's own car for TIP and TEP, the sender's car for SIP.
  RecordChannel(std::string folder, int tipNumber, int sipNumber)
      : folder_(std::move(folder)), tipNumber_(tipNumber), sipNumber_(sipNumber) {}

  struct Completed {
    RecordKind Kind;
    std::string Path;   // the file written; empty when the burst was refused
    std::string Error;  // why it was refused
  };
  // Feeds one received line of a record; returns the burst it completed, if any.
  std::optional<Completed> Line(const std::string& tag, const std::string& payload);

 private:
  struct Burst {
    bool Open = false;
    RecordKind Kind = RecordKind::TIP;
    std::vector<std::string> Lines;  // payloads in order of arrival
    int Section = -1;                // index of the last section seen
    std::map<int, int> Counts;       // lines per section
    int WindowLines = -1;            // rows per lap section, from the lap window
    size_t Bytes = 0;
    bool Broken = false;
    std::string Error;
  };
  Completed Finish(Burst& burst);
  std::string folder_;
  int tipNumber_, sipNumber_;
  Burst tip_, sip_;
};

// Returns the names of a record's current and previous files: "OnlineA3.tip", "OnlineB3.tip".
std::pair<std::string, std::string> RecordFileNames(RecordKind kind, int n);

// Who sent a TIP or TEP: the host's records are taken whole; a client's record leaves the race's
// settings alone.
enum class RecordSender { Host, Client };

// Reads a TIP or TEP file into the state: ReadTIP and ReadTEP. The state changes only when the
// whole file reads and the race it gives holds together; otherwise the error says why.
// A client's record must be of `mover`, the car it drives.
std::optional<std::string> ReadTipFile(RaceState& rs, const std::string& path, RecordSender sender,
                                       std::string_view carsFolder, const OnlineTrackLoader& loadTrack,
                                       TipHeader& header, int mover = 0);

// Reads a SIP file: the fields of the one car it names, which must be `expectedCar`. Returns an
// error, the state untouched, otherwise.
std::optional<std::string> ReadSipFile(RaceState& rs, const std::string& path, int expectedCar);

// Returns what is wrong with values a peer could send that index the race's tables.
std::vector<std::string> BoundsFaults(const RaceState& rs);

// Returns the race as JSON for comparing machines: the track and pictures by their bare names, no
// file of the machine's own, and the track at its dry limits, since each machine keeps its files
// in its own folders and the limits follow the last car served.
nlohmann::ordered_json SharedRaceJson(const RaceState& rs);

// Returns the bare file name of a path given with either separator; empty for "..", a name with
// a drive or nothing.
std::string BareFileName(std::string_view path);

}  // namespace vm
