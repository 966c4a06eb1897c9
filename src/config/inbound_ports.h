// The local ports of an engine configuration: where they stand in the text, and moving them when somebody else has
// them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace moorlak {

// The SOCKS port when the text tells none.
inline constexpr uint16_t kDefaultSocksPort = 10807;
// The port of the API inbound that this program adds to a VPN configuration.
inline constexpr uint16_t kVpnApiPort = 10086;

// The port of the SOCKS inbound: by its tag, by its protocol, by a port just before its protocol; a first match whose
// number is no port moves on to the next of these. kDefaultSocksPort when all three fail.
uint16_t DetectSocksPort(std::string_view configText);

// The SOCKS port that a session uses. The same three expressions, but the first that matches decides: when its number
// is no port, the result is kDefaultSocksPort all the same.
enum class SocksPortSource { Tag, Protocol, PortBeforeProtocol, None };
struct SocksPortFinding {
  SocksPortSource source = SocksPortSource::None;
  uint16_t port = kDefaultSocksPort;
};
SocksPortFinding FindSessionSocksPort(std::string_view configText);

// The port of the API inbound of a text that an engine is about to run: the first "api" tag at or behind "inbounds"
// with a port behind it. kVpnApiPort when there is none.
uint16_t FindApiPort(std::string_view configText);

// The machine's answers; see config/loopback_ports.h.
struct LoopbackPorts {
  std::function<bool(uint16_t)> isFree;
  // 0 when there is none.
  std::function<uint16_t()> pickFree;
};

// Moves the SOCKS port and the API port to free ones where they are busy, and logs it. The SOCKS port is replaced at
// the first "port" member whose digits begin with the old number, which may be another one's; the API port exactly
// where it stands. Without a free port the text stays as it is.
std::string RemapBusyPorts(std::string configText, const LoopbackPorts& ports);

}  // namespace moorlak
