// The filters of one part of the product, such as the DNS guard: added, removed and purged as a whole. Failures are
// logged under the set's label.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/mutex.h"
#include "net/wfp/wfp_session.h"

namespace moorlak {

// In what sets differ. A constant that outlives them.
struct FilterSetKind {
  WfpIdentity identity;
  // Begins each of the set's log lines.
  const char* label;
  // What its log line says that a purge removes.
  const char* purged;
};

// One session with its filters. Each operation below takes the lock for its whole run, so any thread may call it.
struct FilterSet {
  const FilterSetKind& kind;
  Mutex lock;
  WfpSession session GUARDED_BY(lock);

  explicit FilterSet(const FilterSetKind& filtersOf) : kind(filtersOf), session{filtersOf.identity, {}, {}} {}
};

// Adds filters through the session, whose sublayer exists. Returns the line to log after the commit; nullopt, after
// logging why, to add none.
using AddFilters = std::function<std::optional<std::string>(WfpSession& session)>;

// Removes what is installed, then adds the filters in one transaction. False if there is none afterwards.
bool InstallFilters(FilterSet& set, const AddFilters& addTx);

// Deletes what this set has installed.
void RemoveFilters(FilterSet& set) noexcept;

// Deletes what an earlier process left.
void PurgeFilters(FilterSet& set) noexcept;

}  // namespace moorlak
