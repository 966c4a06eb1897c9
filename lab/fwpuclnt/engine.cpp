#include "fwpuclnt/engine.h"

#include <winsock2.h>
#include <windows.h>

#include <fwpmu.h>
#include <mutex>

#include "fwpuclnt/convert.h"
#include "fwpuclnt/objects.h"
#include "fwpuclnt/transactions.h"
#include "machine/lifetime.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

// How long a transaction waits for another session's transaction: the default of FWPM_SESSION0.
constexpr ULONGLONG kTransactionWaitMs = 15000;

// FWPM_SESSION_FLAG_DYNAMIC, written out again as in convert.cpp. Source: "FWPM_SESSION0 structure" of Microsoft Learn.
constexpr UINT32 kSessionFlagDynamic = 0x00000001;

std::recursive_mutex transactionsLock;
Transactions transactions;  // of this process, guarded by transactionsLock

uint64_t Number(HANDLE handle) {
  return reinterpret_cast<uint64_t>(handle);
}

// Waits before the call, because the call holds the machine's lock.
void WaitForOthers(HANDLE engine) {
  const ULONGLONG end = GetTickCount64() + kTransactionWaitMs;
  while (OthersInTransaction(ReadMachine().wfp, Number(engine)) && GetTickCount64() < end) Sleep(5);
}

uint32_t CallSession(const std::string& name, HANDLE engine, const std::string& arguments,
                     const std::function<uint32_t(Wfp&, WfpSession&)>& body) {
  const std::lock_guard lock(transactionsLock);
  return RunCall({name, arguments}, [&](MachineState& state) -> uint32_t {
    WfpSession* session = FindSession(state.wfp, Number(engine), GetCurrentProcessId());
    if (session != nullptr) return body(state.wfp, *session);
    transactions.erase(Number(engine));
    return ERROR_INVALID_HANDLE;
  });
}

}  // namespace

uint32_t CallEngine(const std::string& name, HANDLE engine, const std::string& arguments,
                    const std::function<uint32_t(EngineCall&)>& body) {
  return CallSession(name, engine, arguments, [&](Wfp& wfp, const WfpSession& session) -> uint32_t {
    Wfp* objects = ObjectsOf(wfp, session, transactions);
    if (objects == nullptr) return kTimeout;
    EngineCall call{*objects, session.dynamic ? session.handle : 0};
    return body(call);
  });
}

}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

DWORD WINAPI FwpmEngineOpen0(const wchar_t* serverName, UINT32 authnService, SEC_WINNT_AUTH_IDENTITY_W* identity,
                             const FWPM_SESSION0* session, HANDLE* engineHandle) {
  const UINT32 flags = session == nullptr ? 0 : session->flags;
  return RunCall({"FwpmEngineOpen0", flags == 0 ? "static" : "dynamic"}, [&](MachineState& state) -> uint32_t {
    if (engineHandle == nullptr) return kNullPointer;
    if (serverName != nullptr || identity != nullptr) return ERROR_NOT_SUPPORTED;
    if (authnService != RPC_C_AUTHN_WINNT && authnService != RPC_C_AUTHN_DEFAULT) return ERROR_NOT_SUPPORTED;
    if ((flags & ~kSessionFlagDynamic) != 0) return kInvalidFlags;
    *engineHandle = reinterpret_cast<HANDLE>(OpenSession(state.wfp, GetCurrentProcessId(), flags != 0));
    return 0;
  });
}

DWORD WINAPI FwpmEngineClose0(HANDLE engine) {
  const std::lock_guard lock(transactionsLock);
  return RunCall({"FwpmEngineClose0", ""}, [&](MachineState& state) -> uint32_t {
    transactions.erase(Number(engine));
    if (FindSession(state.wfp, Number(engine), GetCurrentProcessId()) == nullptr) return ERROR_INVALID_HANDLE;
    DropWfpSession(state, Number(engine));
    return 0;
  });
}

