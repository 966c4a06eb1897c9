#include "net/dns/adapter_dns.h"

#include "net/dns/dns_backup.h"

namespace moorlak {
namespace {

constexpr uint32_t kIpv6DhcpMs = 1200;

std::string Command(std::string_view verb, std::string_view adapter, std::string_view rest) {
  std::string command = "netsh interface ";
  command += verb;
  command += " dns name=\"";
  command += adapter;
  command += "\" ";
  command += rest;
  return command;
}

}  // namespace

HiddenCommand DeleteIpv4Dns(std::string_view adapter) {
  return {Command("ipv4 delete", adapter, "all"), kAdapterDnsMs, false};
}

HiddenCommand DeleteIpv6Dns(std::string_view adapter) {
  return {Command("ipv6 delete", adapter, "all"), kAdapterDnsMs, false};
}

HiddenCommand SetStaticDns(std::string_view adapter, std::string_view server, uint32_t timeoutMs) {
  return {Command("ipv4 set", adapter, "static " + std::string(server) + " primary validate=no"), timeoutMs, true};
}

HiddenCommand AddStaticDns(std::string_view adapter, std::string_view server, size_t position, uint32_t timeoutMs) {
  return {Command("ipv4 add", adapter, std::string(server) + " index=" + std::to_string(position) + " validate=no"),
          timeoutMs, true};
}

HiddenCommand SetIpv4DnsFromDhcp(std::string_view adapter) {
  return {Command("ipv4 set", adapter, "dhcp"), kAdapterDnsMs, true};
}

HiddenCommand SetIpv6DnsFromDhcp(std::string_view adapter) {
  return {Command("ipv6 set", adapter, "dhcp"), kIpv6DhcpMs, true};
}

HiddenCommand FlushDns() {
  return {"ipconfig /flushdns", kCommandMs, true};
}

bool TakesDnsFromDhcp(bool dhcp, const std::vector<std::string>& servers) {
  return dhcp || servers.empty();
}

std::vector<HiddenCommand> RestoreIpv4Dns(std::string_view adapter, bool dhcp,
                                          const std::vector<std::string>& servers) {
  if (TakesDnsFromDhcp(dhcp, servers)) return {SetIpv4DnsFromDhcp(adapter)};
  std::vector<HiddenCommand> commands{SetStaticDns(adapter, servers.front(), kAdapterDnsMs)};
  for (size_t i = 1; i < servers.size(); ++i) {
    if (IsSafeAddress(servers[i])) commands.push_back(AddStaticDns(adapter, servers[i], i + 1, kAdapterDnsMs));
  }
  return commands;
}

}  // namespace moorlak
