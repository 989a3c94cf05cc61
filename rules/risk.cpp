#include "rules/risk.h"

namespace vm {

int RiskPercent(const RaceState& rs, int car, std::string_view category) {
  if (!IsCarNumber(car)) return 0;
  if (category == "SS") return rs.CarRiskSS[car];
  if (category == "A") return rs.CarRiskA[car];
  if (category == "D") return rs.CarRiskD[car];
  if (category == "T") return rs.CarRiskT[car];
  if (category == "C") return rs.CarRiskC[car];
  if (category == "CA") return rs.CarRiskCA[car];
  return 0;
}

bool RiskRoll(RaceState& rs, Random& rng, int car, std::string_view category) {
  rs.RiskPassed = false;
  const int percent = RiskPercent(rs, car, category);
  if (percent != 0) rs.RiskPassed = rng.Rnd() * 100 <= percent;
  return rs.RiskPassed;
}

}  // namespace vm
