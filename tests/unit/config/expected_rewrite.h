// What a start makes of a configuration, found another way than the product's: from the places at which a JSON parser
// sees the members, and from what is known of the configuration.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fixtures/config_fixtures.h"

namespace moorlak {

// The ports that the rewritten text is to have; 0 for those that stay.
struct ExpectedPorts {
  uint16_t socks = 0;
  uint16_t api = 0;
};

// The input with a list of edits applied; every byte outside of the edits is the input's.
std::string ExpectedRewrite(const ConfigFixture& fixture, const ExpectedPorts& ports);

// The fixture's name servers, or those that are used when there are none.
std::vector<std::string> ExpectedDnsList(const ConfigFixture& fixture);

// The rules that go in front, as text; the last one ends with its comma.
std::string ExpectedRules(const ConfigFixture& fixture);

}  // namespace moorlak
