// A test's own simulated machine. The stand-ins must be in force for the test program: scripts/run_network_tests.sh
// sees to that.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "machine/fixtures.h"
#include "machine/machine.h"
#include "unit/ipc/log_tail.h"

namespace moorlak {

// Adds the tunnel adapter as it is in a session: up while this process lives, with 10.0.85.2/24 and its on-link routes.
lab::Adapter& AddTunnelAdapter(lab::MachineState& machine, const std::string& name = "Moorlak");

// Adds the default route through 10.0.85.1 on an adapter.
void AddTunnelDefault(lab::MachineState& machine, const lab::Adapter& tunnel, uint32_t metric = 1);

// A machine with one physical adapter, a tunnel adapter and the default route into it, which wins.
lab::MachineState TunnelMachine();

// Takes the IPv4 default routes away.
void DropDefaults(lab::MachineState& machine);

// A fault of the lab: `kind` as in lab/README.md, `nth` 0 for every matching call.
void PlanFault(const std::string& kind, const std::string& call, const std::string& argument, uint32_t nth,
               uint32_t code);

// Makes guard and split tunnel forget what they hold: a handle of this test's machine must not meet the next one's.
void EndFilterSessions();

// Fixture: Start makes the machine; at the end no stand-in program may have met a command that it does not know.
class OnSimulatedMachine : public testing::Test {
 protected:
  void Start(const lab::MachineState& machine);
  void TearDown() override;

  // What Start's machine looked like, and what it looks like now.
  const std::string& Before() const { return before; }
  static std::string Now() { return lab::Show(lab::ReadMachine()); }
  // The tunnel log since Start: messages without their times, each with a line feed.
  std::string LogMessages() const { return log ? log->Messages() : std::string(); }
  // Calls of this name in the call log, as "<arguments> -> <code>".
  static std::vector<std::string> CallsOf(const std::string& name);

 private:
  std::string before;
  std::unique_ptr<LogTail> log;
};

}  // namespace moorlak
