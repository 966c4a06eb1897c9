#include "net/wfp/wfp_session.h"

#include <algorithm>
#include <array>
#include <rpc.h>

#include "base/wfp_constants.h"

namespace moorlak {
namespace {

constexpr UINT32 kPageSize = 64;

constexpr DWORD Code(HRESULT result) {
  return static_cast<DWORD>(result);
}

// Display names and keys are inputs that the calls do not change, but their structures lack the const.
template <typename T>
T* Mutable(const T* value) {
  return const_cast<T*>(value);
}

// Errors of calls on a handle whose engine has gone: the binding is dead or the session unknown.
bool IsDeadEngine(DWORD code) {
  constexpr std::array kDead{DWORD{ERROR_INVALID_HANDLE},  // also RPC_X_SS_CONTEXT_MISMATCH
                             Code(FWP_E_SESSION_ABORTED),  DWORD{RPC_X_SS_IN_NULL_CONTEXT},
                             DWORD{RPC_S_INVALID_BINDING}, DWORD{RPC_S_SERVER_UNAVAILABLE},
                             DWORD{RPC_S_CALL_FAILED},     DWORD{RPC_S_CALL_FAILED_DNE},
                             DWORD{RPC_S_UNKNOWN_IF},      DWORD{EPT_S_NOT_REGISTERED}};
  return std::ranges::find(kDead, code) != kDead.end();
}

DWORD OpenEngine(WfpSession& session) {
  if (session.engine) return ERROR_SUCCESS;
  FWPM_SESSION0 wanted{};
  wanted.flags = kWfpSessionDynamic;
  return FwpmEngineOpen0(nullptr, RPC_C_AUTHN_WINNT, nullptr, &wanted, session.engine.Out());
}

WfpResult Begin(WfpSession& session) {
  for (bool mayReopen = static_cast<bool>(session.engine);; mayReopen = false) {
    if (const DWORD code = OpenEngine(session)) return {WfpOutcome::OpenFailed, code};
    const DWORD code = FwpmTransactionBegin0(session.engine.Get(), 0);
    if (code == ERROR_SUCCESS) return {};
    if (!mayReopen || !IsDeadEngine(code)) return {WfpOutcome::BeginFailed, code};
    session.engine.Reset();
  }
}

// Aborts unless committed.
struct OpenTransaction {
  WfpSession& session;
  bool committed = false;

  explicit OpenTransaction(WfpSession& begun) noexcept : session(begun) {}
  OpenTransaction(const OpenTransaction&) = delete;
  OpenTransaction& operator=(const OpenTransaction&) = delete;
  ~OpenTransaction() {
    if (committed) return;
    FwpmTransactionAbort0(session.engine.Get());
    session.filterIds.clear();
  }
};

FWPM_FILTER_CONDITION0 Condition(const FilterCondition& condition, FWP_BYTE_BLOB* application) {
  FWPM_FILTER_CONDITION0 made{};
  made.matchType = condition.match == FilterMatch::Equal ? FWP_MATCH_EQUAL : FWP_MATCH_NOT_EQUAL;
  FWP_CONDITION_VALUE0& value = made.conditionValue;
  switch (condition.field) {
    case FilterField::Application:
      made.fieldKey = kWfpConditionAleAppId;
      value.type = FWP_BYTE_BLOB_TYPE;
      value.byteBlob = application;
      break;
    case FilterField::Protocol:
      made.fieldKey = kWfpConditionIpProtocol;
      value.type = FWP_UINT8;
      value.uint8 = static_cast<UINT8>(condition.value);
      break;
    case FilterField::RemotePort:
      made.fieldKey = kWfpConditionIpRemotePort;
      value.type = FWP_UINT16;
      value.uint16 = static_cast<UINT16>(condition.value);
      break;
    case FilterField::RemoteAddress:
      made.fieldKey = kWfpConditionIpRemoteAddress;
      value.type = FWP_UINT32;
      value.uint32 = static_cast<UINT32>(condition.value);
      break;
    case FilterField::LocalInterface:
      made.fieldKey = kWfpConditionIpLocalInterface;
      value.type = FWP_UINT64;
      // The row outlives the call.
      value.uint64 = Mutable(&condition.value);
      break;
  }
  return made;
}

struct ObjectDeletion {
  bool complete = true;

  void Note(DWORD code) noexcept {
    const bool gone = code == ERROR_SUCCESS || code == Code(FWP_E_FILTER_NOT_FOUND) ||
                      code == Code(FWP_E_SUBLAYER_NOT_FOUND) || code == Code(FWP_E_PROVIDER_NOT_FOUND);
    complete = complete && gone;
  }
};

// The filters of one page, freed together.
struct FilterPage {
  FWPM_FILTER0** entries = nullptr;
  UINT32 count = 0;

