// Between the start command and the reply to the stop, each system call fails once, in turn. The session comes up, or
// ends with a text that says why; it is never stuck, and a stop leaves the machine as it was.
//
// A slice tests every eighth of the selected calls. Selected are every kShortStep-th call, or with MOORLAK_FULL_SWEEP
// all calls, then also on the path on which the engine drives the adapter. MOORLAK_FAULT_POINT=N tests only the N-th
// call. MOORLAK_FAULT_SWEEP may contain the words "slow" (the engines make their own adapters, with a delay) and
// "stored" (`route DELETE` leaves stored copies).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "session/support/tunnel_session.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::session {
namespace {

constexpr int kSlices = 8;
constexpr int kShortStep = 11;
// Far more calls than any session makes.
constexpr int kMaxCalls = 2000;
// E_ACCESSDENIED: a failure as an error number, as an exit code, and as a COM result, because it is negative.
constexpr uint32_t kRefused = 0x80070005;
// The longest connect: the sum of the time-outs of all its steps.
constexpr std::chrono::seconds kOutcomePatience{120};
// The restore in the background runs a few commands.
constexpr std::chrono::seconds kRestorePatience{15};

lab::MachineState WantedMachine() {
  const char* words = std::getenv("MOORLAK_FAULT_SWEEP");
  const std::string_view wanted = words == nullptr ? "" : words;
  lab::MachineState machine = lab::DhcpMachine();
  if (wanted.find("slow") != std::string_view::npos) machine.adapterHabits = lab::SlowAdapters();
  machine.routeKeepsStored = wanted.find("stored") != std::string_view::npos;
  return machine;
}

bool IsFull() {
  return std::getenv("MOORLAK_FULL_SWEEP") != nullptr;
}

// The last lines of a session that does not come up: only the clean-up follows them.
bool TellsTheEnd(const std::string& line) {
  static const char* const ends[] = {"ERROR: failed to write Xray config for VPN",
                                     "Injected Xray config failed validation",
                                     "ERROR: failed to start Xray process (port conflict or bad config?)",
                                     "ERROR: Xray SOCKS not ready on 127.0.0.1:",
                                     "Moorlak adapter did not appear within 20s",
                                     "ERROR: Moorlak adapter did not appear within 25s (Xray TUN)",
                                     "ERROR: Moorlak adapter missing 10.0.85.2 after set address",
                                     "ERROR: server bypass incomplete — aborting connect",
                                     "ERROR: SOCKS data path not healthy — aborting connect",
                                     "ERROR: IPv4 default via Moorlak not winning — aborting connect",
                                     "ERROR: tun2socks exited before TUN path probe",
                                     "ERROR: Xray exited before TUN path probe",
                                     "ERROR: TUN data path not healthy — aborting connect",
                                     "ERROR: DNS leak protection failed — aborting connect",
                                     "Xray process exited unexpectedly",
                                     "Tun2Socks process exited unexpectedly"};
  return std::ranges::any_of(ends, [&](const char* end) { return line.starts_with(end); });
}

struct Path {
  const char* name;
  bool native;
};

class FaultSweep : public TunnelSession, public testing::WithParamInterface<int> {
 protected:
  FaultSweep() {
    if (std::getenv("MOORLAK_FAULT_SWEEP") != nullptr) Begin(WantedMachine());
  }

  // Runs sessions in which the n-th call fails, for every n of this slice, until a session makes no such call.
  void Sweep(const Path& path) {
    if (const char* point = std::getenv("MOORLAK_FAULT_POINT")) {
      if (GetParam() == 0) RunPoint(path, static_cast<uint32_t>(std::strtoul(point, nullptr, 10)));
      return;
    }
    const int step = IsFull() ? 1 : kShortStep;
    int points = 0;
    for (int n = 1 + GetParam() * step; n < kMaxCalls; n += kSlices * step, ++points) {
      if (!RunPoint(path, static_cast<uint32_t>(n))) break;
    }
    std::printf("%s: %d points\n", path.name, points);
    std::fflush(stdout);
  }

 private:
  struct Outcome {
    std::string reply;
    bool decided = false;
    bool up = false;
    std::string stopReply;
    bool met = false;
    // Whether the log has such a line between the start command and the reply to the stop.
    bool told = false;
  };

