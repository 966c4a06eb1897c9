// One user of the Windows Filtering Platform: a session with its engine, what was added through it, and how that is
// taken away again. Nothing here logs; every operation answers the call's error code (0 is success).
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

struct WfpEngineTraits {
  using Type = HANDLE;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type engine) noexcept { return engine != nullptr; }
  static void Close(Type engine) noexcept { FwpmEngineClose0(engine); }
};
using WfpEngine = UniqueHandle<WfpEngineTraits>;

// An application as the engine knows it: the NT path of its file.
struct ApplicationIdTraits {
  using Type = FWP_BYTE_BLOB*;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type id) noexcept { return id != nullptr; }
  static void Close(Type id) noexcept {
    void* memory = id;
    FwpmFreeMemory0(&memory);
  }
};
using ApplicationId = UniqueHandle<ApplicationIdTraits>;

// Under which keys and names a session adds its objects.
struct WfpIdentity {
  GUID providerKey;
  const wchar_t* providerName;
  GUID sublayerKey;
  const wchar_t* sublayerName;
  uint16_t sublayerWeight;
  bool sublayerNamesProvider;
};

// The caller guards it with its lock. The session is dynamic: the objects go when the engine handle is closed.
struct WfpSession {
  const WfpIdentity& identity;
  WfpEngine engine;
  bool installed = false;
  // Filters that were added and not yet deleted.
  std::vector<uint64_t> filterIds;
};

// Opens the engine unless it is open.
DWORD OpenWfpEngine(WfpSession& session);

enum class WfpOutcome { Committed, OpenFailed, BeginFailed, Refused, CommitFailed };
struct WfpResult {
  WfpOutcome outcome = WfpOutcome::Committed;
  // Of the call that failed; 0 when the body refused.
  DWORD code = 0;
};

// Runs the body within a transaction and commits if it answers true. In every other case, an exception included, the
// transaction is aborted, and the filter ids are forgotten. A handle that a restart of the engine has left dead is
// reopened once.
WfpResult RunWfpTransaction(WfpSession& session, const std::function<bool()>& bodyTx);

// The provider (a failure means nothing: filters and sublayer would miss it), then the sublayer. One that is there
// already is taken as it is.
DWORD AddWfpSublayerTx(const WfpSession& session);

// Adds the filter with the session's provider and sublayer and records its id. The application may be null for a filter
// without a condition on it.
DWORD AddWfpFilterTx(WfpSession& session, const FilterRow& row, FWP_BYTE_BLOB* application);

// Empty when the path is empty or the file is not there; the code tells the two apart (0 for an empty path).
DWORD ReadApplicationId(const std::wstring& path, ApplicationId& id);

// Deletes the recorded filters, the sublayer and the provider. If one cannot be deleted, the session is closed instead,
// which takes all of them away.
void DeleteWfpObjects(WfpSession& session);

// Deletes every filter of the identity's provider, its sublayer and the provider through a session that is not dynamic:
// what an earlier process left. Answers whether the engine could be opened.
bool PurgeWfpObjects(const WfpIdentity& identity);

}  // namespace moorlak
