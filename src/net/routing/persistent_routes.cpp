#include "net/routing/persistent_routes.h"

#include <windows.h>

#include <string_view>

#include "base/handle.h"
#include "base/utf.h"

namespace moorlak {
namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters\\PersistentRoutes";
// Four numbers of at most 15 characters each; a longer name is not a route.
constexpr DWORD kLongestName = 128;

}  // namespace

std::vector<Ipv4Route> ReadPersistentRoutes() {
  std::vector<Ipv4Route> routes;
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS) return routes;
  const RegistryKey key(opened);
  wchar_t name[kLongestName];
  LONG error = ERROR_SUCCESS;
  for (DWORD i = 0; error == ERROR_SUCCESS || error == ERROR_MORE_DATA; ++i) {
    DWORD length = kLongestName;
    error = RegEnumValueW(key.Get(), i, name, &length, nullptr, nullptr, nullptr, nullptr);
    const auto route = error == ERROR_SUCCESS ? ParsePersistentRoute(NarrowUtf16({name, length})) : std::nullopt;
    if (route) routes.push_back(*route);
  }
  return routes;
}

}  // namespace moorlak
