// Placed next to the stand-in dnsapi.dll, it reports in its exit code what works there.
//   flush   the error of emptying the resolver cache, 0 for none
//   rest    one bit for each of: a forwarded function; a function of iphlpapi that calls dnsapi; the bare name still
//           finding the stand-in after that; a function that is passed on to Wine's own dnsapi
#include <winsock2.h>
#include <windows.h>

#include <iphlpapi.h>
#include <string_view>
#include <windns.h>

namespace {

template <typename Function>
Function* Find(HMODULE library, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

HMODULE StandIn() {
  return LoadLibraryExW(L"dnsapi.dll", nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
}

int Flush() {
  const auto flush = Find<BOOL WINAPI()>(StandIn(), "DnsFlushResolverCache");
  if (flush == nullptr) return 98;
  return flush() ? 0 : static_cast<int>(GetLastError());
}

using QueryConfig = DNS_STATUS WINAPI(DNS_CONFIG_TYPE, DWORD, const wchar_t*, void*, void*, DWORD*);

DNS_STATUS HostName(HMODULE library, wchar_t* buffer, DWORD size) {
  return Find<QueryConfig>(library, "DnsQueryConfig")(DnsConfigHostName_W, 0, nullptr, nullptr, buffer, &size);
}

bool ComparesNames() {
  const auto compare = Find<BOOL WINAPI(const wchar_t*, const wchar_t*)>(StandIn(), "DnsNameCompare_W");
  return compare != nullptr && compare(L"Name.example", L"nAME.EXAMPLE") && !compare(L"a.example", L"b.example");
}

bool BehavesLikeWinesOwn(HMODULE standIn) {
  const HMODULE own = LoadLibraryW(L"C:\\windows\\system32\\dnsapi.dll");
  if (own == nullptr || own == standIn) return false;
  wchar_t expected[256] = {};
  wchar_t answer[256] = {};
  const DNS_STATUS status = HostName(own, expected, sizeof expected);
  return HostName(standIn, answer, sizeof answer) == status && std::wstring_view(answer) == expected;
}

// This call asks dnsapi for the name servers.
bool NetworkParametersCanBeRead() {
  ULONG size = 0;
  return GetNetworkParams(nullptr, &size) == ERROR_BUFFER_OVERFLOW && size >= sizeof(FIXED_INFO);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
  if (count != 2) return 97;
  if (std::wstring_view(arguments[1]) == L"flush") return Flush();
  int works = ComparesNames() ? 1 : 0;
  const HMODULE standIn = StandIn();
  if (NetworkParametersCanBeRead()) works += 2;
  // Wine's own dnsapi is loaded by now; the bare name must still find the stand-in.
  if (StandIn() == standIn) works += 4;
  if (BehavesLikeWinesOwn(standIn)) works += 8;
  return works;
}
