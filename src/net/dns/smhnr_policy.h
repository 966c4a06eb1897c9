// Windows asks every adapter's name server at once unless two policy values forbid it. Both are set for the length of
// a tunnel session and put back afterwards, also after a crash.
#pragma once

namespace moorlak {

// Remembers both values, in memory and on disk, and sets them to 1. A key that cannot be opened is skipped.
void ApplySmhnrPolicy() noexcept;

// Puts the values of this session back; without one, those of a backup on disk, if there is one.
void RestoreSmhnrPolicy() noexcept;

// At the start of the service: puts back what a crashed session left. Where its backup is lost, values that read 1 are
// removed if the session's marker file tells that they are this program's.
void RecoverOrphanedSmhnr() noexcept;

}  // namespace moorlak
