// Every kind of connection against the protection's filters: what may leave the machine, what may not, and that the
// filters do not outlast the protection.
#include <winsock2.h>
#include <windows.h>

#include <array>
#include <functional>
#include <fwpmu.h>

#include "machine/classify.h"
#include "network/support/protected_machine.h"

namespace moorlak {
namespace {

enum class Application { Engine, Bypassing, Other };
enum class Target { PermittedServer, SecondPermittedServer, OtherIpv4, OtherIpv6, LoopbackIpv4, LoopbackIpv6 };
enum class Way { Tunnel, Physical, Loopback };

struct Cell {
  Application application;
  uint32_t protocol;
  uint16_t port;
  Target target;
  Way way;
};

constexpr std::array kApplications{Application::Engine, Application::Bypassing, Application::Other};
constexpr std::array kApplicationNames{"engine", "bypassing", "other"};
constexpr std::array kProtocols{uint32_t{6}, uint32_t{17}};
constexpr std::array kPorts{uint16_t{53}, uint16_t{443}};
constexpr std::array kTargets{Target::PermittedServer, Target::SecondPermittedServer, Target::OtherIpv4,
                              Target::OtherIpv6,       Target::LoopbackIpv4,          Target::LoopbackIpv6};
constexpr std::array kAddresses{"203.0.113.7", "149.112.112.112", "198.51.100.53", "2001:db8::53", "127.0.0.1", "::1"};
constexpr std::array kWays{Way::Tunnel, Way::Physical, Way::Loopback};
constexpr std::array kWayNames{"tunnel", "physical", "loopback"};

std::vector<Cell> AllCells() {
  std::vector<Cell> cells;
  for (const Application application : kApplications) {
    for (const uint32_t protocol : kProtocols) {
      for (const uint16_t port : kPorts) {
        for (const Target target : kTargets) {
          for (const Way way : kWays) cells.push_back({application, protocol, port, target, way});
        }
      }
    }
  }
  return cells;
}

template <typename Names, typename Which>
std::string NameOf(const Names& names, Which which) {
  return names[static_cast<size_t>(which)];
}

std::string Text(const Cell& cell) {
  return NameOf(kApplicationNames, cell.application) + (cell.protocol == 6 ? " TCP " : " UDP ") +
         NameOf(kAddresses, cell.target) + " port " + std::to_string(cell.port) + " by " + NameOf(kWayNames, cell.way);
}

bool IsIpv6(Target target) {
  return target == Target::OtherIpv6 || target == Target::LoopbackIpv6;
}

bool IsPermittedServer(Target target) {
  return target == Target::PermittedServer || target == Target::SecondPermittedServer;
}

// What is promised: every application may send everything through the tunnel, except those to be kept out of it. On
// every other way, including the machine's own loopback interface: no IPv6; no port 53, except for the engine to one of
// the tunnel's name servers; everything else is permitted.
bool IsPromised(const Cell& cell, bool splitting) {
  if (cell.way == Way::Tunnel) return !(splitting && cell.application == Application::Bypassing);
  if (IsIpv6(cell.target)) return false;
  if (cell.port != 53) return true;
  return cell.application == Application::Engine && IsPermittedServer(cell.target);
}

// An application's name in filters, as the system writes it.
std::string ApplicationId(const std::string& path) {
  FWP_BYTE_BLOB* id = nullptr;
  if (FwpmGetAppIdFromFileName0(WidenUtf8(path).c_str(), &id) != ERROR_SUCCESS) return {};
  std::string text = NarrowUtf16(reinterpret_cast<const wchar_t*>(id->data));
  void* memory = id;
  FwpmFreeMemory0(&memory);
  return text;
}

class LeakMatrix : public OnProtectedMachine {
 protected:
  void SetUp() override {
    OnProtectedMachine::SetUp();
    Begin(TunnelMachine());
    for (lab::MachineState machine = lab::ReadMachine(); const lab::Adapter& adapter : machine.adapters) {
      if (adapter.name == "Moorlak") ways[0] = adapter.luid;
      if (adapter.name == "Ethernet") ways[1] = adapter.luid;
      if (adapter.type == 24) ways[2] = adapter.luid;
    }
    ids = {ApplicationId(WantedProtection().xrayPath), ApplicationId(kBypassing), "\\device\\volume\\other.exe"};
    ASSERT_FALSE(ids[0].empty() || ids[1].empty());
  }

  bool Protect(bool splitting) {
    ProtectionRequest wanted = WantedProtection();
    if (splitting) wanted.blockedApps = {kBypassing};
    return protection->Apply(wanted, running);
  }

