// An online race: how a race turn goes round among the players. Every machine runs the same race
// code; only one moves a car at a time. The host runs the race and the computer cars; a player
// chooses his speed and makes his move on his own machine, with his own dice, and sends the state
// back whole. The host serves the turn in its usual order: a player's speed is taken when the
// player's record has come, and a player's move by handing him the turn with a TIP.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "engine/turn_engine.h"
#include "online/chat_session.h"
#include "online/turn_records.h"

namespace vm {

struct OnlineHooks {
  // The race state or whose turn it is changed: redraw.
  std::function<void()> Changed;
  // Something for the person to read: a record refused, a player's car handed to the AI.
  std::function<void(const std::string&)> Notice;
};

// Makes the choice of a player who gave none: the fastest speed not shown red, the first open step
// of straight, left, right and the in-turn steps, and an early end when none is open.
void DriveByRule(RaceEngine& engine);

class OnlineRace {
 public:
  // `appPath` is the data folder, with its trailing separator; the records go to its
  // "Online Files" folder.
  OnlineRace(ChatSession& session, RaceEngine& engine, RaceState& rs, std::string appPath, std::string carsFolder,
             OnlineTrackLoader loadTrack);

  OnlineHooks Hooks;

  // --- The fields of the online race.
  bool OnlineHost = false;
  int OnlineCar = 0;               // this player's car; 0 before the host has given one
  TipHeader Tip;                   // the last TIP or TEP received
  bool WaitingForOther = false;    // the panels of this machine are not live
  PerCar<bool> SpeedReceived{};    // host: the car's speed for this turn has come
  PerCar<int> RemoteConnection{};  // host: the connection that drives the car, 0 for none
  PerCar<bool> DriverLost{};       // host: the car's player has gone
  // Host: a car whose player has gone is handed to the AI when its turn comes, rather than
  // left standing until a person acts.
  bool AutoPilotLostCars = false;

  // Hooks the race into the session and the engine's seams (after the AI's).
  void Attach();

  // --- Host.
  // Starts the race and serves it until it waits for a person.
  void StartRace();
  // Serves whatever the engine waits for that another machine gives: a speed whose record has
  // come, a player's move to hand over, the flag. Call after every command of the host's person.
  void Pump();
  // cmdSendTip: sends the race as it stands again, for a player who lost the turn.
  void cmdSendTip();
  // Hands a player's car to the AI for the rest of the race, and its waiting turn too.
  void AutoPilotCar(int car);
  // Whether the engine waits for a car driven on this machine (its panel is live here).
  bool LocalTurn() const;

  // --- Client.
  // Sends the joining player's car, queued before the connection is up.
  void SendCar(int localCar);

  // Sends the race to the other machines: a TIP, or a TEP after this machine's move.
  void Send_TIP();
  void Send_TEP();

  // The received state put into play: LoadTIP (and LoadTEP), again on cmdLoadTip.
  void LoadTIP(RecordKind kind);

  // Receives a line of a record from the session.
  void RecordLine(const std::string& tag, const std::string& payload, int source);

 private:
  bool IsRemote(int car) const { return IsCarNumber(car) && RemoteConnection[car] != 0; }
  void CheckSpeeds();
  void SteeringSequence();
  void Completed(const RecordChannel::Completed& done, int source);
  void TakeSIP(int car, const std::string& path);
  void TakeTEP(int car, const std::string& path);
  void Say(const std::string& text);
  RecordChannel& ChannelOf(int source);

  ChatSession& session_;
  RaceEngine& engine_;
  RaceState& rs_;
  std::string appPath_, carsFolder_;
  OnlineTrackLoader loadTrack_;
  std::map<int, RecordChannel> channels_;
  PerCar<std::string> pendingSip_{};  // host: records come before the engine reaches the car
  int turnHandedTo_ = 0;              // host: the player whose move the last TIP handed over
  bool finalSent_ = false;
  bool pumping_ = false;
  RecordKind lastKind_ = RecordKind::TIP;
};

}  // namespace vm
