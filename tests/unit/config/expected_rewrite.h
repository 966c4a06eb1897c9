// Computes what a start makes of a configuration without the product's scanners: from the members' positions according
// to a JSON parser, and from what is known about the configuration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fixtures/config_fixtures.h"

namespace moorlak {

// The ports of the rewritten text; 0 means unchanged.
struct ExpectedPorts {
  uint16_t socks = 0;
  uint16_t api = 0;
};

// The input with a list of edits applied. Every byte outside the edits is the input's.
std::string ExpectedRewrite(const ConfigFixture& fixture, const ExpectedPorts& ports);

// The fixture's name servers, or the defaults if it has none.
std::vector<std::string> ExpectedDnsList(const ConfigFixture& fixture);

// The rules that are inserted first, as text. The last one ends with its comma.
std::string ExpectedRules(const ConfigFixture& fixture);

}  // namespace moorlak
