#include <algorithm>

#include "programs/console/adapters.h"
#include "programs/console/ip_text.h"
#include "programs/console/text.h"
#include "programs/netsh/operations.h"

namespace moorlak::lab {
namespace {

using Servers = std::vector<std::string>;

constexpr uint32_t kLastPosition = 999;

// Changes both lists of servers set by hand, never the learned ones.
template <typename Change>
void ChangeServers(Adapter& adapter, bool ipv6, const Change& change) {
  change(ActiveSettings(adapter, ipv6).staticDns);
  change(StoredSettings(adapter, ipv6).staticDns);
}

// The address in the machine's spelling; nullopt for the words that are allowed in its place.
std::optional<std::string> ServerOf(const NetshCommand& command) {
  return CanonicalAddress(command.Value("address"), command.ipv6);
}

bool Holds(const Servers& servers, const std::string& server) {
  return std::ranges::find(servers, server) != servers.end();
}

void Insert(Servers& servers, const std::string& server, std::optional<uint32_t> position) {
  if (Holds(servers, server)) return;
  const size_t place = std::min<size_t>(position.value_or(kLastPosition) - 1, servers.size());
  servers.insert(servers.begin() + static_cast<std::ptrdiff_t>(place), server);
}

// Whether this machine's netsh refuses "set dnsservers … dhcp".
bool IsRefusedDhcp(const MachineState& state, const NetshCommand& command, const Adapter& adapter) {
  if (command.Value("source") != "dhcp") return false;
  if (!command.ipv6) return state.netsh.refusesDnsFromDhcpOnStatic && !adapter.ipv4.dhcp;
  return state.netsh.refusesIdleIpv6DnsFromDhcp && adapter.ipv6.staticDns.empty();
}

}  // namespace

Outcome SetDns(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("name"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  if (IsRefusedDhcp(state, command, *target.adapter)) return NetshRefused(kBadParameter);
  const std::optional<std::string> server = ServerOf(command);
  ChangeServers(*target.adapter, command.ipv6,
                [&](Servers& servers) { servers = server ? Servers{*server} : Servers{}; });
  return NetshDone();
}

Outcome AddDns(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("name"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  const std::string server = ServerOf(command).value_or("");
  if (Holds(ActiveSettings(*target.adapter, command.ipv6).staticDns, server)) return NetshRefused(kObjectExists);
  const std::optional<uint32_t> position = ParseNumber(command.Value("index"), 1, kLastPosition);
  ChangeServers(*target.adapter, command.ipv6, [&](Servers& servers) { Insert(servers, server, position); });
  return NetshDone();
}

Outcome DeleteDns(MachineState& state, const NetshCommand& command) {
  const NetshTarget target = FindNetshTarget(state, command.Value("name"), command.ipv6);
  if (target.adapter == nullptr) return NetshRefused(target.complaint);
  const std::optional<std::string> server = ServerOf(command);
  if (server && !Holds(ActiveSettings(*target.adapter, command.ipv6).staticDns, *server))
    return NetshRefused(kElementNotFound);
  ChangeServers(*target.adapter, command.ipv6, [&](Servers& servers) {
    if (server) {
      std::erase(servers, *server);
    } else {
      servers.clear();
    }
  });
  return NetshDone();
}

}  // namespace moorlak::lab
