// The reader of the machine says the same as the simulated machine's own state.
#include <algorithm>

#include "inspect/read_parts.h"
#include "inspect/view_text.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

using Lines = std::vector<std::string>;

// The keys as they must stay, not taken from the product.
constexpr char kGuardProvider[] = "{6D6F6F72-444E-5301-4755-4152444D4C31}";
constexpr char kGuardSublayer[] = "{6D6F6F72-444E-5300-4755-4152444D4C31}";
constexpr char kSplitProvider[] = "{4D6F6F72-5350-5401-5354-4D4F4F524C41}";
constexpr char kSplitSublayer[] = "{4D6F6F72-5350-5400-5354-4D4F4F524C41}";
constexpr char kOtherProvider[] = "{11111111-2222-3333-4444-555555555555}";

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string List(const Lines& items) {
  std::string text;
  for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
  return text.empty() ? "none" : text;
}

std::string MetricText(const lab::FamilySettings& family) {
  return family.bound ? std::to_string(family.metric) : "none";
}

void AddAdapterLines(Lines& lines, const lab::Adapter& adapter) {
  Lines addresses;
  Lines servers;
  for (const lab::FamilySettings* family : {&adapter.ipv4, &adapter.ipv6}) {
    if (!family->bound) continue;
    for (const lab::Address& own : family->addresses)
      addresses.push_back(own.address + "/" + std::to_string(own.prefixLength));
    const Lines& inUse = family->staticDns.empty() ? family->learnedDns : family->staticDns;
    servers.insert(servers.end(), inUse.begin(), inUse.end());
  }
  const std::string head = "adapter " + Quoted(adapter.name) + ": ";
  lines.push_back(head + adapter.guid + ", type " + std::to_string(adapter.type) + (adapter.up ? ", up" : ", down"));
  lines.push_back(head + (adapter.ipv4.bound && adapter.ipv4.dhcp ? "DHCP" : "static") + ", addresses " +
                  List(addresses));
  lines.push_back(head + "DNS " + List(servers));
  lines.push_back(head + "metric IPv4 " + MetricText(adapter.ipv4) + ", IPv6 " + MetricText(adapter.ipv6));
}

std::string RouteText(const lab::MachineState& machine, const lab::Route& route) {
  std::string adapterName = "(no adapter)";
  for (const lab::Adapter& adapter : machine.adapters) {
    if (adapter.luid == route.luid) adapterName = Quoted(adapter.name);
  }
  return "route " + route.destination + "/" + std::to_string(route.prefixLength) +
         (route.nextHop == "0.0.0.0" ? " on-link" : " via " + route.nextHop) + " on " + adapterName + " metric " +
         std::to_string(route.metric);
}

bool IsOurs(const std::string& provider) {
  return provider == kGuardProvider || provider == kSplitProvider;
}

// The same facts from the machine's state, sorted.
Lines ExpectedLines(const lab::MachineState& machine) {
  Lines lines;
  for (const lab::Adapter& adapter : machine.adapters) AddAdapterLines(lines, adapter);
  for (const lab::Route& route : machine.ipv4Routes) lines.push_back(RouteText(machine, route));
  for (const lab::WfpProvider& provider : machine.wfp.providers) {
    if (IsOurs(provider.key)) lines.push_back("provider " + Quoted(provider.name) + " " + provider.key);
  }
  for (const lab::WfpSublayer& sublayer : machine.wfp.sublayers) {
    if (sublayer.key == kGuardSublayer || sublayer.key == kSplitSublayer)
      lines.push_back("sublayer " + Quoted(sublayer.name) + " " + sublayer.key);
  }
  for (const lab::WfpFilter& filter : machine.wfp.filters) {
    if (IsOurs(filter.provider)) lines.push_back("filter " + Quoted(filter.name) + " " + filter.provider);
  }
  for (const lab::Device& device : machine.devices) {
    if (!device.instanceId.starts_with("SWD\\Wintun\\")) continue;
    lines.push_back("device " + device.instanceId + ": " + Quoted(device.friendlyName) + ", connection " +
                    Quoted(device.connectionName) + (device.present ? ", present" : ", not present"));
  }
  std::ranges::sort(lines);
  return lines;
}

