// Stand-in for wintun.dll. Handles are objects of this process; the machine identifies the adapter by its GUID.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/utf.h"
#include "machine/machine.h"
#include "wintun/adapters.h"

namespace moorlak::lab {
namespace {

struct WintunAdapter {
  std::string guid;
  bool created = false;
};
struct WintunSession {
  std::string guid;
};

std::mutex handlesLock;
std::vector<std::unique_ptr<WintunAdapter>> adapters;
std::vector<std::unique_ptr<WintunSession>> sessions;

template <typename Object>
void* Keep(std::vector<std::unique_ptr<Object>>& objects, Object object) {
  return objects.emplace_back(std::make_unique<Object>(std::move(object))).get();
}

template <typename Object>
auto Find(std::vector<std::unique_ptr<Object>>& objects, const void* handle) {
  return std::ranges::find_if(objects, [=](const auto& object) { return object.get() == handle; });
}

std::string GuidText(const GUID& guid) {
  char text[64] = {};
  std::snprintf(text, sizeof text, "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1, guid.Data2,
                guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
                guid.Data4[6], guid.Data4[7]);
  return text;
}

// Empty for a missing text: the machine refuses both alike.
std::string Narrow(const wchar_t* text) {
  return text == nullptr ? std::string() : moorlak::NarrowUtf16(text);
}

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

void* WINAPI WintunCreateAdapter(const wchar_t* name, const wchar_t* tunnelType, const GUID* wantedGuid) noexcept {
  const std::lock_guard lock(handlesLock);
  const AdapterRequest request{Narrow(name), Narrow(tunnelType), wantedGuid ? GuidText(*wantedGuid) : std::string()};
  WintunAdapter adapter{{}, true};
  const Call call{"WintunCreateAdapter", request.name + "|" + request.tunnelType + "|" + request.guid};
  const uint32_t error = RunCall(call, [&](MachineState& state) {
    return CreateWintunAdapter(state, request, GetCurrentProcessId(), adapter.guid);
  });
  if (error == 0) return Keep(adapters, std::move(adapter));
  SetLastError(error);
  return nullptr;
}

void* WINAPI WintunOpenAdapter(const wchar_t* name) noexcept {
  const std::lock_guard lock(handlesLock);
  WintunAdapter adapter;
  const uint32_t error = RunCall({"WintunOpenAdapter", Narrow(name)}, [&](MachineState& state) {
    return OpenWintunAdapter(state, Narrow(name), adapter.guid);
  });
  if (error == 0) return Keep(adapters, std::move(adapter));
  SetLastError(error);
  return nullptr;
}

// Closing cannot fail: a planned failure leaves the adapter in place, as a hanging driver would.
void WINAPI WintunCloseAdapter(void* handle) noexcept {
  if (handle == nullptr) return;
  const std::lock_guard lock(handlesLock);
  const auto adapter = Find(adapters, handle);
  const bool known = adapter != adapters.end();
  const uint32_t error =
      RunCall({"WintunCloseAdapter", known ? (*adapter)->guid : "unknown"}, [&](MachineState& state) -> uint32_t {
        if (!known) {
          state.record.unknownCommands.emplace_back("WintunCloseAdapter of no adapter");
          return ERROR_INVALID_HANDLE;
        }
        if ((*adapter)->created) CloseWintunAdapter(state, (*adapter)->guid, GetCurrentProcessId());
        return 0;
      });
  if (error != 0) SetLastError(error);
  if (known) adapters.erase(adapter);
}

void WINAPI WintunGetAdapterLUID(void* handle, uint64_t* luid) noexcept {
  if (luid == nullptr) return;
  *luid = 0;
  const std::lock_guard lock(handlesLock);
  const auto adapter = Find(adapters, handle);
  if (adapter == adapters.end()) return;
  for (const Adapter& one : ReadMachine().adapters) {
    if (one.guid == (*adapter)->guid) *luid = one.luid;
  }
}

void* WINAPI WintunStartSession(void* handle, DWORD capacity) noexcept {
  const std::lock_guard lock(handlesLock);
  const auto adapter = Find(adapters, handle);
  const std::string guid = adapter == adapters.end() ? std::string() : (*adapter)->guid;
  const uint32_t error = RunCall({"WintunStartSession", guid}, [&](MachineState& state) -> uint32_t {
    if (guid.empty()) return ERROR_INVALID_HANDLE;
    return StartWintunSession(state, guid, capacity, GetCurrentProcessId());
  });
  if (error == 0) return Keep(sessions, WintunSession{guid});
  SetLastError(error);
  return nullptr;
}

void WINAPI WintunEndSession(void* handle) noexcept {
  const std::lock_guard lock(handlesLock);
  const auto session = Find(sessions, handle);
  const std::string guid = session == sessions.end() ? std::string() : (*session)->guid;
  const uint32_t error = RunCall({"WintunEndSession", guid}, [&](MachineState& state) -> uint32_t {
    if (guid.empty()) return ERROR_INVALID_HANDLE;
    return EndWintunSession(state, guid, GetCurrentProcessId());
  });
  if (error != 0) SetLastError(error);
  if (session != sessions.end()) sessions.erase(session);
}

}  // extern "C"
