// What is wrong with a machine: plain values in, a list of findings out. Every check is one row of a table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "inspect/machine_view.h"

namespace moorlak::inspect {

// One result of a check: all is well, or three sentences. A check with several faults has several findings.
struct Finding {
  // A fixed name, for scripts: "dns", "routes", …
  std::string_view check;
  // Empty if all is well; then the others are, too.
  std::string wrong;
  std::string causes;
  std::string remedy;
  // What the check has seen, if that is of use: "xray.exe 1.8.4".
  std::string note;
};

// At least one finding for each check, in the table's order.
std::vector<Finding> Examine(const MachineView& machine, const InstallView& install);

bool IsAnythingWrong(const std::vector<Finding>& findings);

// "dns: ok", "files: ok (<note>)", or "dns: <wrong> <causes> <remedy>"; without a line end.
std::string FindingLine(const Finding& finding);

// {"ok":false,"findings":[{"check":"dns","ok":false,"wrong":"…","causes":"…","remedy":"…"},…]} on one line; a finding
// without a fault has only "check" and "ok", and "note" if it has one. Without a line end.
std::string FindingsJson(const std::vector<Finding>& findings);

}  // namespace moorlak::inspect