  FilterPage() = default;
  FilterPage(const FilterPage&) = delete;
  FilterPage& operator=(const FilterPage&) = delete;
  ~FilterPage() {
    void* memory = static_cast<void*>(entries);
    if (memory != nullptr) FwpmFreeMemory0(&memory);
  }
};

// False if there is no further page. An enumeration is a snapshot taken when it was created, so deleting the filters of
// one page does not shift the next.
bool PurgePage(HANDLE engine, HANDLE enumeration, const GUID& providerKey) {
  FilterPage page;
  if (FwpmFilterEnum0(engine, enumeration, kPageSize, &page.entries, &page.count) != ERROR_SUCCESS) return false;
  for (UINT32 index = 0; index < page.count; ++index) {
    const FWPM_FILTER0& filter = *page.entries[index];
    if (filter.providerKey != nullptr && IsEqualGUID(*filter.providerKey, providerKey)) {
      FwpmFilterDeleteById0(engine, filter.filterId);
    }
  }
  return page.count >= kPageSize;
}

void PurgeFilters(HANDLE engine, const GUID& providerKey) {
  HANDLE enumeration = nullptr;
  if (FwpmFilterCreateEnumHandle0(engine, nullptr, &enumeration) != ERROR_SUCCESS) return;
  while (PurgePage(engine, enumeration, providerKey)) {
  }
  FwpmFilterDestroyEnumHandle0(engine, enumeration);
}

}  // namespace

WfpResult RunWfpTransaction(WfpSession& session, const std::function<bool()>& bodyTx) {
  const WfpResult begun = Begin(session);
  if (begun.outcome != WfpOutcome::Committed) return begun;
  OpenTransaction transaction(session);
  if (!bodyTx()) return {WfpOutcome::Refused, 0};
  if (const DWORD code = FwpmTransactionCommit0(session.engine.Get())) return {WfpOutcome::CommitFailed, code};
  transaction.committed = true;
  return {};
}

DWORD AddWfpSublayerTx(const WfpSession& session) {
  const WfpIdentity& identity = session.identity;
  FWPM_PROVIDER0 provider{};
  provider.providerKey = identity.providerKey;
  provider.displayData.name = Mutable(identity.providerName);
  FwpmProviderAdd0(session.engine.Get(), &provider, nullptr);

  FWPM_SUBLAYER0 sublayer{};
  sublayer.subLayerKey = identity.sublayerKey;
  sublayer.displayData.name = Mutable(identity.sublayerName);
  sublayer.providerKey = identity.sublayerNamesProvider ? Mutable(&identity.providerKey) : nullptr;
  sublayer.weight = identity.sublayerWeight;
  const DWORD code = FwpmSubLayerAdd0(session.engine.Get(), &sublayer, nullptr);
  return code == Code(FWP_E_ALREADY_EXISTS) ? ERROR_SUCCESS : code;
}

DWORD AddWfpFilterTx(WfpSession& session, const FilterRow& row, FWP_BYTE_BLOB* application) {
  std::vector<FWPM_FILTER_CONDITION0> conditions;
  for (const FilterCondition& condition : row.conditions) conditions.push_back(Condition(condition, application));
  // Reserve room for the id before the filter exists: push_back must not fail afterwards.
  session.filterIds.reserve(session.filterIds.size() + 1);

  FWPM_FILTER0 filter{};
  filter.displayData.name = Mutable(row.name);
  filter.providerKey = Mutable(&session.identity.providerKey);
  filter.layerKey = row.layer == FilterLayer::ConnectV4 ? kWfpLayerAleAuthConnectV4 : kWfpLayerAleAuthConnectV6;
  filter.subLayerKey = session.identity.sublayerKey;
  filter.weight.type = FWP_UINT8;
  filter.weight.uint8 = row.weight;
  filter.numFilterConditions = static_cast<UINT32>(conditions.size());
  filter.filterCondition = conditions.data();
  filter.action.type = row.action == FilterAction::Permit ? FWP_ACTION_PERMIT : FWP_ACTION_BLOCK;
  UINT64 id = 0;
  const DWORD code = FwpmFilterAdd0(session.engine.Get(), &filter, nullptr, &id);
  if (code == ERROR_SUCCESS) session.filterIds.push_back(id);
  return code;
}

DWORD ReadApplicationId(const std::wstring& path, ApplicationId& id) {
  id.Reset();
  return path.empty() ? ERROR_SUCCESS : FwpmGetAppIdFromFileName0(path.c_str(), id.Out());
}

void DeleteWfpObjects(WfpSession& session) {
  HANDLE engine = session.engine.Get();
  ObjectDeletion deletion;
  for (const uint64_t id : session.filterIds) {
    if (id != 0) deletion.Note(FwpmFilterDeleteById0(engine, id));
  }
  session.filterIds.clear();
  deletion.Note(FwpmSubLayerDeleteByKey0(engine, &session.identity.sublayerKey));
  deletion.Note(FwpmProviderDeleteByKey0(engine, &session.identity.providerKey));
  if (!deletion.complete) session.engine.Reset();
}

bool PurgeWfpObjects(const WfpIdentity& identity) {
  WfpEngine engine;
  if (FwpmEngineOpen0(nullptr, RPC_C_AUTHN_WINNT, nullptr, nullptr, engine.Out()) != ERROR_SUCCESS) return false;
  PurgeFilters(engine.Get(), identity.providerKey);
  FwpmSubLayerDeleteByKey0(engine.Get(), &identity.sublayerKey);
  FwpmProviderDeleteByKey0(engine.Get(), &identity.providerKey);
  return true;
}

}  // namespace moorlak