DWORD WINAPI FwpmTransactionBegin0(HANDLE engine, UINT32 flags) {
  WaitForOthers(engine);
  return CallSession("FwpmTransactionBegin0", engine, "", [&](Wfp& wfp, WfpSession& session) -> uint32_t {
    if (flags != 0) return kInvalidFlags;
    return BeginTransaction(wfp, session, transactions);
  });
}

DWORD WINAPI FwpmTransactionCommit0(HANDLE engine) {
  return CallSession("FwpmTransactionCommit0", engine, "",
                     [&](Wfp& wfp, WfpSession& session) { return CommitTransaction(wfp, session, transactions); });
}

DWORD WINAPI FwpmTransactionAbort0(HANDLE engine) {
  return CallSession("FwpmTransactionAbort0", engine, "",
                     [&](Wfp&, WfpSession& session) { return AbortTransaction(session, transactions); });
}

DWORD WINAPI FwpmProviderAdd0(HANDLE engine, const FWPM_PROVIDER0* provider, PSECURITY_DESCRIPTOR) {
  if (provider == nullptr) return kNullPointer;
  return CallEngine("FwpmProviderAdd0", engine, KeyText(provider->providerKey), [&](EngineCall& call) -> uint32_t {
    if (provider->flags != 0) return kInvalidFlags;
    return AddProvider(call.wfp, {KeyText(provider->providerKey), DisplayName(provider->displayData), call.owner});
  });
}

DWORD WINAPI FwpmProviderDeleteByKey0(HANDLE engine, const GUID* key) {
  if (key == nullptr) return kNullPointer;
  return CallEngine("FwpmProviderDeleteByKey0", engine, KeyText(*key),
                    [&](EngineCall& call) { return DeleteProvider(call.wfp, call.owner, KeyText(*key)); });
}

DWORD WINAPI FwpmSubLayerAdd0(HANDLE engine, const FWPM_SUBLAYER0* sublayer, PSECURITY_DESCRIPTOR) {
  if (sublayer == nullptr) return kNullPointer;
  return CallEngine("FwpmSubLayerAdd0", engine, KeyText(sublayer->subLayerKey), [&](EngineCall& call) -> uint32_t {
    if (sublayer->flags != 0) return kInvalidFlags;
    const std::string provider = sublayer->providerKey == nullptr ? "" : KeyText(*sublayer->providerKey);
    return AddSublayer(call.wfp, {KeyText(sublayer->subLayerKey), DisplayName(sublayer->displayData), provider,
                                  sublayer->weight, call.owner});
  });
}

DWORD WINAPI FwpmSubLayerDeleteByKey0(HANDLE engine, const GUID* key) {
  if (key == nullptr) return kNullPointer;
  return CallEngine("FwpmSubLayerDeleteByKey0", engine, KeyText(*key),
                    [&](EngineCall& call) { return DeleteSublayer(call.wfp, call.owner, KeyText(*key)); });
}

DWORD WINAPI FwpmFilterAdd0(HANDLE engine, const FWPM_FILTER0* filter, PSECURITY_DESCRIPTOR, UINT64* id) {
  if (filter == nullptr) return kNullPointer;
  return CallEngine("FwpmFilterAdd0", engine, DisplayName(filter->displayData), [&](EngineCall& call) -> uint32_t {
    WfpFilter read;
    if (const uint32_t code = ReadFilter(*filter, read)) return code;
    read.session = call.owner;
    uint64_t added = 0;
    const uint32_t code = AddFilter(call.wfp, std::move(read), added);
    if (code == 0 && id != nullptr) *id = added;
    return code;
  });
}

DWORD WINAPI FwpmFilterDeleteById0(HANDLE engine, UINT64 id) {
  return CallEngine("FwpmFilterDeleteById0", engine, std::to_string(id),
                    [&](EngineCall& call) { return DeleteFilter(call.wfp, call.owner, id); });
}
}
