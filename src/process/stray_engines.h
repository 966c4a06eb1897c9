// Engines that no record knows any more.
#pragma once

namespace moorlak {

// Ends every xray.exe and tun2socks.exe whose program lies under this program's own folder; does not wait for their
// end. Engines of anybody else are never touched. Failures are passed over.
void KillStrayEngines() noexcept;

}  // namespace moorlak
