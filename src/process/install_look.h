// Checks who can change what this service runs. It refuses nothing: the folder's access rights are the installer's
// responsibility, and the service must also run from a build folder.
#pragma once

namespace moorlak {

// Logs a warning for each file or folder of the installation (process/install_items.h) that is owned by, or can be
// changed by, anyone but LocalSystem, Windows' installer, the administrators and the user this process runs as
// (base/object_trust.h); once per process for each. Called before the first recovery and before each launch of an
// engine.
//
// Not reported: what cannot be opened, does not say its owner or has an oplock at that moment; what is not on a drive
// of this machine; the folders above the checked ones; the other files in them. For a link, both the link and its
// target are checked. Does not wait and does not log failures. Thread-safe.
void LogWhatOthersCanChange() noexcept;

}  // namespace moorlak
