// One step of a connect, and what it can lead to.
#pragma once

#include <span>
#include <string>
#include <utility>

namespace moorlak {

struct VpnService;

enum class Outcome {
  GoOn,
  // The stop was asked for: no message.
  QuietStop,
  // A failure with this text for the tunnel log. One that shows only because the session is to end is a quiet stop.
  Abort,
  // A failure that the step has told itself.
  Failed,
};

struct StepResult {
  Outcome outcome = Outcome::GoOn;
  std::string text;
  // The machine's routes are told behind the text.
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

// Before an engine runs nothing was done to the machine but to the own adapter, which the next stop looks after: a
// failure then needs no rollback.
enum class Rollback { None, Engines };

struct ConnectStep {
  const char* name;
  StepResult (*run)(VpnService& service);
  Rollback rollback = Rollback::Engines;
};

using ConnectSteps = std::span<const ConnectStep>;

}  // namespace moorlak
