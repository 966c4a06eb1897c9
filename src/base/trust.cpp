#include "base/trust.h"

#include <aclapi.h>
#include <sddl.h>

#include <vector>

#include "base/handle.h"

namespace moorlak {
namespace {

std::wstring SidText(PSID sid) {
  LocalMemory<LPWSTR> text;
  return IsValidSid(sid) && ConvertSidToStringSidW(sid, text.Out()) ? text.Get() : std::wstring();
}

bool IsOwnUser(PSID sid) {
  const std::wstring own = UserSid(GetCurrentProcess());
  return !own.empty() && SidText(sid) == own;
}

}  // namespace

bool HasTrustedOwner(HANDLE object, SE_OBJECT_TYPE type) {
  PSID owner = nullptr;
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  if (GetSecurityInfo(object, type, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr, descriptor.Out()) !=
          ERROR_SUCCESS ||
      owner == nullptr) {
    return false;
  }
  return IsWellKnownSid(owner, WinLocalSystemSid) || IsWellKnownSid(owner, WinBuiltinAdministratorsSid) ||
         IsOwnUser(owner);
}

std::wstring UserSid(HANDLE process) {
  KernelHandle token;
  if (!OpenProcessToken(process, TOKEN_QUERY, token.Out())) return {};
  DWORD size = 0;
  GetTokenInformation(token.Get(), TokenUser, nullptr, 0, &size);
  if (size < sizeof(TOKEN_USER)) return {};
  std::vector<TOKEN_USER> user(size / sizeof(TOKEN_USER) + 1);
  if (!GetTokenInformation(token.Get(), TokenUser, user.data(), size, &size)) return {};
  return SidText(user.front().User.Sid);
}

bool IsReparsePoint(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION information{};
  if (!GetFileInformationByHandle(file, &information)) return true;
  return (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace moorlak
