#include "net/wfp/filter_set.h"

#include "base/guarded.h"
#include "base/log.h"

namespace moorlak {
namespace {

void Log(const FilterSet& set, const std::string& text) {
  WriteLogLine(std::string(set.kind.label) + ": " + text);
}

void LogFailure(const FilterSet& set, const char* what, DWORD code) {
  Log(set, std::string(what) + " failed " + std::to_string(code));
}

void LogFailure(const FilterSet& set, const WfpResult& result) {
  if (result.outcome == WfpOutcome::OpenFailed) LogFailure(set, "FwpmEngineOpen", result.code);
  if (result.outcome == WfpOutcome::BeginFailed) LogFailure(set, "TransactionBegin", result.code);
  if (result.outcome == WfpOutcome::CommitFailed) LogFailure(set, "commit", result.code);
}

// Without an engine nothing is installed: closing one removes its session's objects.
void RemoveLocked(FilterSet& set) REQUIRES(set.lock) {
  if (!set.session.engine) return;
  DeleteWfpObjects(set.session);
  Log(set, "removed");
}

std::optional<std::string> FillTx(FilterSet& set, const AddFilters& addTx) REQUIRES(set.lock) {
  if (const DWORD code = AddWfpSublayerTx(set.session)) {
    LogFailure(set, "SubLayerAdd", code);
    return std::nullopt;
  }
  return addTx(set.session);
}

}  // namespace

bool InstallFilters(FilterSet& set, const AddFilters& addTx) {
  const MutexGuard guard(set.lock);
  RemoveLocked(set);
  std::optional<std::string> installed;
  const WfpResult result = RunWfpTransaction(set.session, [&]() REQUIRES(set.lock) {
    installed = FillTx(set, addTx);
    return installed.has_value();
  });
  LogFailure(set, result);
  if (result.outcome != WfpOutcome::Committed) return false;
  WriteLogLine(*installed);
  return true;
}

void RemoveFilters(FilterSet& set) noexcept {
  Guarded([&] {
    const MutexGuard guard(set.lock);
    RemoveLocked(set);
  });
}

void PurgeFilters(FilterSet& set) noexcept {
  Guarded([&] {
    const MutexGuard guard(set.lock);
    if (PurgeWfpObjects(set.kind.identity)) Log(set, std::string("purged stale ") + set.kind.purged + " (if present)");
  });
}

}  // namespace moorlak
