#include "config/tun_inbound.h"

#include "config/dns_servers.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kHead =
    "    {\n"
    "      \"tag\": \"tun-in\",\n"
    "      \"protocol\": \"tun\",\n"
    "      \"settings\": {\n"
    "        \"name\": \"Moorlak\",\n"
    "        \"desc\": \"Moorlak\",\n"
    "        \"mtu\": 1500,\n"
    "        \"gateway\": [\"10.0.85.1/24\"],\n"
    "        \"dns\": [";
constexpr std::string_view kTail =
    "],\n"
    "        \"autoSystemRoutingTable\": [\"0.0.0.0/0\", \"::/0\"],\n"
    "        \"autoOutboundsInterface\": \"auto\"\n"
    "      },\n"
    "      \"sniffing\": {\n"
    "        \"enabled\": true,\n"
    "        \"destOverride\": [\"http\", \"tls\", \"quic\"]\n"
    "      }\n"
    "    },";
static_assert(kHead.size() == 202 && kTail.size() == 217);

// Whether the text has "protocol":"tun", with one space or none after the colon.
bool HasTunInbound(std::string_view text) {
  for (size_t value = FindKey(text, "tun", 0, LetterCase::Exact); value != kNotFound;
       value = FindKey(text, "tun", value + 1, LetterCase::Exact)) {
    const std::string_view before = text.substr(0, value);
    if (before.ends_with("\"protocol\":") || before.ends_with("\"protocol\": ")) return true;
  }
  return false;
}

}  // namespace

std::string InjectTunInbound(std::string configText, const std::vector<std::string>& dnsList) {
  if (HasTunInbound(configText)) return configText;
  const size_t inbounds = FindKey(configText, "inbounds", 0, LetterCase::Exact);
  const size_t open = inbounds == kNotFound ? kNotFound : FindByte(configText, '[', inbounds);
  if (open == kNotFound) return configText;

  std::string inbound = "\n";
  inbound += kHead;
  inbound += QuotedList(GetTunnelDnsServers(dnsList), ",");
  inbound += kTail;
  configText.insert(open + 1, inbound);
  return configText;
}

}  // namespace moorlak
