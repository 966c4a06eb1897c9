#include "bench/start_pipeline.h"

#include <utility>
#include <vector>

#include "config/allow_insecure.h"
#include "config/config_meta.h"
#include "config/inbound_ports.h"
#include "config/vpn_config.h"

namespace moorlak::bench {

std::string RunStartPipeline(std::string text) {
  const ConfigMeta meta = ParseConfigMeta(text);
  std::vector<std::string> dnsServers;
  const ListExecutables noExecutables = [](const std::string&, const ExecutableVisitor&) {};
  std::string prepared = PrepareVpnXrayConfig(std::move(text), meta, noExecutables, dnsServers);
  const LoopbackPorts freePorts{[](uint16_t) { return true; }, [] { return uint16_t{0}; }};
  prepared = RemapBusyPorts(std::move(prepared), freePorts);
  return StripAllowInsecure(std::move(prepared));
}

}  // namespace moorlak::bench
