// Divides a thread's calls among the steps of a sequence, and each step's time by who took it.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "session/bench/metered_service.h"

namespace moorlak::session {

// The start of a step: the first call after the previous step's start whose name and text contain these. If `lead` is
// set, the step starts at the nearest `lead` before that call, which prepares it.
struct StepMark {
  const char* step;
  const char* call;
  const char* text = "";
  const char* lead = "";
};

// Microseconds. `own` is the step's time minus the other three.
struct StepCost {
  double wait = 0;
  double child = 0;
  double lab = 0;
  double own = 0;
  // Times of our own calls by name, in order. The time between calls is under "".
  std::map<std::string, std::vector<double>> calls;
};

// The step's time with the processors to itself: the minimum over all runs for each function's n-th call, summed up.
double Undisturbed(const std::vector<StepCost>& runs);

// How often the thread that logged this text made the call.
size_t CountCalls(const std::vector<Span>& spans, std::string_view logText, std::string_view call);

// For the thread that logged this text: one cost per mark except the last one, which is the end. Empty, with a failed
// test, if a mark is not found.
std::vector<StepCost> CostsOfSteps(const std::vector<Span>& spans, std::string_view logText,
                                   const std::vector<StepMark>& marks);

}  // namespace moorlak::session
