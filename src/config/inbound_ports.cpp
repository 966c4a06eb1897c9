#include "config/inbound_ports.h"

#include <array>
#include <optional>

#include "base/log.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr size_t kMaxPortDigits = 5;
constexpr uint64_t kLargestPort = 65535;

std::optional<TextMatch> FindSocksTag(std::string_view text, size_t from) {
  return FindMemberWithText(text, "tag", {"in_proxy", "socks-in", "socks"}, from);
}

std::optional<TextMatch> FindSocksProtocol(std::string_view text, size_t from) {
  return FindMemberWithText(text, "protocol", {"socks"}, from);
}

std::optional<TextMatch> FindApiTag(std::string_view text, size_t from) {
  return FindMemberWithText(text, "tag", {"api"}, from);
}

std::optional<TextMatch> FindPort(std::string_view text, size_t from) {
  return FindNumberMember(text, "port", from);
}

// "tag"\s*:\s*"(?:in_proxy|socks-in|socks)"[\s\S]*?"port"\s*:\s*(\d+)
constexpr GapPattern kTagThenPort{FindSocksTag, FindPort, kAnyGap};
// "protocol"\s*:\s*"socks"[\s\S]{0,500}?"port"\s*:\s*(\d+)
constexpr GapPattern kProtocolThenPort{FindSocksProtocol, FindPort, 500};
// "port"\s*:\s*(\d+)[\s\S]{0,300}?"protocol"\s*:\s*"socks"
// Takes all digits: fewer would only make the gap longer.
constexpr GapPattern kPortThenProtocol{FindPort, FindSocksProtocol, 300};
// "tag"\s*:\s*"api"[\s\S]{0,400}?"port"\s*:\s*(\d+)
constexpr GapPattern kApiTagThenPort{FindApiTag, FindPort, 400};

// The digits that the pattern's first match captures.
std::optional<std::string_view> CaptureDigits(std::string_view text, SocksPortSource source) {
  const bool portFirst = source == SocksPortSource::PortBeforeProtocol;
  const GapPattern& pattern = portFirst                             ? kPortThenProtocol
                              : source == SocksPortSource::Protocol ? kProtocolThenPort
                                                                    : kTagThenPort;
  const auto match = FindAcrossGap(text, pattern, 0);
  if (!match) return std::nullopt;
  return portFirst ? match->head.group : match->tail.group;
}

constexpr std::array<SocksPortSource, 3> kSocksPortSources{SocksPortSource::Tag, SocksPortSource::Protocol,
                                                           SocksPortSource::PortBeforeProtocol};

// 1..65535 in at most five digits; 0 for anything else.
uint16_t ReadPort(std::string_view digits) {
  if (digits.size() > kMaxPortDigits) return 0;
  return static_cast<uint16_t>(ParseDecimal(digits, kLargestPort).value_or(0));
}

bool ReplaceFirst(std::string& text, const std::string& old, const std::string& replacement) {
  const size_t position = FindText(text, old, 0, LetterCase::Exact);
  if (position == kNotFound) return false;
  text.replace(position, old.size(), replacement);
  return true;
}

// The number may be another member's, or the start of a longer number: the engine's test shows whether it accepts the
// result.
void ReplacePort(std::string& text, const std::string& old, const std::string& replacement) {
  for (const std::string head : {"\"port\": ", "\"port\":"}) {
    if (ReplaceFirst(text, head + old, head + replacement)) return;
  }
}

// False if there is no free port.
bool RemapSocksPort(std::string& text, const LoopbackPorts& ports) {
  const uint16_t old = DetectSocksPort(text);
  if (ports.isFree(old)) return true;
  const std::string oldText = std::to_string(old);
  const uint16_t port = ports.pickFree();
  if (port == 0) {
    WriteLogLine("ERROR: SOCKS port " + oldText + " is in use and no free loopback port was found");
    return false;
  }
  ReplacePort(text, oldText, std::to_string(port));
  WriteLogLine("WARNING: SOCKS port " + oldText + " busy (another app?) — remapped to " + std::to_string(port));
  return true;
}

void RemapApiPort(std::string& text, const LoopbackPorts& ports) {
  const auto match = FindAcrossGap(text, kApiTagThenPort, 0);
  const uint16_t old = match ? ReadPort(match->tail.group) : uint16_t{0};
  if (old == 0 || ports.isFree(old)) return;
  const uint16_t port = ports.pickFree();
  if (port == 0) return;
  const size_t digits = match->tail.group.size();
  text.replace(match->tail.end - digits, digits, std::to_string(port));
  WriteLogLine("WARNING: API port " + std::to_string(old) + " busy — remapped to " + std::to_string(port));
}

}  // namespace

uint16_t DetectSocksPort(std::string_view configText) {
  for (const SocksPortSource source : kSocksPortSources) {
    const auto digits = CaptureDigits(configText, source);
    const uint16_t port = digits ? ReadPort(*digits) : uint16_t{0};
    if (port != 0) return port;
  }
  return kDefaultSocksPort;
}

SocksPortFinding FindSessionSocksPort(std::string_view configText) {
  for (const SocksPortSource source : kSocksPortSources) {
    const auto digits = CaptureDigits(configText, source);
    if (!digits) continue;
    const uint16_t port = ReadPort(*digits);
    return {source, port == 0 ? kDefaultSocksPort : port};
  }
  return {};
}

uint16_t FindApiPort(std::string_view configText) {
  const size_t inbounds = FindKey(configText, "inbounds", 0, LetterCase::Exact);
  if (inbounds == kNotFound) return kVpnApiPort;
  const auto match = FindAcrossGap(configText, kApiTagThenPort, inbounds);
  const uint16_t port = match ? ReadPort(match->tail.group) : uint16_t{0};
  return port == 0 ? kVpnApiPort : port;
}

std::string RemapBusyPorts(std::string configText, const LoopbackPorts& ports) {
  if (RemapSocksPort(configText, ports)) RemapApiPort(configText, ports);
  return configText;
}

}  // namespace moorlak
