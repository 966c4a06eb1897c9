// The service is killed at its n-th change of the machine, for every n from its start to its end, and started again:
// its recovery must restore the machine. Each slice takes every eighth n, so that slices can run in parallel.
//
// MOORLAK_KILL_SWEEP may contain these words: "native" (the path on which the engine drives the adapter), "before" (the
// service dies instead of making the change), "reboot" (the machine restarts before the service does), "double" (the
// recovery is killed, too, at each of its changes), "stored" (`route DELETE` leaves stored copies), "cold" (the first
// three netsh of the next start need 2 s each, more than the service allows), "taken" (tun2socks takes the service's
// adapter, and adapters come and go at once; otherwise the engines make their own, which linger after them), "every=K"
// (only every K-th n), "point=N" (only that n). scripts/kill_sweep.sh runs all of these.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>

#include "base/handle.h"
#include "machine/cold_programs.h"
#include "machine/restart_system.h"
#include "machine/support/service_control.h"
#include "session/support/service_life.h"
#include "session/support/tunnel_session.h"
#include "support/log_watch.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

namespace fs = std::filesystem;

constexpr int kSlices = 8;
// Far more changes than any session or recovery makes.
constexpr uint64_t kMaxChanges = 1000;
constexpr std::chrono::seconds kReadyPatience{90};
constexpr std::chrono::seconds kRestorePatience{15};
// What failed at the start is retried half a minute later.
constexpr std::chrono::seconds kColdPatience{90};
constexpr DWORD kLookPeriodMs = 50;
// The lab appends this to the call at which it ended the service.
constexpr std::string_view kEndMark = ", service ended";
constexpr char kUsersGateway[] = "192.0.2.254";
constexpr wchar_t kServiceImage[] = L"moorlak_service.exe";

struct Wanted {
  bool native = false;
  bool before = false;
  bool reboot = false;
  bool twice = false;
  bool stored = false;
  bool cold = false;
  bool taken = false;
  uint64_t every = 1;
  uint64_t only = 0;
};

uint64_t NumberAfter(const std::string& word, const std::string& name, uint64_t otherwise) {
  return word.starts_with(name) ? std::stoull(word.substr(name.size())) : otherwise;
}

Wanted ReadWanted() {
  Wanted wanted;
  const char* text = std::getenv("MOORLAK_KILL_SWEEP");
  std::istringstream words(text == nullptr ? "" : text);
  for (std::string word; words >> word;) {
    wanted.native |= word == "native";
    wanted.before |= word == "before";
    wanted.reboot |= word == "reboot";
    wanted.twice |= word == "double";
    wanted.stored |= word == "stored";
    wanted.cold |= word == "cold";
    wanted.taken |= word == "taken";
    wanted.every = NumberAfter(word, "every=", wanted.every);
    wanted.only = NumberAfter(word, "point=", wanted.only);
  }
  return wanted;
}

std::string Lines(const std::set<std::string>& lines, const std::set<std::string>& others, const char* mark) {
  std::string text;
  for (const std::string& line : lines) {
    if (!others.contains(line)) text += mark + line + "\n";
  }
  return text;
}

std::set<std::string> SplitLines(const std::string& text) {
  std::set<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.insert(line);
  return lines;
}

std::string Without(const std::string& word, const std::string& text) {
  std::string rest;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (line.find(word) == std::string::npos) rest += line + "\n";
  }
  return rest;
}

// Lines that only one of the two dumps has, or a note if only their order differs. Empty if they are equal.
std::string Difference(const std::string& before, const std::string& now) {
  if (before == now) return {};
  const auto old = SplitLines(before);
  const auto current = SplitLines(now);
  const std::string text = Lines(old, current, "  - ") + Lines(current, old, "  + ");
  return text.empty() ? "  order or number of lines\n" : text;
}

std::vector<std::string> StagedConfigs() {
  std::vector<std::string> names;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(fs::temp_directory_path() / L"flutter_vless_vpn", missing))
    names.push_back(entry.path().filename().string());
  return names;
}

