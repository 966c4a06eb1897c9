#include "service/recovery.h"

#include "base/log.h"
#include "net/adapter/wintun_holder.h"
#include "process/install_look.h"
#include "proxy/system_proxy.h"
#include "service/process_host.h"
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

int RunRecoveryOnly() {
  WriteLogLine("MoorlakTunnel recovery without the service");
  const InstanceClaim claim;
  if (!claim.IsFirst()) {
    WriteLogLine("MoorlakTunnel: another instance manages this machine, no recovery");
    return kRecoveryNotOurs;
  }
  LogWhatOthersCanChange();
  BeginLife();
  RecoverEarlierSession(*MachineProtection(), {});
  EndTunnel();
  WriteLogLine("MoorlakTunnel: recovery done");
  return kRecoveryDone;
}

}  // namespace moorlak
