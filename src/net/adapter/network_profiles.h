// The name under which Windows lists the tunnel's network.
#pragma once

namespace moorlak {

// Renames every network and every stored profile that Windows named after the adapter to "Moorlak Network": first the
// live names, then the stored ones. Initialises COM itself. A failure skips the profile or the rest.
void NameNetworkProfiles() noexcept;

// The same on a separate thread, which is waited for at most 3 s and then left running: the list manager may take half
// a minute to reply, and nothing depends on the names. Does nothing while an earlier thread is still running.
void NameNetworkProfilesAside() noexcept;

// The two halves of NameNetworkProfiles; the first needs COM on the calling thread.
void RenameNetworkProfiles();
void RenameStoredProfiles();

}  // namespace moorlak