std::string EndedBy() {
  std::string cause = "(nothing)";
  for (const std::string& line : lab::ReadCallLog()) {
    const size_t mark = line.find(kEndMark);
    if (mark != std::string::npos) cause = line.substr(0, mark);
  }
  return cause;
}

class KillSweep : public TunnelSession, public testing::WithParamInterface<int> {
 protected:
  KillSweep() {
    client.sharedPorts = {client.socksPort};
    fresh = lab::DhcpMachine();
    fresh.httpPort = server.webPort;
    fresh.record.killBefore = wanted.before;
    fresh.routeKeepsStored = wanted.stored;
    if (!wanted.taken) fresh.adapterHabits = lab::SlowAdapters();
    // The session replaces the user's route to this address with its own.
    fresh.ipv4Routes.push_back({kPanelHost, 32, kUsersGateway, fresh.adapters[1].luid, 7, false});
    Begin(fresh);
  }

  // All points of a slice. Stops at the first session that ends normally before its n-th change.
  void Sweep() {
    const uint64_t step = wanted.every * kSlices;
    for (uint64_t n = 1 + static_cast<uint64_t>(GetParam()) * wanted.every; n < kMaxChanges; n += step) {
      if (!(wanted.twice ? DoublePoint(n) : Point(n))) return;
    }
    ADD_FAILURE() << "no session came to its end";
  }

  void OnlyPoint() { wanted.twice ? DoublePoint(wanted.only) : Point(wanted.only); }

  const Wanted wanted = ReadWanted();

 private:
  // A session killed at its n-th change, and the next start. False if the session ended normally.
  bool Point(uint64_t n) {
    const bool died = DieInSession(n);
    const std::string cause = died ? EndedBy() : "the end";
    Recover(std::to_string(n), cause);
    return died;
  }

  // A session killed at its n-th change, and the next start, killed at its m-th, for every m.
  bool DoublePoint(uint64_t n) {
    bool died = true;
    bool diedAgain = true;
    for (uint64_t m = 1; m < kMaxChanges && diedAgain; ++m) {
      died = DieInSession(n);
      if (!died) break;
      Boot();
      diedAgain = DieInRecovery(m);
      const std::string cause = diedAgain ? EndedBy() : "the end";
      Recover(std::to_string(n) + "." + std::to_string(m), cause);
    }
    return died;
  }

  bool DieInSession(uint64_t n) {
    if (IsServiceAlive()) machine::KillTunnelService();
    ExpectNothingUnknown();
    log = std::make_unique<LogWatch>();
    lab::CreateMachine(fresh);
    KillServiceAtChange(n);
    LiveThrough();
    // If a child program made the change, the service is killed a moment later.
    const bool died = ChangesSoFar() >= n && WaitUntil([] { return !IsServiceAlive(); });
    EXPECT_TRUE(died || wasUp) << "point " << n << ": the tunnel never came up";
    return died;
  }

  bool DieInRecovery(uint64_t m) {
    const uint64_t already = ChangesSoFar();
    KillServiceAtChange(m);
    const bool lives = StartsAndLives();
    EXPECT_EQ(lives, ChangesSoFar() < already + m);
    return !lives;
  }

