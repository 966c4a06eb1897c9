#include "base/trust.h"

#include <aclapi.h>
#include <sddl.h>

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
  // No SID is longer, so the size need not be asked for first.
  alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
  DWORD size = 0;
  if (!GetTokenInformation(token.Get(), TokenUser, buffer, sizeof(buffer), &size)) return {};
  return SidText(reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid);
}

bool IsReparsePoint(HANDLE file) {
  BY_HANDLE_FILE_INFORMATION information{};
  if (!GetFileInformationByHandle(file, &information)) return true;
  return (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace moorlak
