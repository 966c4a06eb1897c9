// Which engine processes are this installation's own and may be ended.
#pragma once

#include <string_view>

namespace moorlak {

// True for "xray.exe" and "tun2socks.exe", whatever their letter case.
bool IsEngineName(std::wstring_view executableName);

// True when the path lies under the folder, at any depth, A to Z being folded on both sides. The folder is given
// without a separator at its end. An empty folder (it could not be found) has nothing under it.
bool LiesUnderFolder(std::wstring_view path, std::wstring_view folder);

}  // namespace moorlak
