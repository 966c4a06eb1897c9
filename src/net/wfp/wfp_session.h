// One user of the Windows Filtering Platform: a session with its engine, what was added through it, and how that is
// removed. Nothing here logs; operations return the call's error code (0 is success).
//
// Sources, pages of Microsoft Learn: "FwpmEngineOpen0", "FwpmTransactionBegin0", "FwpmFilterAdd0", "FwpmFilterEnum0",
// "FwpmFilterDeleteById0", "FWP_VALUE0 structure", "Object Management", "WFP Error Codes".
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <functional>
#include <fwpmu.h>
#include <string>
#include <vector>

#include "base/handle.h"
#include "net/wfp/filter_row.h"

namespace moorlak {

using WfpEngine = UniqueHandle<HANDLE, FwpmEngineClose0>;

inline void FreeApplicationId(FWP_BYTE_BLOB* id) noexcept {
  void* memory = id;
  FwpmFreeMemory0(&memory);
}
// An application's id in the engine: the NT path of its file.
using ApplicationId = UniqueHandle<FWP_BYTE_BLOB*, FreeApplicationId>;

// The keys and names under which a session adds its objects.
struct WfpIdentity {
  GUID providerKey;
  const wchar_t* providerName;
  GUID sublayerKey;
  const wchar_t* sublayerName;
  uint16_t sublayerWeight;
  bool sublayerNamesProvider;
};

// Guarded by the caller's lock. The session is dynamic: its objects disappear when the engine handle is closed.
struct WfpSession {
  const WfpIdentity& identity;
  WfpEngine engine;
  // Filters that were added and not deleted yet.
  std::vector<uint64_t> filterIds;
};

enum class WfpOutcome { Committed, OpenFailed, BeginFailed, Refused, CommitFailed };
struct WfpResult {
  WfpOutcome outcome = WfpOutcome::Committed;
  // The error of the failed call; 0 if the body refused.
  DWORD code = 0;
};

// Runs the body in a transaction and commits if it returns true. Otherwise, also on an exception, the transaction is
// aborted and the filter ids are forgotten. A handle that died with a restart of the engine is reopened once.
WfpResult RunWfpTransaction(WfpSession& session, const std::function<bool()>& bodyTx);

// Adds the provider (errors are ignored: if the provider is really missing, adding the sublayer or filters fails), then
// the sublayer. Existing ones are used.
DWORD AddWfpSublayerTx(const WfpSession& session);

// Adds the filter with the session's provider and sublayer and records its id. The application may be null if no
// condition of the filter needs it.
DWORD AddWfpFilterTx(WfpSession& session, const FilterRow& row, FWP_BYTE_BLOB* application);

// Empty if the path is empty or the file does not exist; the returned code distinguishes the two (0 for an empty path).
DWORD ReadApplicationId(const std::wstring& path, ApplicationId& id);

// Deletes the recorded filters, the sublayer and the provider. If one cannot be deleted, closes the session instead,
// which removes them all.
void DeleteWfpObjects(WfpSession& session);

// Deletes what an earlier process left: every filter of the identity's provider, its sublayer and the provider, through
// a session that is not dynamic. Returns whether the engine could be opened.
bool PurgeWfpObjects(const WfpIdentity& identity);

}  // namespace moorlak
