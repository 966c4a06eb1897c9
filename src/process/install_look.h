// A look at who can change what this service runs. It refuses nothing: the access rights of the folder are the
// installer's business, and the service must run from a build folder too.
#pragma once

namespace moorlak {

// Logs a warning for each file or folder of the installation (process/install_items.h) that is owned by, or can be
// changed by, anybody but LocalSystem, Windows' installer, the administrators and the user this process runs as
// (base/object_trust.h); once per process for each. Called before the first recovery and before each launch of an
// engine.
//
// Not reported: what cannot be opened or does not say its owner, and what has an oplock on it at that moment; what is
// not on a drive of this machine; the folders above the ones that are looked at; the other files in them. For a link,
// both the link and its target are looked at. Waits for nothing and logs no failures. Any thread may call it.
void LogWhatOthersCanChange() noexcept;

}  // namespace moorlak
