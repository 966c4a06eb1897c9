// The views as text: one fact a line, each line complete in itself, so that two machines can be compared line by line.
#pragma once

#include <string>
#include <vector>

#include "inspect/machine_view.h"

namespace moorlak::inspect {

// In a fixed order of the parts; within a part in the view's order. Process ids, LUIDs and ports are left out.
std::vector<std::string> ViewLines(const MachineView& view);

// "10.0.85.0/24".
std::string PrefixText(const Ipv4Prefix& prefix);

// The name of the route's adapter in quotes; "(no adapter)" if there is none.
std::string AdapterOfRoute(const MachineView& view, const SystemRoute& route);

// "0.0.0.0/0 via 192.0.2.1 on "Ethernet" metric 0", or "… on-link on …".
std::string RouteLine(const MachineView& view, const SystemRoute& route);

// "running", "not installed", …
std::string RunText(ServiceRun run);

// What one list of lines has and the other has not.
struct LineDifference {
  std::vector<std::string> gone;
  std::vector<std::string> added;
  bool operator==(const LineDifference&) const = default;
};
LineDifference CompareLines(const std::vector<std::string>& before, const std::vector<std::string>& now);

}  // namespace moorlak::inspect
