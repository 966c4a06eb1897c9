// What proxy mode reads from and adds to the engine's configuration text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace moorlak {

// Where the engine's API listens when the text has no api section of its own.
inline constexpr uint16_t kDefaultApiPort = 10085;

// The only syntax check of proxy mode: brackets and braces, each kind counted by itself, never go below zero and end at
// zero, outside a string. A backslash takes the next byte out of consideration, in strings and elsewhere. An empty text
// passes.
bool IsBalanced(std::string_view text);

// How to ask the engine for its counters.
struct ApiEndpoint {
  // HOST:PORT as the text has it; see IsSafeApiAddress.
  std::string address;
  // The API's own tag, whose traffic is not the user's.
  std::string tag = "api";
};

// The top-level api section's "listen", else its "address" and "port", else the default address.
ApiEndpoint DetectApiEndpoint(std::string_view text, std::string_view defaultAddress);

// Whether an address may stand in a command line: a host name, an IPv4 address or an IPv6 address in square brackets,
// a colon and a port of 1..65535; nothing that a command line gives a meaning to, and no leading dash.
bool IsSafeApiAddress(std::string_view address);

// True when AddStatisticsSections would add an api section, so that the port is this program's choice.
bool LacksApiSection(std::string_view text);

// True when some "port" member of the text holds this number.
bool NamesPort(std::string_view text, uint16_t port);

// Adds the "stats", "policy" and "api" sections that have no top-level member of their name, right behind the root
// object's brace. The engine accepts the result when it accepted the text. A text that is no object stays as it is.
std::string AddStatisticsSections(std::string_view text, uint16_t apiPort);

// The port of the inbound that the system proxy is pointed at; kDefaultSocksPort when the text names none, or no number
// of 1..65535 in the place where the first pattern that matches looks.
uint16_t FindSocksPort(std::string_view text);

}  // namespace moorlak
