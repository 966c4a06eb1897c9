// Each call into the system fails once, in turn, from the start command to the reply to the stop: the session comes up
// or ends with a text that tells why, is never stuck, and a stop leaves the machine as it was.
//
// A slice takes every eighth of the calls that it looks at: every kShortStep-th, all with MOORLAK_FULL_SWEEP set, and
// then on the path on which the engine drives the adapter, too. MOORLAK_FAULT_POINT=N takes the N-th call only.
// MOORLAK_FAULT_SWEEP may hold the words "slow" (the engines make their own adapters, after a while) and "stored"
// (`route DELETE` leaves stored copies).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "machine/support/wait.h"
#include "session/support/processes.h"
#include "session/support/tunnel_session.h"

namespace moorlak::session {
namespace {

constexpr int kSlices = 8;
constexpr int kShortStep = 11;
// Far more calls than any session makes.
constexpr int kMostCalls = 2000;
// E_ACCESSDENIED, which is a failure to whoever looks for an error number, an exit code or, of COM, a negative number.
constexpr uint32_t kRefused = 0x80070005;
// The longest way to the end of a connect: all time-outs of its steps.
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

// What a session says that does not come up: the lines behind which nothing follows but the clean-up.
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

  // Sessions with every n-th call failing, for this slice's n, until there is no such call.
  void Sweep(const Path& path) {
    if (const char* point = std::getenv("MOORLAK_FAULT_POINT")) {
      if (GetParam() == 0) RunPoint(path, static_cast<uint32_t>(std::strtoul(point, nullptr, 10)));
      return;
    }
    const int step = IsFull() ? 1 : kShortStep;
    int points = 0;
    for (int n = 1 + GetParam() * step; n < kMostCalls; n += kSlices * step, ++points) {
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
    // In the log from the start command to the reply to the stop.
    bool told = false;
  };

  Outcome RunSession(const Path& path) {
    const size_t linesBefore = LogLines().size();
    Outcome outcome;
    outcome.reply = Start(path.native ? NativeConfig() : Config());
    outcome.decided = machine::WaitUntil([] { return Status().tunnelUp || !Status().running; }, kOutcomePatience);
    outcome.up = Status().tunnelUp;
    outcome.stopReply = Stop();
    const std::vector<std::string> lines = LogLines();
    outcome.told = std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(linesBefore), lines.end(), TellsTheEnd);
    outcome.met = lab::ReadMachine().faults.front().hit;
    return outcome;
  }

  // What is wrong with the end of a session; empty when nothing is.
  std::string Complaint(const Outcome& outcome) const {
    std::string text;
    if (outcome.reply != "OK") text += "start: " + outcome.reply + "\n";
    if (!outcome.decided) text += "stuck\n";
    if (outcome.stopReply != "OK") text += "stop: " + outcome.stopReply + "\n";
    if (!outcome.up && !outcome.told) text += "an end without a text\n";
    if (!outcome.up && !outcome.met) text += "a failure without a fault\n";
    if (!WaitForNone(kXrayImage) || !WaitForNone(kTun2SocksImage)) text += "an engine lives\n";
    machine::WaitUntil([&] { return Now() == Before() && PendingTraces().empty(); }, kRestorePatience);
    for (const std::string& trace : PendingTraces()) text += "left: " + trace + "\n";
    if (const std::string now = Now(); now != Before()) text += "not restored:\n" + now;
    return text;
  }

  // False when the session ended before its n-th call.
  bool RunPoint(const Path& path, uint32_t n) {
    const size_t callsBefore = lab::ReadCallLog().size();
    PlanFault("fail", "", "", n, kRefused);
    const Outcome outcome = RunSession(path);
    ClearFaults();
    const std::string complaint = Complaint(outcome);
    const std::vector<std::string> calls = lab::ReadCallLog();
    const size_t call = callsBefore + n - 1;
    std::printf("%s, call %u: %s; %s\n", path.name, n, call < calls.size() ? calls[call].c_str() : "none",
                complaint.empty() ? "fine" : complaint.c_str());
    std::fflush(stdout);
    if (complaint.empty()) return outcome.met;
    ADD_FAILURE() << path.name << ", call " << n << "\n" << complaint << testing::PrintToString(LogLines());
    // One failed point must not spoil the next.
    Begin(WantedMachine());
    return outcome.met;
  }
};

TEST_P(FaultSweep, OfASessionNeverLeavesItStuckOrUntoldOrTheMachineChanged) {
  Sweep({"tun2socks", false});
}

TEST_P(FaultSweep, OfASessionOnTheEnginesTunnelNeverLeavesItStuckOrUntoldOrTheMachineChanged) {
  if (!IsFull()) GTEST_SKIP() << "MOORLAK_FULL_SWEEP is not set";
  Sweep({"the engine's tunnel", true});
}

INSTANTIATE_TEST_SUITE_P(Slices, FaultSweep, testing::Range(0, kSlices));

}  // namespace
}  // namespace moorlak::session
