#include "online/online_race.h"

#include <algorithm>

#include "engine/laps.h"

namespace vm {

OnlineRace::OnlineRace(ChatSession& session, RaceEngine& engine, RaceState& rs, std::string appPath,
                       std::string carsFolder, OnlineTrackLoader loadTrack)
    : session_(session),
      engine_(engine),
      rs_(rs),
      appPath_(std::move(appPath)),
      carsFolder_(std::move(carsFolder)),
      loadTrack_(std::move(loadTrack)) {}

void OnlineRace::Attach() {
  session_.Hooks.RecordLine = [this](const std::string& tag, const std::string& payload, int source) {
    RecordLine(tag, payload, source);
  };
  session_.Hooks.PersonLost = [this](int n) {
    // After the flag a player leaving is only a player going home.
    if (engine_.WaitingFor() == Waiting::RaceOver) return;
    for (int car = 1; car <= kMaxCars; ++car) {
      if (RemoteConnection[car] != n) continue;
      // Before the start the car is simply nobody's: the computer will drive it.
      if (!rs_.RaceRunning) {
        RemoteConnection[car] = 0;
        continue;
      }
      DriverLost[car] = true;
      // The connection's number may come back with another player: the car keeps no tie to it.
      RemoteConnection[car] = -1;
      Say("The driver of car " + std::to_string(car) +
          " has gone: " + (AutoPilotLostCars ? "the AI drives it now." : "use Send TIP or the auto-pilot to go on."));
    }
    Pump();
  };
  session_.Hooks.ServerLost = [this] {
    WaitingForOther = true;
    if (engine_.WaitingFor() != Waiting::RaceOver) engine_.WaitElsewhere();
    if (Hooks.Changed) Hooks.Changed();
  };
  auto chain = [](auto& seam, auto extra) {
    seam = [before = seam, extra](RuleContext& ctx) {
      if (before) before(ctx);
      extra(ctx);
    };
  };
  chain(engine_.Seams.TurnBegins, [this](RuleContext&) {
    if (!OnlineHost) return;
    SpeedReceived.fill(false);
    pendingSip_.fill("");
    turnHandedTo_ = 0;
    // Step 2 of a race turn: every player gets the race and opens his speed panel.
    Send_TIP();
  });
  engine_.Seams.SpeedChosen = [this](RuleContext&) {
    if (OnlineHost) {
      SpeedReceived[rs_.CurrentCar] = true;
      return false;
    }
    // SaveSpeed: the car's state goes to the host, which goes on with the turn.
    for (const std::string& line : BuildSipBurst(rs_, OnlineCar, carsFolder_)) session_.SendToServer(line);
    SpeedReceived[OnlineCar] = true;
    WaitingForOther = true;
    if (Hooks.Changed) Hooks.Changed();
    return true;
  };
  engine_.Seams.MoveMade = [this](RuleContext&) {
    if (OnlineHost) {
      if (!IsRemote(rs_.CurrentCar)) Send_TEP();
      return false;
    }
    Send_TEP();
    WaitingForOther = true;
    if (Hooks.Changed) Hooks.Changed();
    return true;
  };
}

// --- Host ------------------------------------------------------------------------------------------

void OnlineRace::StartRace() {
  // Every car no person has joined for is the computer's; the host drives his own.
  for (int car = 1; car <= kMaxCars; ++car)
    if (car != OnlineCar) rs_.CarIsAI[car] = !IsRemote(car);
  finalSent_ = false;
  turnHandedTo_ = 0;
  engine_.StartRace();
  Pump();
}

void OnlineRace::Pump() {
  if (!OnlineHost || pumping_) return;
  pumping_ = true;
  for (;;) {
    const Waiting w = engine_.WaitingFor();
    const int car = rs_.CurrentCar;
    const bool forPlayer = w == Waiting::Speed || w == Waiting::PitContinue || w == Waiting::Steering;
    if (forPlayer && IsCarNumber(car) && DriverLost[car] && AutoPilotLostCars) {
      AutoPilotCar(car);
      continue;
    }
    if (forPlayer && IsRemote(car) && w != Waiting::Steering) {
      if (pendingSip_[car].empty()) break;
      const std::string path = std::exchange(pendingSip_[car], "");
      TakeSIP(car, path);
      if (engine_.WaitingFor() == w && rs_.CurrentCar == car) break;
      continue;
    }
    if (w == Waiting::Steering && IsRemote(car)) {
      SteeringSequence();
      break;
    }
    if (w == Waiting::RaceOver && !finalSent_) {
      // The clients take the final standings from the host's race.
      finalSent_ = true;
      Send_TIP();
    }
    break;
  }
  pumping_ = false;
  if (Hooks.Changed) Hooks.Changed();
}

void OnlineRace::CheckSpeeds() { Pump(); }

void OnlineRace::SteeringSequence() {
  // Step 5: another player's car moves on his machine; the TIP hands him the turn, once.
  const int car = rs_.CurrentCar;
  if (turnHandedTo_ == car) return;
  turnHandedTo_ = car;
  Send_TIP();
}

void OnlineRace::TakeSIP(int car, const std::string& path) {
  if (std::optional<std::string> e = ReadSipFile(rs_, path, car)) {
    Say("The speed of car " + std::to_string(car) + " was refused: " + *e);
    return;
  }
  SpeedReceived[car] = true;
  if (rs_.CarIsAI[car] && engine_.WaitingFor() == Waiting::Speed) {
    // The player put his car on auto-pilot: the AI chooses its speed with the others.
    engine_.AutoPilot();
  } else {
    engine_.TakeSpeedFromElsewhere();
  }
}

void OnlineRace::TakeTEP(int car, const std::string& path) {
  if (engine_.WaitingFor() != Waiting::Steering || rs_.CurrentCar != car || turnHandedTo_ != car) {
    Say("A move of car " + std::to_string(car) + " came out of its turn and was left alone.");
    return;
  }
  TipHeader header;
  if (std::optional<std::string> e =
          ReadTipFile(rs_, path, RecordSender::Client, carsFolder_, loadTrack_, header, car)) {
    Say("The move of car " + std::to_string(car) + " was refused: " + *e);
    return;
  }
  Tip = header;
  turnHandedTo_ = 0;
  // LoadTEP on the host: the state is the mover's, and the host goes straight on.
  engine_.TakeMoveFromElsewhere();
  Pump();
}

void OnlineRace::cmdSendTip() {
  if (!OnlineHost) return;
  Send_TIP();
}

void OnlineRace::AutoPilotCar(int car) {
  if (!OnlineHost || !IsCarNumber(car)) return;
  RemoteConnection[car] = 0;
  rs_.CarIsAI[car] = true;
  rs_.CarIsAIAtStart[car] = true;
  if (rs_.CurrentCar == car) {
    if (turnHandedTo_ == car) turnHandedTo_ = 0;
    switch (engine_.WaitingFor()) {
      case Waiting::Speed:
      case Waiting::Steering: engine_.AutoPilot(); break;
      case Waiting::PitContinue: engine_.PitContinue(); break;
      default: break;
    }
  }
  Pump();
}

bool OnlineRace::LocalTurn() const {
  const Waiting w = engine_.WaitingFor();
  if (w != Waiting::Speed && w != Waiting::PitContinue && w != Waiting::Steering) return false;
  return OnlineHost ? !IsRemote(rs_.CurrentCar) : !WaitingForOther;
}

// --- Both ------------------------------------------------------------------------------------------

void OnlineRace::SendCar(int localCar) { session_.SendToServer(BuildCrsLine(rs_, localCar, carsFolder_)); }

void OnlineRace::Send_TIP() {
  for (const std::string& line : BuildTipBurst(rs_, RecordKind::TIP, rs_.CurrentCar, carsFolder_)) {
    if (OnlineHost)
      session_.SendToAll(line, false);
    else
      session_.SendToServer(line);
  }
}

void OnlineRace::Send_TEP() {
  const int mover = OnlineHost ? rs_.CurrentCar : OnlineCar;
  for (const std::string& line : BuildTipBurst(rs_, RecordKind::TEP, mover, carsFolder_)) {
    if (OnlineHost)
      session_.SendToAll(line, false);
    else
      session_.SendToServer(line);
  }
}

void OnlineRace::LoadTIP(RecordKind kind) {
  lastKind_ = kind;
  // Step 1: a record without the rest of the race has only the chosen speeds to go by.
  if (!Tip.Whole && Tip.TipSteeringPhase) rs_.CarSpeed = rs_.CarNewSpeed;
  // Steps 2 and 3.
  rs_.CurrentCar = Tip.TipCar;
  rs_.OrderIndex = Tip.TipOrderIndex;
  rs_.SteeringPhase = Tip.TipSteeringPhase;
  rs_.SpeedPhase = Tip.TipSpeedPhase;
  WaitingForOther = true;
  const bool mine = IsCarNumber(OnlineCar) && StillRunning(rs_, OnlineCar) && !rs_.CarIsAI[OnlineCar] &&
                    rs_.CarLap[OnlineCar] <= rs_.RaceLaps;
  if (rs_.RaceOver) {
    engine_.Resume(Waiting::RaceOver);
  } else if (kind == RecordKind::TIP && Tip.TipSpeedPhase && mine) {
    // Step 4: this player's speed panel.
    rs_.CurrentCar = OnlineCar;
    WaitingForOther = false;
    engine_.Resume(rs_.CarInPit[OnlineCar] ? Waiting::PitContinue : Waiting::Speed);
  } else if (kind == RecordKind::TIP && Tip.TipSteeringPhase && Tip.TipCar == OnlineCar && mine) {
    // Step 5: the steering panel is live for the player whose turn it is.
    WaitingForOther = false;
    engine_.Resume(Waiting::Steering);
  } else {
    engine_.WaitElsewhere();
  }
  if (Hooks.Changed) Hooks.Changed();
}

void OnlineRace::RecordLine(const std::string& tag, const std::string& payload, int source) {
  if (tag == "[ONLINECC]") {
    long long car = 0;
    if (OnlineHost || !ParseField(sParam(payload, 1), car) || car < 1 || car > kMaxCars) return;
    OnlineCar = static_cast<int>(car);
    if (Hooks.Changed) Hooks.Changed();
    return;
  }
  if (tag == "[CRS]") {
    if (!OnlineHost) return;
    const int car = source + 1;
    if (source < 1) return;
    if (car > kMaxCars) {
      session_.SendToPerson("[Message]The field is full: you can watch the race, but not drive in it.", source);
      return;
    }
    if (rs_.RaceRunning) {
      session_.SendToPerson("[Message]The race has begun: you can watch it, but not drive in it.", source);
      return;
    }
    if (std::optional<std::string> e = ReadCRS(rs_, car, payload, carsFolder_)) {
      Say("The car of a joining player was refused: " + *e);
      return;
    }
    RemoteConnection[car] = source;
    DriverLost[car] = false;
    rs_.CarCount = std::max(rs_.CarCount, car);
    rs_.CarsInFile = std::max(rs_.CarsInFile, car);
    session_.SendToPerson("[ONLINECC]" + sFormatSend(car), source);
    if (Hooks.Changed) Hooks.Changed();
    return;
  }
  if (tag == "[LOADTIP]" || tag == "[LOADTEP]") return;
  // The host takes no TIP; a client takes no SIP.
  const bool sip = tag.rfind("[STARTSIP]", 0) == 0 || tag.rfind("[ENDSIP]", 0) == 0 || tag.rfind("[SIP", 0) == 0;
  const bool tip = tag.rfind("[STARTTIP]", 0) == 0 || tag.rfind("[ENDTIP]", 0) == 0 || tag.rfind("[TIP", 0) == 0;
  if ((OnlineHost && tip) || (!OnlineHost && sip)) return;
  // A host hears records only from the players it has given a car.
  if (OnlineHost && std::none_of(RemoteConnection.begin(), RemoteConnection.end(), [&](int c) { return c == source; }))
    return;
  if (std::optional<RecordChannel::Completed> done = ChannelOf(source).Line(tag, payload)) Completed(*done, source);
}

RecordChannel& OnlineRace::ChannelOf(int source) {
  return channels_.try_emplace(source, appPath_ + std::string(kOnlineFilesFolder), OnlineCar, source + 1).first->second;
}

void OnlineRace::Completed(const RecordChannel::Completed& done, int source) {
  if (!done.Error.empty()) {
    Say("A record was refused: " + done.Error);
    return;
  }
  if (OnlineHost) {
    const auto at = std::find(RemoteConnection.begin() + 1, RemoteConnection.end(), source);
    if (at == RemoteConnection.end()) return;
    const int car = static_cast<int>(at - RemoteConnection.begin());
    if (done.Kind == RecordKind::SIP) {
      pendingSip_[car] = done.Path;
      Pump();
    } else if (done.Kind == RecordKind::TEP) {
      TakeTEP(car, done.Path);
    }
    return;
  }
  TipHeader header;
  if (std::optional<std::string> e = ReadTipFile(rs_, done.Path, RecordSender::Host, carsFolder_, loadTrack_, header)) {
    Say("The race from the host was refused: " + *e);
    return;
  }
  Tip = header;
  LoadTIP(done.Kind);
}

void DriveByRule(RaceEngine& engine) {
  switch (engine.WaitingFor()) {
    case Waiting::Speed: {
      int pick = -1, lowest = -1;
      for (const SpeedButton& b : engine.SpeedPanel().Buttons) {
        if (!b.Enabled || !b.Seen) continue;
        if (lowest < 0) lowest = b.Speed;
        if (b.Colour != kColourRed) pick = b.Speed;
      }
      engine.NewSpeed(std::max(0, pick >= 0 ? pick : lowest) / 20);
      break;
    }
    case Waiting::PitContinue: engine.PitContinue(); break;
    case Waiting::Steering: {
      const SteeringPanel& p = engine.SteeringPanelShown();
      const std::pair<const SteeringButton*, SteeringCommand> steps[] = {
          {&p.Straight, SteeringCommand::cmdStraight},
          {&p.Left, SteeringCommand::cmdLeft},
          {&p.Right, SteeringCommand::cmdRight},
          {&p.InTurnLeft, SteeringCommand::cmdInTurnLeft},
          {&p.InTurnRight, SteeringCommand::cmdInTurnRight}};
      for (const auto& [button, command] : steps)
        if (button->Visible && button->Enabled) {
          engine.Steer(command);
          return;
        }
      engine.Steer(SteeringCommand::cmdEndEarly);
      break;
    }
    default: break;
  }
}

void OnlineRace::Say(const std::string& text) {
  session_.UpdateStatus(text);
  if (Hooks.Notice) Hooks.Notice(text);
}

}  // namespace vm
