// Sources: "Internet Settings" of a user ("ProxyEnable", "ProxyServer") as WinINet stores them; HiberbootEnabled is the
// value of the policy "Require use of fast startup" ("ADMX_WinInit" on Microsoft Learn) and of the power options.
#include <windows.h>

#include <array>
#include <string>

#include "base/handle.h"
#include "base/utf.h"
#include "inspect/read_parts.h"
#include "net/dns/policy_values.h"

namespace moorlak::inspect {
namespace {

constexpr wchar_t kPowerKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Power";
constexpr wchar_t kProxyKey[] = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr DWORD kLongestKeyName = 256;
constexpr size_t kLongestServer = 4096;

std::optional<uint32_t> ReadNumber(HKEY root, const wchar_t* key, const wchar_t* value) {
  DWORD number = 0;
  DWORD size = sizeof(number);
  if (RegGetValueW(root, key, value, RRF_RT_REG_DWORD, nullptr, &number, &size) != ERROR_SUCCESS) return std::nullopt;
  return number;
}

std::string ReadText(HKEY root, const wchar_t* key, const wchar_t* value) {
  std::wstring text(kLongestServer, L'\0');
  auto size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  if (RegGetValueW(root, key, value, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) return {};
  return NarrowUtf16(text.c_str());
}

bool IsAccount(const std::wstring& name) {
  return name.starts_with(L"S-1-") && !name.ends_with(L"_Classes");
}

void ReadProxies(MachineView& view) {
  std::array<wchar_t, kLongestKeyName> name{};
  for (DWORD index = 0;; ++index) {
    DWORD length = kLongestKeyName;
    if (RegEnumKeyExW(HKEY_USERS, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) {
      return;
    }
    const std::wstring account(name.data(), length);
    const std::optional<uint32_t> enabled = ReadNumber(HKEY_USERS, (account + kProxyKey).c_str(), L"ProxyEnable");
    if (!IsAccount(account) || !enabled) continue;
    view.proxies.push_back(
        {NarrowUtf16(account), *enabled != 0, ReadText(HKEY_USERS, (account + kProxyKey).c_str(), L"ProxyServer")});
  }
}

}  // namespace

void ReadRegistryParts(MachineView& view) {
  for (const PolicyValue& value : {kSmartResolution, kParallelQueries})
    view.policies.push_back({NarrowUtf16(value.name), ReadNumber(HKEY_LOCAL_MACHINE, value.key, value.name)});
  view.fastStartup = ReadNumber(HKEY_LOCAL_MACHINE, kPowerKey, L"HiberbootEnabled");
  ReadProxies(view);
}

}  // namespace moorlak::inspect
