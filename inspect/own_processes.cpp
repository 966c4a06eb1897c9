#include "inspect/own_processes.h"

#include <algorithm>
#include <string>

#include "process/stray_engines.h"

namespace moorlak::inspect {
namespace {

// The names are those of our programs, which are plain ASCII.
bool IsEngine(const ProcessView& process) {
  return IsEngineName(std::wstring(process.name.begin(), process.name.end()));
}

bool IsOwnService(const NamedProcess& one) {
  return !IsEngine(one.process) && one.isInstalled.value_or(true);
}

bool IsOwn(const NamedProcess& one, const std::vector<NamedProcess>& named) {
  if (one.isInstalled) return *one.isInstalled;
  if (!IsEngine(one.process)) return true;
  return std::ranges::any_of(named, [&](const NamedProcess& other) {
    return IsOwnService(other) && other.process.id == one.process.parentId;
  });
}

}  // namespace

std::vector<ProcessView> OwnProcesses(const std::vector<NamedProcess>& named) {
  std::vector<ProcessView> own;
  for (const NamedProcess& one : named) {
    if (IsOwn(one, named)) own.push_back(one.process);
  }
  return own;
}

}  // namespace moorlak::inspect
