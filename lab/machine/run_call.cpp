#include <windows.h>

#include <stdexcept>

#include "machine/breaks.h"
#include "machine/lifetime.h"
#include "machine/machine.h"
#include "machine/processes.h"
#include "machine/store.h"
#include "meter/meter_record.h"

// libstdc++: frees the memory that it reserves for exceptions when memory is short.
namespace __gnu_cxx {
void __freeres();
}

namespace moorlak::lab {
namespace {

// Without this, a stand-in DLL would leak that memory, 70 KiB, each time it is loaded and unloaded.
const struct ExceptionMemory {
  ~ExceptionMemory() { __gnu_cxx::__freeres(); }
} exceptionMemory;

// What the due faults do to this call.
struct Plan {
  bool hang = false;
  bool waitAtBreak = false;
  bool kill = false;
  bool killAfter = false;
  DWORD delayMs = 0;
  std::optional<uint32_t> failure;
};

bool IsCarriedOutHere(const std::string& kind) {
  return kind == "fail" || kind == "kill" || kind == "kill-after" || kind == "hang" || kind == "break" ||
         kind == "delay";
}

bool IsMeant(const Fault& fault, const Call& call) {
  return (fault.call.empty() || fault.call == call.name) && call.arguments.find(fault.argument) != std::string::npos;
}

// Counts a matching call and returns whether the fault is due now.
bool IsDue(Fault& fault) {
  ++fault.seen;
  const bool due = fault.nth == 0 || fault.nth == fault.seen;
  fault.hit = fault.hit || due;
  return due;
}

void Enter(Plan& plan, const Fault& fault) {
  if (fault.kind == "fail" && !plan.failure) plan.failure = fault.code;
  if (fault.kind == "kill") plan.kill = true;
  if (fault.kind == "kill-after") plan.killAfter = true;
  if (fault.kind == "hang") plan.hang = true;
  if (fault.kind == "break") plan.waitAtBreak = true;
  if (fault.kind == "delay") plan.delayMs += fault.code;
}

Plan MeetFaults(MachineState& state, const Call& call) {
  Plan plan;
  for (Fault& fault : state.faults) {
    if (IsCarriedOutHere(fault.kind) && IsMeant(fault, call) && IsDue(fault)) Enter(plan, fault);
  }
  return plan;
}

std::string OneLine(const std::string& text) {
  std::string line;
  for (const char character : text) {
    if (character == '\n') {
      line += "\\n";
    } else if (character == '\r') {
      line += "\\r";
    } else {
      line += character;
    }
  }
  return line;
}

void Log(uint64_t number, const Call& call, const std::string& result) {
  AppendToCallLog(std::to_string(number) + " " + ProgramName() + " " + OneLine(call.name) + " " +
                  OneLine(call.arguments) + " -> " + result);
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t begin = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

void PauseUnlocked(MachineLock& lock, MachineState& state, DWORD milliseconds) {
  SaveMachine(state);
  lock.Release();
  Sleep(milliseconds);
  lock.Acquire();
  state = LoadMachine().value_or(MachineState{});
}

// Compares everything but the record and the faults, which belong to the lab and not to the machine.
bool IsSameMachine(MachineState one, const MachineState& other) {
  one.record = other.record;
  one.faults = other.faults;
  return one == other;
}

void Remember(const std::string& cause, const MachineState& state) {
  if (state.record.keepHistory) AppendToHistory(MomentToJson({cause, state}));
}

void DropDead(MachineState& state) {
  state.record.clockMs = GetTickCount64();
  const MachineState before = state;
  DropDeadProcesses(state, IsProcessAlive);
  if (!IsSameMachine(before, state)) Remember("a process ended", state);
}

// Reports to the meter, in a program that has it loaded, that this time is the lab's.
class LabTime {
 public:
  LabTime() : meter(IsMetered() ? GetModuleHandleW(kMeterModule) : nullptr) { Call("MeterLabBegins"); }
  ~LabTime() { Call("MeterLabEnds"); }
  LabTime(const LabTime&) = delete;
  LabTime& operator=(const LabTime&) = delete;

 private:
  static bool IsMetered() { return GetEnvironmentVariableW(kMeterVariable, nullptr, 0) != 0; }

  void Call(const char* function) const {
    if (meter == nullptr) return;
    const auto call = reinterpret_cast<void (*)()>(reinterpret_cast<void*>(GetProcAddress(meter, function)));
    if (call != nullptr) call();
  }
  HMODULE meter;
};

// Ends the service before the change that its call would have made. The change still counts.
uint32_t EndBeforeChange(MachineState& state, const MachineState& before, uint64_t number, const Call& call) {
  const Record record = state.record;
  state = before;
  state.record = record;
  SaveMachine(state);
  Log(number, call, "killed, service ended");
  EndProcesses(state.serviceImage);
  return ERROR_PROCESS_ABORTED;
}

// Runs the body, saves its changes, and ends the service if this was the change to end it at.
uint32_t DoBody(MachineState& state, uint64_t number, const Call& call, bool killAfter,
                const std::function<uint32_t(MachineState&)>& body) {
  const MachineState before = state;
  const uint32_t code = body(state);
  if (code != 0) {
    const Record record = state.record;
    state = before;
    state.record = record;
  }
  const bool changed = !IsSameMachine(before, state);
  if (changed) ++state.record.changes;
  const bool isChangeToKill = changed && state.record.changes == state.record.killAtChange;
  if (isChangeToKill && state.record.killBefore) return EndBeforeChange(state, before, number, call);
  const bool endsService = killAfter || isChangeToKill;
  SaveMachine(state);
  Log(number, call, std::to_string(code) + (endsService ? ", service ended" : ""));
  if (changed) Remember(call.name + " " + call.arguments, state);
  if (endsService) EndProcesses(state.serviceImage);
  return code;
}

}  // namespace

uint32_t RunCall(const Call& call, const std::function<uint32_t(MachineState&)>& body) {
  const LabTime labTime;
  MachineLock lock;
  std::optional<MachineState> state = LoadMachine();
  if (!state) return body(state.emplace());
  DropDead(*state);
  const uint64_t number = ++state->record.calls;
  const Plan plan = MeetFaults(*state, call);
  if (plan.delayMs != 0) PauseUnlocked(lock, *state, plan.delayMs);
  if (plan.waitAtBreak) WaitAtBreak(lock, *state, number, call.name);
  // Processes may have died during the wait.
  if (plan.delayMs != 0 || plan.waitAtBreak) DropDead(*state);
  if (plan.hang) {
    Log(number, call, "hang");
    PauseUnlocked(lock, *state, INFINITE);
  }
  if (plan.kill) {
    SaveMachine(*state);
    Log(number, call, "killed");
    EndProcesses(state->serviceImage);
    return ERROR_PROCESS_ABORTED;
  }
  if (plan.failure) {
    SaveMachine(*state);
    Log(number, call, std::to_string(*plan.failure));
    return *plan.failure;
  }
  return DoBody(*state, number, call, plan.killAfter, body);
}

std::optional<uint32_t> TakeFault(const Call& call, const std::string& kind) {
  std::optional<uint32_t> code;
  const MachineLock lock;
  std::optional<MachineState> state = LoadMachine();
  if (!state) return code;
  bool counted = false;
  for (Fault& fault : state->faults) {
    if (fault.kind != kind || !IsMeant(fault, call)) continue;
    counted = true;
    if (IsDue(fault) && !code) code = fault.code;
  }
  if (counted) SaveMachine(*state);
  return code;
}

MachineState ReadMachine() {
  const MachineLock lock;
  std::optional<MachineState> state = LoadMachine();
  if (!state) return {};
  MachineState before = *state;
  DropDead(*state);
  before.record.clockMs = state->record.clockMs;
  // Saved, because a dead process's id may be reused.
  if (*state != before) SaveMachine(*state);
  return *state;
}

bool HasMachine() {
  const MachineLock lock;
  return LoadMachine().has_value();
}

void EditMachine(const std::function<void(MachineState&)>& edit) {
  const MachineLock lock;
  std::optional<MachineState> state = LoadMachine();
  if (!state) throw std::runtime_error("lab: there is no machine in this prefix");
  DropDead(*state);
  edit(*state);
  SaveMachine(*state);
}

void CreateMachine(const MachineState& state) {
  const MachineLock lock;
  SaveMachine(state);
  EmptyCallLog();
}

std::vector<std::string> ReadCallLog() {
  const MachineLock lock;
  return Lines(ReadCallLogText());
}

std::vector<Moment> ReadHistory() {
  const MachineLock lock;
  std::vector<Moment> history;
  for (const std::string& line : Lines(ReadHistoryText())) history.push_back(MomentFromJson(line));
  return history;
}

}  // namespace moorlak::lab
