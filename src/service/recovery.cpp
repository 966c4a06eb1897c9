#include "service/recovery.h"

#include "net/adapter/wintun_holder.h"
#include "proxy/system_proxy.h"
#include "tunnel/machine_changes.h"
#include "tunnel/protection.h"

namespace moorlak {

namespace {

void Notify(void (*event)()) {
  if (event != nullptr) event();
}

}  // namespace

void RecoverEarlierSession(Protection& protection, const RecoveryEvents& events) noexcept {
  if (!WintunHolder::Instance().SetUp()) Notify(events.adapterMissing);
  Notify(events.stepDone);
  PurgeChanges(kEngineRecovery, protection, events.stepDone);
  protection.Recover();
  Notify(events.stepDone);
  PurgeChanges(kStoredRecovery, protection, events.stepDone);
  // Proxy mode's only change.
  RestoreSystemProxy();
  Notify(events.stepDone);
}

}  // namespace moorlak
