// Windows queries every adapter's name server at once unless two policy values forbid it. Both are set during a tunnel
// session and restored afterwards, also after a crash.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/mutex.h"

namespace moorlak {

struct SmhnrBackup {
  // A session's values are set and not restored yet.
  bool active = false;
  // DisableSmartNameResolution existed as a REG_DWORD, and its value.
  bool hadSmart = false;
  uint32_t smartValue = 0;
  // The same for DisableParallelAandAAAA.
  bool hadParallel = false;
  uint32_t parallelValue = 0;

  bool operator==(const SmhnrBackup&) const = default;
};

// Five lines, each ending with a line feed: "v1", hadSmart, smartValue, hadParallel, parallelValue.
std::string FormatSmhnrBackup(const SmhnrBackup& backup);

// An active backup; nullopt if the text does not have exactly this form, because a wrong value must not get into the
// policy.
std::optional<SmhnrBackup> ParseSmhnrBackup(std::string_view text);

// The policy of this machine's resolver. Each operation below takes the lock for its whole run, so any thread may call
// it: a disconnect restores the policy while an apply may still run.
struct ResolverPolicy {
  // Also guards the two files.
  Mutex lock;
  SmhnrBackup session GUARDED_BY(lock);
};

// Saves both values in memory and on disk, and sets them to 1. A key that cannot be opened is skipped.
void ApplySmhnrPolicy(ResolverPolicy& policy) noexcept;

// Restores the values that this session saved; without a session, those of a backup on disk, if there is one.
void RestoreSmhnrPolicy(ResolverPolicy& policy) noexcept;

// At the start of the service: restores what a crashed session left. If its backup is lost, values of 1 are removed if
// the session's marker file shows that this program set them.
void RecoverOrphanedSmhnr(ResolverPolicy& policy) noexcept;

}  // namespace moorlak
