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

bool RecoverEarlierSession() noexcept {
  const bool hasAdapter = WintunHolder::Instance().SetUp();
  KillStrayEngines();
  RecoverOrphanedNetworkState();
  RemoveStoredDefaultRoute(DefaultRouteGeneration());
  RecoverJournaledRoutes();
  CloseProxySharingFirewall();
  RemoveStagedVpnConfigs();
  RestoreSystemProxy();
  return hasAdapter;
}

}  // namespace moorlak
