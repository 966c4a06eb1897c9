// Whom the service believes: objects that lie where every user can create some are judged by their owner.
#pragma once

#include <windows.h>

#include <accctrl.h>
#include <string>

#include "base/handle.h"
#include "base/object_trust.h"

namespace moorlak {

// Security descriptor from its text form ("Security Descriptor String Format" of Microsoft Learn); empty when the text
// is malformed or names an unknown account.
LocalMemory<PSECURITY_DESCRIPTOR> DescriptorFrom(const std::wstring& sddl);

// The same with an owner in front of the text: the Administrators group where this process may name it, by which
// LocalSystem and elevated administrators know each other's objects, else the own user. Empty when there is neither.
LocalMemory<PSECURITY_DESCRIPTOR> OwnedDescriptor(const std::wstring& sddl);

// True when the object's owner is LocalSystem, the Administrators group or the user this process runs as. The handle
// needs READ_CONTROL; an owner that cannot be read is not trusted.
bool HasTrustedOwner(HANDLE object, SE_OBJECT_TYPE type);

// SID of the user that a process runs as, as text ("S-1-5-18" is LocalSystem); empty when it cannot be read. The handle
// needs PROCESS_QUERY_LIMITED_INFORMATION.
std::wstring UserSid(HANDLE process);

// The same for a token, which needs TOKEN_QUERY.
std::wstring TokenUserSid(HANDLE token);

// The same for what belongs to LocalSystem and the administrators, and to nobody else: a protected list that gives both
// full access, and the own user where he stands for them; the entries behind it are for others, and may be none.
LocalMemory<PSECURITY_DESCRIPTOR> ClosedDescriptor(const std::wstring& entriesForOthers);

// What an open file or folder says of itself; what cannot be read is told as what nobody trusts. The handle must have
// been opened with FILE_FLAG_OPEN_REPARSE_POINT or the like, and needs FILE_READ_ATTRIBUTES and READ_CONTROL.
ObjectFacts ReadFacts(HANDLE object);

// The verdict on it (base/object_trust.h) for the user this process runs as.
ObjectVerdict JudgeOpen(HANDLE object, const ObjectDemands& demands);

// SID of the user this process runs as, in UTF-8; empty when it cannot be read.
const std::string& OwnUserSid();

// True for junctions, symbolic links and mount points, and when the attributes cannot be read. The handle must have
// been opened with FILE_FLAG_OPEN_REPARSE_POINT.
bool IsReparsePoint(HANDLE file);

}  // namespace moorlak
