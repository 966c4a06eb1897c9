// Enumerations of filters: pages as the calls return them.
#include <winsock2.h>
#include <windows.h>

#include <fwpmu.h>
#include <mutex>

#include "base/utf.h"
#include "fwpuclnt/convert.h"
#include "fwpuclnt/engine.h"
#include "fwpuclnt/filter_pages.h"
#include "fwpuclnt/objects.h"

namespace moorlak::lab {
namespace {

constexpr size_t kLongestName = 256;

std::mutex enumerationsLock;
Enumerations enumerations;  // of this process, guarded by enumerationsLock

// An entry with everything that it points to. A page is one block of memory.
struct Entry {
  FWPM_FILTER0 filter;
  GUID provider;
  wchar_t name[kLongestName];
};

void Fill(Entry& entry, const WfpFilter& filter) {
  lstrcpynW(entry.name, WidenUtf8(filter.name).c_str(), static_cast<int>(kLongestName));
  entry.filter.displayData.name = entry.name;
  entry.filter.filterId = filter.id;
  entry.filter.subLayerKey = KeyFromText(filter.sublayer);
  entry.provider = KeyFromText(filter.provider);
  entry.filter.providerKey = filter.provider.empty() ? nullptr : &entry.provider;
}

FWPM_FILTER0** MakePage(const std::vector<WfpFilter>& filters) {
  const size_t count = filters.size();
  if (count == 0) return nullptr;
  const size_t bytes = count * (sizeof(Entry) + sizeof(FWPM_FILTER0*));
  auto* entries = static_cast<Entry*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes));
  if (entries == nullptr) return nullptr;
  // The pointers come first, then the entries.
  auto** pointers = reinterpret_cast<FWPM_FILTER0**>(entries);
  entries = reinterpret_cast<Entry*>(pointers + count);
  for (size_t index = 0; index < count; ++index) {
    Fill(entries[index], filters[index]);
    pointers[index] = &entries[index].filter;
  }
  return pointers;
}

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

DWORD WINAPI FwpmFilterCreateEnumHandle0(HANDLE engine, const FWPM_FILTER_ENUM_TEMPLATE0* wanted, HANDLE* handle) {
  return CallEngine("FwpmFilterCreateEnumHandle0", engine, "", [&](EngineCall& call) -> uint32_t {
    if (handle == nullptr) return kNullPointer;
    if (wanted != nullptr) return ERROR_NOT_SUPPORTED;
    const std::lock_guard lock(enumerationsLock);
    *handle = reinterpret_cast<HANDLE>(CreateEnumeration(enumerations, call.wfp));
    return 0;
  });
}

DWORD WINAPI FwpmFilterEnum0(HANDLE engine, HANDLE handle, UINT32 requested, FWPM_FILTER0*** entries, UINT32* count) {
  return CallEngine("FwpmFilterEnum0", engine, std::to_string(requested), [&](EngineCall&) -> uint32_t {
    if (entries == nullptr || count == nullptr) return kNullPointer;
    const std::lock_guard lock(enumerationsLock);
    std::vector<WfpFilter> page;
    if (const uint32_t code = TakePage(enumerations, reinterpret_cast<uint64_t>(handle), requested, page)) return code;
    *entries = MakePage(page);
    if (!page.empty() && *entries == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    *count = static_cast<UINT32>(page.size());
    return 0;
  });
}

DWORD WINAPI FwpmFilterDestroyEnumHandle0(HANDLE engine, HANDLE handle) {
  return CallEngine("FwpmFilterDestroyEnumHandle0", engine, "", [&](EngineCall&) -> uint32_t {
    const std::lock_guard lock(enumerationsLock);
    return DestroyEnumeration(enumerations, reinterpret_cast<uint64_t>(handle));
  });
}

void WINAPI FwpmFreeMemory0(void** memory) {
  if (memory == nullptr) return;
  HeapFree(GetProcessHeap(), 0, *memory);
  *memory = nullptr;
}
}
