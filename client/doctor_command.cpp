#include "client/commands.h"
#include "client/visible_text.h"
#include "inspect/findings.h"
#include "inspect/read_machine.h"

namespace moorlak::client {
namespace {

bool Print(Console& console, const std::vector<inspect::Finding>& findings, bool json) {
  if (json) return WriteLine(console.out, inspect::FindingsJson(findings));
  bool written = true;
  for (const inspect::Finding& finding : findings)
    written = written && WriteLine(console.out, VisibleText(inspect::FindingLine(finding)));
  return written;
}

}  // namespace

ExitCode RunDoctor(Console& console, const Arguments& arguments) {
  const inspect::MachineView machine = inspect::ReadMachineView();
  const std::vector<inspect::Finding> findings = inspect::Examine(machine, inspect::ReadInstallView(machine));
  if (!Print(console, findings, arguments.json)) return ExitCode::Failure;
  return inspect::IsAnythingWrong(findings) ? ExitCode::Unwell : ExitCode::Ok;
}

}  // namespace moorlak::client
