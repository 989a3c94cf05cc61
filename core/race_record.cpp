#include "core/race_record.h"

namespace vm {

void WriteCarRaceRecord(TextWriter& w, const RaceState& rs, int i, int carAtPlace) {
  w.Bool(rs.CarEngineDamaged[i]).Bool(rs.CarBrakesDamaged[i]).Int(rs.CarMoveCount[i]).Dbl(rs.CarAvgSpeed[i]);
  w.Int(rs.CarStatus[i]).Int(rs.CarLap[i]).Bool(rs.CarOutOfRace[i]).Int(carAtPlace);
  w.Int(rs.CarDraftTarget[i]).Int(rs.CarRaceDistance[i]).Int(rs.CarLane[i]).Int(rs.CarSpace[i]);
  w.Int(rs.CarWears[i]).Int(rs.CarSpeed[i]).Int(rs.CarApexNumber[i]).Int(rs.CarApexLimit[i]);
  w.Int(rs.CarApexSpeed[i]).Int(rs.CarCurveRankPaid[i]).Bool(rs.CarOnApexCells[i]);
  w.Int(rs.CarCurveEntryLimit[i]).Int(rs.CarNewSpeed[i]).Int(rs.CarCurveExcessPaid[i]).Bool(rs.CarCurveOwes[i]);
  w.Dbl(rs.CarLapClock[i]).Dbl(rs.CarRaceClock[i]);
  w.EndLine();
}

}  // namespace vm
