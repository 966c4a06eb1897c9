// Calls on an engine handle, and this process's transactions.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// What a call works on: the machine's objects, or the transaction's copy of them. `owner` is the owner of the objects
// that it adds: the session if it is dynamic, otherwise 0.
struct EngineCall {
  Wfp& wfp;
  uint64_t owner;
};

// One call on a session. Returns ERROR_INVALID_HANDLE (the value of RPC_X_SS_CONTEXT_MISMATCH) for a handle that is not
// open or whose engine has restarted.
uint32_t CallEngine(const std::string& name, HANDLE engine, const std::string& arguments,
                    const std::function<uint32_t(EngineCall&)>& body);

}  // namespace moorlak::lab
