#include "service/recovery.h"

#include "net/adapter/wintun_holder.h"
#include "proxy/system_proxy.h"
#include "tunnel/leak_protection.h"
#include "tunnel/machine_changes.h"

namespace moorlak {

namespace {

void Notify(void (*event)()) {
  if (event != nullptr) event();
}

}  // namespace

void RecoverEarlierSession(const RecoveryEvents& events) noexcept {
  if (!WintunHolder::Instance().SetUp()) Notify(events.adapterMissing);
  Notify(events.stepDone);
  PurgeChanges(kEngineRecovery, events.stepDone);
  RecoverOrphanedNetworkState();
  Notify(events.stepDone);
  PurgeChanges(kStoredRecovery, events.stepDone);
  // Proxy mode's only change.
  RestoreSystemProxy();
  Notify(events.stepDone);
}

}  // namespace moorlak
