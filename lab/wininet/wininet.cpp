// Stand-in for wininet.dll: keeps all per-connection options of the LAN connection.
//
// Wine's DLL keeps neither the exception list nor the "direct" and "automatic detection" bits, so what the service sets
// there cannot be read back. This one keeps all four options under its own registry key, logs every call that changes
// something, and refuses what the documentation does not allow. It exports only what the service calls: an import of
// anything else would prevent the service from starting.
//
// Semantics: "Setting and Retrieving Internet Options", INTERNET_PER_CONN_OPTION_LIST and INTERNET_PER_CONN_OPTION of
// Microsoft Learn.
//
// Key HKCU\Software\Moorlak Lab\WinINet: Flags (DWORD), Server, Bypass, PacUrl (text, missing if there is none), Calls
// (text, a line for each call).
#include <windows.h>

#include <string>

// The functions are defined here, not imported.
#undef DECLSPEC_IMPORT
#define DECLSPEC_IMPORT
#include <wininet.h>

namespace {

constexpr wchar_t kKey[] = L"Software\\Moorlak Lab\\WinINet";
constexpr DWORD kAllFlags = PROXY_TYPE_DIRECT | PROXY_TYPE_PROXY | PROXY_TYPE_AUTO_PROXY_URL | PROXY_TYPE_AUTO_DETECT;
constexpr size_t kLongestText = 65536;

struct TextOption {
  DWORD option;
  const wchar_t* name;
};
constexpr TextOption kTextOptions[] = {{INTERNET_PER_CONN_PROXY_SERVER, L"Server"},
                                       {INTERNET_PER_CONN_PROXY_BYPASS, L"Bypass"},
                                       {INTERNET_PER_CONN_AUTOCONFIG_URL, L"PacUrl"}};

const wchar_t* NameOf(DWORD option) {
  for (const TextOption& known : kTextOptions) {
    if (known.option == option) return known.name;
  }
  return nullptr;
}

bool ReadText(const wchar_t* name, std::wstring& text) {
  text.assign(kLongestText, L'\0');
  DWORD size = static_cast<DWORD>(text.size() * sizeof(wchar_t));
  if (RegGetValueW(HKEY_CURRENT_USER, kKey, name, RRF_RT_REG_SZ, nullptr, text.data(), &size) != ERROR_SUCCESS) {
    text.clear();
    return false;
  }
  text.resize(text.find(L'\0'));
  return true;
}

bool WriteText(const wchar_t* name, const wchar_t* text) {
  if (text == nullptr) {
    const LSTATUS status = RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, name);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
  }
  const DWORD size = static_cast<DWORD>((wcslen(text) + 1) * sizeof(wchar_t));
  return RegSetKeyValueW(HKEY_CURRENT_USER, kKey, name, REG_SZ, text, size) == ERROR_SUCCESS;
}

DWORD ReadFlags() {
  DWORD flags = PROXY_TYPE_DIRECT;
  DWORD size = sizeof(flags);
  RegGetValueW(HKEY_CURRENT_USER, kKey, L"Flags", RRF_RT_REG_DWORD, nullptr, &flags, &size);
  return flags;
}

bool WriteFlags(DWORD flags) {
  return RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"Flags", REG_DWORD, &flags, sizeof(flags)) == ERROR_SUCCESS;
}

void Record(const std::wstring& line) {
  std::wstring calls;
  ReadText(L"Calls", calls);
  WriteText(L"Calls", (calls + line + L"\n").c_str());
}

BOOL Refuse(const std::wstring& what, DWORD error) {
  Record(L"refused " + what);
  SetLastError(error);
  return FALSE;
}

bool IsList(const void* buffer, DWORD size) {
  if (buffer == nullptr || size < sizeof(INTERNET_PER_CONN_OPTION_LISTW)) return false;
  const auto& list = *static_cast<const INTERNET_PER_CONN_OPTION_LISTW*>(buffer);
  return list.dwSize == sizeof(list) && list.pszConnection == nullptr && list.dwOptionCount > 0 &&
         list.pOptions != nullptr;
}

