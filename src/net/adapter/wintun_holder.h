// The persistent tunnel adapter, held open for the life of the service, so that each connect finds it and its network
// profile already there.
#pragma once

#include <windows.h>

#include <cstdint>
#include <mutex>

#include "base/handle.h"

namespace moorlak {

// One instance, from any thread. No adapter look-up takes its lock (net/adapter/adapter_lookup.h).
struct WintunHolder {
  static WintunHolder& Instance();

  // Removes orphans, opens or creates the adapter unless it is open already, and names its network profile, which
  // holds it up for at most 3 s. True when the adapter is open. Failures are logged; a later call tries again.
  bool SetUp() noexcept;

  // Number of leftover adapters removed; the persistent one is kept.
  uint32_t PurgeOrphans() noexcept;

  // Gives the adapter up, so that the engine can create its own under the same name. Number of adapters removed.
  uint32_t ReleaseForXrayTun() noexcept;

  // The last act of the service: closes the adapter.
  void Close() noexcept;

  // Entry points of wintun.dll, by its own documentation; adapters are opaque.
  using AdapterHandle = void*;
  using CreateAdapter = AdapterHandle(WINAPI*)(const wchar_t* name, const wchar_t* tunnelType, const GUID* wantedGuid);
  using OpenAdapter = AdapterHandle(WINAPI*)(const wchar_t* name);
  using CloseAdapter = void(WINAPI*)(AdapterHandle adapter);

  // Guards everything below.
  std::mutex lock;
  ModuleHandle wintun;
  CreateAdapter createAdapter = nullptr;
  OpenAdapter openAdapter = nullptr;
  CloseAdapter closeAdapter = nullptr;
  AdapterHandle adapter = nullptr;
};

}  // namespace moorlak
