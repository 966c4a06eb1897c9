// Stand-in for dnsapi.dll: counts the emptying of the resolver cache; everything else is Wine's.
//
// The copy of Wine's DLL that forwarders use has no Unix half (Wine finds that by the DLL's name). So the functions
// that need it are passed on to the DLL in the system folder, which is loaded in addition when one is first called.
#include <windows.h>

#include <exception>
#include <string>
#include <windns.h>

#include "machine/machine.h"

namespace {

uint32_t CountFlush() {
  return moorlak::lab::RunCall({"DnsFlushResolverCache", ""}, [](moorlak::lab::MachineState& state) {
    ++state.record.dnsFlushes;
    return 0U;
  });
}

// Wine's DLL, which stays loaded.
HMODULE WinesOwn() {
  static const HMODULE own = [] {
    wchar_t folder[MAX_PATH];
    const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return HMODULE{};
    return LoadLibraryW((std::wstring(folder, length) + L"\\dnsapi.dll").c_str());
  }();
  return own;
}

template <typename Function>
Function* Own(const char* name) {
  const HMODULE own = WinesOwn();
  // A failure of the lab must not look like a network without name servers.
  if (own == nullptr) ExitProcess(99);
  const auto function = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(own, name)));
  // If two modules have the same name, Wine's loader resolves it to the one it looked up last, otherwise to the one
  // loaded first. Looking up another module makes the name mean this stand-in again.
  GetModuleHandleW(L"kernel32.dll");
  return function;
}

}  // namespace

extern "C" {

BOOL WINAPI LabDnsFlushResolverCache() {
  try {
    const uint32_t error = CountFlush();
    if (error == 0) return TRUE;
    SetLastError(error);
    return FALSE;
  } catch (const std::exception& error) {
    OutputDebugStringA(error.what());
    ExitProcess(99);
  }
}

DNS_STATUS WINAPI LabDnsQueryConfig(DNS_CONFIG_TYPE type, DWORD flag, const wchar_t* adapter, void* reserved,
                                    void* buffer, DWORD* size) {
  return Own<decltype(LabDnsQueryConfig)>("DnsQueryConfig")(type, flag, adapter, reserved, buffer, size);
}

DNS_STATUS WINAPI LabDnsQuery_A(const char* name, WORD type, DWORD options, void* extra, void** results,
                                void** reserved) {
  return Own<decltype(LabDnsQuery_A)>("DnsQuery_A")(name, type, options, extra, results, reserved);
}

DNS_STATUS WINAPI LabDnsQuery_UTF8(const char* name, WORD type, DWORD options, void* extra, void** results,
                                   void** reserved) {
  return Own<decltype(LabDnsQuery_UTF8)>("DnsQuery_UTF8")(name, type, options, extra, results, reserved);
}

DNS_STATUS WINAPI LabDnsQuery_W(const wchar_t* name, WORD type, DWORD options, void* extra, void** results,
                                void** reserved) {
  return Own<decltype(LabDnsQuery_W)>("DnsQuery_W")(name, type, options, extra, results, reserved);
}

}  // extern "C"