bool Query(INTERNET_PER_CONN_OPTIONW& option) {
  if (option.dwOption == INTERNET_PER_CONN_FLAGS || option.dwOption == INTERNET_PER_CONN_FLAGS_UI) {
    option.Value.dwValue = ReadFlags();
    return true;
  }
  const wchar_t* name = NameOf(option.dwOption);
  if (name == nullptr) return false;
  option.Value.pszValue = nullptr;
  std::wstring text;
  if (!ReadText(name, text)) return true;
  const size_t size = (text.size() + 1) * sizeof(wchar_t);
  // The caller frees it with GlobalFree.
  auto* copy = static_cast<wchar_t*>(GlobalAlloc(GMEM_FIXED, size));
  if (copy == nullptr) return false;
  CopyMemory(copy, text.c_str(), size);
  option.Value.pszValue = copy;
  return true;
}

bool IsSettable(const INTERNET_PER_CONN_OPTIONW& option) {
  if (option.dwOption == INTERNET_PER_CONN_FLAGS) return (option.Value.dwValue & ~kAllFlags) == 0;
  return NameOf(option.dwOption) != nullptr;
}

bool Set(const INTERNET_PER_CONN_OPTIONW& option) {
  if (option.dwOption == INTERNET_PER_CONN_FLAGS) return WriteFlags(option.Value.dwValue);
  return WriteText(NameOf(option.dwOption), option.Value.pszValue);
}

std::wstring Describe(const INTERNET_PER_CONN_OPTIONW& option) {
  if (option.dwOption == INTERNET_PER_CONN_FLAGS) return L" flags=" + std::to_wstring(option.Value.dwValue);
  const wchar_t* name = NameOf(option.dwOption);
  const std::wstring text = option.Value.pszValue == nullptr ? L"(none)" : option.Value.pszValue;
  return L" " + std::wstring(name) + L"=" + text;
}

BOOL SetList(const INTERNET_PER_CONN_OPTION_LISTW& list) {
  std::wstring line = L"set";
  for (DWORD i = 0; i < list.dwOptionCount; ++i) {
    if (!IsSettable(list.pOptions[i])) return Refuse(L"to set an option", ERROR_INVALID_PARAMETER);
    line += Describe(list.pOptions[i]);
  }
  Record(line);
  for (DWORD i = 0; i < list.dwOptionCount; ++i) {
    if (!Set(list.pOptions[i])) return Refuse(L"to store an option", ERROR_INTERNET_INTERNAL_ERROR);
  }
  return TRUE;
}

}  // namespace

extern "C" __declspec(dllexport) BOOL WINAPI
    InternetQueryOptionW(HINTERNET session, DWORD option, void* buffer, DWORD* size) {
  if (session != nullptr || option != INTERNET_OPTION_PER_CONNECTION_OPTION) {
    return Refuse(L"query " + std::to_wstring(option), ERROR_INTERNET_INVALID_OPTION);
  }
  if (size == nullptr || !IsList(buffer, *size)) return Refuse(L"a query's list", ERROR_INVALID_PARAMETER);
  auto& list = *static_cast<INTERNET_PER_CONN_OPTION_LISTW*>(buffer);
  for (DWORD i = 0; i < list.dwOptionCount; ++i) {
    if (!Query(list.pOptions[i])) return Refuse(L"to query an option", ERROR_INVALID_PARAMETER);
  }
  return TRUE;
}

extern "C" __declspec(dllexport) BOOL WINAPI
    InternetSetOptionW(HINTERNET session, DWORD option, void* buffer, DWORD size) {
  if (session == nullptr && option == INTERNET_OPTION_PER_CONNECTION_OPTION) {
    if (!IsList(buffer, size)) return Refuse(L"a list", ERROR_INVALID_PARAMETER);
    return SetList(*static_cast<const INTERNET_PER_CONN_OPTION_LISTW*>(buffer));
  }
  const bool isNotification = option == INTERNET_OPTION_SETTINGS_CHANGED || option == INTERNET_OPTION_REFRESH;
  if (session != nullptr || !isNotification || buffer != nullptr || size != 0) {
    return Refuse(L"set " + std::to_wstring(option), ERROR_INTERNET_INVALID_OPTION);
  }
  Record(option == INTERNET_OPTION_REFRESH ? L"refresh" : L"settings changed");
  return TRUE;
}
