#include "service/recovery_run.h"

#include "base/log.h"
#include "process/install_look.h"
#include "service/process_host.h"
#include "service/recovery.h"
#include "service/single_instance.h"
#include "tunnel/protection.h"

namespace moorlak {

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
