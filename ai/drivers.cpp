#include "ai/drivers.h"

#include "ai/line_choice.h"
#include "ai/speed_search.h"

namespace vm {

void UseAIDrivers(RaceEngine& engine) {
  engine.Seams.ChooseAISpeeds = [](RuleContext& ctx) { ChooseAISpeeds(ctx); };
  engine.Seams.PlanMove = [](RuleContext& ctx) { DriveAIMove(ctx); };
}

}  // namespace vm
