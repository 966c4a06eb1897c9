// The steps of a connect, in the order of execution: what each needs, what it changes, and what undoes that. The tables
// in tunnel/connect_sequence.cpp say which path has which steps, and how they differ between the paths.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "tunnel/machine_changes.h"

namespace moorlak {

struct EngineSlot;
struct Session;

enum class Outcome {
  GoOn,
  // A stop was requested: no message.
  QuietStop,
  // A failure with this text for the tunnel log. If the step failed only because the session is ending, it is a quiet
  // stop.
  Abort,
  // A failure that the step has already logged.
  Failed,
};

struct StepResult {
  Outcome outcome = Outcome::GoOn;
  std::string text;
  // Log the route diagnostics after the text.
  bool diagnose = false;
};

inline StepResult GoOn() {
  return {};
}

inline StepResult QuietStop() {
  return {Outcome::QuietStop, {}, false};
}

inline StepResult GoOnIf(bool running) {
  return running ? GoOn() : QuietStop();
}

inline StepResult Abort(std::string text) {
  return {Outcome::Abort, std::move(text), false};
}

inline StepResult AbortAndDiagnose(std::string text) {
  return {Outcome::Abort, std::move(text), true};
}

inline StepResult Failed() {
  return {Outcome::Failed, {}, false};
}

using StepBody = StepResult (*)(Session& session);

// Until Xray runs, only our own adapter has changed, and the next stop resets it; no rollback needed.
enum class Rollback { None, Engines };

struct ConnectStep {
  const char* name;
  StepBody run;
  // What it may change on the machine; empty if it only reads, or changes nothing but the session's own values.
  std::initializer_list<MachineChange> changes;
  Rollback rollback = Rollback::Engines;
  // Runs instead if the engine drives the adapter itself; null if that makes no difference.
  StepBody runOnNativeTun = nullptr;
};

using ConnectSteps = std::span<const ConnectStep>;

// The beginning, on both paths.

// Need: nothing. Change: the persistent adapter is open, or closed for the engine's own. Undone by: a user's stop,
// which opens it again; leftovers are removed before the next start.
StepResult OpenAdapter(Session& session);
StepResult ReleaseAdapter(Session& session);

// Needs: configText without its metadata. Changes: configText, xrayDnsServers, apiAddress.
StepResult RewriteConfiguration(Session& session);

// Needs: the rewritten text. Changes: the staged file, readable for the system and administrators only. Undone by: the
// end of the session.
StepResult StageConfiguration(Session& session);

// Needs: the staged file. Changes: an engine runs the test. Undone by: a stop ends it; its failure line is still
// logged.
StepResult ValidateConfiguration(Session& session);

// Need: the staged file. Change: Xray runs; with the session's account, or, if it drives the adapter itself, with the
// service's own rights. Undone by: the engine is ended.
StepResult StartXray(Session& session);
StepResult StartXrayWithOwnRights(Session& session);

// Needs: configText. Changes: socksPort.
StepResult FindSocksPort(Session& session);

// Needs: Xray, socksPort. Changes: nothing.
StepResult AwaitSocks(Session& session);

// The adapter.

// Needs: Xray listens. Changes: tun2socks runs. Undone by: the engine is ended; leftovers of the adapters that it
// creates are removed before the next start.
StepResult StartTun2Socks(Session& session);

// Need: the engine that brings the adapter up. Change: the adapter is enabled, and stays so. Xray also gives its
// adapter the address and the default route. Undone by: the quick release removes both.
StepResult AwaitAdapter(Session& session);
StepResult AwaitXrayAdapter(Session& session);

// Needs: the adapter. Changes: its IPv4 address, tried twice; our other adapters lose it. Undone by: the quick release.
StepResult SetAdapterAddress(Session& session);

// Routes around the tunnel, and into it.

// Whether a step writes what it does to standard error.
enum class Progress { Written, Silent };

// Needs: configText, the physical gateway. Changes: serverAddresses, host routes to them and to the tunnel's name
// servers. RequireServerBypass checks for what it cannot find. Undone by: the clean-up, from the route journal.
StepResult RouteServerAround(Session& session, Progress progress);

// Needs: the step before. Changes: nothing. Prevents a tunnel that would carry its own server's traffic.
StepResult RequireServerBypass(Session& session);

// Needs: the gateway. Changes: routes to the panel, direct domains and subnets, the sharing rule of the firewall. Logs
// the warning, unless it is empty, if there is no panel. Undone by: the clean-up.
StepResult RouteBypassHosts(Session& session, std::string_view warningWithoutPanel);

// Needs: nothing. Changes: nothing; logs what the guard will block.
StepResult LogIpv6Guard(Session& session);

// What the SOCKS probe's failure lines have in addition.
struct SocksProbeLines {
  // In the line of each failed probe.
  bool namesPort = false;
  // At the end of the last line.
  std::string_view hint;
};

// Needs: socksPort. Changes: nothing. If stopped midway, the probe's failure lines are still logged.
StepResult ProbeSocks(Session& session, const SocksProbeLines& lines);

// Needs: everything that must stay outside the tunnel has its routes. Changes: the adapter's metric, which stays, and
// the default route, tried twice. Undone by: the quick release; the route's stored copy by the clean-up.
StepResult TakeDefaultRoute(Session& session);

// Needs: the default route into the tunnel. Changes: nothing. Fails at once if the engine that drives the adapter has
// exited.
StepResult ProbeTunnel(Session& session, EngineSlot& engine, std::string_view engineName);

// Protection, and the end of the connect.

// Needs: the adapter. Changes: the names of its network, which stay. Waits the given time, in milliseconds.
StepResult DescribeNetwork(Session& session, int32_t settleMs);

enum class SplitBy { Filters, Engine };

// Needs: the adapter, the default route. Changes: the adapters' name servers, the resolver's policy, the guard's
// filters and, unless the engine splits by program, those of the split tunnel. Undone by: the quick release; the
// physical adapters' name servers by the clean-up, in the background.
StepResult ProtectDns(Session& session, SplitBy splitBy);

// Needs: all of the above. Changes: ready; the statistics thread runs until the session ends. On the path through
// tun2socks also the names of the network, which stay.
StepResult DeclareReady(Session& session);
StepResult DeclareXrayTunReady(Session& session);

}  // namespace moorlak
