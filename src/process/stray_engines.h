// Engines that no record refers to any more, and which engine processes belong to this installation.
#pragma once

#include <string_view>

namespace moorlak {

// True for "xray.exe" and "tun2socks.exe" in any letter case.
bool IsEngineName(std::wstring_view executableName);

// True if the path is under the folder, at any depth, ignoring the case of A to Z. The folder is given without a
// trailing separator. An empty folder (it could not be found) has nothing under it.
bool IsUnderFolder(std::wstring_view path, std::wstring_view folder);

// Ends every xray.exe and tun2socks.exe whose program is under this program's own folder; does not wait for their end.
// Other engines are never touched. Failures are ignored.
void KillStrayEngines() noexcept;

}  // namespace moorlak
