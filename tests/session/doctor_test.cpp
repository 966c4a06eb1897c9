// `moorlakctl doctor`: names what is wrong with a machine, and says nothing about a good one.
#include <aclapi.h>
#include <winsvc.h>

#include <accctrl.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/durable_file.h"
#include "base/paths.h"
#include "base/trust.h"
#include "machine/support/service_control.h"
#include "session/support/tunnel_session.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kSomethingWrong = 11;
constexpr wchar_t kFilteringEngine[] = L"BFE";
constexpr wchar_t kStoredRoutes[] = L"SYSTEM\\CurrentControlSet\\Services\\Tcpip\\Parameters\\PersistentRoutes";
constexpr wchar_t kPolicyKey[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\DNSClient";
constexpr wchar_t kProxyKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings";
constexpr char kGuardProvider[] = "{6D6F6F72-444E-5301-4755-4152444D4C31}";

using Texts = std::vector<std::string>;

ServiceHandle OpenServiceNamed(const wchar_t* name) {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  return ServiceHandle(OpenServiceW(manager.Get(), name, SERVICE_ALL_ACCESS));
}

void SetStartType(DWORD type) {
  const ServiceHandle service = OpenServiceNamed(kServiceName);
  EXPECT_TRUE(ChangeServiceConfigW(service.Get(), SERVICE_NO_CHANGE, type, SERVICE_NO_CHANGE, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr))
      << GetLastError();
}

bool IsIn(const ServiceHandle& service, DWORD state) {
  SERVICE_STATUS status{};
  return QueryServiceStatus(service.Get(), &status) && status.dwCurrentState == state;
}

// Wine has no filtering engine's service: any of its own services under that name does.
void StartFilteringEngine() {
  const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
  const ServiceHandle created(CreateServiceW(manager.Get(), kFilteringEngine, kFilteringEngine, SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                             L"C:\\windows\\system32\\spoolsv.exe", nullptr, nullptr, nullptr, nullptr,
                                             nullptr));
  const ServiceHandle service = OpenServiceNamed(kFilteringEngine);
  StartServiceW(service.Get(), 0, nullptr);
  EXPECT_TRUE(WaitUntil([&] { return IsIn(service, SERVICE_RUNNING); }));
}

void StopFilteringEngine() {
  const ServiceHandle service = OpenServiceNamed(kFilteringEngine);
  SERVICE_STATUS status{};
  EXPECT_TRUE(ControlService(service.Get(), SERVICE_CONTROL_STOP, &status)) << GetLastError();
  EXPECT_TRUE(WaitUntil([&] { return IsIn(service, SERVICE_STOPPED); }));
}

void SetNumber(HKEY root, const wchar_t* key, const wchar_t* value, DWORD number) {
  EXPECT_EQ(RegSetKeyValueW(root, key, value, REG_DWORD, &number, sizeof number), ERROR_SUCCESS);
}

void SetText(HKEY root, const wchar_t* key, const wchar_t* value, const std::wstring& text) {
  EXPECT_EQ(RegSetKeyValueW(root, key, value, REG_SZ, text.c_str(), static_cast<DWORD>((text.size() + 1) * 2)),
            ERROR_SUCCESS);
}

void LetOthersChange(const std::wstring& path, bool mayChange) {
  const auto descriptor = DescriptorFrom(std::wstring(L"D:(A;;FA;;;SY)(A;;FA;;;") + UserSid(GetCurrentProcess()) +
                                         L")(A;;" + (mayChange ? L"0x1301bf" : L"0x1200a9") + L";;;WD)");
  EXPECT_TRUE(SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.Get())) << GetLastError();
}

std::wstring DataFile(const wchar_t* name) {
  return std::wstring(kDataFolder) + L"\\" + name;
}

// One after the other: a damaged machine and its mending.
struct Damage {
  const char* name;
  void (*cause)();
  // Of what is outside the simulated machine, which every case creates anew.
  void (*mend)();
  // The checks that must find something.
  Texts checks;
};

void Nothing() {}

void Edit(void (*edit)(lab::MachineState&)) {
  lab::EditMachine(edit);
}

lab::Adapter Tunnel(const char* name, uint32_t type, uint32_t number) {
  lab::Adapter tunnel;
  tunnel.name = name;
  tunnel.description = name;
  tunnel.guid = "{6D6F6F72-6C61-4E01-9A11-4D6F6F72600" + std::to_string(number) + "}";
  tunnel.luid = lab::Luid(type, 0x7000 + number);
  tunnel.type = type;
  tunnel.ipv4.ifIndex = tunnel.ipv6.ifIndex = 900 + number;
  tunnel.ipv4.autoMetric = false;
  tunnel.ipv4.metric = tunnel.ipv6.metric = 5;
  return tunnel;
}

