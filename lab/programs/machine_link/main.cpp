// Connects the engine, which is written in Go, to the machine. The engine starts this program from its own folder and
// reads its exit code and its standard output.
//
//   machine_link call NAME COMMANDLINE                       one call
//   machine_link tunnel PROCESS PORT NAME GATEWAY ROUTE...   the adapter of the engine's TUN inbound
//
// Exits with the call's code. "call" also prints the faults for the engine, a line "KIND CODE" each. In a prefix
// without a machine it does nothing and exits with 0. 99: the lab itself failed.
#include <windows.h>

#include <array>

#include "machine/machine.h"
#include "machine/processes.h"
#include "programs/console/program_call.h"
#include "programs/console/text.h"
#include "programs/tunnel/tunnels.h"

namespace moorlak::lab {
namespace {

constexpr uint32_t kNotUnderstood = 98;
constexpr std::array kEngineFaults = {"die", "print"};

uint32_t RunEngineCall(const Words& words) {
  const Call call{words[1], words[2]};
  std::string faults;
  for (const char* kind : kEngineFaults) {
    if (const auto code = TakeFault(call, kind)) faults += std::string(kind) + " " + std::to_string(*code) + "\n";
  }
  PrintBytes(faults);
  return RunCall(call, [](MachineState&) { return 0U; });
}

std::string Joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

uint32_t RunTunnelCall(const Words& words) {
  const auto process = ParseNumber(words[1], 1, UINT32_MAX);
  const auto port = ParseNumber(words[2], 0, UINT16_MAX);
  if (!process || !port) return kNotUnderstood;
  const EngineTunnel tunnel{
      words[3], words[4], {words.begin() + 5, words.end()}, *process, static_cast<uint16_t>(*port)};
  // Without the process id and the port, which differ from run to run.
  const Call call{"xray-tunnel", Joined({words.begin() + 3, words.end()})};
  Sleep(ReadMachine().adapterHabits.engineDelayMs);
  return RunCall(call, [&](MachineState& state) {
    return IsProcessAlive(*process) ? RaiseEngineTunnel(state, tunnel) : ERROR_PROCESS_ABORTED;
  });
}

int Run(const Words& words) {
  if (!HasMachine()) return 0;
  if (words.size() == 3 && words[0] == "call") return static_cast<int>(RunEngineCall(words));
  if (words.size() >= 5 && words[0] == "tunnel") return static_cast<int>(RunTunnelCall(words));
  return kNotUnderstood;
}

}  // namespace
}  // namespace moorlak::lab

int wmain(int count, wchar_t** arguments) {
  using namespace moorlak::lab;
  return RunGuarded("machine_link", count, arguments, Run);
}
