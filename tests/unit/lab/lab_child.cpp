// A second process for the tests of the machine's store. It also plays the service: the tests set this program's image
// as the service's.
#include <windows.h>

#include <string>

#include "base/utf.h"
#include "machine/machine.h"
#include "machine/store.h"

namespace moorlak::lab {
namespace {

// NAME COUNT: makes that many calls, each adding a firewall rule. Exits with the last one's result.
int Call(const std::string& name, int count) {
  uint32_t code = 0;
  for (int i = 0; i < count; ++i) {
    code = RunCall({name, "rule " + std::to_string(i)}, [&](MachineState& state) {
      state.firewallRules.push_back({name, {}});
      return 0U;
    });
  }
  return static_cast<int>(code);
}

// Dies during a call, with the machine locked and half changed.
int DieWithinACall() {
  RunCall({"Die", ""}, [](MachineState& state) {
    state.adapters.clear();
    TerminateProcess(GetCurrentProcess(), 7);
    return 0U;
  });
  return 0;
}

// Opens a dynamic session with a sublayer and ends without closing it.
int LeaveASession() {
  RunCall({"FwpmEngineOpen0", ""}, [](MachineState& state) {
    state.wfp.sessions.push_back({7, static_cast<uint32_t>(GetCurrentProcessId()), true, false});
    state.wfp.sublayers.push_back({"{K}", "Left", "", 1, 7});
    return 0U;
  });
  return 0;
}

int Run(const std::string& role, const std::string& name, const std::string& count) {
  if (role == "call") return Call(name, std::stoi(count));
  if (role == "die") return DieWithinACall();
  if (role == "session") return LeaveASession();
  if (role == "live") Sleep(INFINITE);
  return 99;
}

}  // namespace
}  // namespace moorlak::lab

int wmain(int count, wchar_t** arguments) {
  const auto word = [&](int index) { return index < count ? moorlak::NarrowUtf16(arguments[index]) : std::string(); };
  return moorlak::lab::Run(word(1), word(2), word(3));
}
