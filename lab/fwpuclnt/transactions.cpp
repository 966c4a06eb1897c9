#include "fwpuclnt/transactions.h"

#include <algorithm>

#include "fwpuclnt/objects.h"

namespace moorlak::lab {
namespace {

// Drops objects of ended dynamic sessions: one may have ended while another session's transaction had a copy of them.
void DropOrphans(Wfp& wfp) {
  const auto isOrphan = [&](const auto& object) {
    return object.session != 0 &&
           std::ranges::find(wfp.sessions, object.session, &WfpSession::handle) == wfp.sessions.end();
  };
  std::erase_if(wfp.filters, isOrphan);
  std::erase_if(wfp.sublayers, isOrphan);
  std::erase_if(wfp.providers, isOrphan);
}

}  // namespace

uint64_t OpenSession(Wfp& wfp, uint32_t process, bool dynamic) {
  WfpSession& opened = wfp.sessions.emplace_back();
  opened.handle = wfp.nextId++;
  opened.process = process;
  opened.dynamic = dynamic;
  return opened.handle;
}

WfpSession* FindSession(Wfp& wfp, uint64_t handle, uint32_t process) {
  const auto found = std::ranges::find(wfp.sessions, handle, &WfpSession::handle);
  return found != wfp.sessions.end() && found->process == process ? &*found : nullptr;
}

bool OthersInTransaction(const Wfp& wfp, uint64_t handle) {
  return std::ranges::any_of(
      wfp.sessions, [=](const WfpSession& session) { return session.inTransaction && session.handle != handle; });
}

uint32_t BeginTransaction(Wfp& wfp, WfpSession& session, Transactions& open) {
  if (session.inTransaction) return kTransactionInProgress;
  if (OthersInTransaction(wfp, session.handle)) return kTimeout;
  open[session.handle] = wfp;
  session.inTransaction = true;
  return 0;
}

uint32_t CommitTransaction(Wfp& wfp, WfpSession& session, Transactions& open) {
  const auto changed = open.find(session.handle);
  if (changed == open.end()) return kNoTransaction;
  session.inTransaction = false;
  wfp.nextId = std::max(wfp.nextId, changed->second.nextId);
  wfp.providers = changed->second.providers;
  wfp.sublayers = changed->second.sublayers;
  wfp.filters = changed->second.filters;
  open.erase(changed);
  DropOrphans(wfp);
  return 0;
}

uint32_t AbortTransaction(WfpSession& session, Transactions& open) {
  if (open.erase(session.handle) == 0) return kNoTransaction;
  session.inTransaction = false;
  return 0;
}

Wfp* ObjectsOf(Wfp& wfp, const WfpSession& session, Transactions& open) {
  const auto found = open.find(session.handle);
  if (found != open.end()) return &found->second;
  return OthersInTransaction(wfp, session.handle) ? nullptr : &wfp;
}

}  // namespace moorlak::lab
