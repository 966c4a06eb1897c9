// The tunnel log's file: opened for one line, checked, rotated and given its rights, all by handle. Users may add files
// to its folder, append to it and change its attributes, and may have created anything there before the service came.
#pragma once

#include "base/handle.h"

namespace moorlak {

// The current log, open for appending. Anything with its name that is not ours (a folder, a link, a file with a second
// name, another user's file) is put aside, a read-only attribute is cleared, and a log that is too large is rotated if
// mayRotate is set. Empty if the file cannot be had, now or at all. From then on this process keeps a handle to the
// file, so that no other process has it open alone: an oplock that makes others wait is granted only to a sole user
// ("Opportunistic Locks" on Microsoft Learn).
KernelHandle OpenLogFile(bool mayRotate);

// Sets the access rules of the log folder and the current log: users may read and append. Once the file existed, they
// count as applied and are not set again before the next rotation. Called with the log mutex held.
void ApplyLogAccessRules();
bool AreLogRulesApplied() noexcept;

}  // namespace moorlak
