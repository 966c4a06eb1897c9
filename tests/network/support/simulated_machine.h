// A test's own simulated machine. The stand-ins must be loaded into the test program: scripts/run_network_tests.sh
// takes care of that.
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

// Adds the tunnel adapter as in a session: up while this process lives, with 10.0.85.2/24 and its on-link routes.
lab::Adapter& AddTunnelAdapter(lab::MachineState& machine, const std::string& name = "Moorlak");

// Adds a default route through 10.0.85.1 on this adapter.
void AddTunnelDefault(lab::MachineState& machine, const lab::Adapter& tunnel, uint32_t metric = 1);

// A machine with one physical adapter, a tunnel adapter and a winning default route into it.
lab::MachineState TunnelMachine();

// Removes the IPv4 default routes.
void DropDefaults(lab::MachineState& machine);

// A fault of the lab: `kind` as in lab/README.md; `nth` 0 means every matching call.
void PlanFault(const std::string& kind, const std::string& call, const std::string& argument, uint32_t nth,
               uint32_t code);

// Fixture: Start creates the machine. At the end no stand-in program may have got an unknown command.
class OnSimulatedMachine : public testing::Test {
 protected:
  void Start(const lab::MachineState& machine);
  void TearDown() override;

  // The machine at Start, and now.
  const std::string& Before() const { return before; }
  static std::string Now() { return lab::Show(lab::ReadMachine()); }
  // The tunnel log since Start: messages without times, each with a line feed.
  std::string LogMessages() const { return log ? log->Messages() : std::string(); }
  // Entries of the call log with this name, as "<arguments> -> <code>".
  static std::vector<std::string> CallsOf(const std::string& name);

 private:
  std::string before;
  std::unique_ptr<LogTail> log;
};

}  // namespace moorlak
