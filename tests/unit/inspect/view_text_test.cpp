#include "inspect/view_text.h"

#include <gtest/gtest.h>

#include "unit/inspect/good_views.h"

namespace moorlak::inspect {
namespace {

using Lines = std::vector<std::string>;

TEST(ViewText, SaysEveryFactInALineOfItsOwn) {
  MachineView view = GoodMachine();
  view.adapters.pop_back();
  view.storedRoutes = {Route("203.0.113.0", 24, "192.0.2.9")};
  view.routes.push_back({Route("198.51.100.0", 24, "192.0.2.1"), 999, 3});
  view.filters = {{"sublayer", "Moorlak DNS Guard", "{A}"}};
  view.policies[0].number = 1;
  view.unread = {"the processes"};
  const Lines expected = {
      "adapter \"Ethernet\": {1}, type 6, up",
      "adapter \"Ethernet\": DHCP, addresses 192.0.2.10/24, fe80::1/64",
      "adapter \"Ethernet\": DNS 192.0.2.53, fe80::53",
      "adapter \"Ethernet\": metric IPv4 25, IPv6 25",
      "route 0.0.0.0/0 via 192.0.2.1 on \"Ethernet\" metric 0",
      "route 192.0.2.0/24 on-link on \"Ethernet\" metric 256",
      "route 198.51.100.0/24 via 192.0.2.1 on (no adapter) metric 3",
      "stored route 203.0.113.0/24 via 192.0.2.9",
      "sublayer \"Moorlak DNS Guard\" {A}",
      "policy DisableSmartNameResolution: 1",
      "policy DisableParallelAandAAAA: not set",
      "system proxy of S-1-5-21-1: on, \"http=127.0.0.1:8080;https=proxy.example:443\"",
      "device SWD\\Wintun\\{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}: \"Moorlak Tunnel\", connection \"Moorlak\", present",
      "service MoorlakTunnel: running, start automatic, account LocalSystem, program \"C:\\Program Files\\M\\s.exe\"",
      "service BFE: running, start automatic, account LocalSystem, program \"C:\\Program Files\\M\\s.exe\"",
      "process C:\\M\\moorlak_service.exe",
      "fast startup: 0",
      "not read: the processes"};
  EXPECT_EQ(ViewLines(view), expected);
}

TEST(ViewText, SaysWhatAnAdapterLacks) {
  MachineView view;
  view.adapters = {{"R&D", "{2}", 1, 6, false, false, {}, {}, {}, 35}};
  view.service.name = "MoorlakTunnel";
  view.filteringEngine = {"BFE", ServiceRun::NotInstalled, 0, {}, "", "", {}};
  const Lines expected = {"adapter \"R&D\": {2}, type 6, down",
                          "adapter \"R&D\": static, addresses none",
                          "adapter \"R&D\": DNS none",
                          "adapter \"R&D\": metric IPv4 none, IPv6 35",
                          "service MoorlakTunnel: in an unknown state",
                          "service BFE: not installed",
                          "fast startup: not set"};
  EXPECT_EQ(ViewLines(view), expected);
}

TEST(ViewText, ADifferenceIsWhatOnlyOneSideHas) {
  EXPECT_EQ(CompareLines({"a", "b"}, {"a", "b"}), LineDifference{});
  EXPECT_EQ(CompareLines({"a", "b", "b"}, {"b", "c"}), (LineDifference{{"a", "b"}, {"c"}}));
}

}  // namespace
}  // namespace moorlak::inspect
