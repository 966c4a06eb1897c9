#include "session/support/client_config.h"

#include <nlohmann/json.hpp>

#include "session/support/server.h"

namespace moorlak::session {
namespace {

using Json = nlohmann::ordered_json;

Json Metadata(const ClientConfig& config) {
  Json metadata = {{"panelHost", kPanelHost},
                   {"bypassSubnets", {kBypassSubnet}},
                   {"directDomains", {kDirectDomain}},
                   {"shareProxyPorts", config.sharedPorts}};
  if (!config.blockedApps.empty()) metadata["__moorlak_blocked_apps"] = config.blockedApps;
  return metadata;
}

Json SocksInbound(uint16_t port) {
  return {{"tag", "in_proxy"},
          {"listen", "127.0.0.1"},
          {"port", port},
          {"protocol", "socks"},
          {"settings", {{"auth", "noauth"}, {"udp", true}}}};
}

Json ProxyOutbound(uint16_t serverPort) {
  const Json user = {{"id", kServerUser}, {"alterId", 0}, {"security", "auto"}};
  const Json server = {{"address", kServerAddress}, {"port", serverPort}, {"users", {user}}};
  return {{"tag", "proxy"}, {"protocol", "vmess"}, {"settings", {{"vnext", {server}}}}};
}

}  // namespace

std::string ClientConfigText(const ClientConfig& config) {
  const Json direct = {{"tag", "direct"}, {"protocol", "freedom"}};
  const Json block = {{"tag", "block"}, {"protocol", "blackhole"}};
  Json text;
  text["moorlakMeta"] = Metadata(config);
  text["log"] = {{"loglevel", "warning"}};
  text["inbounds"] = Json::array({SocksInbound(config.socksPort)});
  text["outbounds"] = Json::array({ProxyOutbound(config.serverPort), direct, block});
  text["routing"] = {{"domainStrategy", "AsIs"}, {"rules", Json::array()}};
  return text.dump(2);
}

}  // namespace moorlak::session
