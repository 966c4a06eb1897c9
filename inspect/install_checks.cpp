#include <algorithm>
#include <array>
#include <string_view>

#include "inspect/checks.h"
#include "inspect/view_text.h"
#include "process/stray_engines.h"

namespace moorlak::inspect {
namespace {

bool IsEngine(const ProcessView& process) {
  return IsEngineName(std::wstring(process.name.begin(), process.name.end()));
}

bool SameAscii(std::string_view left, std::string_view right) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::ranges::equal(left, right, [&](char one, char other) { return lower(one) == lower(other); });
}

bool IsLocalSystem(std::string_view account) {
  constexpr std::array<std::string_view, 3> kNames{"LocalSystem", ".\\LocalSystem", "NT AUTHORITY\\SYSTEM"};
  return std::ranges::any_of(kNames, [&](std::string_view name) { return SameAscii(name, account); });
}

// Windows would take each part up to a blank for the program in turn.
bool IsUnquoted(std::string_view commandLine) {
  const size_t end = commandLine.find(".exe");
  return !commandLine.starts_with('"') && commandLine.substr(0, end).find(' ') != std::string_view::npos;
}

void AddStartFault(Faults& faults, const ServiceView& service) {
  constexpr char kRemedy[] =
      "Set the service's start type to automatic (\"sc config MoorlakTunnel start= delayed-auto\").";
  if (service.start == ServiceStart::Disabled)
    faults.push_back(
        {"The service MoorlakTunnel is disabled.", "It cannot be started, so no session can begin.", kRemedy});
  if (service.start == ServiceStart::Manual)
    faults.push_back({"The service MoorlakTunnel does not start with Windows.",
                      "What a session left at a crash stays until somebody starts the service.", kRemedy});
}

void AddRunFault(Faults& faults, const ServiceView& service) {
  if (service.run == ServiceRun::Running) return;
  faults.push_back({"The service MoorlakTunnel is " + RunText(service.run) + ".",
                    "The user interface cannot reach it, and no session can begin.",
                    "Start it (\"sc start MoorlakTunnel\"); if it does not start, read the tunnel log (\"moorlakctl "
                    "logs\") and Windows' event log."});
}

void AddSettingFaults(Faults& faults, const ServiceView& service) {
  if (!service.account.empty() && !IsLocalSystem(service.account))
    faults.push_back({"The service MoorlakTunnel runs as " + service.account + ".",
                      "It lacks the rights to change routes, name servers and filters.",
                      "Install the product again: the account must be LocalSystem."});
  if (IsUnquoted(service.commandLine))
    faults.push_back(
        {"The path of the service's program is not in quotes: " + service.commandLine + ".",
         "Windows may start another program instead, whose file somebody puts at the first part of the path.",
         "Install the product again."});
  if (service.restartsAfterCrash == false)
    faults.push_back({"Windows does nothing when the service ends unexpectedly.",
                      "After a crash the machine stays as the session left it until somebody starts the service.",
                      "Install the product again, which sets the recovery actions."});
}

constexpr std::string_view MissingCauses(std::string_view name) {
  if (name == "moorlak_service.exe") return "The service cannot start.";
  if (name == "xray.exe") return "No session can begin.";
  return "No VPN session can begin; proxy mode works.";
}

}  // namespace

Faults CheckService(const MachineView& machine, const InstallView& /*install*/) {
  const ServiceView& service = machine.service;
  if (service.run == ServiceRun::NotInstalled)
    return {{"The service MoorlakTunnel is not installed.", "No session can begin.", "Install the product again."}};
  Faults faults;
  AddStartFault(faults, service);
  AddRunFault(faults, service);
  AddSettingFaults(faults, service);
  return faults;
}

Faults CheckFilteringEngine(const MachineView& machine, const InstallView& /*install*/) {
  const ServiceView& engine = machine.filteringEngine;
  if (engine.run == ServiceRun::Running) return {};
  return {{"Windows' filtering engine (the service BFE) is " + RunText(engine.run) + ".",
           "The filters against leaks cannot be set, so a VPN session does not come up.",
           "Start it (\"sc start BFE\"); if it is disabled, find out which program disabled it."}};
}

Faults CheckInstallRights(const MachineView& /*machine*/, const InstallView& install) {
  Faults faults;
  for (const std::string& path : install.changeable)
    faults.push_back({path + " can be changed by others than administrators.",
                      "Whoever changes it commands the service, which has all rights on this computer.",
                      "Install the product again into a folder below Program Files."});
  return faults;
}

Faults CheckDataRights(const MachineView& /*machine*/, const InstallView& install) {
  if (install.dataFolderFault.empty()) return {};
  return {{"The data folder " + install.dataFolder + " " + install.dataFolderFault + ".",
           "The service does not trust the recovery files in it.",
           "Restart the service, which puts such a folder aside or closes it."}};
}

Faults CheckFiles(const MachineView& /*machine*/, const InstallView& install) {
  Faults faults;
  for (const ProductFileView& file : install.files) {
    if (!file.path.empty()) continue;
    faults.push_back({file.name + " is missing in " + install.folder + ".", std::string(MissingCauses(file.name)),
                      "Install the product again; if the file disappears again, look into the virus scanner's "
                      "quarantine."});
  }
  return faults;
}

std::string FilesNote(const MachineView& /*machine*/, const InstallView& install) {
  std::string note;
  for (const ProductFileView& file : install.files) {
    if (file.path.empty()) continue;
    note += (note.empty() ? "" : ", ") + file.name + " " + (file.version.empty() ? "without a version" : file.version);
  }
  return note;
}

Faults CheckRecoveryFiles(const MachineView& machine, const InstallView& install) {
  if (install.recoveryFiles.empty() || HasSession(machine)) return {};
  std::string names;
  for (const std::string& name : install.recoveryFiles) names += (names.empty() ? "" : ", ") + name;
  return {{"Recovery files of an earlier session are there: " + names + ".",
           "Something on this machine has not been put back yet.",
           "Restart the service, or stop it and run \"moorlakctl reset\" as an administrator; read the tunnel log if "
           "they stay."}};
}

Faults CheckLeftoverEngines(const MachineView& machine, const InstallView& /*install*/) {
  Faults faults;
  for (const ProcessView& process : machine.processes) {
    const bool hasService = std::ranges::any_of(machine.processes, [&](const ProcessView& parent) {
      return parent.id == process.parentId && !IsEngine(parent);
    });
    if (!IsEngine(process) || hasService) continue;
    faults.push_back(
        {"An engine runs without the service: " + process.path + ", process " + std::to_string(process.id) + ".",
         "It keeps ports and the tunnel adapter from the next session.", "Restart the service, which ends it."});
  }
  return faults;
}

}  // namespace moorlak::inspect
