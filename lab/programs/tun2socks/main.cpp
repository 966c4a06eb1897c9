// Stand-in for the program that carries a tunnel adapter's packets to a SOCKS proxy. It takes the adapter and stays. No
// packets pass: programs that make a connection ask the machine for its way and use the proxy themselves.
#include <windows.h>

#include "base/threads.h"
#include "machine/machine.h"
#include "programs/console/program_call.h"
#include "programs/tun2socks/tun2socks.h"

namespace moorlak::lab {
namespace {

constexpr char kName[] = "tun2socks";

void PlanDeath(const Call& call) {
  const std::optional<uint32_t> ms = TakeFault(call, "die");
  if (!ms) return;
  StartDetachedThread([ms] {
    Sleep(*ms);
    TerminateProcess(GetCurrentProcess(), 1);
  });
}

int Run(const Words& words) {
  if (!HasMachine()) return kLabFailed;
  const Call call = CallOfThisProcess(kName);
  PlanDeath(call);
  PrintNoise(call);
  // Runs with a valid command line but never takes the adapter.
  if (TakeFault(call, "never-attach")) Sleep(INFINITE);
  Sleep(ReadMachine().adapterHabits.engineDelayMs);
  const auto execute = [](MachineState& state, const Words& all) {
    return RunTun2Socks(state, all, GetCurrentProcessId());
  };
  const uint32_t code = RunProgramCall(call, words, execute);
  if (code == 0) Sleep(INFINITE);
  return static_cast<int>(code);
}

}  // namespace
}  // namespace moorlak::lab

int wmain(int count, wchar_t** arguments) {
  using namespace moorlak::lab;
  return RunGuarded(kName, count, arguments, Run);
}
