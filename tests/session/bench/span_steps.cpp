#include "session/bench/span_steps.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>

namespace moorlak::session {
namespace {

enum class Who { Own, Wait, Child, Lab };

bool IsFrom(const Span& span, std::string_view part) {
  return span.name.find(part) != std::string::npos;
}

bool IsAnyOf(const Span& span, std::initializer_list<std::string_view> parts) {
  return std::ranges::any_of(parts, [&](std::string_view part) { return IsFrom(span, part); });
}

Who TakenBy(const Span& span) {
  if (IsAnyOf(span, {"CreateProcess", "TerminateProcess", "TerminateJobObject"})) return Who::Child;
  if (IsFrom(span, "WaitFor")) return span.text == "process" ? Who::Child : Who::Wait;
  if (IsFrom(span, "!Sleep")) return Who::Wait;
  if (IsAnyOf(span, {"lab", "IPHLPAPI", "fwpuclnt", "SETUPAPI", "WINHTTP"})) return Who::Lab;
  // These load stand-ins: the network list manager and dnsapi.
  if (IsAnyOf(span, {"CoCreateInstance", "LoadLibraryExW"})) return Who::Lab;
  return Who::Own;
}

// The C++ library's sleep ends slightly early, so it polls the clock until the time has passed. That counts as waiting,
// too.
bool IsLookAtTheClock(const Span& span) {
  return IsAnyOf(span, {"GetSystemTimeAsFileTime", "GetTickCount64"});
}

struct Taken {
  double begin = 0;
  double end = 0;
  Who who = Who::Own;
  std::string name;
};

std::vector<Taken> Divide(const std::vector<Span>& spans) {
  std::vector<Taken> all;
  for (const Span& span : spans) {
    if (!all.empty() && all.back().who == Who::Wait && IsLookAtTheClock(span)) {
      all.back().end = span.end;
    } else {
      all.push_back({span.begin, span.end, TakenBy(span), span.name});
    }
  }
  return all;
}

StepCost CostBetween(const std::vector<Taken>& all, double from, double to) {
  StepCost cost;
  double ownCalls = 0;
  for (const Taken& taken : all) {
    const double time = std::min(taken.end, to) - std::max(taken.begin, from);
    if (time <= 0) continue;
    if (taken.who == Who::Wait) cost.wait += time;
    if (taken.who == Who::Child) cost.child += time;
    if (taken.who == Who::Lab) cost.lab += time;
    if (taken.who != Who::Own) continue;
    cost.calls[taken.name].push_back(time);
    ownCalls += time;
  }
  cost.own = to - from - cost.wait - cost.child - cost.lab;
  cost.calls[""].push_back(cost.own - ownCalls);
  return cost;
}

std::vector<Span> ThreadWith(const std::vector<Span>& spans, std::string_view logText) {
  const auto line = std::ranges::find_if(spans, [&](const Span& span) {
    return IsFrom(span, "!WriteFile") && span.text.find(logText) != std::string::npos;
  });
  std::vector<Span> ofThread;
  if (line == spans.end()) return ofThread;
  std::ranges::copy_if(spans, std::back_inserter(ofThread),
                       [&](const Span& span) { return span.thread == line->thread; });
  return ofThread;
}

// The index of the mark's call at or after `from`; spans.size() if there is none.
size_t FindMark(const std::vector<Span>& spans, const StepMark& mark, size_t from) {
  size_t at = from;
  while (at < spans.size() && !(IsFrom(spans[at], mark.call) && spans[at].text.find(mark.text) != std::string::npos))
    ++at;
  if (at == spans.size() || *mark.lead == '\0') return at;
  size_t lead = at;
  while (lead > from && !IsFrom(spans[lead], mark.lead)) --lead;
  return IsFrom(spans[lead], mark.lead) ? lead : at;
}

// Sums the minimum of all lists at each position, up to the length of the shortest list.
double SumOfLeasts(const std::vector<std::vector<double>>& lists) {
  std::vector<double> leasts = lists.front();
  for (const std::vector<double>& list : lists) {
    leasts.resize(std::min(leasts.size(), list.size()));
    for (size_t i = 0; i < leasts.size(); ++i) leasts[i] = std::min(leasts[i], list[i]);
  }
  return std::accumulate(leasts.begin(), leasts.end(), 0.0);
}

}  // namespace

double Undisturbed(const std::vector<StepCost>& runs) {
  std::map<std::string, std::vector<std::vector<double>>> lists;
  for (const StepCost& run : runs) {
    for (const auto& [name, times] : run.calls) lists[name].push_back(times);
  }
  double sum = 0;
  for (const auto& [name, ofRuns] : lists) {
    if (ofRuns.size() == runs.size()) sum += SumOfLeasts(ofRuns);
  }
  return sum;
}

size_t CountCalls(const std::vector<Span>& spans, std::string_view logText, std::string_view call) {
  const std::vector<Span> ofThread = ThreadWith(spans, logText);
  return static_cast<size_t>(std::ranges::count_if(ofThread, [=](const Span& span) { return IsFrom(span, call); }));
}

std::vector<StepCost> CostsOfSteps(const std::vector<Span>& all, std::string_view logText,
                                   const std::vector<StepMark>& marks) {
  const std::vector<Span> spans = ThreadWith(all, logText);
  const std::vector<Taken> taken = Divide(spans);
  std::vector<double> begins;
  size_t at = 0;
  for (const StepMark& mark : marks) {
    const size_t found = FindMark(spans, mark, at);
    if (found == spans.size()) {
      ADD_FAILURE() << "no call for the step " << mark.step;
      return {};
    }
    begins.push_back(spans[found].begin);
    at = found + 1;
  }
  std::vector<StepCost> costs;
  for (size_t i = 1; i < begins.size(); ++i) costs.push_back(CostBetween(taken, begins[i - 1], begins[i]));
  return costs;
}

}  // namespace moorlak::session
