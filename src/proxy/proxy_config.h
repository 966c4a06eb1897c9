// What proxy mode reads from the engine's configuration text and adds to it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// Where the engine's API listens if the text has no api section.
inline constexpr uint16_t kDefaultApiPort = 10085;

// The only syntax check of proxy mode: outside strings, the counts of open brackets and of open braces, kept
// separately, never go below zero and end at zero. A backslash makes the next byte be ignored, in strings and
// elsewhere. An empty text passes.
bool IsBalanced(std::string_view text);

// How to query the engine for its counters.
struct ApiEndpoint {
  // HOST:PORT as written in the text; see IsSafeApiAddress.
  std::string address;
  // The API's own tag, whose traffic is not the user's.
  std::string tag = "api";
};

// The top-level api section's "listen"; otherwise its "address" and "port"; otherwise the default address.
ApiEndpoint DetectApiEndpoint(std::string_view text, std::string_view defaultAddress);

// Whether an address is safe in a command line: a host name, an IPv4 address or an IPv6 address in square brackets,
// then a colon and a port of 1..65535; nothing with a special meaning in a command line, and no leading dash.
bool IsSafeApiAddress(std::string_view address);

// True if AddStatisticsSections would add an api section, so that this program chooses the port.
bool LacksApiSection(std::string_view text);

// True if any "port" member of the text has this number.
bool NamesPort(std::string_view text, uint16_t port);

// Adds those of the sections "stats", "policy" and "api" that are missing at the top level, right after the root
// object's brace. If the engine accepts the text, it also accepts the result. A text that is not an object is returned
// unchanged.
std::string AddStatisticsSections(std::string_view text, uint16_t apiPort);

// The port of the inbound that the system proxy will use; kDefaultSocksPort if the text names none, or if the first
// matching pattern has no number of 1..65535.
uint16_t FindSocksPort(std::string_view text);

}  // namespace moorlak
