// A look at who can change what this service runs. It refuses nothing: the rights of a folder are its installer's
// business, and a folder of a build must run.
#pragma once

namespace moorlak {

// Looks at the files and folders of the installation (process/install_items.h) and writes a log line for each that
// belongs to, or can be changed by, others than the system, its installer, the administrators and the user this process
// runs as (base/object_trust.h); once a process for each. Before the first recovery and before each launch of an
// engine.
//
// Not told: what cannot be looked at, because it cannot be opened or does not tell its owner, or because somebody has
// an oplock on it at that moment; what lies on no drive of this machine; the folders above those that are looked at;
// the other files in them. Of a link both it and what it leads to are looked at. Nothing is waited for, and no failure
// is logged. Any thread may call it.
void TellWhatOthersCanChange() noexcept;

}  // namespace moorlak
