// Sources, pages of Microsoft Learn: "FwpmProviderGetByKey0", "FwpmSubLayerGetByKey0", "FwpmFilterEnum0".
#include <winsock2.h>
#include <windows.h>

#include <array>
#include <cstdio>
#include <fwpmu.h>

#include "base/utf.h"
#include "inspect/read_parts.h"
#include "net/wfp/own_keys.h"
#include "net/wfp/wfp_session.h"

namespace moorlak::inspect {
namespace {

constexpr UINT32 kPageSize = 64;
constexpr std::array kProviders{kGuardProviderKey, kSplitProviderKey};
constexpr std::array kSublayers{kGuardSublayerKey, kSplitSublayerKey};

void FreePlatformMemory(void* memory) noexcept {
  FwpmFreeMemory0(&memory);
}
// What a call of the platform has allocated.
template <typename Memory>
using PlatformMemory = UniqueHandle<Memory*, FreePlatformMemory>;

// With braces, in capitals.
std::string KeyText(const GUID& key) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", key.Data1, key.Data2,
                key.Data3, key.Data4[0], key.Data4[1], key.Data4[2], key.Data4[3], key.Data4[4], key.Data4[5],
                key.Data4[6], key.Data4[7]);
  return text.data();
}

std::string NameOf(const FWPM_DISPLAY_DATA0& display) {
  return display.name != nullptr ? NarrowUtf16(display.name) : std::string();
}

bool IsOurs(const GUID* provider) {
  return provider != nullptr && (*provider == kGuardProviderKey || *provider == kSplitProviderKey);
}

// False if it cannot be said whether the object exists.
template <typename Object, typename Call>
bool AddByKey(const char* kind, const GUID& key, Call call, MachineView& view) {
  PlatformMemory<Object> object;
  const DWORD code = call(&key, object.Out());
  if (code == ERROR_SUCCESS && object) view.filters.push_back({kind, NameOf(object.Get()->displayData), KeyText(key)});
  return code == ERROR_SUCCESS || code == static_cast<DWORD>(FWP_E_PROVIDER_NOT_FOUND) ||
         code == static_cast<DWORD>(FWP_E_SUBLAYER_NOT_FOUND);
}

// The number of filters in the page; nullopt if it could not be read.
std::optional<UINT32> AddPage(HANDLE engine, HANDLE enumeration, MachineView& view) {
  PlatformMemory<FWPM_FILTER0*> page;
  UINT32 count = 0;
  if (FwpmFilterEnum0(engine, enumeration, kPageSize, page.Out(), &count) != ERROR_SUCCESS) return std::nullopt;
  for (UINT32 index = 0; index < count; ++index) {
    const FWPM_FILTER0& filter = *page.Get()[index];
    if (IsOurs(filter.providerKey))
      view.filters.push_back({"filter", NameOf(filter.displayData), KeyText(*filter.providerKey)});
  }
  return count;
}

bool AddFilters(HANDLE engine, MachineView& view) {
  HANDLE enumeration = nullptr;
  if (FwpmFilterCreateEnumHandle0(engine, nullptr, &enumeration) != ERROR_SUCCESS) return false;
  std::optional<UINT32> count = kPageSize;
  while (count == kPageSize) count = AddPage(engine, enumeration, view);
  FwpmFilterDestroyEnumHandle0(engine, enumeration);
  return count.has_value();
}

bool AddObjects(HANDLE engine, MachineView& view) {
  bool isComplete = true;
  const auto provider = [&](const GUID* key, FWPM_PROVIDER0** got) { return FwpmProviderGetByKey0(engine, key, got); };
  const auto sublayer = [&](const GUID* key, FWPM_SUBLAYER0** got) { return FwpmSubLayerGetByKey0(engine, key, got); };
  for (const GUID& key : kProviders) isComplete &= AddByKey<FWPM_PROVIDER0>("provider", key, provider, view);
  for (const GUID& key : kSublayers) isComplete &= AddByKey<FWPM_SUBLAYER0>("sublayer", key, sublayer, view);
  return AddFilters(engine, view) && isComplete;
}

}  // namespace

void ReadFilterObjects(MachineView& view) {
  WfpEngine engine;
  const bool isOpen = FwpmEngineOpen0(nullptr, RPC_C_AUTHN_WINNT, nullptr, nullptr, engine.Out()) == ERROR_SUCCESS;
  if (!isOpen || !AddObjects(engine.Get(), view)) view.unread.emplace_back("the filters");
}

}  // namespace moorlak::inspect
