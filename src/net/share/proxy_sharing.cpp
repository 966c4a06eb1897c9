#include "net/share/proxy_sharing.h"

#include <string>

#include "base/guarded.h"
#include "base/log.h"
#include "net/share/sharing_rule.h"
#include "process/hidden_command.h"

namespace moorlak {

void OpenProxySharingFirewall(const std::vector<uint32_t>& ports) noexcept {
  CloseProxySharingFirewall();
  Guarded([&] {
    if (ports.empty()) return;
    const std::string joined = JoinPorts(ports);
    WriteLogLine("proxy-share: opening firewall for ports " + joined);
    RunHiddenCommand(AddSharingRuleCommand(joined));
  });
}

bool CloseProxySharingFirewall() noexcept {
  return Guarded(false, [] { return RunHiddenCommand(DeleteSharingRuleCommand()); });
}

}  // namespace moorlak
