// Children with fewer rights than the service's: tokens, and creating an engine's process with the chosen one.
#pragma once

#include <windows.h>

#include <memory>

#include "base/handle.h"
#include "process/child_process.h"
#include "process/engine_rights.h"

namespace moorlak {

// As whom an engine's processes run. A copy shares the token. Belongs to one thread at a time.
struct EngineAccount {
  EngineRightsChoice choice;
  // Empty for the service's own rights, and as long as none was asked for.
  std::shared_ptr<const KernelHandle> token;
};

// Starts the child with the account's rights; what cannot be had, or cannot be used, leads to the next of them, so that
// a child that can be created at all is. As StartChild otherwise.
//
// LocalService: LogonUserW for "NT AUTHORITY\LocalService" as a service, which takes LocalSystem's rights; the token is
// asked for its user. Both tokens go through CreateRestrictedToken with DISABLE_MAX_PRIVILEGE, which leaves
// SeChangeNotifyPrivilege alone ("CreateRestrictedToken function" of Microsoft Learn).
DWORD StartChildAs(EngineAccount& account, const ChildOptions& options, ChildProcess& child);

// The service's own rights from now on, with the reason.
void TakeOwnRights(EngineAccount& account, std::string_view reason);

}  // namespace moorlak