std::wstring SpareEngine() {
  return machine::InstallFolder() + L"\\spare\\xray.exe";
}

machine::Child& Leftover() {
  static machine::Child& child = *new machine::Child;
  return child;
}

const Damage kDamages[] = {
    {"AStoppedService", [] { machine::StopTunnelService(); }, [] { machine::StartTunnelService(); }, {"service"}},
    {"AServiceStartedByHand",
     [] { SetStartType(SERVICE_DEMAND_START); },
     [] { SetStartType(SERVICE_AUTO_START); },
     {"service"}},
    {"ADisabledService", [] { SetStartType(SERVICE_DISABLED); }, [] { SetStartType(SERVICE_AUTO_START); }, {"service"}},
    {"AStoppedFilteringEngine", StopFilteringEngine, StartFilteringEngine, {"filtering-engine"}},
    {"AnOpenEngineFolder",
     [] { LetOthersChange(machine::InstallFolder() + L"\\xray", true); },
     [] { LetOthersChange(machine::InstallFolder() + L"\\xray", false); },
     {"install-rights"}},
    {"AMissingEngine",
     [] {
       fs::rename(machine::InstallFolder() + L"\\xray\\tun2socks.exe", machine::InstallFolder() + L"\\xray\\t.kept");
     },
     [] {
       fs::rename(machine::InstallFolder() + L"\\xray\\t.kept", machine::InstallFolder() + L"\\xray\\tun2socks.exe");
     },
     {"files"}},
    {"ASecondTunnelAdapter",
     [] { Edit([](lab::MachineState& state) { state.adapters.push_back(Tunnel("Moorlak 7", 53, 7)); }); },
     Nothing,
     {"adapters"}},
    {"ALeftoverDevice",
     [] {
       Edit([](lab::MachineState& state) {
         state.devices.push_back({"SWD\\Wintun\\{00000000-1111-2222-3333-444444444444}", "Moorlak Tunnel",
                                  "Moorlak Tunnel", "{00000000-1111-2222-3333-444444444444}", false, false, false, 0,
                                  "Moorlak 4", "", 0});
       });
     },
     Nothing,
     {"adapters"}},
    {"ADefaultRouteIntoTheTunnel",
     [] {
       Edit([](lab::MachineState& state) {
         state.ipv4Routes.push_back({"0.0.0.0", 0, "10.0.85.1", state.adapters[1].luid, 1, false});
       });
     },
     Nothing,
     {"routes"}},
    {"AStoredRouteIntoTheTunnel",
     [] { SetText(HKEY_LOCAL_MACHINE, kStoredRoutes, L"0.0.0.0,0.0.0.0,10.0.85.1,1", L""); },
     [] { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kStoredRoutes, L"0.0.0.0,0.0.0.0,10.0.85.1,1"); },
     {"routes"}},
    {"ARouteAroundTheTunnel",
     [] {
       Edit([](lab::MachineState& state) {
         state.ipv4Routes.push_back({"203.0.113.7", 32, "192.0.2.1", state.adapters[1].luid, 1, false});
       });
       EXPECT_TRUE(WriteFileDurably(DataFile(L"routes_restore.v1"), "v1\nadded\n203.0.113.7\n32\n192.0.2.1\n"));
     },
     [] { DeleteFileW(DataFile(L"routes_restore.v1").c_str()); },
     {"routes", "recovery-files"}},
    {"OurNameServer",
     [] { Edit([](lab::MachineState& state) { state.adapters[1].ipv4.staticDns = {"127.0.0.1"}; }); },
     Nothing,
     {"dns"}},
    {"LeftoverFilters",
     [] { Edit([](lab::MachineState& state) {
            state.wfp.providers.push_back({kGuardProvider, "Moorlak", 0});
          }); },
     Nothing,
     {"filters"}},
    {"ALeftoverPolicy",
     [] {
       SetNumber(HKEY_LOCAL_MACHINE, kPolicyKey, L"DisableSmartNameResolution", 1);
       EXPECT_TRUE(WriteFileDurably(DataFile(L"smhnr_session_owned.flag"), "1"));
     },
     [] { RemoveTraces(); },
     {"resolver-policy", "recovery-files"}},
    {"ADeadProxy",
     [] {
       SetNumber(HKEY_CURRENT_USER, kProxyKey, L"ProxyEnable", 1);
       SetText(HKEY_CURRENT_USER, kProxyKey, L"ProxyServer", L"socks=127.0.0.1:9");
     },
     [] {
       SetNumber(HKEY_CURRENT_USER, kProxyKey, L"ProxyEnable", 0);
       RegDeleteKeyValueW(HKEY_CURRENT_USER, kProxyKey, L"ProxyServer");
     },
     {"system-proxy"}},
    {"ALeftoverEngine",
     [] {
       fs::create_directory(fs::path(SpareEngine()).parent_path());
       fs::copy_file(machine::InstallFolder() + L"\\moorlakctl.exe", SpareEngine(),
                     fs::copy_options::overwrite_existing);
       Leftover() = machine::StartProgram(L"\"" + SpareEngine() + L"\" logs --follow");
     },
     [] {
       machine::Kill(Leftover());
       fs::remove_all(fs::path(SpareEngine()).parent_path());
     },
     {"leftover-engines"}},
    {"AnotherTunnel",
     [] {
       Edit([](lab::MachineState& state) {
         state.adapters.push_back(Tunnel("Work", 23, 8));
         state.ipv4Routes.push_back({"0.0.0.0", 0, "10.9.9.1", state.adapters.back().luid, 1, false});
       });
     },
     Nothing,
     {"other-tunnels"}},
};

