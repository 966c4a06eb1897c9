#include "machine/support/stand_in_wininet.h"

#include <gtest/gtest.h>

#include "base/utf.h"
#include "machine/support/service_control.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr wchar_t kStore[] = L"Software\\Moorlak Lab\\WinINet";
// Wine loads a DLL from the program's folder only if an override says so.
constexpr wchar_t kOverrides[] = L"Software\\Wine\\AppDefaults\\moorlak_service.exe\\DllOverrides";
constexpr wchar_t kOverride[] = L"native,builtin";

std::wstring PlaceNextToService() {
  return InstallFolder() + L"\\wininet.dll";
}

std::optional<std::string> ReadStored(const wchar_t* name) {
  std::wstring text(65536, L'\0');
  DWORD size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  if (RegGetValueW(HKEY_CURRENT_USER, kStore, name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) {
    return std::nullopt;
  }
  return NarrowUtf16(text.substr(0, text.find(L'\0')));
}

void Store(const wchar_t* name, const std::optional<std::string>& text) {
  if (!text) return;
  const std::wstring wide = WidenUtf8(*text);
  const DWORD size = static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t));
  EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kStore, name, REG_SZ, wide.c_str(), size), ERROR_SUCCESS);
}

}  // namespace

StandInWinInet::StandInWinInet(const ProxyOptions& initial) {
  RegDeleteTreeW(HKEY_CURRENT_USER, kStore);
  Write(initial);
  EXPECT_TRUE(CopyFileW((InstallFolder() + L"\\lab\\wininet.dll").c_str(), PlaceNextToService().c_str(), FALSE))
      << GetLastError();
  EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, L"wininet", REG_SZ, kOverride, sizeof(kOverride)),
            ERROR_SUCCESS);
}

StandInWinInet::~StandInWinInet() {
  RegDeleteTreeW(HKEY_CURRENT_USER, kOverrides);
  EXPECT_TRUE(WaitUntil([] { return DeleteFileW(PlaceNextToService().c_str()) != FALSE; }));
  RegDeleteTreeW(HKEY_CURRENT_USER, kStore);
}

ProxyOptions StandInWinInet::Read() const {
  ProxyOptions options;
  DWORD size = sizeof(options.flags);
  EXPECT_EQ(RegGetValueW(HKEY_CURRENT_USER, kStore, L"Flags", RRF_RT_REG_DWORD, nullptr, &options.flags, &size),
            ERROR_SUCCESS);
  options.server = ReadStored(L"Server");
  options.bypass = ReadStored(L"Bypass");
  options.pacUrl = ReadStored(L"PacUrl");
  return options;
}

void StandInWinInet::Write(const ProxyOptions& options) const {
  for (const wchar_t* name : {L"Server", L"Bypass", L"PacUrl"}) RegDeleteKeyValueW(HKEY_CURRENT_USER, kStore, name);
  EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kStore, L"Flags", REG_DWORD, &options.flags, sizeof(options.flags)),
            ERROR_SUCCESS);
  Store(L"Server", options.server);
  Store(L"Bypass", options.bypass);
  Store(L"PacUrl", options.pacUrl);
}

std::string StandInWinInet::Calls() const {
  return ReadStored(L"Calls").value_or("");
}

}  // namespace moorlak::machine
