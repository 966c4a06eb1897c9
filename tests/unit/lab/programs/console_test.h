// Shared by the tests of the console programs.
#pragma once

#include <gtest/gtest.h>

#include "lab/programs/command_words.h"
#include "machine/fixtures.h"
#include "machine/machine.h"
#include "programs/console/adapters.h"

namespace moorlak::lab {

constexpr char kTunnelName[] = "Moorlak";
constexpr uint32_t kTunnelType = 53;

// A machine with a tunnel adapter that has a session but no address yet.
inline MachineState WithTunnel(MachineState machine, const std::string& name = kTunnelName) {
  Adapter adapter;
  adapter.name = name;
  adapter.description = "Moorlak Tunnel";
  adapter.guid = "{11111111-2222-3333-4444-555555555555}";
  adapter.luid = Luid(kTunnelType, 1);
  adapter.type = kTunnelType;
  adapter.needsSession = true;
  adapter.sessionProcess = 4;
  adapter.ipv4.ifIndex = adapter.ipv6.ifIndex = machine.nextIfIndex++;
  adapter.ipv4.metric = adapter.ipv6.metric = 5;
  adapter.storedIpv4 = adapter.ipv4;
  adapter.storedIpv6 = adapter.ipv6;
  machine.adapters.push_back(adapter);
  return machine;
}

// The adapter with that name, which must exist.
inline Adapter& Named(MachineState& machine, const std::string& name) {
  Adapter* adapter = FindAdapterNamed(machine, name);
  if (adapter == nullptr) throw std::runtime_error("no adapter " + name);
  return *adapter;
}

// Runs a whole command line. As in a program, a failed command changes nothing.
inline Outcome RunLine(Execute execute, MachineState& machine, const std::string& line) {
  MachineState changed = machine;
  const Outcome outcome = execute(changed, CommandWords(line));
  if (outcome.exitCode == 0) machine = changed;
  return outcome;
}

inline void ExpectDone(Execute execute, MachineState& machine, const std::string& line) {
  const Outcome outcome = RunLine(execute, machine, line);
  EXPECT_EQ(outcome.exitCode, 0u) << line << "\n" << outcome.output;
  EXPECT_FALSE(outcome.unknown) << line;
}

// The line is understood but refused with that text.
inline void ExpectRefused(Execute execute, MachineState& machine, const std::string& line, const std::string& text) {
  const Outcome outcome = RunLine(execute, machine, line);
  EXPECT_EQ(outcome.exitCode, 1u) << line;
  EXPECT_FALSE(outcome.unknown) << line;
  EXPECT_NE(outcome.output.find(text), std::string::npos) << line << "\n" << outcome.output;
}

inline void ExpectUnknown(Execute execute, MachineState& machine, const std::string& line) {
  const std::string before = Show(machine);
  const Outcome outcome = RunLine(execute, machine, line);
  EXPECT_EQ(outcome.exitCode, 1u) << line;
  EXPECT_TRUE(outcome.unknown) << line;
  EXPECT_FALSE(outcome.output.empty()) << line;
  EXPECT_EQ(Show(machine), before) << line;
}

}  // namespace moorlak::lab
