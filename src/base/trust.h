// Whom the service trusts: objects in places where any user can create some are judged by their owner.
#pragma once

#include <windows.h>

#include <accctrl.h>
#include <string>

#include "base/handle.h"
#include "base/object_trust.h"

namespace moorlak {

// Security descriptor from its text form ("Security Descriptor String Format" on Microsoft Learn); empty if the text is
// malformed or names an unknown account.
LocalMemory<PSECURITY_DESCRIPTOR> DescriptorFrom(const std::wstring& sddl);

// Like DescriptorFrom, with an owner added: Administrators if this process may set it (so that LocalSystem and elevated
// administrators trust each other's objects), otherwise the current user. Empty if neither works.
LocalMemory<PSECURITY_DESCRIPTOR> OwnedDescriptor(const std::wstring& sddl);

// SID of the object's owner in UTF-8; empty if it cannot be read. The handle needs READ_CONTROL.
std::string OwnerSid(HANDLE object, SE_OBJECT_TYPE type);

// True if that owner is trusted (base/object_trust.h); an owner that cannot be read is not.
bool HasTrustedOwner(HANDLE object, SE_OBJECT_TYPE type);

// SID of a process's user as text ("S-1-5-18" is LocalSystem); empty if it cannot be read. The handle needs
// PROCESS_QUERY_LIMITED_INFORMATION.
std::wstring UserSid(HANDLE process);

// The same for a token; the handle needs TOKEN_QUERY.
std::wstring TokenUserSid(HANDLE token);

// A descriptor with an owner, as above, for what belongs only to LocalSystem and the administrators: a protected list
// that gives both full access, and the current user too if this process cannot make Administrators the owner. The given
// entries, which may be empty, are appended for others.
LocalMemory<PSECURITY_DESCRIPTOR> ClosedDescriptor(const std::wstring& entriesForOthers);

// The facts of an open file or folder; what cannot be read is reported as an untrusted value. The handle must have been
// opened with FILE_FLAG_OPEN_REPARSE_POINT or an equivalent, and needs FILE_READ_ATTRIBUTES and READ_CONTROL.
ObjectFacts ReadFacts(HANDLE object);

// The verdict on these facts (base/object_trust.h) for the current user.
ObjectVerdict JudgeOpen(HANDLE object, const ObjectDemands& demands);

// SID of the current user, in UTF-8; empty if it cannot be read.
const std::string& OwnUserSid();

// True for junctions, symbolic links and mount points, and if the attributes cannot be read. The handle must have been
// opened with FILE_FLAG_OPEN_REPARSE_POINT.
bool IsReparsePoint(HANDLE file);

}  // namespace moorlak