std::string RunDoctor(DWORD& code, const std::wstring& words = {}) {
  return machine::RunProgram(L"\"" + machine::InstallFolder() + L"\\moorlakctl.exe\" doctor" + words, code);
}

// The lines that do not say "ok".
Texts WrongLines(const std::string& output) {
  Texts lines;
  std::istringstream stream(output);
  for (std::string line; std::getline(stream, line);) {
    if (!line.ends_with(": ok") && line.find(": ok (") == std::string::npos) lines.push_back(line);
  }
  return lines;
}

Texts ChecksOf(const Texts& lines) {
  Texts checks;
  for (const std::string& line : lines) checks.push_back(line.substr(0, line.find(':')));
  return checks;
}

class Doctor : public TunnelSession {
 protected:
  // As an installer leaves the service.
  Doctor() {
    SetStartType(SERVICE_AUTO_START);
    StartFilteringEngine();
  }
  ~Doctor() override { SetStartType(SERVICE_DEMAND_START); }
};

TEST_F(Doctor, FindsNothingOnAGoodMachineAndChangesNothing) {
  const std::string untouched = DumpWhole();
  DWORD code = 0;
  const std::string output = RunDoctor(code);
  EXPECT_EQ(WrongLines(output), Texts{}) << output;
  EXPECT_EQ(code, 0U);
  EXPECT_EQ(DumpWhole(), untouched);
}

TEST_F(Doctor, FindsNothingDuringASession) {
  ASSERT_EQ(Start(Config()), "OK");
  ASSERT_TRUE(WaitForReady());
  DWORD code = 0;
  const std::string output = RunDoctor(code);
  EXPECT_EQ(WrongLines(output), Texts{}) << output;
  EXPECT_EQ(code, 0U);
  EXPECT_EQ(Stop(), "OK");
  ExpectRestored();
}

TEST_F(Doctor, SaysTheSameAsJson) {
  StopFilteringEngine();
  DWORD code = 0;
  const nlohmann::json result = nlohmann::json::parse(RunDoctor(code, L" --json"));
  EXPECT_EQ(code, kSomethingWrong);
  EXPECT_EQ(result["ok"], false);
  Texts wrong;
  for (const auto& finding : result["findings"]) {
    if (finding["ok"] == false) wrong.push_back(finding["check"]);
  }
  EXPECT_EQ(wrong, Texts{"filtering-engine"});
}

class DoctorOn : public Doctor, public testing::WithParamInterface<Damage> {};

TEST_P(DoctorOn, NamesTheFault) {
  GetParam().cause();
  DWORD code = 0;
  const std::string output = RunDoctor(code);
  GetParam().mend();
  EXPECT_EQ(ChecksOf(WrongLines(output)), GetParam().checks) << output;
  EXPECT_EQ(code, kSomethingWrong);
}

INSTANTIATE_TEST_SUITE_P(Machines, DoctorOn, testing::ValuesIn(kDamages),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace moorlak::session
