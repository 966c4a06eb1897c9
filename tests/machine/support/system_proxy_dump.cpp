#include "machine/support/system_proxy_dump.h"

#include <wininet.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <utility>
#include <vector>

#include "base/handle.h"
#include "base/utf.h"

namespace moorlak::machine {
namespace {

constexpr wchar_t kInternetSettings[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";

RegistryKey OpenUserKey(const std::wstring& path, REGSAM access) {
  RegistryKey key;
  RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, access, key.Out());
  return key;
}

std::string Hex(const std::vector<BYTE>& bytes) {
  std::string text;
  for (const BYTE byte : bytes) {
    std::array<char, 4> digits{};
    std::snprintf(digits.data(), digits.size(), "%02x", byte);
    text += digits.data();
  }
  return text;
}

std::string DataText(DWORD type, const std::vector<BYTE>& bytes) {
  if (type != REG_SZ && type != REG_EXPAND_SZ) return Hex(bytes);
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  std::copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(text.size() * sizeof(wchar_t)),
            reinterpret_cast<BYTE*>(text.data()));
  return '"' + NarrowUtf16(text.substr(0, text.find(L'\0'))) + '"';
}

// One line per value, sorted by name.
std::string DumpValues(HKEY key) {
  std::map<std::wstring, std::string> lines;
  for (DWORD index = 0;; ++index) {
    std::array<wchar_t, 1024> name{};
    DWORD nameLength = static_cast<DWORD>(name.size());
    DWORD type = 0;
    std::vector<BYTE> bytes(65536);
    DWORD size = static_cast<DWORD>(bytes.size());
    const LSTATUS status = RegEnumValueW(key, index, name.data(), &nameLength, nullptr, &type, bytes.data(), &size);
    if (status == ERROR_NO_MORE_ITEMS) break;
    EXPECT_EQ(status, ERROR_SUCCESS);
    if (status != ERROR_SUCCESS) break;
    bytes.resize(size);
    lines[name.data()] =
        "  " + NarrowUtf16(name.data()) + " type " + std::to_string(type) + ' ' + DataText(type, bytes);
  }
  std::string text;
  for (const auto& [name, line] : lines) text += line + '\n';
  return text;
}

std::vector<std::wstring> SubkeyNames(HKEY key) {
  std::vector<std::wstring> names;
  std::array<wchar_t, 256> name{};
  for (DWORD index = 0;; ++index) {
    DWORD length = static_cast<DWORD>(name.size());
    if (RegEnumKeyExW(key, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    names.emplace_back(name.data(), length);
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string DumpKeys() {
  std::string text;
  std::vector<std::wstring> paths{kInternetSettings};
  while (!paths.empty()) {
    const std::wstring path = std::move(paths.back());
    paths.pop_back();
    const RegistryKey key = OpenUserKey(path, KEY_READ);
    EXPECT_TRUE(key) << NarrowUtf16(path);
    if (!key) continue;
    text += '[' + NarrowUtf16(path) + "]\n" + DumpValues(key.Get());
    for (const std::wstring& name : SubkeyNames(key.Get())) paths.push_back(path + L'\\' + name);
  }
  return text;
}

INTERNET_PER_CONN_OPTION_LISTW OptionList(std::array<INTERNET_PER_CONN_OPTIONW, 4>& options) {
  options[0].dwOption = INTERNET_PER_CONN_FLAGS;
  options[1].dwOption = INTERNET_PER_CONN_PROXY_SERVER;
  options[2].dwOption = INTERNET_PER_CONN_PROXY_BYPASS;
  options[3].dwOption = INTERNET_PER_CONN_AUTOCONFIG_URL;
  INTERNET_PER_CONN_OPTION_LISTW list{};
  list.dwSize = sizeof(list);
  list.dwOptionCount = static_cast<DWORD>(options.size());
  list.pOptions = options.data();
  return list;
}

std::optional<std::string> TakeText(wchar_t* text) {
  if (text == nullptr) return std::nullopt;
  std::string narrow = NarrowUtf16(text);
  GlobalFree(text);
  return narrow;
}

std::string Shown(const std::optional<std::string>& text) {
  return text ? '"' + *text + '"' : "(none)";
}

}  // namespace

void PrintTo(const ProxyOptions& options, std::ostream* out) {
  *out << "flags " << options.flags << ", server " << Shown(options.server) << ", bypass " << Shown(options.bypass)
       << ", automatic configuration " << Shown(options.pacUrl);
}

ProxyOptions ReadProxyOptions() {
  std::array<INTERNET_PER_CONN_OPTIONW, 4> options{};
  INTERNET_PER_CONN_OPTION_LISTW list = OptionList(options);
  DWORD size = sizeof(list);
  EXPECT_TRUE(InternetQueryOptionW(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, &size)) << GetLastError();
  return {options[0].Value.dwValue, TakeText(options[1].Value.pszValue), TakeText(options[2].Value.pszValue),
          TakeText(options[3].Value.pszValue)};
}

void WriteProxyOptions(const ProxyOptions& wanted) {
  std::array<INTERNET_PER_CONN_OPTIONW, 4> options{};
  INTERNET_PER_CONN_OPTION_LISTW list = OptionList(options);
  std::array<std::wstring, 3> texts;
  const std::array<const std::optional<std::string>*, 3> sources{&wanted.server, &wanted.bypass, &wanted.pacUrl};
  options[0].Value.dwValue = wanted.flags;
  for (size_t i = 0; i < sources.size(); ++i) {
    if (!*sources[i]) continue;
    texts[i] = WidenUtf8(**sources[i]);
    options[i + 1].Value.pszValue = texts[i].data();
  }
  EXPECT_TRUE(InternetSetOptionW(nullptr, INTERNET_OPTION_PER_CONNECTION_OPTION, &list, sizeof(list)))
      << GetLastError();
  InternetSetOptionW(nullptr, INTERNET_OPTION_SETTINGS_CHANGED, nullptr, 0);
  InternetSetOptionW(nullptr, INTERNET_OPTION_REFRESH, nullptr, 0);
}

std::string DumpSystemProxy() {
  return DumpKeys() + "[options]\n  " + testing::PrintToString(ReadProxyOptions()) + '\n';
}

void ResetSystemProxy() {
  WriteProxyOptions({PROXY_TYPE_DIRECT, std::nullopt, std::nullopt, std::nullopt});
  const RegistryKey key = OpenUserKey(kInternetSettings, KEY_SET_VALUE);
  for (const wchar_t* name : {L"ProxyServer", L"ProxyOverride", L"AutoConfigURL"}) RegDeleteValueW(key.Get(), name);
}

}  // namespace moorlak::machine
