#include "service/hardening.h"

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "base/guarded.h"
#include "base/handle.h"
#include "base/system_function.h"

namespace moorlak {
namespace {

// "PROCESS_MITIGATION_POLICY enumeration" on Microsoft Learn; the toolchain's headers are older.
constexpr int kExtensionPointDisablePolicy = 6;
constexpr int kImageLoadPolicy = 10;
constexpr int kRedirectionTrustPolicy = 16;
// Bits of the policies' structures.
constexpr DWORD kDisableExtensionPoints = 1;
constexpr DWORD kNoRemoteImages = 1;
constexpr DWORD kNoLowMandatoryLabelImages = 2;
constexpr DWORD kPreferSystem32Images = 4;
constexpr DWORD kEnforceRedirectionTrust = 1;

void ApplyPolicies() {
  using SetPolicy = BOOL(WINAPI*)(int, void*, SIZE_T);
  const auto setPolicy = FindSystemFunction<SetPolicy>(L"kernel32.dll", "SetProcessMitigationPolicy");
  if (setPolicy == nullptr) return;
  const auto apply = [&](int policy, DWORD flags) { setPolicy(policy, &flags, sizeof(flags)); };
  apply(kExtensionPointDisablePolicy, kDisableExtensionPoints);
  apply(kImageLoadPolicy, kNoRemoteImages | kNoLowMandatoryLabelImages | kPreferSystem32Images);
  apply(kRedirectionTrustPolicy, kEnforceRedirectionTrust);
}

bool IsNeeded(const LUID& privilege) {
  wchar_t name[64];
  DWORD length = 64;
  // A privilege without a name is in no list.
  if (!LookupPrivilegeNameW(nullptr, const_cast<LUID*>(&privilege), name, &length)) return false;
  return std::ranges::find(kNeededPrivileges, std::wstring_view(name, length)) != kNeededPrivileges.end();
}

// Empty if they cannot be read.
std::vector<std::byte> ReadPrivileges(HANDLE token) {
  DWORD size = 0;
  GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
  std::vector<std::byte> bytes(size);
  if (!GetTokenInformation(token, TokenPrivileges, bytes.data(), size, &size)) return {};
  return bytes;
}

void RemoveUnused() {
  KernelHandle token;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES, token.Out())) return;
  std::vector<std::byte> bytes = ReadPrivileges(token.Get());
  if (bytes.empty()) return;
  auto* privileges = reinterpret_cast<TOKEN_PRIVILEGES*>(bytes.data());
  LUID_AND_ATTRIBUTES* begin = privileges->Privileges;
  LUID_AND_ATTRIBUTES* end =
      std::remove_if(begin, begin + privileges->PrivilegeCount, [](const auto& one) { return IsNeeded(one.Luid); });
  privileges->PrivilegeCount = static_cast<DWORD>(end - begin);
  std::for_each(begin, end, [](LUID_AND_ATTRIBUTES& one) { one.Attributes = SE_PRIVILEGE_REMOVED; });
  if (begin != end) AdjustTokenPrivileges(token.Get(), FALSE, privileges, 0, nullptr, nullptr);
}

}  // namespace

void HardenProcess() noexcept {
  using SetDirectories = BOOL(WINAPI*)(DWORD);
  const auto setDirectories = FindSystemFunction<SetDirectories>(L"kernel32.dll", "SetDefaultDllDirectories");
  if (setDirectories != nullptr) setDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
  ApplyPolicies();
}

void RemoveUnusedPrivileges() noexcept {
  Guarded(RemoveUnused);
}

}  // namespace moorlak
