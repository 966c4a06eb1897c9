// The tunnel log's file: opened for one line, judged, rotated and given its rights, all by handle. Users may add files
// to its folder, append to it and change its attributes, and may have made what stands there before the service came.
#pragma once

#include "base/handle.h"

namespace moorlak {

// The current log, open for appending. What stands under its name and is not ours (a folder, a link, a file with a
// second name or of a stranger's) is put aside, a read-only attribute is taken off, and a log that is too large is
// rotated where that may be. Empty where the file cannot be had for a moment or at all. A handle of this process's
// stays on the file from then on, so that nobody is alone with it: an oplock that makes others wait is given to a sole
// user only ("Opportunistic Locks" of Microsoft Learn).
KernelHandle OpenLogFile(bool mayRotate);

// Sets the access rules of the log folder and the current log: users may read and append. They count as applied, and
// are not set again before the next rotation, once the file existed. Called with the log mutex held.
void ApplyLogAccessRules();
bool AreLogRulesApplied() noexcept;

}  // namespace moorlak
