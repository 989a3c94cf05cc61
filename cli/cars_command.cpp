#include "cli/cars_command.h"

#include <memory>
#include <optional>
#include <ostream>

#include <nlohmann/json.hpp>

#include "cars/car_file.h"
#include "cli/commands.h"

namespace vm {

int CarsCommand(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
  std::string file;
  bool json = false;
  for (const std::string& arg : args) {
    if (arg == "--json") {
      json = true;
    } else if (file.empty() && arg.rfind("--", 0) != 0) {
      file = arg;
    } else {
      err << "cars: unexpected argument \"" << arg << "\"\n" << kCarsUsage;
      return kExitUsage;
    }
  }
  if (file.empty()) {
    err << "cars: which car file?\n" << kCarsUsage;
    return kExitUsage;
  }
  // The state is large; keep it off the stack. No cars folder: pictures print as stored.
  auto rs = std::make_unique<RaceState>();
  if (std::optional<FileError> e = LoadCarFile(*rs, file, "", SetupPointsRule::Replace)) {
    err << "velomark-cli: " << e->Describe() << "\n";
    return kExitFileError;
  }
  nlohmann::ordered_json cars = nlohmann::ordered_json::array();
  for (int car = 1; car <= rs->CarsInFile; ++car) {
    const std::optional<int> cost = CarDesignCost(*rs, car);
    nlohmann::ordered_json c;
    c["Car"] = car;
    c["DriverName"] = rs->DriverName[car];
    c["CarTeam"] = rs->CarTeam[car];
    c["CarIsAI"] = rs->CarIsAI[car];
    c["CarStartSpeed"] = rs->CarStartSpeed[car];
    c["CarAcceleration"] = rs->CarAcceleration[car];
    c["CarDeceleration"] = rs->CarDeceleration[car];
    c["CarTopSpeed"] = rs->CarTopSpeed[car];
    c["CarWearPerLap"] = rs->CarWearPerLap[car];
    c["CarDRM"] = rs->CarDRM[car];
    c["CarPicture"] = rs->CarPicture[car];
    c["CarRaceProfile"] = rs->CarRaceProfile[car];
    c["CarLapProfile"] = rs->CarLapProfile[car];
    c["PitStrategy"] = rs->PitStrategy[car];
    c["Risks"] = {{"SS", rs->CarRiskSS[car]}, {"C", rs->CarRiskC[car]},  {"D", rs->CarRiskD[car]},
                  {"CA", rs->CarRiskCA[car]}, {"A", rs->CarRiskA[car]}, {"T", rs->CarRiskT[car]}};
    c["CarProfileSpare"] = rs->CarProfileSpare[car];
    c["CarWearBonus"] = rs->CarWearBonus[car];
    c["CarQualifyBonus"] = rs->CarQualifyBonus[car];
    c["DesignCost"] = cost ? nlohmann::ordered_json(*cost) : nlohmann::ordered_json();
    c["WithinPoints"] = cost && *cost <= rs->CarSetupPoints;
    cars.push_back(std::move(c));
  }
  if (json) {
    nlohmann::ordered_json j;
    j["CarSetupPoints"] = rs->CarSetupPoints;
    j["CarsInFile"] = rs->CarsInFile;
    j["Cars"] = std::move(cars);
    out << j.dump(2) << "\n";
    return kExitOk;
  }
  out << "CarSetupPoints: " << rs->CarSetupPoints << "\nCarsInFile: " << rs->CarsInFile << "\n";
  for (const auto& c : cars) {
    const auto& r = c["Risks"];
    out << c["Car"].get<int>() << ". " << c["DriverName"].get<std::string>() << " (" << c["CarTeam"].get<std::string>()
        << ") " << (c["CarIsAI"].get<bool>() ? "Computer" : "Human") << "\n"
        << "   start " << c["CarStartSpeed"] << ", acc " << c["CarAcceleration"] << ", dec " << c["CarDeceleration"]
        << ", top " << c["CarTopSpeed"] << ", wear " << c["CarWearPerLap"] << ", DRM "
        << FormatDRM(c["CarDRM"].get<int>()) << "\n"
        << "   profile race " << c["CarRaceProfile"] << " lap " << c["CarLapProfile"] << ", pit strategy "
        << c["PitStrategy"] << ", risks SS " << r["SS"] << " C " << r["C"] << " D " << r["D"] << " CA " << r["CA"]
        << " A " << r["A"] << " T " << r["T"] << "\n"
        << "   picture " << c["CarPicture"].get<std::string>() << ", wear bonus " << c["CarWearBonus"]
        << ", qualify bonus " << c["CarQualifyBonus"] << "\n"
        << "   design points " << (c["DesignCost"].is_null() ? std::string("?") : c["DesignCost"].dump()) << " of "
        << rs->CarSetupPoints << (c["WithinPoints"].get<bool>() ? "" : "  OVER") << "\n";
  }
  return kExitOk;
}

}  // namespace vm
