#include "proxy/proxy_config.h"

#include <algorithm>
#include <optional>

#include "config/inbound_ports.h"
#include "text/json_members.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr uint64_t kLargestPort = 65535;

constexpr std::string_view kStatsSection = "\n  \"stats\": {}";
constexpr std::string_view kPolicySection =
    "\n  \"policy\": {\n"
    "    \"system\": {\n"
    "      \"statsInboundUplink\": true,\n"
    "      \"statsInboundDownlink\": true,\n"
    "      \"statsOutboundUplink\": true,\n"
    "      \"statsOutboundDownlink\": true\n"
    "    }\n"
    "  }";
constexpr std::string_view kApiSectionHead =
    "\n  \"api\": {\n"
    "    \"tag\": \"api\",\n"
    "    \"listen\": \"127.0.0.1:";
constexpr std::string_view kApiSectionTail =
    "\",\n"
    "    \"services\": [\"HandlerService\", \"StatsService\", \"LoggerService\"]\n"
    "  }";

bool LacksRootMember(std::string_view text, std::string_view name) {
  const size_t root = FindRootObject(text);
  return root != kNotFound && !FindJsonMember(text, root, name);
}

// A text value's meaning; empty if it is missing or of another kind.
std::string TextMember(std::string_view object, std::string_view name) {
  const auto value = FindJsonMember(object, 0, name);
  return value ? ReadJsonText(*value).value_or("") : std::string();
}

// A port, written as a number or as a text.
std::string PortMember(std::string_view object) {
  const auto value = FindJsonMember(object, 0, "port");
  if (!value) return {};
  const std::string digits = ReadJsonText(*value).value_or(std::string(*value));
  return ParseDecimal(digits, kLargestPort) ? digits : std::string();
}

bool IsHostByte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || IsDigit(byte) || byte == '.' || byte == '-' ||
         byte == '_';
}

bool IsIpv6Byte(char byte) {
  return (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F') || IsDigit(byte) || byte == ':' || byte == '.';
}

bool IsSafeHost(std::string_view host) {
  if (host.starts_with('[') && host.ends_with(']') && host.size() > 2) {
    return std::ranges::all_of(host.substr(1, host.size() - 2), IsIpv6Byte);
  }
  return !host.empty() && host.front() != '-' && std::ranges::all_of(host, IsHostByte);
}

// "tag"\s*:\s*"in_proxy"[\s\S]*?"port"\s*:\s*(\d+)
// "protocol"\s*:\s*"socks"[\s\S]*?"port"\s*:\s*(\d+)
// "inbounds"[\s\S]*?"port"\s*:\s*(\d+)
std::optional<TextMatch> FindSocksPortDigits(std::string_view text) {
  for (const auto& head :
       {FindMemberWithText(text, "tag", {"in_proxy"}), FindMemberWithText(text, "protocol", {"socks"})}) {
    if (!head) continue;
    if (const auto port = FindNumberMember(text, "port", head->end)) return port;
  }
  constexpr std::string_view kInbounds = "inbounds";
  const size_t head = FindKey(text, kInbounds, 0, LetterCase::Exact);
  if (head == kNotFound) return std::nullopt;
  return FindNumberMember(text, "port", head + kInbounds.size() + 2);
}

}  // namespace

bool IsBalanced(std::string_view text) {
  int64_t braces = 0;
  int64_t brackets = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char byte = text[i];
    if (byte == '\\') {
      ++i;
    } else if (byte == '"') {
      inString = !inString;
    } else if (!inString) {
      braces += byte == '{' ? 1 : byte == '}' ? -1 : 0;
      brackets += byte == '[' ? 1 : byte == ']' ? -1 : 0;
      if (braces < 0 || brackets < 0) return false;
    }
  }
  return braces == 0 && brackets == 0 && !inString;
}

ApiEndpoint DetectApiEndpoint(std::string_view text, std::string_view defaultAddress) {
  ApiEndpoint endpoint;
  endpoint.address = defaultAddress;
  const size_t root = FindRootObject(text);
  const auto api = root == kNotFound ? std::nullopt : FindJsonMember(text, root, "api");
  if (!api || !api->starts_with('{')) return endpoint;

  if (std::string tag = TextMember(*api, "tag"); !tag.empty()) endpoint.tag = std::move(tag);
  std::string listen = TextMember(*api, "listen");
  if (listen.empty()) {
    const std::string address = TextMember(*api, "address");
    const std::string port = PortMember(*api);
    if (!address.empty() && !port.empty()) listen = address + ":" + port;
  }
  if (!listen.empty()) endpoint.address = std::move(listen);
  return endpoint;
}

bool IsSafeApiAddress(std::string_view address) {
  constexpr size_t kLongestHost = 253;
  const size_t colon = address.rfind(':');
  // The position of a missing colon is greater than any length.
  static_assert(kNotFound > kLongestHost);
  if (colon > kLongestHost) return false;
  return IsSafeHost(address.substr(0, colon)) && ParseDecimal(address.substr(colon + 1), kLargestPort).value_or(0) != 0;
}

bool LacksApiSection(std::string_view text) {
  return LacksRootMember(text, "api");
}

bool NamesPort(std::string_view text, uint16_t port) {
  for (auto member = FindNumberMember(text, "port"); member; member = FindNumberMember(text, "port", member->end)) {
    if (ParseDecimal(member->group, kLargestPort) == port) return true;
  }
  return false;
}

std::string AddStatisticsSections(std::string_view text, uint16_t apiPort) {
  const size_t root = FindRootObject(text);
  if (root == kNotFound) return std::string(text);

  std::string sections;
  const auto add = [&sections](std::string_view section) {
    if (!sections.empty()) sections += ',';
    sections += section;
  };
  if (LacksApiSection(text)) {
    add(std::string(kApiSectionHead) + std::to_string(apiPort) + std::string(kApiSectionTail));
  }
  if (LacksRootMember(text, "policy")) add(kPolicySection);
  if (LacksRootMember(text, "stats")) add(kStatsSection);

  const size_t firstMember = SkipBlanksAndComments(text, root + 1);
  const bool hasMembers = firstMember < text.size() && text[firstMember] != '}';
  if (!sections.empty() && hasMembers) sections += ',';

  std::string prepared;
  prepared.reserve(text.size() + sections.size());
  prepared += text.substr(0, root + 1);
  prepared += sections;
  prepared += text.substr(root + 1);
  return prepared;
}

uint16_t FindSocksPort(std::string_view text) {
  const auto digits = FindSocksPortDigits(text);
  const uint64_t port = digits ? ParseDecimal(digits->group, kLargestPort).value_or(0) : 0;
  return port == 0 ? kDefaultSocksPort : static_cast<uint16_t>(port);
}

}  // namespace moorlak
