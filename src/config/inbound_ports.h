// The local ports of an engine configuration: finding them in the text, and replacing ports that are in use.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace moorlak {

// The SOCKS port if the text has none.
inline constexpr uint16_t kDefaultSocksPort = 10807;
// The port of the API inbound that this program adds to a VPN configuration.
inline constexpr uint16_t kVpnApiPort = 10086;

// The SOCKS inbound's port: by its tag, by its protocol, or by a port just before its protocol. If the number of a
// first match is not a port, the next of the three is tried. kDefaultSocksPort if all three fail.
uint16_t DetectSocksPort(std::string_view configText);

// The SOCKS port that a session uses. Uses the same three expressions, but the first that matches decides: if its
// number is not a port, the result is kDefaultSocksPort.
enum class SocksPortSource { Tag, Protocol, PortBeforeProtocol, None };
struct SocksPortFinding {
  SocksPortSource source = SocksPortSource::None;
  uint16_t port = kDefaultSocksPort;
};
SocksPortFinding FindSessionSocksPort(std::string_view configText);

// The API inbound's port in a text that an engine will run: the first "api" tag at or after "inbounds" with a port
// after it. kVpnApiPort if there is none.
uint16_t FindApiPort(std::string_view configText);

// Queries to the machine: IsLoopbackPortFree and PickFreeLoopbackPort, or a test's.
struct LoopbackPorts {
  std::function<bool(uint16_t)> isFree;
  // 0 if there is none.
  std::function<uint16_t()> pickFree;
};

// Replaces the SOCKS port and the API port with free ones if they are in use, and logs it. The SOCKS port is replaced
// in the first "port" member whose digits begin with the old number, which may be another inbound's; the API port
// exactly where it is. Without a free port the text is unchanged.
std::string RemapBusyPorts(std::string configText, const LoopbackPorts& ports);

// These two start and end Winsock themselves, so any thread may call them.
//
// Whether a TCP socket can be bound to this port on 127.0.0.1. A failure before the bind counts as busy. The port is
// not held afterwards.
bool IsLoopbackPortFree(uint16_t port) noexcept;

// A port that the system chooses for 127.0.0.1; 0 if it gives none. The port is not held afterwards.
uint16_t PickFreeLoopbackPort() noexcept;

}  // namespace moorlak
