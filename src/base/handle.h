// Owned Windows handles: one move-only template, one alias for each kind of handle.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include <type_traits>

namespace moorlak {

// Owns one handle and closes it once, with that call. Closing keeps GetLastError, so a failing path may destroy handles
// before it reports its error. Zero and minus one are empty: of the calls that fail with one of them, such as
// CreateFileW with INVALID_HANDLE_VALUE, none returns the other as a handle.
template <typename T, auto CloseCall>
class UniqueHandle {
 public:
  using Type = T;

  UniqueHandle() noexcept = default;
  explicit UniqueHandle(Type owned) noexcept : value(owned) {}
  UniqueHandle(UniqueHandle&& other) noexcept : value(other.Release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { Reset(); }

  Type Get() const noexcept { return value; }
  explicit operator bool() const noexcept { return IsValid(value); }

  // Returns the handle without closing it; the caller owns it then.
  Type Release() noexcept {
    Type released = value;
    value = Type{};
    return released;
  }

  void Reset(Type replacement = Type{}) noexcept {
    Type old = value;
    value = replacement;
    if (!IsValid(old)) return;
    const DWORD error = GetLastError();
    CloseCall(old);
    SetLastError(error);
  }

  // For out-parameters: closes the current handle and returns the address to fill.
  Type* Out() noexcept {
    Reset();
    return &value;
  }

 private:
  static bool IsValid(Type handle) noexcept {
    if constexpr (std::is_pointer_v<Type>) {
      return handle != nullptr && reinterpret_cast<INT_PTR>(handle) != -1;
    } else {
      return handle != 0 && handle != static_cast<Type>(-1);
    }
  }

  Type value = Type{};
};

using KernelHandle = UniqueHandle<HANDLE, CloseHandle>;
// FindFirstFileW.
using FindHandle = UniqueHandle<HANDLE, FindClose>;
// The service control manager and its services.
using ServiceHandle = UniqueHandle<SC_HANDLE, CloseServiceHandle>;
using RegistryKey = UniqueHandle<HKEY, RegCloseKey>;
// LoadLibraryW.
using ModuleHandle = UniqueHandle<HMODULE, FreeLibrary>;
// Memory that Windows allocates with LocalAlloc: security descriptors, SID texts.
template <typename T>
using LocalMemory = UniqueHandle<T, LocalFree>;

}  // namespace moorlak
