#include "inspect/findings.h"

#include <gtest/gtest.h>

#include "inspect/checks.h"
#include "unit/inspect/good_views.h"

namespace moorlak::inspect {
namespace {

struct Views {
  MachineView machine = GoodMachine();
  InstallView install = GoodInstall();
};

// What is wrong, as "check: wrong" without the other two sentences.
std::vector<std::string> Wrong(const Views& views) {
  std::vector<std::string> texts;
  for (const Finding& finding : Examine(views.machine, views.install)) {
    if (finding.wrong.empty()) continue;
    texts.push_back(std::string(finding.check) + ": " + finding.wrong);
    EXPECT_TRUE(finding.causes.ends_with('.') && finding.remedy.ends_with('.')) << finding.check;
  }
  return texts;
}

using Texts = std::vector<std::string>;

struct Broken {
  const char* name;
  void (*damage)(Views&);
  const char* expected;
};

void RunSession(Views& views) {
  views.machine.processes.push_back(Engine(40));
}

const Broken kBroken[] = {
    {"PartNotRead", [](Views& v) { v.machine.unread = {"the filters"}; },
     "reading: Windows did not let the filters be read."},
    {"ServiceMissing",
     [](Views& v) { v.machine.service = {"MoorlakTunnel", ServiceRun::NotInstalled, 0, {}, "", "", {}}; },
     "service: The service MoorlakTunnel is not installed."},
    {"ServiceDisabled", [](Views& v) { v.machine.service.start = ServiceStart::Disabled; },
     "service: The service MoorlakTunnel is disabled."},
    {"ServiceByHand", [](Views& v) { v.machine.service.start = ServiceStart::Manual; },
     "service: The service MoorlakTunnel does not start with Windows."},
    {"ServiceStopped", [](Views& v) { v.machine.service.run = ServiceRun::Stopped; },
     "service: The service MoorlakTunnel is stopped."},
    {"ServiceStarting", [](Views& v) { v.machine.service.run = ServiceRun::Starting; },
     "service: The service MoorlakTunnel is starting."},
    {"OtherAccount", [](Views& v) { v.machine.service.account = ".\\bob"; },
     "service: The service MoorlakTunnel runs as .\\bob."},
    {"Unquoted", [](Views& v) { v.machine.service.commandLine = "C:\\Program Files\\M\\s.exe"; },
     "service: The path of the service's program is not in quotes: C:\\Program Files\\M\\s.exe."},
    {"NoRestart", [](Views& v) { v.machine.service.restartsAfterCrash = false; },
     "service: Windows does nothing when the service ends unexpectedly."},
    {"FilteringEngineStopped", [](Views& v) { v.machine.filteringEngine.run = ServiceRun::Stopped; },
     "filtering-engine: Windows' filtering engine (the service BFE) is stopped."},
    {"OpenFolder", [](Views& v) { v.install.changeable = {"C:\\M"}; },
     "install-rights: C:\\M can be changed by others than administrators."},
    {"OpenDataFolder", [](Views& v) { v.install.dataFolderFault = "can be changed by others"; },
     "data-rights: The data folder C:\\ProgramData\\M can be changed by others."},
    {"EngineMissing", [](Views& v) { v.install.files[1].path.clear(); },
     "files: xray.exe is missing in C:\\Program Files\\M."},
    {"LibraryMissing", [](Views& v) { v.install.files[3].path.clear(); },
     "files: wintun.dll is missing in C:\\Program Files\\M."},
    {"TwoAdapters",
     [](Views& v) {
       v.machine.adapters.push_back(TunnelAdapter());
       v.machine.adapters.back().name = "Moorlak 1";
     },
     "adapters: More than one tunnel adapter is there without a session: \"Moorlak\", \"Moorlak 1\"."},
    {"LeftoverDevice",
     [](Views& v) {
       v.machine.devices.push_back({"SWD\\Wintun\\{2}", "Moorlak 2", "Moorlak Tunnel", "Moorlak 2", false});
     },
     "adapters: Tunnel adapters that no longer exist are still in the device tree: SWD\\Wintun\\{2}."},
    {"DefaultIntoTunnel",
     [](Views& v) {
       v.machine.routes.push_back({Route("0.0.0.0", 0, "10.0.85.1"), 200, 1});
     },
     "routes: Routes lead into the tunnel without a session: 0.0.0.0/0 via 10.0.85.1 on \"Moorlak\" metric 1."},
    {"OnLinkDefault",
     [](Views& v) {
       v.machine.routes.push_back({Route("0.0.0.0", 0, "0.0.0.0"), 200, 1});
     },
     "routes: Routes lead into the tunnel without a session: 0.0.0.0/0 on-link on \"Moorlak\" metric 1."},
    {"StoredRoute", [](Views& v) { v.machine.storedRoutes = {Route("0.0.0.0", 0, "10.0.85.1")}; },
     "routes: Routes lead into the tunnel without a session: 0.0.0.0/0 stored for the next start."},
    {"BypassRoute",
     [](Views& v) {
       v.machine.routes.push_back({Route("203.0.113.7", 32, "192.0.2.1"), 100, 1});
       v.install.routeJournal = "v1\nadded\n203.0.113.7\n32\n192.0.2.1\n";
     },
     "routes: Routes of an earlier session are left: 203.0.113.7/32 via 192.0.2.1 on \"Ethernet\" metric 1."},
    {"OurNameServer",
     [](Views& v) {
       v.machine.adapters[0].dnsServers = {"127.0.0.1", "fe80::53"};
     },
     "dns: Adapter \"Ethernet\" has the name server 127.0.0.1 without a session."},
    {"Filters",
     [](Views& v) {
       v.machine.filters = {{"filter", "block", "{1}"}, {"provider", "Moorlak", "{1}"}};
     },
     "filters: The filtering platform still has 2 objects of the product without a session."},
    {"ProxyDead", [](Views& v) { v.machine.proxies[0].server = "socks=127.0.0.1:10808"; },
     "system-proxy: The system proxy of account S-1-5-21-1 is port 10808 of this computer, where no program listens."},
    {"SecondProxyDead", [](Views& v) { v.machine.proxies[0].server = "http=localhost:8080;https=http://localhost:81"; },
     "system-proxy: The system proxy of account S-1-5-21-1 is port 81 of this computer, where no program listens."},
    {"RecoveryFiles",
     [](Views& v) {
       v.install.recoveryFiles = {"dns_restore.v1", "routes_restore.v1"};
     },
     "recovery-files: Recovery files of an earlier session are there: dns_restore.v1, routes_restore.v1."},
    {"LeftoverEngine", [](Views& v) { v.machine.processes.push_back(Engine(99)); },
     "leftover-engines: An engine runs without the service: C:\\M\\xray\\xray.exe, process 50."},
    {"OtherTunnel",
     [](Views& v) {
       v.machine.adapters.push_back({"Work", "{3}", 300, kTypePpp, true, false, {"10.1.1.2/24"}, {}, 5, {}});
       v.machine.routes.push_back({Route("0.0.0.0", 0, "10.1.1.1"), 300, 1});
     },
     "other-tunnels: Another tunnel, \"Work\", has the default route that Windows prefers."},
    {"OtherTunnelsHalves",
     [](Views& v) {
       v.machine.adapters.push_back({"Work", "{3}", 300, kTypeVirtual, true, false, {"10.1.1.2/24"}, {}, 500, {}});
       v.machine.routes.push_back({Route("0.0.0.0", 1, "10.1.1.1"), 300, 1});
     },
     "other-tunnels: Another tunnel, \"Work\", has the default route that Windows prefers."},
};

class BrokenViews : public testing::TestWithParam<Broken> {};

TEST_P(BrokenViews, HaveTheirFindingAndNoOther) {
  Views views;
  GetParam().damage(views);
  EXPECT_EQ(Wrong(views), Texts{GetParam().expected});
}

INSTANTIATE_TEST_SUITE_P(Findings, BrokenViews, testing::ValuesIn(kBroken),
                         [](const auto& instance) { return instance.param.name; });

TEST(Findings, AGoodMachineHasNoneAndEachCheckSaysSo) {
  const Views views;
  EXPECT_EQ(Wrong(views), Texts{});
  const std::vector<Finding> findings = Examine(views.machine, views.install);
  EXPECT_FALSE(IsAnythingWrong(findings));
  std::vector<std::string_view> checks;
  for (const Finding& finding : findings) checks.push_back(finding.check);
  // Scripts know them by these names.
  const std::vector<std::string_view> expected = {"reading",        "service",          "filtering-engine",
                                                  "install-rights", "data-rights",      "files",
                                                  "adapters",       "routes",           "dns",
                                                  "filters",        "resolver-policy",  "system-proxy",
                                                  "recovery-files", "leftover-engines", "other-tunnels",
                                                  "fast-startup"};
  EXPECT_EQ(checks, expected);
}

TEST(Findings, APolicyIsNamedOnlyIfARecoveryFileSaysThatItIsOurs) {
  Views views;
  views.machine.policies[0].number = 1;
  EXPECT_EQ(Wrong(views), Texts{});
  for (const char* file : {"smhnr_restore.v1", "smhnr_session_owned.flag"}) {
    views.install.recoveryFiles = {file};
    const Texts expected = {
        "resolver-policy: The resolver's policy is still that of a session: DisableSmartNameResolution.",
        std::string("recovery-files: Recovery files of an earlier session are there: ") + file + "."};
    EXPECT_EQ(Wrong(views), expected);
  }
  views.machine.policies[0].number = 0;
  EXPECT_EQ(Wrong(views).size(), 1U);
}

TEST(Findings, WhatASessionNeedsIsNoFault) {
  Views views;
  RunSession(views);
  EXPECT_TRUE(HasSession(views.machine));
  views.machine.adapters[0].dnsServers = {"127.0.0.1"};
  views.machine.adapters[1].up = true;
  views.machine.adapters.push_back(TunnelAdapter());
  views.machine.adapters.back().name = "Moorlak 1";
  views.machine.routes.push_back({Route("0.0.0.0", 0, "10.0.85.1"), 200, 1});
  views.machine.filters = {{"filter", "block", "{1}"}};
  views.machine.policies[0].number = 1;
  views.install.recoveryFiles = {"dns_restore.v1", "smhnr_restore.v1"};
  EXPECT_EQ(Wrong(views), Texts{});
}

TEST(Findings, ASessionNeedsARunningServicesEngine) {
  MachineView machine = GoodMachine();
  EXPECT_FALSE(HasSession(machine));
  machine.processes.push_back(Engine(99));
  EXPECT_FALSE(HasSession(machine));
  // An engine started by an engine is not the service's.
  machine.processes.push_back({51, 50, "tun2socks.exe", "C:\\M\\xray\\tun2socks.exe"});
  EXPECT_FALSE(HasSession(machine));
}

TEST(Findings, AUsersResolverOnThisMachineIsNoFault) {
  Views views;
  views.machine.adapters[0].dnsServers = {"127.0.0.1"};
  views.machine.listeningPorts->push_back(53);
  EXPECT_EQ(Wrong(views), Texts{});
  views.install.recoveryFiles = {"dns_restore.v1"};
  EXPECT_EQ(Wrong(views).size(), 2U);
}

TEST(Findings, OtherServersLeaveAnAdapterAlone) {
  Views views;
  views.machine.adapters[0].dnsServers = {"127.0.0.1", "192.0.2.53"};
  // The loopback adapter, and ours.
  views.machine.adapters[1].dnsServers = {"127.0.0.1"};
  views.machine.adapters.push_back({"Loopback", "{9}", 9, kTypeLoopback, true, false, {}, {"127.0.0.1"}, 75, 75});
  EXPECT_EQ(Wrong(views), Texts{});
}

TEST(Findings, AProxyThatIsOffOrElsewhereOrUnknownIsNoFault) {
  Views views;
  views.machine.proxies = {{"S-1", false, "socks=127.0.0.1:9"}, {"S-2", true, "proxy.example:9"},
                           {"S-3", true, "127.0.0.1"},          {"S-4", true, "127.0.0.1:99999"},
                           {"S-5", true, "127.0.0.1:x"},        {"S-6", true, ""}};
  EXPECT_EQ(Wrong(views), Texts{});
  views.machine.proxies = {{"S-1", true, "[::1]:9"}};
  EXPECT_EQ(Wrong(views).size(), 1U);
  views.machine.listeningPorts.reset();
  EXPECT_EQ(Wrong(views), Texts{});
}

TEST(Findings, AnotherTunnelOutOfTheWayIsNoFault) {
  Views views;
  views.machine.adapters.push_back({"Work", "{3}", 300, kTypePpp, true, false, {"10.1.1.2/24"}, {}, 5, {}});
  // A route of its own network, a default route that loses, one of an adapter that is down, and ours.
  views.machine.routes.push_back({Route("10.1.0.0", 16, "10.1.1.1"), 300, 1});
  views.machine.routes.push_back({Route("0.0.0.0", 0, "10.1.1.1"), 300, 30});
  EXPECT_EQ(Wrong(views), Texts{});
  views.machine.adapters.back().up = false;
  views.machine.routes.back().metric = 1;
  EXPECT_EQ(Wrong(views), Texts{});
}

TEST(Findings, FastStartupIsNotedAndNoFault) {
  Views views;
  views.machine.fastStartup = 1;
  EXPECT_EQ(Wrong(views), Texts{});
  EXPECT_EQ(FindingLine(Examine(views.machine, views.install).back()),
            "fast-startup: ok (on; a shutdown hibernates a session with the service, so end sessions before)");
}

TEST(Findings, UnreadableSettingsAreNoFault) {
  Views views;
  views.machine.service = {"MoorlakTunnel", ServiceRun::Running, 40, {}, "", "", {}};
  views.machine.fastStartup.reset();
  EXPECT_EQ(Wrong(views), Texts{});
}

TEST(Findings, ALineIsOkWithItsNoteOrAllThreeSentences) {
  EXPECT_EQ(FindingLine({"dns", "", "", "", ""}), "dns: ok");
  EXPECT_EQ(FindingLine({"files", "", "", "", "xray.exe 1.2"}), "files: ok (xray.exe 1.2)");
  EXPECT_EQ(FindingLine({"dns", "It is wrong.", "It hurts.", "Mend it.", "seen"}),
            "dns: It is wrong. It hurts. Mend it.");
}

TEST(Findings, TheFilesCheckSaysTheirVersions) {
  std::string note;
  for (const Finding& finding : Examine(GoodMachine(), GoodInstall())) {
    if (finding.check == "files") note = finding.note;
  }
  EXPECT_EQ(note,
            "moorlak_service.exe 1.0.0.0, xray.exe without a version, tun2socks.exe 2.5.1.0, wintun.dll 0.14.1.0");
}

TEST(Findings, TheJsonIsOneObjectWithEscapedTexts) {
  EXPECT_EQ(FindingsJson({{"dns", "", "", "", ""}, {"files", "", "", "", "a\\b"}}),
            "{\"ok\":true,\"findings\":[{\"check\":\"dns\",\"ok\":true},"
            "{\"check\":\"files\",\"ok\":true,\"note\":\"a\\\\b\"}]}");
  EXPECT_EQ(FindingsJson({{"dns", "\"E\"\n", "c", "r", ""}}),
            "{\"ok\":false,\"findings\":[{\"check\":\"dns\",\"ok\":false,\"wrong\":\"\\\"E\\\"\\u000a\","
            "\"causes\":\"c\",\"remedy\":\"r\"}]}");
}

}  // namespace
}  // namespace moorlak::inspect
