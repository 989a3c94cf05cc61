// The race records: a burst built on one machine, stored and read back on another, gives the same
// race; the lap window; the files' rotation; and broken or hostile records refused whole.
#include "online/turn_records.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "core/race_state.h"
#include "engine/laps.h"
#include "online/chat_session.h"
#include "tests/online/online_fixture.h"

namespace vm {
namespace {

using testing_support::TempDir;

// A race of computer cars on the bundled track, run `turns` race turns (or to the flag, for -1).
std::unique_ptr<RaceState> AIRace(const std::string& data, int turns, int laps = 1) {
  auto rs = std::make_unique<RaceState>();
  testing_support::SetUpFromData(*rs, data, {"--laps", std::to_string(laps)});
  rs->CarIsAI.fill(true);
  Random rng;
  rng.Seed(11);
  ScriptedConsole console({}, false);
  HighlightList log(*rs);
  RaceEngine engine(*rs, rng, console, log);
  UseAIDrivers(engine);
  engine.StartRace();
  for (int turn = 0; engine.WaitingFor() == Waiting::RaceControl && turn != turns; ++turn) engine.NextTurn();
  while (turns < 0 && engine.WaitingFor() == Waiting::RaceControl) engine.FinishRace();
  return rs;
}

OnlineTrackLoader Loader(const std::string& data) {
  return [data](RaceState& rs, const std::string& name) -> std::optional<std::string> {
    if (auto e = LoadTrack(rs.track, data + "Tracks/" + name)) return e->Describe();
    return std::nullopt;
  };
}

// Feeds a burst into a channel; returns what its end tag completed.
RecordChannel::Completed Feed(RecordChannel& channel, const std::vector<std::string>& lines) {
  std::optional<RecordChannel::Completed> done;
  for (const std::string& line : lines) {
    const TaggedLine t = SplitTag(line);
    if (auto d = channel.Line(t.Tag, t.Payload)) done = d;
  }
  EXPECT_TRUE(done) << "the burst never ended";
  return done.value_or(RecordChannel::Completed{RecordKind::TIP, "", "no end"});
}

class TurnRecords : public ::testing::Test {
 protected:
  TempDir dir;
  std::string data = testing_support::CopyData(dir, "data");
  std::string folder = data + "Online Files";
};

TEST_F(TurnRecords, AFinishedRaceCrossesWholeAndTheSecondRecordKeepsTheFirstAsB) {
  const auto sent = AIRace(data, -1);
  ASSERT_TRUE(sent->RaceOver);
  RecordChannel channel(folder, 2, 9);
  const auto burst = BuildTipBurst(*sent, RecordKind::TIP, sent->CurrentCar, data);
  const RecordChannel::Completed done = Feed(channel, burst);
  ASSERT_EQ(done.Error, "");
  EXPECT_EQ(done.Path, folder + "/OnlineA2.tip");

  auto got = std::make_unique<RaceState>();
  TipHeader header;
  ASSERT_EQ(ReadTipFile(*got, done.Path, RecordSender::Host, data, Loader(data), header), std::nullopt);
  EXPECT_TRUE(header.Whole);
  EXPECT_EQ(header.TrackFile, "Brannock.trk");
  EXPECT_EQ(SharedRaceJson(*got), SharedRaceJson(*sent));

  // The second record pushes the first to "B".
  std::string first;
  ASSERT_FALSE(ReadTextFile(done.Path, first));
  Feed(channel, BuildTipBurst(*sent, RecordKind::TIP, 1, data));
  std::string kept;
  ASSERT_FALSE(ReadTextFile(folder + "/OnlineB2.tip", kept));
  EXPECT_EQ(kept, first);
}

TEST_F(TurnRecords, TheLapWindowRunsFromTheHindmostRunningCarToTheLeader) {
  auto rs = AIRace(data, 0);
  const int n = rs->CarCount;
  for (int pos = 1; pos <= n; ++pos) rs->CarLap[rs->RunningOrder[pos]] = 0;
  EXPECT_EQ(LapWindow(*rs, 0), std::make_pair(0, 1)) << "before the first crossing";
  for (int pos = 1; pos <= n; ++pos) rs->CarLap[rs->RunningOrder[pos]] = 3;
  rs->CarLap[rs->RunningOrder[n]] = 1;  // a lapped car keeps the window wide
  EXPECT_EQ(LapWindow(*rs, 3), std::make_pair(1, 3));
  rs->RaceOver = true;
  rs->RaceLaps = 5;
  EXPECT_EQ(LapWindow(*rs, 0), std::make_pair(0, 6)) << "the final record carries every lap";
}

TEST_F(TurnRecords, ACarOffTheTrackSendsNoCellAndEveryCarLineGoesEvenPastTheField) {
  auto rs = AIRace(data, 3);
  const int out = rs->RunningOrder[2];
  ClearCarCell(*rs, out);
  rs->CarOutOfRace[out] = true;
  const auto burst = BuildTipBurst(*rs, RecordKind::TEP, 1, data);
  std::vector<std::string> cells, drivers;
  for (const std::string& l : burst) {
    if (l.rfind("[TEPH]", 0) == 0) cells.push_back(l.substr(6));
    if (l.rfind("[TEPB]", 0) == 0) drivers.push_back(l);
  }
  ASSERT_EQ(cells.size(), 40u);
  EXPECT_EQ(drivers.size(), 40u);
  EXPECT_EQ(cells[static_cast<size_t>(out - 1)], "0,0");
  const int running = rs->RunningOrder[1];
  EXPECT_EQ(cells[static_cast<size_t>(running - 1)],
            std::to_string(rs->CarLane[running]) + "," + std::to_string(rs->CarSpace[running]));
}

TEST_F(TurnRecords, AClientsMoveLeavesTheRaceSettingsAndWhoDrivesWhatToTheHost) {
  const auto host = AIRace(data, 2);
  auto client = std::make_unique<RaceState>(*host);
  client->RaceLaps = 99;
  client->PitLaneOpen = !host->PitLaneOpen;
  client->CarIsAI[4] = !host->CarIsAI[4];
  client->CarSpeed[3] = host->CarSpeed[3] == 0 ? 20 : 0;
  RecordChannel channel(folder, 1, 3);
  const RecordChannel::Completed done = Feed(channel, BuildTipBurst(*client, RecordKind::TEP, 3, data));
  auto got = std::make_unique<RaceState>(*host);
  TipHeader header;
  EXPECT_NE(ReadTipFile(*got, done.Path, RecordSender::Client, data, Loader(data), header, 5), std::nullopt)
      << "a record of car 3 is no move of car 5";
  ASSERT_EQ(ReadTipFile(*got, done.Path, RecordSender::Client, data, Loader(data), header, 3), std::nullopt);
  EXPECT_EQ(got->RaceLaps, host->RaceLaps);
  EXPECT_EQ(got->PitLaneOpen, host->PitLaneOpen);
  EXPECT_EQ(got->CarIsAI, host->CarIsAI);
  EXPECT_EQ(got->CarSpeed[3], client->CarSpeed[3]);
}

// A valid burst with one line changed: the record is refused and the race stays as it was.
TEST_F(TurnRecords, ABrokenOrHostileRecordIsRefusedWholeAndTheRaceStaysAsItWas) {
  const auto sent = AIRace(data, 4);
  const auto burst = BuildTipBurst(*sent, RecordKind::TIP, 1, data);
  auto find = [&](const std::string& tag, int nth = 0) {
    for (size_t i = 0; i < burst.size(); ++i)
      if (burst[i].rfind(tag, 0) == 0 && nth-- == 0) return i;
    return burst.size();
  };
  const int running = sent->RunningOrder[1], other = sent->RunningOrder[2];
  const std::string onCell =
      "[TIPH]" + std::to_string(sent->CarLane[running]) + "," + std::to_string(sent->CarSpace[running]);
  struct Case {
    const char* what;
    std::function<void(std::vector<std::string>&)> change;
  };
  const Case cases[] = {
      {"a car line missing", [&](auto& b) { b.erase(b.begin() + static_cast<long>(find("[TIPB]", 5))); }},
      {"sections out of order", [&](auto& b) { std::swap(b[find("[TIPB]")], b[find("[TIPC]")]); }},
      {"a word for a number", [&](auto& b) { b[find("[TIPC]", 3)] = "[TIPC]True,False,many"; }},
      {"a race of a million laps",
       [&](auto& b) {
         std::string& a = b[find("[TIPA]")];
         size_t at = 0;
         for (int comma = 0; comma < 8; ++comma) at = a.find(',', at) + 1;
         a.insert(at, "10000");
       }},
      {"two cars on one cell", [&](auto& b) { b[find("[TIPH]", other - 1)] = onCell; }},
      {"a track outside the tracks folder",
       [&](auto& b) {
         std::string& a = b[find("[TIPA]")];
         a.replace(a.find("Brannock.trk"), 12, "../../../etc/passwd");
       }},
      {"the rest of the race no JSON", [&](auto& b) { b[find("[TIPR]")] = "[TIPR]1,1,{nonsense"; }},
      {"the rest of the race in a wrong piece", [&](auto& b) { b[find("[TIPR]")].replace(6, 1, "7"); }},
      {"a car where none can stand",
       [&](auto& b) {
         std::string& r = b[find("[TIPR]")];
         r = std::regex_replace(r, std::regex(R"("CarSpace":\[0,[0-9]+)"), R"("CarSpace":[0,9999)",
                                std::regex_constants::format_first_only);
       }},
  };
  for (const Case& c : cases) {
    std::vector<std::string> broken = burst;
    c.change(broken);
    RecordChannel channel(folder, 1, 1);
    std::optional<RecordChannel::Completed> done;
    for (const std::string& line : broken) {
      const TaggedLine t = SplitTag(line);
      if (auto d = channel.Line(t.Tag, t.Payload)) done = d;
    }
    ASSERT_TRUE(done) << c.what;
    if (!done->Error.empty()) continue;  // refused on arrival
    auto got = std::make_unique<RaceState>(*sent);
    got->CarSpeed[running] += 20;  // a mark the refused record must not wipe
    const RaceState before = *got;
    TipHeader header;
    EXPECT_NE(ReadTipFile(*got, done->Path, RecordSender::Host, data, Loader(data), header), std::nullopt) << c.what;
    EXPECT_TRUE(*got == before) << c.what;
  }
}

TEST_F(TurnRecords, ACarDesignCrossesOnJoiningAndAPictureStaysInTheCarsFolder) {
  auto rs = AIRace(data, 0);
  rs->CarPicture[2] = data + "Formula/Gifs/Red";
  rs->DriverName[2] = "Ann, of Ayr";  // a comma would split the field: it travels as a space
  const std::string line = BuildCrsLine(*rs, 2, data);
  ASSERT_EQ(line.rfind("[CRS]", 0), 0u);
  auto host = std::make_unique<RaceState>();
  ASSERT_EQ(ReadCRS(*host, 7, line.substr(5), "/cars/"), std::nullopt);
  EXPECT_EQ(host->DriverName[7], "Ann  of Ayr");
  EXPECT_EQ(host->CarPicture[7], "/cars/Formula/Gifs/Red");
  EXPECT_EQ(host->CarTopSpeed[7], rs->CarTopSpeed[2]);
  EXPECT_FALSE(host->CarIsAI[7]);

  std::string hostile = line.substr(5);
  hostile.replace(hostile.find("Formula/Gifs/Red"), 16, "../../../../tmp/evil");
  ASSERT_EQ(ReadCRS(*host, 8, hostile, "/cars/"), std::nullopt);
  EXPECT_EQ(host->CarPicture[8], "") << "a picture outside the cars folder is none";
  const RaceState before = *host;
  for (const std::string& bad : std::vector<std::string>{"", "1,2,3", line.substr(5) + ",extra", "x" + line.substr(6)})
    EXPECT_NE(ReadCRS(*host, 9, bad, "/cars/"), std::nullopt) << bad;
  EXPECT_NE(ReadCRS(*host, 41, line.substr(5), "/cars/"), std::nullopt);
  EXPECT_TRUE(*host == before);
}

TEST_F(TurnRecords, ASpeedRecordChangesOnlyItsOwnCarsSpeedAndOnlyForThatCar) {
  const auto host = AIRace(data, 2);
  auto client = std::make_unique<RaceState>(*host);
  const int car = host->RunningOrder[3];
  client->CarNewSpeed[car] = 100;
  client->CarWetTires[car] = true;
  client->CarSpace[car] = 1;  // a speed moves no car: the host keeps its place
  RecordChannel channel(folder, 1, car);
  const RecordChannel::Completed done = Feed(channel, BuildSipBurst(*client, car, data));
  ASSERT_EQ(done.Error, "");
  EXPECT_EQ(done.Path, folder + "/OnlineA" + std::to_string(car) + ".sip");
  auto got = std::make_unique<RaceState>(*host);
  EXPECT_NE(ReadSipFile(*got, done.Path, car == 2 ? 3 : 2), std::nullopt);
  ASSERT_EQ(ReadSipFile(*got, done.Path, car), std::nullopt);
  EXPECT_EQ(got->CarNewSpeed[car], 100);
  EXPECT_TRUE(got->CarWetTires[car]);
  EXPECT_EQ(got->CarSpace[car], host->CarSpace[car]);
  got->CarNewSpeed[car] = host->CarNewSpeed[car];
  got->CarWetTires[car] = host->CarWetTires[car];
  EXPECT_TRUE(*got == *host) << "nothing else changed";
}

}  // namespace
}  // namespace vm
