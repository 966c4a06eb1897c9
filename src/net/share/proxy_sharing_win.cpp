#include <string>

#include "base/guarded.h"
#include "base/log.h"
#include "net/share/proxy_sharing.h"

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

CommandOutcome CloseProxySharingFirewall() noexcept {
  return Guarded(CommandOutcome::Failed, [] { return TryHiddenCommand(DeleteSharingRuleCommand()); });
}

void CloseSharingOfEarlierSession() noexcept {
  constexpr int kTries = 5;
  for (int tries = 0; tries < kTries && CloseProxySharingFirewall() == CommandOutcome::Late;) ++tries;
}

}  // namespace moorlak
