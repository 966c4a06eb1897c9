// Children with fewer rights than the service: creates tokens, and an engine's process with the chosen one.
#pragma once

#include <windows.h>

#include <memory>

#include "base/handle.h"
#include "process/child_process.h"
#include "process/engine_rights.h"

namespace moorlak {

// The account that an engine's processes run as. A copy shares the token. Used by one thread at a time.
struct EngineAccount {
  EngineRightsChoice choice;
  // Empty for the service's own rights, and until one is requested.
  std::shared_ptr<const KernelHandle> token;
};

// Like StartChild, with the account's rights. Rights that cannot be obtained or used lead to the next ones, so that any
// child that can be created at all is created.
//
// LocalService: LogonUserW for "NT AUTHORITY\LocalService" as a service, which requires LocalSystem's rights; the
// token's user is verified. Both kinds of token go through CreateRestrictedToken with DISABLE_MAX_PRIVILEGE, which
// keeps only SeChangeNotifyPrivilege ("CreateRestrictedToken function" on Microsoft Learn).
DWORD StartChildAs(EngineAccount& account, const ChildOptions& options, ChildProcess& child);

// Uses the service's own rights from now on, with the reason.
void TakeOwnRights(EngineAccount& account, std::string_view reason);

}  // namespace moorlak
