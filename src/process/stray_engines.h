// Engines that no record refers to any more.
#pragma once

namespace moorlak {

// Ends every xray.exe and tun2socks.exe whose program is under this program's own folder; does not wait for their end.
// Other engines are never touched. Failures are ignored.
void KillStrayEngines() noexcept;

}  // namespace moorlak
