#include "service/recovery.h"

#include "config/config_staging.h"
#include "net/adapter/wintun_holder.h"
#include "net/routing/route_journal.h"
#include "net/routing/stored_default_route.h"
#include "net/share/proxy_sharing.h"
#include "process/stray_engines.h"
#include "proxy/system_proxy.h"
#include "tunnel/leak_protection.h"

namespace moorlak {

namespace {

using RecoveryStep = void (*)();

constexpr RecoveryStep kSteps[] = {
    [] { KillStrayEngines(); },
    [] { RecoverOrphanedNetworkState(); },
    [] { RemoveStoredDefaultRoute(DefaultRouteGeneration()); },
    [] { RecoverJournaledRoutes(); },
    [] { CloseSharingOfEarlierSession(); },
    [] { RemoveStagedVpnConfigs(); },
    [] { RestoreSystemProxy(); },
};

void Notify(void (*event)()) {
  if (event != nullptr) event();
}

}  // namespace

void RecoverEarlierSession(const RecoveryEvents& events) noexcept {
  if (!WintunHolder::Instance().SetUp()) Notify(events.adapterMissing);
  Notify(events.stepDone);
  for (const RecoveryStep step : kSteps) {
    step();
    Notify(events.stepDone);
  }
}

}  // namespace moorlak
