// Providers and sublayers by their keys.
#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <fwpmu.h>

#include "base/utf.h"
#include "fwpuclnt/convert.h"
#include "fwpuclnt/engine.h"
#include "fwpuclnt/objects.h"

namespace moorlak::lab {
namespace {

constexpr int kLongestName = 256;

// An object with the texts that it points to, in one block, which FwpmFreeMemory0 frees.
template <typename Object>
struct Entry {
  Object object;
  wchar_t name[kLongestName];
};

template <typename Object>
uint32_t Hand(const std::string& key, const std::string& name, Object** object) {
  auto* entry = static_cast<Entry<Object>*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(Entry<Object>)));
  if (entry == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
  lstrcpynW(entry->name, WidenUtf8(name).c_str(), kLongestName);
  entry->object.displayData.name = entry->name;
  *object = &entry->object;
  const GUID guid = KeyFromText(key);
  if constexpr (requires { entry->object.subLayerKey; }) {
    entry->object.subLayerKey = guid;
  } else {
    entry->object.providerKey = guid;
  }
  return 0;
}

template <typename List, typename Object>
uint32_t Find(const List& list, const GUID* key, uint32_t missing, Object** object) {
  if (key == nullptr || object == nullptr) return kNullPointer;
  const std::string text = KeyText(*key);
  const auto found = std::ranges::find_if(list, [&](const auto& item) { return item.key == text; });
  return found != list.end() ? Hand(text, found->name, object) : missing;
}

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

DWORD WINAPI FwpmProviderGetByKey0(HANDLE engine, const GUID* key, FWPM_PROVIDER0** provider) {
  return CallEngine("FwpmProviderGetByKey0", engine, key != nullptr ? KeyText(*key) : "",
                    [&](EngineCall& call) { return Find(call.wfp.providers, key, kProviderNotFound, provider); });
}

DWORD WINAPI FwpmSubLayerGetByKey0(HANDLE engine, const GUID* key, FWPM_SUBLAYER0** sublayer) {
  return CallEngine("FwpmSubLayerGetByKey0", engine, key != nullptr ? KeyText(*key) : "",
                    [&](EngineCall& call) { return Find(call.wfp.sublayers, key, kSublayerNotFound, sublayer); });
}
}
