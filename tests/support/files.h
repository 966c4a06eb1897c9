// Files as a test reads them.
#pragma once

#include <string>

namespace moorlak {

// A file that others may write, rename or delete meanwhile. Empty if it cannot be opened.
std::string ReadSharedFile(const std::wstring& path);

}  // namespace moorlak
