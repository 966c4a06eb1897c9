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
#include "support/faults.h"
#include "support/log_watch.h"

namespace moorlak {

// Adds the tunnel adapter as in a session: up while this process lives, with 10.0.85.2/24 and its on-link routes.
lab::Adapter& AddTunnelAdapter(lab::MachineState& machine, const std::string& name = "Moorlak");

// Adds a default route through 10.0.85.1 on this adapter.
void AddTunnelDefault(lab::MachineState& machine, const lab::Adapter& tunnel, uint32_t metric = 1);

// A machine with one physical adapter, a tunnel adapter and a winning default route into it.
lab::MachineState TunnelMachine();

// Removes the IPv4 default routes.
void DropDefaults(lab::MachineState& machine);

// Fixture: Start creates the machine. At the end no stand-in program may have got an unknown command.
class OnSimulatedMachine : public testing::Test {
 protected:
  void Start(const lab::MachineState& machine);
  void TearDown() override;

  // The machine at Start, and now.
  const std::string& Before() const { return before; }
  static std::string Now() { return lab::Show(lab::ReadMachine()); }
  // The tunnel log since Start: messages without times, each with a line feed.
  std::string LogMessages() const { return log ? log->Text() : std::string(); }

 private:
  std::string before;
  std::unique_ptr<LogWatch> log;
};

}  // namespace moorlak
