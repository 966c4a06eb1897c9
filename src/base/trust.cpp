#include "base/trust.h"

#include <aclapi.h>
#include <sddl.h>

#include "base/file_place.h"
#include "base/handle.h"
#include "base/utf.h"

namespace moorlak {
namespace {

std::wstring SidText(PSID sid) {
  LocalMemory<LPWSTR> text;
  return IsValidSid(sid) && ConvertSidToStringSidW(sid, text.Out()) ? text.Get() : std::wstring();
}

std::string NarrowSid(PSID sid) {
  return NarrowUtf16(SidText(sid));
}

// Only plain entries have their SID at a known place; the SID of other kinds stays empty.
AccessEntry ReadEntry(const ACE_HEADER& header) {
  AccessEntry entry;
  const bool isDenial = header.AceType == ACCESS_DENIED_ACE_TYPE || header.AceType == ACCESS_DENIED_OBJECT_ACE_TYPE ||
                        header.AceType == ACCESS_DENIED_CALLBACK_ACE_TYPE ||
                        header.AceType == ACCESS_DENIED_CALLBACK_OBJECT_ACE_TYPE;
  entry.grants = !isDenial;
  entry.inheritOnly = (header.AceFlags & INHERIT_ONLY_ACE) != 0;
  // The mask is at the same place in every kind.
  const auto& plain = reinterpret_cast<const ACCESS_ALLOWED_ACE&>(header);
  entry.rights = plain.Mask;
  if (header.AceType == ACCESS_ALLOWED_ACE_TYPE || header.AceType == ACCESS_DENIED_ACE_TYPE) {
    entry.sid = NarrowSid(const_cast<DWORD*>(&plain.SidStart));
  }
  return entry;
}

void ReadSecurity(HANDLE object, ObjectFacts& facts) {
  PSID owner = nullptr;
  PACL list = nullptr;
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  if (GetSecurityInfo(object, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                      &list, nullptr, descriptor.Out()) != ERROR_SUCCESS) {
    return;
  }
  if (owner != nullptr) facts.owner = NarrowSid(owner);
  facts.hasList = list != nullptr;
  for (DWORD i = 0; list != nullptr && i < list->AceCount; ++i) {
    ACE_HEADER* header = nullptr;
    facts.entries.push_back(GetAce(list, i, reinterpret_cast<void**>(&header)) ? ReadEntry(*header)
                                                                               : AccessEntry{true, false, ~0u, {}});
  }
}

bool IsAdministrator() {
  BYTE sid[SECURITY_MAX_SID_SIZE];
  DWORD size = sizeof(sid);
  BOOL isMember = FALSE;
  return CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size) &&
         CheckTokenMembership(nullptr, sid, &isMember) && isMember;
}

// Only a token with the group enabled may make it an owner: LocalSystem's and elevated ones. A process's groups are
// fixed when it starts, and no thread of this product impersonates.
bool MayOwnAsAdministrators() {
  static const bool may = IsAdministrator();
  return may;
}

}  // namespace

LocalMemory<PSECURITY_DESCRIPTOR> DescriptorFrom(const std::wstring& sddl) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, descriptor.Out(), nullptr);
  return descriptor;
}

LocalMemory<PSECURITY_DESCRIPTOR> ClosedDescriptor(const std::wstring& entriesForOthers) {
  std::wstring list = L"D:P(A;;FA;;;SY)(A;;FA;;;BA)";
  if (!MayOwnAsAdministrators()) list += L"(A;;FA;;;" + UserSid(GetCurrentProcess()) + L")";
  return OwnedDescriptor(list + entriesForOthers);
}

LocalMemory<PSECURITY_DESCRIPTOR> OwnedDescriptor(const std::wstring& sddl) {
  return DescriptorFrom((MayOwnAsAdministrators() ? L"O:BA" : L"O:" + UserSid(GetCurrentProcess())) + sddl);
}

std::string OwnerSid(HANDLE object, SE_OBJECT_TYPE type) {
  PSID owner = nullptr;
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  const DWORD error =
      GetSecurityInfo(object, type, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr, descriptor.Out());
  return error == ERROR_SUCCESS && owner != nullptr ? NarrowSid(owner) : std::string();
}

bool HasTrustedOwner(HANDLE object, SE_OBJECT_TYPE type) {
  return IsTrustedOwner(OwnerSid(object, type), OwnUserSid());
}

std::wstring UserSid(HANDLE process) {
  KernelHandle token;
  return OpenProcessToken(process, TOKEN_QUERY, token.Out()) ? TokenUserSid(token.Get()) : std::wstring();
}

std::wstring TokenUserSid(HANDLE token) {
  // No SID is longer, so the size need not be queried first.
  alignas(TOKEN_USER) BYTE buffer[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
  DWORD size = 0;
  if (!GetTokenInformation(token, TokenUser, buffer, sizeof(buffer), &size)) return {};
  return SidText(reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid);
}

const std::string& OwnUserSid() {
  // Never destroyed: threads judge objects until the process ends.
  static const std::string& sid = *new std::string(NarrowUtf16(UserSid(GetCurrentProcess())));
  return sid;
}

ObjectFacts ReadFacts(HANDLE object) {
  ObjectFacts facts;
  if (const auto status = ReadStatus(object)) {
    facts.isFolder = status->Has(FILE_ATTRIBUTE_DIRECTORY);
    facts.isReparsePoint = status->Has(FILE_ATTRIBUTE_REPARSE_POINT);
    facts.isReadOnly = status->Has(FILE_ATTRIBUTE_READONLY);
    facts.links = status->links;
  } else {
    facts.isReparsePoint = true;
  }
  ReadSecurity(object, facts);
  return facts;
}

ObjectVerdict JudgeOpen(HANDLE object, const ObjectDemands& demands) {
  return JudgeObject(ReadFacts(object), demands, OwnUserSid());
}

bool IsReparsePoint(HANDLE file) {
  const auto status = ReadStatus(file);
  return !status || status->Has(FILE_ATTRIBUTE_REPARSE_POINT);
}

}  // namespace moorlak
