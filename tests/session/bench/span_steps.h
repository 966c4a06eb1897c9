// A thread's calls divided among the steps of a sequence, and each step's time among those who took it.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "session/bench/metered_service.h"

namespace moorlak::session {

// Where a step begins: the first call after the last step's beginning with this in its name and its text; then back to
// the nearest `lead` before it, which prepares that call, if one is named.
struct StepMark {
  const char* step;
  const char* call;
  const char* text = "";
  const char* lead = "";
};

// Microseconds. `own` is what is left of the step's time when the others are taken off.
struct StepCost {
  double wait = 0;
  double child = 0;
  double lab = 0;
  double own = 0;
  // The own calls' times by name, in the order of the calls; what lies between calls stands under "".
  std::map<std::string, std::vector<double>> calls;
};

// What the step takes when nothing else has a turn on the processors: of the n-th call of each function the least of
// all runs, summed up.
double Undisturbed(const std::vector<StepCost>& runs);

// How often the thread whose log line has this text made the call.
size_t CountCalls(const std::vector<Span>& spans, std::string_view logText, std::string_view call);

// Of the thread whose log line has this text. One cost for each mark but the last, which is the end; empty when a mark
// is not found, which is told as a failed test.
std::vector<StepCost> CostsOfSteps(const std::vector<Span>& spans, std::string_view logText,
                                   const std::vector<StepMark>& marks);

}  // namespace moorlak::session
