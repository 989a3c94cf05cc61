#include "ai/profiles.h"

namespace vm {

namespace {

const char* ProfileLetter(int profile) {
  switch (profile) {
    case 1: return "E";
    case 2: return "S";
    case 3: return "L";
    default: return "";
  }
}

}  // namespace

std::string ProfileText(const RaceState& rs, int car) {
  if (!IsCarNumber(car)) return "";
  const char* lap = ProfileLetter(rs.CarLapProfile[car]);
  const char* race = ProfileLetter(rs.CarRaceProfile[car]);
  return (*lap ? std::string("LP-") + lap + "/" : std::string()) + (*race ? std::string("RP-") + race : std::string());
}

std::string RiskText(const RaceState& rs, int car) {
  if (!IsCarNumber(car)) return "";
  return std::to_string(rs.CarRiskSS[car]) + "/" + std::to_string(rs.CarRiskA[car]) + "/" +
         std::to_string(rs.CarRiskD[car]) + "/" + std::to_string(rs.CarRiskT[car]) + "/" +
         std::to_string(rs.CarRiskC[car]) + "/" + std::to_string(rs.CarRiskCA[car]);
}

}  // namespace vm
