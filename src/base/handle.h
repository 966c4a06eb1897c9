// Owned Windows handles: one move-only template, one traits struct for each kind of handle.
#pragma once

#include <windows.h>
#include <winsvc.h>

namespace moorlak {

// Owns one handle and closes it once. Traits names the type, the empty value, what counts as valid and the close call.
// Closing keeps GetLastError, so a failing path may destroy handles before it reports its error.
template <typename Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

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
  explicit operator bool() const noexcept { return Traits::IsValid(value); }

  // Returns the handle without closing it; the caller owns it then.
  Type Release() noexcept {
    Type released = value;
    value = Traits::Empty();
    return released;
  }

  void Reset(Type replacement = Traits::Empty()) noexcept {
    Type old = value;
    value = replacement;
    if (!Traits::IsValid(old)) return;
    const DWORD error = GetLastError();
    Traits::Close(old);
    SetLastError(error);
  }

  // For out-parameters: closes the current handle and returns the address to fill.
  Type* Out() noexcept {
    Reset();
    return &value;
  }

 private:
  Type value = Traits::Empty();
};

// Kernel objects of both conventions: CreateFileW fails with INVALID_HANDLE_VALUE, most other calls with null.
struct KernelHandleTraits {
  using Type = HANDLE;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type handle) noexcept { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { CloseHandle(handle); }
};
using KernelHandle = UniqueHandle<KernelHandleTraits>;

// FindFirstFileW.
struct FindHandleTraits {
  using Type = HANDLE;
  static Type Empty() noexcept { return INVALID_HANDLE_VALUE; }
  static bool IsValid(Type handle) noexcept { return handle != INVALID_HANDLE_VALUE; }
  static void Close(Type handle) noexcept { FindClose(handle); }
};
using FindHandle = UniqueHandle<FindHandleTraits>;

// The service control manager and its services.
struct ServiceHandleTraits {
  using Type = SC_HANDLE;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type handle) noexcept { return handle != nullptr; }
  static void Close(Type handle) noexcept { CloseServiceHandle(handle); }
};
using ServiceHandle = UniqueHandle<ServiceHandleTraits>;

struct RegistryKeyTraits {
  using Type = HKEY;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type key) noexcept { return key != nullptr; }
  static void Close(Type key) noexcept { RegCloseKey(key); }
};
using RegistryKey = UniqueHandle<RegistryKeyTraits>;

// LoadLibraryW.
struct ModuleHandleTraits {
  using Type = HMODULE;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type module) noexcept { return module != nullptr; }
  static void Close(Type module) noexcept { FreeLibrary(module); }
};
using ModuleHandle = UniqueHandle<ModuleHandleTraits>;

// Memory that Windows allocates with LocalAlloc: security descriptors, SID texts.
template <typename T>
struct LocalMemoryTraits {
  using Type = T;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type memory) noexcept { return memory != nullptr; }
  static void Close(Type memory) noexcept { LocalFree(memory); }
};
template <typename T>
using LocalMemory = UniqueHandle<LocalMemoryTraits<T>>;

}  // namespace moorlak
