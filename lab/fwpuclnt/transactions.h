// Sessions and their transactions, on plain values.
//
// Sources, pages of Microsoft Learn: "FwpmEngineOpen0", "FwpmTransactionBegin0", "FwpmTransactionCommit0",
// "FwpmTransactionAbort0", "Object Management".
#pragma once

#include <cstdint>
#include <map>

#include "machine/state.h"

namespace moorlak::lab {

// The objects as the open transactions of one process see them, by session. What a transaction did is in the machine
// only after its commit, so a process that dies in between has changed nothing.
using Transactions = std::map<uint64_t, Wfp>;

// Answers the new session's handle.
uint64_t OpenSession(Wfp& wfp, uint32_t process, bool dynamic);

// Null for a handle that is not open, is another process's, or died when the engine restarted.
WfpSession* FindSession(Wfp& wfp, uint64_t handle, uint32_t process);

bool OthersInTransaction(const Wfp& wfp, uint64_t handle);

// One transaction at a time: another session's gives FWP_E_TIMEOUT, an own one FWP_E_TXN_IN_PROGRESS.
uint32_t BeginTransaction(Wfp& wfp, WfpSession& session, Transactions& open);
// FWP_E_NO_TXN_IN_PROGRESS without one.
uint32_t CommitTransaction(Wfp& wfp, WfpSession& session, Transactions& open);
uint32_t AbortTransaction(WfpSession& session, Transactions& open);

// What a call of the session works on: the transaction's copy, or the machine's objects when it has none open. Null
// while another session has one, which the call would have to wait for.
Wfp* ObjectsOf(Wfp& wfp, const WfpSession& session, Transactions& open);

}  // namespace moorlak::lab
