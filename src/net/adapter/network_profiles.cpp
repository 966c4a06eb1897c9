#include "net/adapter/network_profiles.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <exception>
#include <memory>
#include <netlistmgr.h>
#include <objbase.h>
#include <oleauto.h>
#include <optional>
#include <string>

#include "base/guarded.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/standard_error.h"
#include "base/threads.h"
#include "net/adapter/adapter_lookup.h"

namespace moorlak {
namespace {

// "INetworkListManager interface" on Microsoft Learn.
constexpr GUID kManagerClass = {0xdcb00c01, 0x570f, 0x4a9b, {0x8d, 0x69, 0x19, 0x9f, 0xdb, 0xa5, 0x72, 0x3b}};
constexpr GUID kManagerInterface = {0xdcb00000, 0x570f, 0x4a9b, {0x8d, 0x69, 0x19, 0x9f, 0xdb, 0xa5, 0x72, 0x3b}};
constexpr DWORD kContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
static_assert(kContext == 0x17);

constexpr wchar_t kProfilesKey[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkList\\Profiles";
constexpr wchar_t kProfileName[] = L"ProfileName";
constexpr DWORD kLongestKeyName = 256;
// The list manager may take half a minute to reply.
constexpr DWORD kNamingPatienceMs = 3000;

template <typename Interface>
void ReleaseObject(Interface* object) noexcept {
  object->Release();
}
template <typename Interface>
using ComHandle = UniqueHandle<Interface*, ReleaseObject<Interface>>;

using BstrHandle = UniqueHandle<BSTR, SysFreeString>;

struct ComSession {
  bool initialised;

  ComSession() noexcept {
    const HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    initialised = result == S_OK || result == S_FALSE;
  }
  ComSession(const ComSession&) = delete;
  ComSession& operator=(const ComSession&) = delete;
  ~ComSession() {
    if (initialised) CoUninitialize();
  }
};

ComHandle<IEnumNetworks> ListNetworks() {
  void* manager = nullptr;
  if (FAILED(CoCreateInstance(kManagerClass, nullptr, kContext, kManagerInterface, &manager))) return {};
  const ComHandle<INetworkListManager> owned(static_cast<INetworkListManager*>(manager));
  IEnumNetworks* networks = nullptr;
  if (FAILED(owned.Get()->GetNetworks(NLM_ENUM_NETWORK_ALL, &networks))) return {};
  return ComHandle<IEnumNetworks>(networks);
}

std::wstring NameOf(INetwork* network) {
  BSTR name = nullptr;
  if (FAILED(network->GetName(&name)) || name == nullptr) return {};
  const BstrHandle owned(name);
  return {owned.Get(), SysStringLen(owned.Get())};
}

void RenameNetwork(INetwork* network) {
  if (!IsAutomaticProfileName(NameOf(network))) return;
  const BstrHandle name(SysAllocString(std::wstring(kNetworkProfileName).c_str()));
  if (name && SUCCEEDED(network->SetName(name.Get()))) {
    WriteLogLine("WintunHolder: renamed network profile to Moorlak Network");
  }
}

RegistryKey OpenKey(HKEY parent, const wchar_t* name, REGSAM access) {
  HKEY key = nullptr;
  return RegistryKey(RegOpenKeyExW(parent, name, 0, access, &key) == ERROR_SUCCESS ? key : nullptr);
}

// nullopt if the value is missing, not a text or too long to be one of our names.
std::optional<std::wstring> ReadProfileName(const RegistryKey& profile) {
  std::array<wchar_t, kLongestKeyName> name{};
  DWORD size = sizeof(name) - sizeof(wchar_t);
  DWORD type = 0;
  if (RegQueryValueExW(profile.Get(), kProfileName, nullptr, &type, reinterpret_cast<BYTE*>(name.data()), &size) !=
          ERROR_SUCCESS ||
      type != REG_SZ) {
    return std::nullopt;
  }
  return name.data();
}

void RenameProfile(const RegistryKey& profile) {
  const auto name = ReadProfileName(profile);
  if (!name || !IsAutomaticProfileName(*name)) return;
  const std::wstring wanted(kNetworkProfileName);
  const auto size = static_cast<DWORD>((wanted.size() + 1) * sizeof(wchar_t));
  if (RegSetValueExW(profile.Get(), kProfileName, 0, REG_SZ, reinterpret_cast<const BYTE*>(wanted.c_str()), size) ==
      ERROR_SUCCESS) {
    WriteLogLine("WintunHolder: registry ProfileName set to Moorlak Network");
  }
}

// Whether a naming thread is running. One that was left running uses nothing else of this program that is destroyed at
// its end.
std::atomic<bool> namingInHand{false};

// The event is set once everything is named; null if no thread can be created. Thread and caller share the event, and
// the last one closes it.
std::shared_ptr<KernelHandle> StartNaming() {
  try {
    auto named = std::make_shared<KernelHandle>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    StartDetachedThread([named] {
      NameNetworkProfiles();
      namingInHand = false;
      SetEvent(named->Get());
    });
    return named;
  } catch (const std::exception& error) {
    namingInHand = false;
    WriteStandardErrorLine(error.what());
    return nullptr;
  }
}

}  // namespace

void RenameNetworkProfiles() {
  const ComHandle<IEnumNetworks> networks = ListNetworks();
  if (!networks) return;
  INetwork* network = nullptr;
  ULONG fetched = 0;
  while (networks.Get()->Next(1, &network, &fetched) == S_OK && fetched == 1) {
    const ComHandle<INetwork> owned(network);
    RenameNetwork(owned.Get());
  }
}

void RenameStoredProfiles() {
  const RegistryKey profiles = OpenKey(HKEY_LOCAL_MACHINE, kProfilesKey, KEY_READ);
  if (!profiles) return;
  for (DWORD index = 0;; ++index) {
    std::array<wchar_t, kLongestKeyName> name{};
    DWORD length = kLongestKeyName;
    const LSTATUS status =
        RegEnumKeyExW(profiles.Get(), index, name.data(), &length, nullptr, nullptr, nullptr, nullptr);
    // ERROR_NO_MORE_ITEMS, or a failure that would recur for every further index.
    if (status != ERROR_SUCCESS) return;
    const RegistryKey profile = OpenKey(profiles.Get(), name.data(), KEY_QUERY_VALUE | KEY_SET_VALUE);
    if (profile) RenameProfile(profile);
  }
}

void NameNetworkProfiles() noexcept {
  Guarded([] {
    const ComSession com;
    RenameNetworkProfiles();
    RenameStoredProfiles();
  });
}

void NameNetworkProfilesAside() noexcept {
  Guarded([] {
    // If an earlier thread is still waiting for the list manager, a second one would only wait after it.
    if (namingInHand.exchange(true)) return;
    const auto named = StartNaming();
    if (named) WaitForSingleObject(named->Get(), kNamingPatienceMs);
  });
}

}  // namespace moorlak
