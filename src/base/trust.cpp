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

// Only a token that carries the group enabled may make it an owner. LocalSystem's does, an elevated one does.
bool MayOwnAsAdministrators() {
  BYTE sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof(sid);
  BOOL isMember = FALSE;
  return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size) &&
         CheckTokenMembership(nullptr, sid, &isMember) && isMember;
}

}  // namespace

LocalMemory<PSECURITY_DESCRIPTOR> DescriptorFrom(const std::wstring& sddl) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, descriptor.Out(), nullptr);
  return descriptor;
}

LocalMemory<PSECURITY_DESCRIPTOR> OwnedDescriptor(const std::wstring& sddl) {
  return DescriptorFrom((MayOwnAsAdministrators() ? L"O:BA" : L"O:" + UserSid(GetCurrentProcess())) + sddl);
}

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

bool IsTrustedFolder(const std::wstring& path) {
  // The path is asked too, because not every system tells a link by its handle.
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0 ||
      (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    return false;
  }
  const KernelHandle folder(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES | READ_CONTROL,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  return folder && !IsReparsePoint(folder.Get()) && HasTrustedOwner(folder.Get(), SE_FILE_OBJECT);
}

}  // namespace moorlak
