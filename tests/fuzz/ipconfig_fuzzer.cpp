// The gateway in the output of `ipconfig` is the one that a simple search for its pattern finds, and it is safe in a
// command line.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "check.h"
#include "naive_text.h"
#include "net/routing/route_plan.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

constexpr std::string_view kLabel = "Default Gateway";

// \d{1,3}\.\d{1,3}\.\d{1,3}\.\d{1,3} at the position; empty if there is no match.
std::string_view AddressAt(std::string_view text, size_t position) {
  size_t end = position;
  for (int group = 0; group < 4; ++group) {
    if (group > 0 && (end == text.size() || text[end++] != '.')) return {};
    const size_t first = end;
    while (end < text.size() && end < first + 3 && naive::IsDigit(text[end])) ++end;
    if (end == first) return {};
  }
  return text.substr(position, end - position);
}

// Default Gateway[^:]*:[\s]+(address), label by label.
std::string_view FindPlainly(std::string_view text) {
  for (size_t label = text.find(kLabel); label != std::string_view::npos; label = text.find(kLabel, label + 1)) {
    const size_t colon = text.find(':', label);
    if (colon == std::string_view::npos) return {};
    size_t address = colon + 1;
    while (address < text.size() && naive::IsBlank(text[address])) ++address;
    if (address == colon + 1) continue;
    const std::string_view found = AddressAt(text, address);
    if (!found.empty()) return found;
  }
  return {};
}

void CheckGateway(std::string_view output) {
  const std::string gateway = GatewayInIpconfig(output);
  CHECK_PROPERTY(gateway == FindPlainly(output));
  if (gateway.empty()) return;
  CHECK_PROPERTY(IsDottedQuad(gateway));
  const std::string command = RouteAddCommand({"203.0.113.7", kIpv4Bits, gateway}).text;
  CHECK_PROPERTY(command.find_first_not_of("ACDEIKMORSTUadeortu0123456789. ") == std::string::npos);
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  moorlak::CheckGateway(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