  // The service's whole life until it is killed: start, connect, disconnect, stop.
  void LiveThrough() {
    wasUp = false;
    if (!StartsAndLives()) return;
    const KernelHandle service(OpenProcess(SYNCHRONIZE, FALSE, machine::ServiceProcessId()));
    AskService(CommandCode::Start, EncodeStartPayload(false, wanted.native ? NativeConfig() : Config()));
    AwaitTunnel(service.Get());
    AskService(CommandCode::Stop);
    if (HasEnded(service.Get(), 0)) return;
    machine::ControlTunnelService(SERVICE_CONTROL_STOP);
    EXPECT_TRUE(HasEnded(service.Get(), 60'000));
  }

  void AwaitTunnel(HANDLE service) {
    const auto deadline = std::chrono::steady_clock::now() + kReadyPatience;
    while (!wasUp && !HasEnded(service, kLookPeriodMs)) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the tunnel neither came up nor gave up";
      const auto reply = AskService(CommandCode::Status);
      const auto status = reply ? ParseStatusReply(*reply) : std::nullopt;
      if (!status) continue;
      wasUp = status->tunnelUp;
      if (!wasUp && !status->running) {
        ADD_FAILURE() << "the connect gave up";
        return;
      }
    }
  }

  static bool HasEnded(HANDLE process, DWORD limitMs) { return WaitForSingleObject(process, limitMs) == WAIT_OBJECT_0; }

  // Whatever happens between a death and the next start. Waits until nothing of the service is left: then its adapter's
  // GUID is free again.
  void Boot() const {
    KillServiceAtNoChange();
    EXPECT_TRUE(wanted.reboot || WaitForNoLingeringAdapter());
    if (!wanted.reboot) return;
    if (IsServiceAlive()) machine::KillTunnelService();
    for (const wchar_t* image : {kServiceImage, kXrayImage, kTun2SocksImage, L"netsh.exe", L"route.exe", L"cmd.exe"})
      EXPECT_TRUE(WaitForNone(image));
    lab::RestartSystem();
  }

  // A restart of the machine loses the user's route, whether the session had removed it or not.
  std::string Expected() const { return wanted.reboot ? Without(kUsersGateway, Before()) : Before(); }

  // What the recovery has not restored. Empty if all is well.
  std::string Damage() const {
    std::string text = Difference(Expected(), Now());
    for (const std::string& trace : PendingTraces()) text += "  + " + trace + "\n";
    for (const std::string& file : StagedConfigs()) text += "  + staged " + file + "\n";
    if (!ProcessesNamed(kXrayImage).empty()) text += "  + xray lives\n";
    if (!ProcessesNamed(kTun2SocksImage).empty()) text += "  + tun2socks lives\n";
    return text;
  }

  void Recover(const std::string& point, const std::string& cause) {
    Boot();
    const std::string left = Damage();
    if (wanted.cold) lab::EditMachine([](lab::MachineState& machine) { lab::MakeCold(machine, "netsh"); });
    machine::StartTunnelService();
    WaitUntil([this] { return Damage().empty(); }, wanted.cold ? kColdPatience : kRestorePatience);
    const std::string damage = Damage();
    std::printf("point %s: %s: %d lines left, %s\n%s", point.c_str(), cause.c_str(),
                static_cast<int>(std::ranges::count(left, '\n')), damage.empty() ? "restored" : "NOT RESTORED",
                damage.c_str());
    std::fflush(stdout);
    if (damage.empty()) return;
    ADD_FAILURE() << "at point " << point << ": " << cause << "\n" << damage << LogText();
    KeepCallLog(point);
    // A failed point must not affect the next one.
    if (IsServiceAlive()) machine::KillTunnelService();
    Begin(fresh);
  }

  std::string LogText() const {
    std::string text;
    for (const std::string& line : log->Messages()) text += "    log: " + line + "\n";
    return text;
  }

  static void KeepCallLog(const std::string& point) {
    std::error_code ignored;
    fs::copy_file(L"C:\\moorlak-lab\\calls.log", "C:\\moorlak-lab\\calls_" + point + ".log",
                  fs::copy_options::overwrite_existing, ignored);
  }

  static void ExpectNothingUnknown() {
    EXPECT_EQ(lab::ReadMachine().record.unknownCommands, std::vector<std::string>{});
  }

  lab::MachineState fresh;
  std::unique_ptr<LogWatch> log;
  bool wasUp = false;
};

TEST_P(KillSweep, WhereverTheServiceDiesItsNextStartPutsTheMachineBack) {
  if (wanted.only == 0) {
    Sweep();
  } else if (GetParam() == 0) {
    OnlyPoint();
  }
}

INSTANTIATE_TEST_SUITE_P(Slices, KillSweep, testing::Range(0, kSlices));

}  // namespace
}  // namespace moorlak::session
