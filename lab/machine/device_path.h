// Files as the filtering platform names applications.
#pragma once

#include <string>

namespace moorlak::lab {

// NT device path of a file, in small letters; empty, with the last error set, if the file does not exist.
std::wstring DevicePath(const wchar_t* fileName);

}  // namespace moorlak::lab
