#include "session/support/session_machine.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>

#include "base/paths.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr uint32_t kBreakPatienceMs = 60'000;
constexpr char kNoHop[] = "0.0.0.0";
// The name used for the service's own adapter in comparisons: creating another adapter may have renamed it.
constexpr char kOwnName[] = "Moorlak";
constexpr wchar_t kPolicyKey[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient";
constexpr wchar_t kSmart[] = L"DisableSmartNameResolution";
constexpr wchar_t kParallelKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Dnscache\\Parameters";
constexpr wchar_t kParallel[] = L"DisableParallelAandAAAA";

// Settings that are not restored, in one copy of a family's settings.
void MaskOwn(lab::FamilySettings& family) {
  family.dhcp = true;
  family.autoMetric = true;
  family.metric = 0;
  family.staticDns.clear();
}

void MaskOwn(lab::Adapter& adapter) {
  MaskOwn(adapter.ipv4);
  MaskOwn(adapter.ipv6);
  adapter.storedIpv4 = adapter.ipv4;
  adapter.storedIpv6 = adapter.ipv6;
}

bool IsPersistent(const lab::Adapter& adapter) {
  return adapter.guid.find(NarrowUtf16(std::wstring(kTunnelAdapterGuidText))) != std::string::npos;
}

// Routes that come with our adapter's stored address and are dormant while the address is not in effect.
void MaskOwnRoutes(std::vector<lab::Route>& dormant, uint64_t luid) {
  std::erase_if(dormant, [=](const lab::Route& route) { return route.luid == luid && route.nextHop == kNoHop; });
}

// A network profile stays when its adapter is removed.
bool IsOwnNetwork(const lab::Network& network) {
  const std::wstring name = WidenUtf8(network.name);
  return name == kNetworkProfileName || IsAutomaticProfileName(name);
}

bool HasPolicy(const wchar_t* key, const wchar_t* value) {
  DWORD size = 0;
  return RegGetValueW(HKEY_LOCAL_MACHINE, key, value, RRF_RT_ANY, nullptr, nullptr, &size) == ERROR_SUCCESS;
}

bool IsTrace(const std::filesystem::path& path) {
  return path.extension() == L".v1" || path.extension() == L".flag";
}

std::vector<std::filesystem::path> TraceFiles() {
  std::vector<std::filesystem::path> files;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(kDataFolder, missing)) {
    if (IsTrace(entry.path())) files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

}  // namespace

std::string DumpRestored() {
  lab::MachineState state = lab::ReadMachine();
  for (lab::Adapter& adapter : state.adapters) {
    if (!IsOurAdapterName(WidenUtf8(adapter.name))) continue;
    MaskOwn(adapter);
    MaskOwnRoutes(state.dormantIpv4Routes, adapter.luid);
    if (IsPersistent(adapter)) adapter.name = kOwnName;
  }
  std::erase_if(state.networks, IsOwnNetwork);
  return lab::Show(state);
}

std::string DumpWhole() {
  return lab::Show(lab::ReadMachine());
}

std::vector<std::string> PendingTraces() {
  std::vector<std::string> traces;
  for (const auto& file : TraceFiles()) traces.push_back(NarrowUtf16(file.filename().wstring()));
  if (HasPolicy(kPolicyKey, kSmart)) traces.push_back(NarrowUtf16(kSmart));
  if (HasPolicy(kParallelKey, kParallel)) traces.push_back(NarrowUtf16(kParallel));
  return traces;
}

void RemoveTraces() {
  for (const auto& file : TraceFiles()) DeleteFileW(file.c_str());
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kPolicyKey, kSmart);
  RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kParallelKey, kParallel);
}

void BreakAt(const std::string& call, const std::string& argument) {
  PlanFault("break", call, argument);
}

bool WaitForNoLingeringAdapter() {
  return WaitUntil([] {
    return std::ranges::all_of(lab::ReadMachine().devices,
                               [](const lab::Device& device) { return device.leaving.empty(); });
  });
}

bool WaitForBreak() {
  return lab::WaitForBreak(kBreakPatienceMs);
}

void KillServiceAtChange(uint64_t n) {
  lab::EditMachine([n](lab::MachineState& state) { state.record.killAtChange = state.record.changes + n; });
}

void KillServiceAtNoChange() {
  lab::EditMachine([](lab::MachineState& state) { state.record.killAtChange = 0; });
}

uint64_t ChangesSoFar() {
  return lab::ReadMachine().record.changes;
}

}  // namespace moorlak::session
