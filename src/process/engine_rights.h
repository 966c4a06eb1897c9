// The rights that Xray runs with where it needs no privilege: for its test of a configuration, in proxy mode, in VPN
// mode through tun2socks, and for queries of its counters. A user's configuration could otherwise use the rights of the
// service's account.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// From the lowest rights up. LocalService: the account S-1-5-19, without its privileges. Unprivileged: the service's
// own account without its privileges. Own: as the service.
enum class EngineRights { LocalService, Unprivileged, Own };

// A choice starts with the lowest rights; each failure moves it to the next.
struct EngineRightsChoice {
  EngineRights rights = EngineRights::LocalService;
  // Why it is not the lowest.
  std::string reason;
};

// Called if the chosen rights cannot be obtained, or no child can be created with them. Own is always available and
// stays.
void StepDown(EngineRightsChoice& choice, std::string_view failure);

// Chooses Own, because lower rights are not enough. The reason replaces earlier ones.
void TakeOwnRights(EngineRightsChoice& choice, std::string_view reason);

// The result of an engine's test of a configuration. After a time-out the exit code means nothing.
struct ConfigTestResult {
  bool timedOut = false;
  unsigned long exitCode = 0;
};

// A configuration that the engine refuses with lower rights is tested again with the service's, because it may name a
// file that only those can read. A test that timed out would only time out again.
bool IsTestedAgain(const EngineRightsChoice& choice, const ConfigTestResult& result);

// The log line: "Xray runs as …", with the reason in brackets.
std::string EngineRightsLine(const EngineRightsChoice& choice);

}  // namespace moorlak
