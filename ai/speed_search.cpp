#include "ai/speed_search.h"

namespace vm {

void ChooseAISpeeds(RuleContext&) {}

}  // namespace vm
