#include "net/adapter/wintun_holder.h"

#include <winsock2.h>

#include <algorithm>
#include <string>

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/system_function.h"
#include "base/utf.h"
#include "net/adapter/adapter_lookup.h"
#include "net/adapter/network_profiles.h"
#include "net/adapter/orphan_adapters.h"
#include "process/engine_files.h"

namespace moorlak {
namespace {

// The same as kTunnelAdapterGuidText.
constexpr GUID kAdapterGuid = {0x6d6f6f72, 0x6c61, 0x4e01, {0x9a, 0x11, 0x4d, 0x6f, 0x6f, 0x72, 0x6c, 0x61}};
constexpr wchar_t kAdapterName[] = L"Moorlak";
constexpr wchar_t kTunnelType[] = L"Moorlak";
// The time that the system needs after a removal before the name is free again.
constexpr DWORD kPurgeSettleMs = 200;
constexpr DWORD kReleaseSettleMs = 300;
constexpr DWORD kListingPatienceMs = 3000;
constexpr DWORD kLookPeriodMs = 200;

void ForgetLibraryLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  holder.createAdapter = nullptr;
  holder.openAdapter = nullptr;
  holder.closeAdapter = nullptr;
  holder.wintun.Reset();
}

bool FindExportsLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  const HMODULE library = holder.wintun.Get();
  holder.createAdapter = FindSystemFunction<WintunHolder::CreateAdapter>(library, "WintunCreateAdapter");
  holder.openAdapter = FindSystemFunction<WintunHolder::OpenAdapter>(library, "WintunOpenAdapter");
  holder.closeAdapter = FindSystemFunction<WintunHolder::CloseAdapter>(library, "WintunCloseAdapter");
  return holder.createAdapter != nullptr && holder.openAdapter != nullptr && holder.closeAdapter != nullptr;
}

bool LoadLibraryFromLocked(WintunHolder& holder, const std::wstring& path) REQUIRES(holder.lock) {
  // Searches only the library's own folder and the system's for its dependencies.
  holder.wintun.Reset(
      LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
  if (!holder.wintun) {
    WriteLogLine("WintunHolder: LoadLibrary failed: " + std::to_string(GetLastError()));
    return false;
  }
  if (!FindExportsLocked(holder)) {
    WriteLogLine("WintunHolder: missing Wintun exports");
    ForgetLibraryLocked(holder);
    return false;
  }
  WriteLogLine("WintunHolder: loaded " + NarrowUtf16(path));
  return true;
}

// If a copy is damaged or is not the driver's library, the next one is tried.
bool LoadLibraryLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  if (holder.wintun) return true;
  const std::vector<std::wstring> paths = FindWintun();
  if (paths.empty()) WriteLogLine("WintunHolder: wintun.dll not found");
  return std::ranges::any_of(
      paths, [&](const std::wstring& path) REQUIRES(holder.lock) { return LoadLibraryFromLocked(holder, path); });
}

void CloseLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  if (holder.adapter == nullptr) return;
  holder.closeAdapter(holder.adapter);
  holder.adapter = nullptr;
}

// A failed look-up is inconclusive and must not cost the adapter.
bool MayBeListed() {
  const auto adapters = ReadAdapters(AF_UNSPEC, kAddressesOnlyFlags);
  const auto isOurs = [](const AdapterInfo& adapter) { return IsOurAdapterName(adapter.name); };
  return !adapters || std::ranges::any_of(*adapters, isOurs);
}

// The handle does not show whether another process has removed the adapter. A new adapter may be listed only a moment
// later.
bool IsAdapterGone() {
  for (DWORD waitedMs = 0; waitedMs < kListingPatienceMs; waitedMs += kLookPeriodMs) {
    if (MayBeListed()) return false;
    Sleep(kLookPeriodMs);
  }
  return !MayBeListed();
}

bool OpenLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  if (holder.adapter != nullptr && !IsAdapterGone()) return true;
  CloseLocked(holder);
  if (!LoadLibraryLocked(holder)) return false;
  holder.adapter = holder.openAdapter(kAdapterName);
  if (holder.adapter == nullptr) holder.adapter = holder.createAdapter(kAdapterName, kTunnelType, &kAdapterGuid);
  if (holder.adapter == nullptr) {
    WriteLogLine("WintunHolder: could not create/open Moorlak adapter: " + std::to_string(GetLastError()));
    return false;
  }
  WriteLogLine("WintunHolder: persistent Moorlak adapter ready");
  return true;
}

uint32_t ReleaseLocked(WintunHolder& holder) REQUIRES(holder.lock) {
  CloseLocked(holder);
  const uint32_t removed = RemoveOrphanAdapters(true);
  if (removed == 0) {
    WriteLogLine("WintunHolder: released persistent adapter for Xray TUN");
    return 0;
  }
  WriteLogLine("WintunHolder: released for Xray TUN; purged " + std::to_string(removed) + " Moorlak Wintun adapter(s)");
  Sleep(kReleaseSettleMs);
  return removed;
}

}  // namespace

WintunHolder& WintunHolder::Instance() {
  static WintunHolder holder;
  return holder;
}

bool WintunHolder::SetUp() noexcept {
  PurgeOrphans();
  const bool open = Guarded(false, [this] {
    const MutexGuard guard(lock);
    return OpenLocked(*this);
  });
  NameNetworkProfilesAside();
  return open;
}

uint32_t WintunHolder::PurgeOrphans() noexcept {
  return Guarded(uint32_t{0}, [] {
    const uint32_t removed = RemoveOrphanAdapters(false);
    if (removed != 0) {
      WriteLogLine("WintunHolder: purged " + std::to_string(removed) + " orphan Wintun adapter(s)");
      Sleep(kPurgeSettleMs);
    }
    return removed;
  });
}

uint32_t WintunHolder::ReleaseForXrayTun() noexcept {
  return Guarded(uint32_t{0}, [this] {
    const MutexGuard guard(lock);
    return ReleaseLocked(*this);
  });
}

void WintunHolder::Close() noexcept {
  Guarded([this] {
    const MutexGuard guard(lock);
    CloseLocked(*this);
  });
}

}  // namespace moorlak
