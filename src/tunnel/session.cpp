#include "tunnel/session.h"

#include <utility>

#include "config/inbound_ports.h"
#include "config/vpn_config.h"

namespace moorlak {

Session::Session(const std::string& text, EnginePaths paths, VpnStatus& shown, Protection& machineProtection)
    : status(shown),
      protection(machineProtection),
      engines(std::move(paths)),
      apiAddress("127.0.0.1:" + std::to_string(kVpnApiPort)) {
  configText.reserve(text.size() + kRoomForEdits);
  configText = text;
  meta = ParseConfigMeta(configText);
  // Only the engine's own tunnel inbound knows the program of a connection.
  nativeTun = !meta.blockedApps.empty();
  sharesPorts = !meta.shareProxyPorts.empty();
}

void EndEngines(Session& session) noexcept {
  if (const auto ended = TakeEngine(session.tun2socks)) StopProcess(*ended);
  if (const auto ended = TakeEngine(session.xray)) StopProcess(*ended);
}

SessionWatch MakeWatch(Session& session) {
  return {session.running, [&session] { return StateOf(session.xray); },
          [&session] { return StateOf(session.tun2socks); }};
}

}  // namespace moorlak
