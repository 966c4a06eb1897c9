#include "net/share/proxy_sharing.h"

namespace moorlak {
namespace {

constexpr uint32_t kDeleteMs = 1200;
constexpr char kRuleName[] = "Moorlak Proxy Sharing";

std::string RuleCommand(const char* verb) {
  return std::string("netsh advfirewall firewall ") + verb + " rule name=\"" + kRuleName + "\"";
}

}  // namespace

std::string JoinPorts(const std::vector<uint32_t>& ports) {
  std::string joined;
  for (const uint32_t port : ports) {
    if (!joined.empty()) joined += ',';
    joined += std::to_string(port);
  }
  return joined;
}

HiddenCommand DeleteSharingRuleCommand() {
  return {RuleCommand("delete"), kDeleteMs, false};
}

HiddenCommand AddSharingRuleCommand(const std::string& joinedPorts) {
  return {RuleCommand("add") + " dir=in action=allow protocol=TCP localport=" + joinedPorts +
              " profile=private,domain remoteip=LocalSubnet",
          kCommandMs, true};
}

}  // namespace moorlak
