// A simulated machine for tests of the filters: a physical adapter, the tunnel adapter, and this program as the
// application in the filters.
#pragma once

#include <cstdint>
#include <string>

#include "base/paths.h"
#include "base/utf.h"
#include "net/dns/dns_guard.h"
#include "net/split/split_tunnel.h"
#include "net/wfp/filter_set.h"
#include "network/support/simulated_machine.h"

namespace moorlak {

// An application id needs only an existing file.
inline std::string OwnPath() {
  return NarrowUtf16(ExecutablePath());
}

class OnFilteringMachine : public OnSimulatedMachine {
 protected:
  void SetUp() override {
    lab::MachineState machine = lab::DhcpMachine();
    physical = machine.adapters[1].luid;
    tunnel = AddTunnelAdapter(machine).luid;
    Start(machine);
  }

  uint64_t physical = 0;
  uint64_t tunnel = 0;
  FilterSet guard{kDnsGuardFilters};
  FilterSet split{kSplitTunnelFilters};
};

}  // namespace moorlak
