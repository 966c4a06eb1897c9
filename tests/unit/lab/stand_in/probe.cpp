// Calls version.dll, which may be a stand-in. The exit code is a sum of what works, see below.
#include <windows.h>

#include <string>

int wmain() {
  int found = 0;
  wchar_t text[64] = {};
  if (VerLanguageNameW(0x409, text, 64) != 0 && std::wstring(text) == L"stand-in") found += 1;
  // Wine's own result for a system DLL, through the stand-in's forwarder.
  DWORD ignored = 0;
  if (GetFileVersionInfoSizeW(L"C:\\windows\\system32\\kernel32.dll", &ignored) > 0) found += 2;
  const HMODULE module = GetModuleHandleW(L"version.dll");
  if (GetProcAddress(module, "StandInOnly") != nullptr) found += 4;
  return found;
}