  bool IsPermitted(const lab::Wfp& wfp, const Cell& cell) const {
    const auto at = [](const auto& list, auto which) { return list[static_cast<size_t>(which)]; };
    const lab::Connection connection{at(ids, cell.application), cell.protocol, at(kAddresses, cell.target), cell.port,
                                     at(ways, cell.way)};
    return lab::Classify(wfp, connection) == lab::Verdict::Permit;
  }

  std::vector<std::string> Permitted(const lab::Wfp& wfp) const {
    return Chosen([&](const Cell& cell) { return IsPermitted(wfp, cell); });
  }
  static std::vector<std::string> Promised(bool splitting) {
    return Chosen([&](const Cell& cell) { return IsPromised(cell, splitting); });
  }
  static std::vector<std::string> Everything() {
    return Chosen([](const Cell&) { return true; });
  }

  const std::string kBypassing = "C:\\windows\\system32\\netsh.exe";

 private:
  static std::vector<std::string> Chosen(const std::function<bool(const Cell&)>& isChosen) {
    std::vector<std::string> chosen;
    for (const Cell& cell : AllCells()) {
      if (isChosen(cell)) chosen.push_back(Text(cell));
    }
    return chosen;
  }

  std::array<std::string, 3> ids;
  std::array<uint64_t, 3> ways{};
};

TEST_F(LeakMatrix, ExactlyThePromisedConnectionsArePermittedWhileProtected) {
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
  ASSERT_TRUE(Protect(false)) << LogMessages();
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Promised(false));
  protection->Remove();
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
  EXPECT_EQ(NowAll(), BeforeAll());
}

TEST_F(LeakMatrix, ExactlyThePromisedConnectionsArePermittedWithApplicationsThatBypassTheTunnel) {
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
  ASSERT_TRUE(Protect(true)) << LogMessages();
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Promised(true));
  protection->Remove();
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
  EXPECT_EQ(NowAll(), BeforeAll());
}

// Sizes counted by hand, so that the promise cannot become empty unnoticed: 3 applications, 2 protocols, 2 ports and 6
// targets make 72 connections per way. Through the tunnel all pass; on each other way 24 to the four IPv4 targets on
// port 443, and 4 of the engine on port 53. A bypassing application loses its 24 through the tunnel.
TEST_F(LeakMatrix, ThePromiseHasItsCountedSize) {
  EXPECT_EQ(Everything().size(), 216U);
  EXPECT_EQ(Promised(false).size(), 72U + 2 * (24U + 4U));
  EXPECT_EQ(Promised(true).size(), 48U + 2 * (24U + 4U));
}

// A name server on the machine itself, or a program that talks to itself over IPv6, is blocked, too: the filters do not
// exempt loopback.
TEST_F(LeakMatrix, LoopbackIsNotExempt) {
  ASSERT_TRUE(Protect(true));
  const lab::Wfp wfp = lab::ReadMachine().wfp;
  for (const Application application : kApplications) {
    for (const uint32_t protocol : kProtocols) {
      EXPECT_FALSE(IsPermitted(wfp, {application, protocol, 53, Target::LoopbackIpv4, Way::Loopback}));
      EXPECT_FALSE(IsPermitted(wfp, {application, protocol, 443, Target::LoopbackIpv6, Way::Loopback}));
      EXPECT_TRUE(IsPermitted(wfp, {application, protocol, 443, Target::LoopbackIpv4, Way::Loopback}));
    }
  }
}

// Filters whose removal changes a verdict. The others are a second line of defence.
bool CarriesAVerdict(const lab::WfpFilter& filter) {
  const bool dnsOverIpv6 = filter.name == "Moorlak DNS leak guard" && filter.layer == "ALE_AUTH_CONNECT_V6";
  return !dnsOverIpv6 && filter.name != "Moorlak split permit physical";
}

TEST_F(LeakMatrix, EveryFilterThatCarriesAVerdictIsMissed) {
  ASSERT_TRUE(Protect(true));
  const lab::Wfp wfp = lab::ReadMachine().wfp;
  ASSERT_EQ(wfp.filters.size(), 13U);
  for (size_t i = 0; i < wfp.filters.size(); ++i) {
    lab::Wfp without = wfp;
    without.filters.erase(without.filters.begin() + static_cast<ptrdiff_t>(i));
    EXPECT_EQ(Permitted(without) != Promised(true), CarriesAVerdict(wfp.filters[i])) << wfp.filters[i].name;
  }
}

// When a program is killed, its dynamic filters disappear.
TEST_F(LeakMatrix, EverythingIsPermittedAgainAfterACrash) {
  ASSERT_EQ(RunProtectionChild("apply end"), 0U);
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
  protection->Recover();
  EXPECT_EQ(Permitted(lab::ReadMachine().wfp), Everything());
}

}  // namespace
}  // namespace moorlak
