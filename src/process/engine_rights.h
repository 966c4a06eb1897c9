// As whom Xray runs where it needs no privilege: for its test of a configuration, in proxy mode, in VPN mode through
// tun2socks, and for queries of its counters. What the service's account has, a configuration of a user's could use.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// From the least on. LocalService: the account S-1-5-19, without its privileges. Unprivileged: the service's own
// account without its privileges. Own: as the service.
enum class EngineRights { LocalService, Unprivileged, Own };

// A choice begins with the first of them; each failure leads to the next one.
struct EngineRightsChoice {
  EngineRights rights = EngineRights::LocalService;
  // Why it is not the first one.
  std::string reason;
};

// The chosen rights cannot be had, or no child can be created with them. Own is always to be had and stays.
void StepDown(EngineRightsChoice& choice, std::string_view failure);

// Nothing less will do: with the reason, which stands in place of earlier ones.
void TakeOwnRights(EngineRightsChoice& choice, std::string_view reason);

// What became of an engine's test of a configuration. The exit code of one that timed out means nothing.
struct ConfigTestResult {
  bool timedOut = false;
  unsigned long exitCode = 0;
};

// A configuration that the engine refuses with fewer rights is tested once more with the service's: it may read a file
// that others cannot. One that takes too long would take too long again.
bool IsTestedAgain(const EngineRightsChoice& choice, const ConfigTestResult& result);

// The log line: "Xray runs as …", with the reason in brackets.
std::string EngineRightsLine(const EngineRightsChoice& choice);

}  // namespace moorlak
