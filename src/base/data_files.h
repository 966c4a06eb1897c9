// Recovery files lie where this system keeps the data that all users share.
#pragma once

#include <string>

namespace moorlak {

// Full path of a file in the product's data folder, which is created with any missing parents.
std::wstring CommonDataFile(const wchar_t* name);

}  // namespace moorlak
