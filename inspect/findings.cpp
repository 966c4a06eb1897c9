#include "inspect/findings.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "inspect/checks.h"

namespace moorlak::inspect {
namespace {

struct Check {
  std::string_view name;
  // Null if nothing can be wrong.
  Faults (*look)(const MachineView&, const InstallView&);
  // Null if there is nothing to add.
  std::string (*note)(const MachineView&, const InstallView&) = nullptr;
};

constexpr std::array kChecks{Check{"reading", CheckReading},
                             Check{"service", CheckService},
                             Check{"filtering-engine", CheckFilteringEngine},
                             Check{"install-rights", CheckInstallRights},
                             Check{"data-rights", CheckDataRights},
                             Check{"files", CheckFiles, FilesNote},
                             Check{"adapters", CheckAdapters},
                             Check{"routes", CheckRoutes},
                             Check{"dns", CheckDns},
                             Check{"filters", CheckFilters},
                             Check{"resolver-policy", CheckPolicy},
                             Check{"system-proxy", CheckProxy},
                             Check{"recovery-files", CheckRecoveryFiles},
                             Check{"leftover-engines", CheckLeftoverEngines},
                             Check{"other-tunnels", CheckOtherTunnels},
                             Check{"fast-startup", nullptr, FastStartupNote}};

// A JSON string (RFC 8259, section 7).
std::string JsonText(std::string_view text) {
  std::string quoted = "\"";
  for (const char character : text) {
    if (static_cast<unsigned char>(character) < 0x20) {
      char escape[8] = {};
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
      quoted += escape;
      continue;
    }
    if (character == '"' || character == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

std::string JsonObject(const Finding& finding) {
  const std::string head = "{\"check\":" + JsonText(finding.check) + ",\"ok\":";
  const std::string note = finding.note.empty() ? "" : ",\"note\":" + JsonText(finding.note);
  if (finding.wrong.empty()) return head + "true" + note + "}";
  return head + "false,\"wrong\":" + JsonText(finding.wrong) + ",\"causes\":" + JsonText(finding.causes) +
         ",\"remedy\":" + JsonText(finding.remedy) + note + "}";
}

}  // namespace

std::vector<Finding> Examine(const MachineView& machine, const InstallView& install) {
  std::vector<Finding> findings;
  for (const Check& check : kChecks) {
    const Faults faults = check.look != nullptr ? check.look(machine, install) : Faults{};
    const std::string note = check.note != nullptr ? check.note(machine, install) : std::string();
    if (faults.empty()) findings.push_back({check.name, {}, {}, {}, note});
    for (const Fault& fault : faults) findings.push_back({check.name, fault.wrong, fault.causes, fault.remedy, note});
  }
  return findings;
}

bool IsAnythingWrong(const std::vector<Finding>& findings) {
  return std::ranges::any_of(findings, [](const Finding& finding) { return !finding.wrong.empty(); });
}

std::string FindingLine(const Finding& finding) {
  const std::string head = std::string(finding.check) + ": ";
  if (finding.wrong.empty()) return head + "ok" + (finding.note.empty() ? "" : " (" + finding.note + ")");
  return head + finding.wrong + " " + finding.causes + " " + finding.remedy;
}

std::string FindingsJson(const std::vector<Finding>& findings) {
  std::string list;
  for (const Finding& finding : findings) list += (list.empty() ? "" : ",") + JsonObject(finding);
  return std::string("{\"ok\":") + (IsAnythingWrong(findings) ? "false" : "true") + ",\"findings\":[" + list + "]}";
}

}  // namespace moorlak::inspect