// What the reader's dump says of these parts, sorted.
Lines ReadLines() {
  inspect::MachineView view;
  inspect::ReadAdapterParts(view);
  inspect::ReadRouteParts(view);
  inspect::ReadFilterObjects(view);
  inspect::ReadDevices(view);
  Lines lines = inspect::ViewLines(view);
  // Parts that were not read here.
  std::erase_if(
      lines, [](const std::string& line) { return line.starts_with("service ") || line.starts_with("fast startup"); });
  std::ranges::sort(lines);
  return lines;
}

void AddFilters(lab::MachineState& machine) {
  machine.wfp.providers = {{kGuardProvider, "Moorlak", 0}, {kSplitProvider, "Moorlak", 0}, {kOtherProvider, "Av", 0}};
  machine.wfp.sublayers = {{kGuardSublayer, "Moorlak DNS Guard", "", 1, 0},
                           {kSplitSublayer, "Moorlak Split Tunnel", kSplitProvider, 2, 0},
                           {kOtherProvider, "Av", kOtherProvider, 3, 0}};
  // More than two pages.
  for (uint64_t id = 1; id <= 150; ++id) {
    const char* provider = id % 3 == 0 ? kOtherProvider : id % 2 == 0 ? kSplitProvider : kGuardProvider;
    machine.wfp.filters.push_back({id,
                                   "filter " + std::to_string(id),
                                   "ALE_AUTH_CONNECT_V4",
                                   kGuardSublayer,
                                   provider,
                                   "block",
                                   "uint8",
                                   1,
                                   {},
                                   0});
  }
}

class Reader : public OnSimulatedMachine {};

TEST_F(Reader, SaysWhatEachFixtureIs) {
  for (const lab::Fixture& fixture : lab::Fixtures()) {
    SCOPED_TRACE(fixture.name);
    Start(fixture.make());
    EXPECT_EQ(ReadLines(), ExpectedLines(lab::ReadMachine()));
  }
}

TEST_F(Reader, SaysWhatASessionHasChanged) {
  lab::MachineState machine = TunnelMachine();
  machine.adapters[1].ipv4.staticDns = {"127.0.0.1"};
  AddFilters(machine);
  machine.devices.push_back({"SWD\\Wintun\\{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}", "Moorlak Tunnel", "Moorlak Tunnel",
                             "{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}", false, false, false, 0, "Moorlak 2", "", 0});
  machine.devices.push_back({"SWD\\Wintun\\{11111111-6C61-4E01-9A11-4D6F6F726C61}", "tun2socks Tunnel",
                             "tun2socks Tunnel", "{11111111-6C61-4E01-9A11-4D6F6F726C61}", true, false, false, 0,
                             "other", "", 0});
  Start(machine);
  const std::string untouched = Now();
  EXPECT_EQ(ReadLines(), ExpectedLines(lab::ReadMachine()));
  EXPECT_EQ(Now(), untouched) << "reading has changed the machine";
}

TEST_F(Reader, NamesThePartThatItCannotRead) {
  const std::vector<std::pair<std::string, std::string>> parts = {
      {"GetAdaptersAddresses", "the adapters"}, {"GetIpForwardTable2", "the routes"},
      {"FwpmEngineOpen0", "the filters"},       {"FwpmProviderGetByKey0", "the filters"},
      {"FwpmSubLayerGetByKey0", "the filters"}, {"FwpmFilterCreateEnumHandle0", "the filters"},
      {"FwpmFilterEnum0", "the filters"},       {"SetupDiGetClassDevsW", "the network devices"}};
  for (const auto& [call, part] : parts) {
    SCOPED_TRACE(call);
    Start(lab::DhcpMachine());
    PlanFault("fail", call, "", 0, ERROR_ACCESS_DENIED);
    const Lines lines = ReadLines();
    EXPECT_EQ(std::ranges::count(lines, "not read: " + part), 1);
  }
}

}  // namespace
}  // namespace moorlak
