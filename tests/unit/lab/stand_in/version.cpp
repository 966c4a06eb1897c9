// An example of a stand-in, for version.dll: two exports are its own, all others are Wine's.
#include <windows.h>

#include "machine/machine.h"

extern "C" {

DWORD WINAPI StandInVerLanguageName(DWORD language, wchar_t* text, DWORD size) {
  const uint32_t failed = moorlak::lab::RunCall({"VerLanguageNameW", std::to_string(language)},
                                                [](moorlak::lab::MachineState&) { return 0U; });
  if (failed != 0) return 0;
  lstrcpynW(text, L"stand-in", static_cast<int>(size));
  return 8;
}

DWORD WINAPI StandInOnly() {
  return 4711;
}
}
