// System functions that not every version of Windows has, or that no header declares.
#pragma once

#include <windows.h>

namespace moorlak {

// Null if the module is null or lacks the function. The caller is responsible for the type.
template <typename Function>
Function FindSystemFunction(HMODULE module, const char* name) noexcept {
  if (module == nullptr) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// The same for a library that every process has loaded.
template <typename Function>
Function FindSystemFunction(const wchar_t* loadedModule, const char* name) noexcept {
  return FindSystemFunction<Function>(GetModuleHandleW(loadedModule), name);
}

}  // namespace moorlak
