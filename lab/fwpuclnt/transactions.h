// Sessions and their transactions, on plain values.
//
// Sources, pages of Microsoft Learn: "FwpmEngineOpen0", "FwpmTransactionBegin0", "FwpmTransactionCommit0",
// "FwpmTransactionAbort0", "Object Management".
#pragma once

#include <cstdint>
#include <map>

#include "machine/state.h"

namespace moorlak::lab {

// The objects as one process's open transactions see them, by session. A transaction changes the machine only when it
// commits, so a process that dies before that has changed nothing.
using Transactions = std::map<uint64_t, Wfp>;

// Returns the new session's handle.
uint64_t OpenSession(Wfp& wfp, uint32_t process, bool dynamic);

// Null for a handle that is not open, belongs to another process, or became invalid when the engine restarted.
WfpSession* FindSession(Wfp& wfp, uint64_t handle, uint32_t process);

bool OthersInTransaction(const Wfp& wfp, uint64_t handle);

// One transaction at a time: FWP_E_TIMEOUT if another session has one, FWP_E_TXN_IN_PROGRESS if this session has.
uint32_t BeginTransaction(Wfp& wfp, WfpSession& session, Transactions& open);
// FWP_E_NO_TXN_IN_PROGRESS if there is none.
uint32_t CommitTransaction(Wfp& wfp, WfpSession& session, Transactions& open);
uint32_t AbortTransaction(WfpSession& session, Transactions& open);

// What a call of the session works on: its transaction's copy, or the machine's objects if it has no transaction. Null
// while another session has one, for which the call would have to wait.
Wfp* ObjectsOf(Wfp& wfp, const WfpSession& session, Transactions& open);

}  // namespace moorlak::lab