  Outcome RunSession(const Path& path) {
    const size_t linesBefore = LogLines().size();
    Outcome outcome;
    outcome.reply = Start(path.native ? NativeConfig() : Config());
    outcome.decided = WaitUntil([] { return Status().tunnelUp || !Status().running; }, kOutcomePatience);
    outcome.up = Status().tunnelUp;
    outcome.stopReply = Stop();
    const std::vector<std::string> lines = LogLines();
    outcome.told = std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(linesBefore), lines.end(), TellsTheEnd);
    const std::vector<lab::Fault> faults = lab::ReadMachine().faults;
    outcome.met = !faults.empty() && faults.front().hit;
    return outcome;
  }

  // What is wrong after the session. Empty if all is well.
  std::string Complaint(const Outcome& outcome) const {
    std::string text;
    if (outcome.reply != "OK") text += "start: " + outcome.reply + "\n";
    if (!outcome.decided) text += "stuck\n";
    if (outcome.stopReply != "OK") text += "stop: " + outcome.stopReply + "\n";
    if (!outcome.up && !outcome.told) text += "an end without a text\n";
    if (!outcome.up && !outcome.met) text += "a failure without a fault\n";
    if (!WaitForNone(kXrayImage) || !WaitForNone(kTun2SocksImage)) text += "an engine lives\n";
    WaitUntil([&] { return Now() == Before() && PendingTraces().empty(); }, kRestorePatience);
    for (const std::string& trace : PendingTraces()) text += "left: " + trace + "\n";
    if (const std::string now = Now(); now != Before()) text += "not restored:\n" + now;
    return text;
  }

  static std::string CallAt(size_t index) {
    const std::vector<std::string> calls = lab::ReadCallLog();
    return index < calls.size() ? calls[index] : "none";
  }

  // An engine's own adapter brings a new network each time, and the service asks for the name of each. Without this a
  // point would have hundreds of calls more after a hundred others, all of the same kind.
  void ForgetNetworksOfEarlierPoints() {
    if (networks.empty()) networks = lab::ReadMachine().networks;
    lab::EditMachine([this](lab::MachineState& machine) { machine.networks = networks; });
  }

  // A refused persistent adapter is tried again only at the next disconnect; no session needs it. Empty if the next one
  // comes up.
  std::string EndOfTheNext(const Path& path) {
    return RunSession(path).up ? "" : "the next session does not come up without our adapter\n";
  }

  // False if the session ended before its n-th call.
  bool RunPoint(const Path& path, uint32_t n) {
    ForgetNetworksOfEarlierPoints();
    const size_t callsBefore = lab::ReadCallLog().size();
    PlanFault("fail", "", "", n, kRefused);
    const Outcome outcome = RunSession(path);
    ClearFaults();
    const std::string call = CallAt(callsBefore + n - 1);
    std::string complaint;
    if (call.find("WintunCreateAdapter") != std::string::npos) complaint = EndOfTheNext(path);
    complaint += Complaint(outcome);
    std::printf("%s, call %u: %s; %s\n", path.name, n, call.c_str(), complaint.empty() ? "fine" : complaint.c_str());
    std::fflush(stdout);
    if (complaint.empty()) return outcome.met;
    ADD_FAILURE() << path.name << ", call " << n << "\n" << complaint << testing::PrintToString(LogLines());
    // A failed point must not affect the next one.
    Begin(WantedMachine());
    return outcome.met;
  }

  // Those of the machine before its first session.
  std::vector<lab::Network> networks;
};

TEST_P(FaultSweep, OfASessionNeverLeavesItStuckOrUnreportedOrTheMachineChanged) {
  Sweep({"tun2socks", false});
}

TEST_P(FaultSweep, OfASessionOnTheEnginesTunnelNeverLeavesItStuckOrUnreportedOrTheMachineChanged) {
  if (!IsFull()) GTEST_SKIP() << "MOORLAK_FULL_SWEEP is not set";
  Sweep({"the engine's tunnel", true});
}

INSTANTIATE_TEST_SUITE_P(Slices, FaultSweep, testing::Range(0, kSlices));

}  // namespace
}  // namespace moorlak::session
