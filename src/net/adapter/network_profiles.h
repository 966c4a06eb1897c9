// The name under which Windows lists the tunnel's network.
#pragma once

namespace moorlak {

// Renames every network and every stored profile that Windows named after the adapter to "Moorlak Network": the live
// names first, then the stored ones, inside an initialisation of COM of its own. Failures skip the profile or the rest.
void NameNetworkProfiles() noexcept;

// The same on a thread of its own, which is waited for at most 3 s and then left behind: the list manager may take half
// a minute to answer, and the names decide nothing. While one is left behind, nothing is done.
void NameNetworkProfilesAside() noexcept;

// Its two halves; the first needs COM on the calling thread.
void RenameNetworkProfiles();
void RenameStoredProfiles();

}  // namespace moorlak
