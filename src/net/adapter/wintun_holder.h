// The persistent tunnel adapter, held open as long as the service runs, so that each connect finds it and its network
// profile in place.
#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handle.h"
#include "base/mutex.h"

namespace moorlak {

// One instance; thread-safe. No adapter look-up takes its lock (net/adapter/adapter_lookup.h).
struct WintunHolder {
  static WintunHolder& Instance();

  // Removes orphans, opens or creates the adapter unless it is already open, and names its network profile, which takes
  // at most 3 s. True if the adapter is open. Failures are logged; a later call tries again.
  bool SetUp() noexcept;

  // Removes leftover adapters and returns how many; keeps the persistent one.
  uint32_t PurgeOrphans() noexcept;

  // Releases the adapter, so that the engine can create its own under the same name. Returns the number of adapters
  // removed.
  uint32_t ReleaseForXrayTun() noexcept;

  // Closes the adapter; the service's last step.
  void Close() noexcept;

  // Entry points of wintun.dll, from its own documentation; adapters are opaque.
  using AdapterHandle = void*;
  using CreateAdapter = AdapterHandle(WINAPI*)(const wchar_t* name, const wchar_t* tunnelType, const GUID* wantedGuid);
  using OpenAdapter = AdapterHandle(WINAPI*)(const wchar_t* name);
  using CloseAdapter = void(WINAPI*)(AdapterHandle adapter);

  Mutex lock;
  ModuleHandle wintun GUARDED_BY(lock);
  CreateAdapter createAdapter GUARDED_BY(lock) = nullptr;
  OpenAdapter openAdapter GUARDED_BY(lock) = nullptr;
  CloseAdapter closeAdapter GUARDED_BY(lock) = nullptr;
  AdapterHandle adapter GUARDED_BY(lock) = nullptr;
};

}  // namespace moorlak
