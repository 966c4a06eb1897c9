// One step of a connect, and its possible outcomes.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <utility>

#include "tunnel/machine_changes.h"

namespace moorlak {

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

// Until Xray runs, only our own adapter has changed, and the next stop resets it; no rollback needed.
enum class Rollback { None, Engines };

struct ConnectStep {
  const char* name;
  StepResult (*run)(Session& session);
  // What it may change on the machine; empty if it only reads, or changes nothing but the session's own values.
  std::initializer_list<MachineChange> changes;
  Rollback rollback = Rollback::Engines;
};

using ConnectSteps = std::span<const ConnectStep>;

}  // namespace moorlak
