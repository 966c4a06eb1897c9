#include "support/faults.h"

#include "machine/machine.h"

namespace moorlak {

void PlanFault(const std::string& kind, const std::string& call, const std::string& argument, uint32_t nth,
               uint32_t code) {
  lab::EditMachine([&](lab::MachineState& machine) {
    machine.faults.push_back({call, argument, nth, kind, code, 0, false});
  });
}

void ClearFaults() {
  lab::EditMachine([](lab::MachineState& machine) { machine.faults.clear(); });
}

std::vector<std::string> CallsOf(const std::string& name) {
  std::vector<std::string> calls;
  const std::string marker = " " + name + " ";
  for (const std::string& line : lab::ReadCallLog()) {
    const size_t found = line.find(marker);
    if (found != std::string::npos) calls.push_back(line.substr(found + marker.size()));
  }
  return calls;
}

}  // namespace moorlak
