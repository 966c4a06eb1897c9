#include "client/reset_report.h"

#include "inspect/findings.h"
#include "inspect/view_text.h"
#include "process/stray_engines.h"

namespace moorlak::client {
namespace {

std::vector<std::string> FactsOf(const ResetView& view) {
  std::vector<std::string> lines = inspect::ViewLines(view.machine);
  for (const std::string& file : view.install.recoveryFiles) lines.push_back("recovery file " + file);
  return lines;
}

bool IsEngine(const inspect::ProcessView& process) {
  return IsEngineName(std::wstring(process.name.begin(), process.name.end()));
}

}  // namespace

std::string RefuseReset(bool isElevated, const inspect::MachineView& machine) {
  for (const inspect::ProcessView& process : machine.processes) {
    if (IsEngine(process)) continue;
    return "The service runs (process " + std::to_string(process.id) +
           "). Stop it first: sc stop MoorlakTunnel. Its next start does the same as this command.";
  }
  return isElevated ? std::string() : "This command needs an elevated prompt (\"Run as administrator\").";
}

std::vector<std::string> ResetReport(const ResetView& before, const ResetView& now) {
  std::vector<std::string> lines = {"Found:"};
  for (const inspect::Finding& finding : inspect::Examine(before.machine, before.install)) {
    if (!finding.wrong.empty()) lines.push_back("  " + std::string(finding.check) + ": " + finding.wrong);
  }
  if (lines.size() == 1) lines.emplace_back("  nothing wrong");
  const inspect::LineDifference difference = inspect::CompareLines(FactsOf(before), FactsOf(now));
  lines.emplace_back("Changed:");
  for (const std::string& line : difference.gone) lines.push_back("  - " + line);
  for (const std::string& line : difference.added) lines.push_back("  + " + line);
  if (difference == inspect::LineDifference{}) lines.emplace_back("  nothing");
  return lines;
}

}  // namespace moorlak::client
