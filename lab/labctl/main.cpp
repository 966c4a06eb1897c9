// labctl: the simulated machine from the command line.
#include <windows.h>

#include <exception>
#include <functional>
#include <map>
#include <stdexcept>

#include "base/durable_file.h"
#include "base/utf.h"
#include "fwpuclnt/objects.h"
#include "labctl/arguments.h"
#include "labctl/changes.h"
#include "machine/cold_programs.h"
#include "machine/fixtures.h"
#include "machine/machine.h"
#include "machine/restart_system.h"
#include "winhttp/egress.h"

namespace moorlak::lab {
namespace {

using Words = std::vector<std::string>;

constexpr int kFailed = 1;
constexpr int kNotUnderstood = 2;
constexpr size_t kLargestFile = size_t{64} << 20;

// Writes the text unchanged: UTF-8, no conversion of line ends.
void Write(DWORD stream, const std::string& text) {
  WriteWhole(GetStdHandle(stream), text);
}

void Print(const std::string& text) {
  Write(STD_OUTPUT_HANDLE, text);
}

std::string ReadInput() {
  std::string text;
  char part[4096];
  DWORD size = 0;
  while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), part, sizeof part, &size, nullptr) && size != 0)
    text.append(part, size);
  return text;
}

std::string ReadGiven(const std::string& path) {
  if (path == "-") return ReadInput();
  std::optional<std::string> text = ReadWholeFile(WidenUtf8(path), kLargestFile);
  if (!text) throw std::runtime_error("cannot read " + path);
  return std::move(*text);
}

// Requires a machine: ReadMachine returns an empty one if there is none.
MachineState ExistingMachine() {
  if (!HasMachine()) throw std::runtime_error("there is no machine in this prefix; labctl create makes one");
  return ReadMachine();
}

int Create(const Words& words) {
  const NewMachine wanted = ParseCreate(words);
  if (!wanted.path.empty()) {
    CreateMachine(CheckedFromJson(ReadGiven(wanted.path)));
    return 0;
  }
  for (const Fixture& fixture : Fixtures()) {
    if (fixture.name != wanted.fixture) continue;
    CreateMachine(fixture.make());
    return 0;
  }
  throw UsageError("no such fixture: " + wanted.fixture);
}

int ListFixtures(const Words& words) {
  RequireNoWords(words);
  for (const Fixture& fixture : Fixtures()) Print(fixture.name + "\n");
  return 0;
}

int ShowText(const Words& words) {
  RequireNoWords(words);
  Print(Show(ExistingMachine()));
  return 0;
}

int ShowJson(const Words& words) {
  RequireNoWords(words);
  Print(ToJson(ExistingMachine()) + "\n");
  return 0;
}

int Edit(const Words& words) {
  RequireNoWords(words);
  const std::string patch = ReadInput();
  EditMachine([&](MachineState& state) { state = Patched(state, patch); });
  return 0;
}

int AddFault(const Fault& fault) {
  EditMachine([&](MachineState& state) { state.faults.push_back(fault); });
  return 0;
}

int Cold(const Words& words) {
  if (words.size() != 1) throw UsageError("cold takes a program");
  EditMachine([&](MachineState& state) { MakeCold(state, words[0]); });
  return 0;
}

int ClearFaults(const Words& words) {
  RequireNoWords(words);
  EditMachine([](MachineState& state) { state.faults.clear(); });
  return 0;
}

int WaitBreak(const Words& words) {
  const uint32_t seconds = ParseSeconds(words);
  ExistingMachine();
  if (!WaitForBreak(seconds * 1000)) throw std::runtime_error("no call waits at a break");
  return 0;
}

int Release(const Words& words) {
  RequireNoWords(words);
  ReleaseBreak();
  return 0;
}

int RebootMachine(const Words& words) {
  RequireNoWords(words);
  RestartSystem();
  return 0;
}

int RestartFilterEngine(const Words& words) {
  RequireNoWords(words);
  EditMachine([](MachineState& state) { RestartEngine(state.wfp); });
  return 0;
}

// "tunnel PORT" (the proxy's), "direct PORT" (the web server's), or "none".
std::string EgressText(const MachineState& state, const std::string& host) {
  const Egress egress = FindEgress(state, AddressOfHost(host));
  if (egress.exit == Exit::Tunnel) return "tunnel " + std::to_string(egress.proxyPort);
  if (egress.exit == Exit::Direct) return "direct " + std::to_string(state.httpPort);
  return "none";
}

int ShowEgress(const Words& words) {
  if (words.size() != 1) throw UsageError("egress takes a host");
  Print(EgressText(ExistingMachine(), words[0]) + "\n");
  return 0;
}

int ShowCalls(const Words& words) {
  RequireNoWords(words);
  ExistingMachine();
  for (const std::string& line : ReadCallLog()) Print(line + "\n");
  return 0;
}

int ShowUnknown(const Words& words) {
  RequireNoWords(words);
  const MachineState state = ExistingMachine();
  for (const std::string& line : state.record.unknownCommands) Print(line + "\n");
  return state.record.unknownCommands.empty() ? 0 : kFailed;
}

int Run(const Words& words) {
  static const std::map<std::string, std::function<int(const Words&)>> commands = {
      {"create", Create},
      {"fixtures", ListFixtures},
      {"show", ShowText},
      {"json", ShowJson},
      {"edit", Edit},
      {"cold", Cold},
      {"fault", [](const Words& rest) { return AddFault(ParseFault(rest)); }},
      {"break", [](const Words& rest) { return AddFault(ParseBreak(rest)); }},
      {"wait-break", WaitBreak},
      {"release", Release},
      {"clear-faults", ClearFaults},
      {"reboot", RebootMachine},
      {"restart-engine", RestartFilterEngine},
      {"egress", ShowEgress},
      {"calls", ShowCalls},
      {"unknown", ShowUnknown}};
  if (words.empty()) throw UsageError("no command");
  const auto command = commands.find(words[0]);
  if (command == commands.end()) throw UsageError("no such command: " + words[0]);
  return command->second(Words(words.begin() + 1, words.end()));
}

int RunAndReport(const Words& words) {
  try {
    return Run(words);
  } catch (const UsageError& error) {
    Write(STD_ERROR_HANDLE, "labctl: " + std::string(error.what()) + "\n" + kUsage);
    return kNotUnderstood;
  } catch (const std::exception& error) {
    Write(STD_ERROR_HANDLE, "labctl: " + std::string(error.what()) + "\n");
    return kFailed;
  }
}

}  // namespace
}  // namespace moorlak::lab

int wmain(int count, wchar_t** arguments) {
  std::vector<std::string> words;
  for (int i = 1; i < count; ++i) words.push_back(moorlak::NarrowUtf16(arguments[i]));
  return moorlak::lab::RunAndReport(words);
}
