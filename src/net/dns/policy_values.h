// The two values of the resolver's policy that a session sets.
#pragma once

namespace moorlak {

// Below HKEY_LOCAL_MACHINE.
struct PolicyValue {
  const wchar_t* key;
  const wchar_t* name;
};

// "DNSClient" policy from the "ADMX_DnsClient" page of Microsoft Learn, and the resolver service's own parameter.
inline constexpr PolicyValue kSmartResolution{L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient",
                                              L"DisableSmartNameResolution"};
inline constexpr PolicyValue kParallelQueries{L"SYSTEM\\CurrentControlSet\\Services\\Dnscache\\Parameters",
                                              L"DisableParallelAandAAAA"};
}  // namespace moorlak
