// Windows queries every adapter's name server at once unless two policy values forbid it. Both are set during a tunnel
// session and restored afterwards, also after a crash.
#pragma once

namespace moorlak {

// Saves both values in memory and on disk, and sets them to 1. A key that cannot be opened is skipped.
void ApplySmhnrPolicy() noexcept;

// Restores the values that this session saved; without a session, those of a backup on disk, if there is one.
void RestoreSmhnrPolicy() noexcept;

// At the start of the service: restores what a crashed session left. If its backup is lost, values of 1 are removed if
// the session's marker file shows that this program set them.
void RecoverOrphanedSmhnr() noexcept;

}  // namespace moorlak
