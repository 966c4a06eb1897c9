#include "network/support/protected_machine.h"

#include <windows.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "base/durable_file.h"
#include "base/handle.h"
#include "fwpuclnt/objects.h"
#include "process/background_commands.h"
#include "tunnel/disconnect.h"
#include "tunnel/vpn_service.h"
#include "unit/base/data_file_path.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr wchar_t kSmartKey[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient";
constexpr wchar_t kSmartName[] = L"DisableSmartNameResolution";
constexpr wchar_t kParallelKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Dnscache\\Parameters";
constexpr wchar_t kParallelName[] = L"DisableParallelAandAAAA";
// Zero is neither the value that a session sets nor the same as no value.
const Policy kPolicyAtBegin{std::nullopt, 0};

std::optional<uint32_t> ReadNumber(const wchar_t* key, const wchar_t* name) {
  DWORD value = 0;
  DWORD size = sizeof(value);
  if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) != ERROR_SUCCESS) return {};
  return value;
}

void SetNumber(const wchar_t* key, const wchar_t* name, const std::optional<uint32_t>& value) {
  if (value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, REG_DWORD, &*value, sizeof(*value));
  } else {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, name);
  }
}

std::string ShowPolicy(const Policy& policy) {
  const auto text = [](const std::optional<uint32_t>& value) { return value ? std::to_string(*value) : "(none)"; };
  return "policy\n  DisableSmartNameResolution " + text(policy.smart) + "\n  DisableParallelAandAAAA " +
         text(policy.parallel) + "\n";
}

std::string ShowFile(const std::string& title, const wchar_t* name) {
  const std::optional<std::string> content = DataFile(name);
  if (!content) return {};
  std::string text = "  " + title + "\n";
  std::istringstream lines(*content);
  for (std::string line; std::getline(lines, line);) text += "    " + line + "\n";
  return text;
}

std::string ShowFiles() {
  return "recovery files\n" + ShowFile("dns_restore.v1", kDnsBackupFile) +
         ShowFile("smhnr_restore.v1", kPolicyBackupFile) + ShowFile("smhnr_session_owned.flag", kPolicyMarkerFile);
}

bool IsOwn(const lab::Adapter& adapter) {
  return adapter.name == "Moorlak";
}

void TakeAddress(lab::MachineState& machine, lab::Adapter& own) {
  own.ipv4.addresses.clear();
  own.storedIpv4.addresses.clear();
  std::erase_if(machine.ipv4Routes, [&](const lab::Route& route) { return route.luid == own.luid; });
}

}  // namespace

Policy ReadPolicy() {
  return {ReadNumber(kSmartKey, kSmartName), ReadNumber(kParallelKey, kParallelName)};
}

void SetPolicy(const Policy& policy) {
  SetNumber(kSmartKey, kSmartName, policy.smart);
  SetNumber(kParallelKey, kParallelName, policy.parallel);
}

std::optional<std::string> DataFile(const wchar_t* name) {
  return ReadWholeFile(RecoveryPath(name), 1u << 20);
}

void WriteDataFile(const wchar_t* name, const std::string& content) {
  if (!WriteFileDurably(RecoveryPath(name), content)) throw std::runtime_error("cannot write a recovery file");
}

void DeleteDataFile(const wchar_t* name) {
  DeleteFileW(RecoveryPath(name).c_str());
}

std::string ShowMasked(lab::MachineState machine, OwnTraces masked) {
  for (lab::Adapter& adapter : machine.adapters) {
    if (!IsOwn(adapter)) continue;
    adapter.ipv4.staticDns.clear();
    adapter.storedIpv4.staticDns.clear();
    if (masked == OwnTraces::NameServersAndAddress) TakeAddress(machine, adapter);
  }
  return lab::Show(machine);
}

std::string ShowPolicyAndFiles() {
  return ShowPolicy(ReadPolicy()) + ShowFiles();
}

lab::Adapter& AdapterNamed(lab::MachineState& machine, const std::string& name) {
  const auto found = std::ranges::find(machine.adapters, name, &lab::Adapter::name);
  if (found == machine.adapters.end()) throw std::runtime_error("no adapter " + name);
  return *found;
}

lab::MachineState WithTunnel(lab::MachineState machine) {
  AddTunnelDefault(machine, AddTunnelAdapter(machine));
  return machine;
}

uint32_t RunProtectionChild(const std::string& words) {
  const std::wstring program = ExecutableFolder() + L"\\" + WidenUtf8(kProtectionChild);
  std::wstring commandLine = WidenUtf8(kProtectionChild) + L" " + WidenUtf8(words);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &started)) {
    throw std::runtime_error("cannot start the child: error " + std::to_string(GetLastError()));
  }
  const KernelHandle process(started.hProcess);
  const KernelHandle thread(started.hThread);
  if (WaitForSingleObject(process.Get(), kGenerousMs) != WAIT_OBJECT_0) {
    TerminateProcess(process.Get(), 1);
    throw std::runtime_error("the child did not end");
  }
  DWORD code = 0;
  GetExitCodeProcess(process.Get(), &code);
  return code;
}

uint32_t SweepStep(uint32_t step) {
  return GetEnvironmentVariableW(L"MOORLAK_FULL_SWEEP", nullptr, 0) == 0 ? step : 1;
}

void OnProtectedMachine::SetUp() {
  Start(lab::DhcpMachine());
  for (const wchar_t* name : {kDnsBackupFile, kPolicyBackupFile, kPolicyMarkerFile}) DeleteDataFile(name);
}

void OnProtectedMachine::TearDown() {
  SetPolicy({});
  OnSimulatedMachine::TearDown();
}

void OnProtectedMachine::Begin(lab::MachineState machine) {
  running = true;
  SetPolicy(kPolicyAtBegin);
  Start(machine);
  beginning = std::move(machine);
}

void OnProtectedMachine::DisconnectProtection() {
  VpnService service(protection);
  CleanupNetworkConfiguration(service);
  WaitForBackgroundCommands(kGenerousMs);
}

void OnProtectedMachine::EndFilterSessions() {
  // The removal only closes a handle that is dead.
  lab::EditMachine([](lab::MachineState& machine) { lab::RestartEngine(machine.wfp); });
  RemoveFilters(protection->guard);
  RemoveFilters(protection->split);
}

std::string OnProtectedMachine::BeforeAll(OwnTraces masked) const {
  return ShowMasked(beginning, masked) + ShowPolicy(kPolicyAtBegin) + "recovery files\n";
}

std::string OnProtectedMachine::NowAll(OwnTraces masked) {
  return ShowMasked(lab::ReadMachine(), masked) + ShowPolicyAndFiles();
}

}  // namespace moorlak
